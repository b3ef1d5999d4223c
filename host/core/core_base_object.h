#pragma once

#include "host/core/core_base_type.h"

/// The base of objects with virtual operations.
class CoreBaseObject : public CoreBaseType {
public:
    CoreBaseObject() = default;
    CoreBaseObject(CoreBaseObject const&) = default;
    CoreBaseObject& operator=(CoreBaseObject const&) = default;
    virtual ~CoreBaseObject();

    /// True if the object's class is `info`'s or derives from it.
    virtual bool is_kindof(CoreClassInfo const& info) const;

    static CoreClassInfo const& class_info();
};
