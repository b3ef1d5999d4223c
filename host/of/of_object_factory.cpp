#include "host/of/of_object_factory.h"

OfObjectFactory::OfObjectFactory() = default;

OfObjectFactory::~OfObjectFactory() = default;

OfEnum* OfObjectFactory::add_enum(CoreString const& name, unsigned int flags)
{
    if (OfEnum* const known = get_enum(name))
        return known;
    OfEnum* const fresh = m_enums.emplace_back(std::make_unique<OfEnum>(name, flags)).get();
    raise_event(EventInfo("EVT_ID_OF_ADD_ENUM", fresh));
    return fresh;
}

OfEnum* OfObjectFactory::get_enum(CoreString const& name) const
{
    for (auto const& held : m_enums)
        if (held->get_name() == name)
            return held.get();
    return nullptr;
}
