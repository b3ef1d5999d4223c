#pragma once

#include "host/event/event_object.h"
#include "host/of/of_attr.h"

#include <memory>
#include <vector>

/// The application's variables, by name.
///
/// Events   "EVT_ID_VARS_ADD_VARIABLE", "EVT_ID_VARS_VARIABLE_CHANGED", "EVT_ID_VARS_REMOVE_VARIABLE" with
///          the attribute as data (before it goes, for the last), and "EVT_ID_VARS_REMOVE_ALL"
class OfVars : public EventObject {
public:
    OfVars();
    ~OfVars() override;
    OfVars(OfVars const&) = delete;
    OfVars& operator=(OfVars const&) = delete;

    /// The variable, owned by this object, or null.
    OfAttr* get(CoreString const& name) const;
    unsigned int get_count() const noexcept { return static_cast<unsigned int>(m_variables.size()); }

    /// Makes or changes a variable with one text value.
    OfAttr& set(CoreString const& name, CoreString const& value);
    /// Takes a variable from the environment of the process; false, and unchanged, if it is not set there.
    bool import_environment(CoreString const& name);
    /// False if there is none of that name.
    bool remove(CoreString const& name);
    void remove_all();

private:
    std::vector<std::unique_ptr<OfAttr>> m_variables;
};
