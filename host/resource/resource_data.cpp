#include "host/resource/resource_data.h"

#include "host/core/core_class_info.h"

CoreClassInfo const& ResourceData::get_class_info() const
{
    return class_info();
}

CoreClassInfo const& ResourceData::class_info()
{
    auto const destructor = [](void* object, bool const&) {
        delete static_cast<ResourceData*>(object);
        return true;
    };
    static CoreClassInfo const& record =
        CoreClassInfo::new_class("ResourceData", destructor, &EventObject::class_info(), nullptr);
    return record;
}

Core128BitHashKey ResourceData::get_hash_key() const
{
    return {};
}

bool ResourceData::is_serializable() const
{
    return false;
}

unsigned char* ResourceData::serialize(unsigned long long& size) const
{
    size = 0;
    return nullptr;
}

bool ResourceData::deserialize(unsigned char const*, unsigned long long const&)
{
    return false;
}
