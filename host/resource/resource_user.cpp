#include "host/resource/resource_user.h"

#include "host/core/core_class_info.h"

CoreClassInfo const& ResourceUser::get_class_info() const
{
    return class_info();
}

CoreClassInfo const& ResourceUser::class_info()
{
    auto const destructor = [](void* object, bool const&) {
        delete static_cast<ResourceUser*>(object);
        return true;
    };
    static CoreClassInfo const& record =
        CoreClassInfo::new_class("ResourceUser", destructor, &EventObject::class_info(), nullptr);
    return record;
}

void ResourceUser::on_resource_file_changed() {}
