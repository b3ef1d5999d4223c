#pragma once

#include "host/event/event_object.h"
#include "host/of/of_enum.h"
#include "host/of/of_vars.h"

#include <memory>
#include <vector>

/// What makes and holds the application's objects: here its variables and enumerations.
class OfObjectFactory : public EventObject {
public:
    OfObjectFactory();
    ~OfObjectFactory() override;
    OfObjectFactory(OfObjectFactory const&) = delete;
    OfObjectFactory& operator=(OfObjectFactory const&) = delete;

    OfVars& get_vars() noexcept { return m_vars; }
    OfVars const& get_vars() const noexcept { return m_vars; }

    /// The enumeration of that name, owned by the factory; a known name gives the existing one, whose flags
    /// stay. The flags are the application's own, with all bits set for no restriction. Raises
    /// "EVT_ID_OF_ADD_ENUM" for a new one, which is the event's data.
    OfEnum* add_enum(CoreString const& name, unsigned int flags);
    /// The enumeration of that name, or null.
    OfEnum* get_enum(CoreString const& name) const;

private:
    OfVars m_vars;
    std::vector<std::unique_ptr<OfEnum>> m_enums;
};
