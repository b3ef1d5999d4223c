#include "host/of/of_attr.h"

CoreString OfAttr::get_string(unsigned int index, unsigned int page, bool) const
{
    return page == 0 && index < m_values.get_count() ? m_values[index] : CoreString();
}

void OfAttr::set_string(CoreString const& value)
{
    m_values = {value};
}

void OfAttr::add_string(CoreString const& value)
{
    m_values.add(value);
}
