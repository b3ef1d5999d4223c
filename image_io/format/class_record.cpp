#include "image_io/frame/class_record.h"

#include "image_io/format/image_io_file_format.h"

CoreClassInfo const& ImageIOFileFormat::class_info()
{
    static CoreClassInfo const& record =
        zv_image_io::new_class_record<ImageIOFileFormat>("ImageIOFileFormat");
    return record;
}

CoreClassInfo const& ImageIOFileFormat::get_class_info() const
{
    return class_info();
}

bool ImageIOFileFormat::___class_destructor__(void* object, bool const&)
{
    return zv_image_io::free_object<ImageIOFileFormat>(object);
}
