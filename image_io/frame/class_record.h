#pragma once

#include "host/core/core_base_type.h"
#include "host/core/core_class_info.h"

namespace zv_image_io {

/// Frees an object of a class without state of its own; a null pointer is fine.
template <class T>
bool free_object(void* object)
{
    delete static_cast<T*>(object);
    return true;
}

/// The record of a class of static operations; `class_info` keeps it in a function-local static.
template <class T>
CoreClassInfo const& new_class_record(char const* name)
{
    return CoreClassInfo::new_class(name, &T::___class_destructor__, &CoreBaseType::class_info(), nullptr);
}

}  // namespace zv_image_io
