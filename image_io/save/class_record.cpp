#include "image_io/frame/class_record.h"

#include "image_io/save/image_io_save.h"

CoreClassInfo const& ImageIOSave::class_info()
{
    static CoreClassInfo const& record = zv_image_io::new_class_record<ImageIOSave>("ImageIOSave");
    return record;
}

CoreClassInfo const& ImageIOSave::get_class_info() const
{
    return class_info();
}

bool ImageIOSave::___class_destructor__(void* object, bool const&)
{
    return zv_image_io::free_object<ImageIOSave>(object);
}
