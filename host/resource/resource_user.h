#pragma once

#include "host/event/event_object.h"

/// The base of objects that share loaded files with others.
class ResourceUser : public EventObject {
public:
    CoreClassInfo const& get_class_info() const override;
    static CoreClassInfo const& class_info();

    /// A file that the object uses has changed on disk.
    virtual void on_resource_file_changed();
};
