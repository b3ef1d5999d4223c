#include <cmath>
#include <limits>

#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "host/of/of_app.h"
#include "host/sys/sys_memory.h"
#include "host/sys/sys_timer.h"
#include "image_io/frame/log_exception.h"
#include "image_io/frame/log_line.h"
#include "image_io/save/canvas_meta_data.h"
#include "image_io/save/child_bar.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_io_save_private.h"
#include "image_io/save/image_save_options.h"

namespace {

using Status = ImageIO::SavingStatus;

/// Towards zero; what no int holds becomes the nearest one, NaN becomes 0.
int truncated(float value)
{
    constexpr float kPastLargest = 2147483648.0f;
    if (std::isnan(value))
        return 0;
    if (value >= kPastLargest)
        return std::numeric_limits<int>::max();
    return value < -kPastLargest ? std::numeric_limits<int>::min() : static_cast<int>(value);
}

GMathVec4<int> rectangle_of(ImageCanvas const& canvas)
{
    return {canvas.get_x(), canvas.get_y(), canvas.get_width(), canvas.get_height()};
}

/// The crop, or else the data window.
GMathVec4<int> region_of(ImageCanvas const& canvas, GMathVec4<float> const* crop)
{
    if (!crop)
        return canvas.m_map && canvas.m_map->m_bbox ? *canvas.m_map->m_bbox : GMathVec4<int>(0, 0, 0, 0);
    auto const width = static_cast<float>(canvas.get_width());
    auto const height = static_cast<float>(canvas.get_height());
    return {truncated(width * (*crop)[0]), truncated(height * (*crop)[1]), truncated(width * (*crop)[2]),
            truncated(height * (*crop)[3])};
}

/// A region without extent that lies elsewhere than at the origin does not count.
bool is_all_zero(GMathVec4<int> const& region)
{
    return region[0] == 0 && region[1] == 0 && region[2] == 0 && region[3] == 0;
}

/// Gives the memory of a save back to the system, on every path.
struct MemoryRelease {
    ~MemoryRelease() { sys_release_unused_memory(); }
};

}  // namespace

ImageIO::SavingStatus ImageIOSavePrivate::save_private(CoreString const& filename, ImageSaveOptions& options,
                                                       ImageCanvas const& canvas, OfApp* app,
                                                       AppProgressBar* progress, GMathVec4<float> const* crop)
try {
    using namespace zv_image_io;
    if (!canvas.get_image() || canvas.get_image()->get_channel_count() == 0) {
        log_line(kLogError, "ImageIO Save failed: Image is empty!\n");
        return ImageIO::SAVING_STATUS_NOTHING_TO_SAVE;
    }
    SysTimer const timer;
    append_canvas_meta_data(options, canvas);
    Status status;
    {
        ChildBar const bar(app, progress, CoreString(" (") + CoreString::after_last(filename, '/') + ")");
        GMathVec4<int> const region = region_of(canvas, crop);
        if (is_all_zero(region))
            return ImageIO::SAVING_STATUS_NOTHING_TO_SAVE;
        ImageEvalContext const context(canvas, 0);
        status = ImageIOSave::save_generic(context, filename, options, canvas.get_map(), rectangle_of(canvas),
                                           region, app, bar.get());
    }
    MemoryRelease const release;
    if (status == ImageIO::SAVING_STATUS_SUCCESS)
        log_line(kLogInformation, "File '", filename, "' saved in ",
                 static_cast<unsigned long long>(timer.get_elapsed_time()), "ms.\n");
    return status;
} catch (...) {
    zv_image_io::log_save_exception(filename);
    return ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE;
}
