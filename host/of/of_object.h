#pragma once

#include "host/core/core_string.h"
#include "host/event/event_object.h"

/// An object of the application's object framework: something with a name that raises events.
class OfObject : public EventObject {
public:
    explicit OfObject(CoreString const& name = CoreString())
        : m_name(name)
    {
    }

    CoreClassInfo const& get_class_info() const override;
    static CoreClassInfo const& class_info();

    CoreString const& get_name() const noexcept { return m_name; }

private:
    CoreString m_name;
};
