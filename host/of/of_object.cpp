#include "host/of/of_object.h"

#include "host/core/core_class_info.h"

CoreClassInfo const& OfObject::get_class_info() const
{
    return class_info();
}

CoreClassInfo const& OfObject::class_info()
{
    auto const destructor = [](void* object, bool const&) {
        delete static_cast<OfObject*>(object);
        return true;
    };
    static CoreClassInfo const& record =
        CoreClassInfo::new_class("OfObject", destructor, &EventObject::class_info(), nullptr);
    return record;
}
