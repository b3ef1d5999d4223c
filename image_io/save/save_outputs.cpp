#include "host/of/of_app.h"
#include "image_io/frame/log_exception.h"
#include "image_io/save/child_bar.h"
#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"

namespace {

using Status = ImageIO::SavingStatus;
using Format = ImageIOFileFormat;

/// What a failure calls the files of a list.
constexpr char const* kImage = "the image";

bool is_simple(Format::Save format)
{
    return format >= Format::SAVE_JPEG && format <= Format::SAVE_PNG16;
}

/// One after the other; the first failure ends it.
Status write_each(OfApp* app, ImageIOOutputs& outputs, ImageEvalContext& context, AppProgressBar* progress)
{
    for (unsigned int index = 0; index < outputs.get_count(); ++index) {
        ImageIOOutput& output = outputs[index];
        Status status;
        {
            zv_image_io::ChildBar const bar(app, progress, CoreString(" (") + output.get_name() + ")");
            status = output.write(context, bar.get());
        }
        if (progress)
            progress->step(index);
        if (status != ImageIO::SAVING_STATUS_SUCCESS)
            return status;
    }
    return ImageIO::SAVING_STATUS_SUCCESS;
}

/// A failure leaves no file that has no pixels yet.
Status write_outputs(OfApp* app, ImageIOOutputs& outputs, ImageEvalContext& context, AppProgressBar* progress)
try {
    Status const status = write_each(app, outputs, context, progress);
    if (status != ImageIO::SAVING_STATUS_SUCCESS)
        outputs.drop_empty_files();
    return status;
} catch (...) {
    outputs.drop_empty_files();
    throw;
}

}  // namespace

ImageIO::SavingStatus ImageIOSave::save_generic(ImageEvalContext context, CoreString const& filename,
                                                ImageSaveOptions const& options, ImageMap const* map,
                                                GMathVec4<int> const& canvas_rectangle,
                                                GMathVec4<int> const& region, OfApp* app,
                                                AppProgressBar* progress)
try {
    if (progress)
        progress->set_value(0.0f);
    Status const status =
        is_simple(options.format)
            ? save_basic(context, filename, options, map, canvas_rectangle, app, progress)
            : save_advanced(context, filename, options, map, canvas_rectangle, region, app, progress);
    if (progress)
        progress->set_value(1.0f);
    return status;
} catch (...) {
    zv_image_io::log_save_exception(filename);
    return ImageIO::SAVING_STATUS_WRITE_FAILED;
}

ImageIO::SavingStatus ImageIOSave::save_advanced(ImageEvalContext context, CoreString const& filename,
                                                 ImageSaveOptions const& options, ImageMap const* map,
                                                 GMathVec4<int> const& canvas_rectangle,
                                                 GMathVec4<int> const& region, OfApp* app,
                                                 AppProgressBar* progress)
try {
    if (progress)
        progress->set_value(0.0f);
    ImageIOOutputs outputs;
    Status const status = build_outputs(app, options, filename, map, region, canvas_rectangle, outputs);
    if (status != ImageIO::SAVING_STATUS_SUCCESS)
        return status;
    if (progress)
        progress->set_step_count(outputs.get_count());
    return write_outputs(app, outputs, context, progress);
} catch (...) {
    zv_image_io::log_save_exception(filename);
    return ImageIO::SAVING_STATUS_WRITE_FAILED;
}

ImageIO::SavingStatus ImageIOSave::save(OfApp* app, ImageIOOutputs& outputs, ImageEvalContext& context,
                                        AppProgressBar* progress)
try {
    if (progress)
        progress->set_step_count(outputs.get_count());
    return write_outputs(app, outputs, context, progress);
} catch (...) {
    zv_image_io::log_save_exception(kImage);
    return ImageIO::SAVING_STATUS_WRITE_FAILED;
}

ImageIO::SavingStatus ImageIOSave::save_region(OfApp*, ImageIOOutputs& outputs, ImageEvalContext& context,
                                               GMathVec4<int> const& region, AppProgressBar* progress)
try {
    for (unsigned int index = 0; index < outputs.get_count(); ++index) {
        Status const status = outputs[index].write_region(context, region, progress);
        if (status != ImageIO::SAVING_STATUS_SUCCESS)
            return status;
    }
    return ImageIO::SAVING_STATUS_SUCCESS;
} catch (...) {
    zv_image_io::log_save_exception(kImage);
    return ImageIO::SAVING_STATUS_WRITE_FAILED;
}
