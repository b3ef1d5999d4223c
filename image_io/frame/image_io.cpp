#include "image_io/frame/image_io.h"

#include "image_io/frame/class_record.h"
#include "image_io/presets/image_io_resolution_preset_manager.h"
#include "image_io/save/image_io_save_private.h"

CoreClassInfo const& ImageIO::class_info()
{
    static CoreClassInfo const& record = zv_image_io::new_class_record<ImageIO>("ImageIO");
    return record;
}

CoreClassInfo const& ImageIO::get_class_info() const
{
    return class_info();
}

bool ImageIO::___class_destructor__(void* object, bool const&)
{
    return zv_image_io::free_object<ImageIO>(object);
}

ImageIO::SavingStatus ImageIO::save(CoreString const& path, ImageSaveOptions& options,
                                    ImageCanvas const& canvas, OfApp* app, AppProgressBar* progress,
                                    GMathVec4<float> const* crop)
{
    return ImageIOSavePrivate::save_private(path, options, canvas, app, progress, crop);
}

bool ImageIO::init(OfApp* app)
{
    return ImageIOResolutionPresetManager::static_init(app);
}
