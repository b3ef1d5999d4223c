#include "host/of/of_vars.h"

#include <algorithm>
#include <cstdlib>

OfVars::OfVars() = default;

OfVars::~OfVars() = default;

OfAttr* OfVars::get(CoreString const& name) const
{
    for (auto const& variable : m_variables)
        if (variable->get_name() == name)
            return variable.get();
    return nullptr;
}

OfAttr& OfVars::set(CoreString const& name, CoreString const& value)
{
    OfAttr* variable = get(name);
    char const* const event = variable ? "EVT_ID_VARS_VARIABLE_CHANGED" : "EVT_ID_VARS_ADD_VARIABLE";
    if (!variable)
        variable = m_variables.emplace_back(std::make_unique<OfAttr>(name)).get();
    variable->set_string(value);
    raise_event(EventInfo(event, variable));
    return *variable;
}

bool OfVars::import_environment(CoreString const& name)
{
    char const* const value = std::getenv(name.get_data());
    if (value)
        set(name, value);
    return value != nullptr;
}

bool OfVars::remove(CoreString const& name)
{
    auto const has_name = [name](auto const& variable) { return variable->get_name() == name; };
    auto const place = std::find_if(m_variables.begin(), m_variables.end(), has_name);
    if (place == m_variables.end())
        return false;
    // Out of the list before the event, alive until after it.
    std::unique_ptr<OfAttr> const variable = std::move(*place);
    m_variables.erase(place);
    raise_event(EventInfo("EVT_ID_VARS_REMOVE_VARIABLE", variable.get()));
    return true;
}

void OfVars::remove_all()
{
    m_variables.clear();
    raise_event("EVT_ID_VARS_REMOVE_ALL");
}
