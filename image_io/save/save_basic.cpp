#include <algorithm>

#include "host/image/image_map.h"
#include "host/of/of_app.h"
#include "image_io/frame/log_exception.h"
#include "image_io/save/child_bar.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"
#include "image_io/save/layer_table.h"
#include "image_io/save/main_channels.h"

namespace {

using Status = ImageIO::SavingStatus;

void step(AppProgressBar* progress, unsigned int count)
{
    if (progress)
        progress->step(count);
}

}  // namespace

ImageIO::SavingStatus ImageIOSave::save_basic(ImageEvalContext context, CoreString const& filename,
                                              ImageSaveOptions const& options, ImageMap const* map,
                                              GMathVec4<int> const& canvas_rectangle, OfApp* app,
                                              AppProgressBar* progress)
try {
    if (!map)
        return ImageIO::SAVING_STATUS_NOTHING_TO_SAVE;
    auto const layers = zv_image_io::collect_layers(*map);
    if (progress) {
        progress->set_value(0.0f);
        progress->set_step_count(layers.get_count() + 1);
    }
    auto const write_file = [&](CoreString const& file, CoreBasicArray<ImageMapChannel*> const& channels,
                                CoreString const& label_end) {
        zv_image_io::ChildBar const bar(app, progress, label_end);
        return write_one_aov_per_file(context, file, options, channels, canvas_rectangle, bar.get());
    };
    Status status = write_file(filename, zv_image_io::main_channels(*map, options), " (RGB) ");
    unsigned int file_count = 1;
    step(progress, file_count);
    if (!app || !app->output_aovs_in_all_formats)
        return status;
    layers.for_each([&](CoreString const& layer, CoreVector<ImageMapChannel*> const& channels) {
        CoreString const file = ImageIOFileFormat::construct_layer_file_name(filename, layer);
        // A failure stops nothing: the worst status is the result.
        status = std::max(status, write_file(file, channels, CoreString(" (") + layer + ") "));
        step(progress, ++file_count);
    });
    return status;
} catch (...) {
    zv_image_io::log_save_exception(filename);
    return ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE;
}
