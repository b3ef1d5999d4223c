#include <OpenImageIO/imageio.h>

#include <exception>
#include <new>

#include "host/app_base/app_progress_bar.h"
#include "host/colorio/color_io.h"
#include "host/image/image_canvas.h"
#include "host/image/image_map.h"
#include "host/sys/sys_filesystem.h"
#include "host/sys/sys_timer.h"
#include "image_io/frame/log_exception.h"
#include "image_io/frame/log_line.h"
#include "image_io/frame/progress_task.h"
#include "image_io/load/guarded_read.h"
#include "image_io/load/image_io_load.h"
#include "image_io/load/map_channels.h"
#include "image_io/load/pixel_pass.h"
#include "image_io/load/read_limits.h"

namespace zv_image_io {

namespace {

void close_reader(OIIO::ImageInput& input, ImageLoadReport& report)
{
    guarded_read(input, report, [&] { return input.close(); });
}

/// Whether there is a picture that may be read; a refused one is logged.
bool is_acceptable(CoreString const& path, OIIO::ImageInput const& input, OIIO::ImageSpec const& spec)
{
    if (spec.nchannels == 0)
        return false;
    CoreString const reason = refusal(spec, input, path);
    if (!reason.is_empty())
        log_line(kLogWarning, "Failed to load image '", path, "': ", reason, ".\n");
    return reason.is_empty();
}

void add_opaque_alpha(ImageMap& map, GMathVec4<int> const& data_window, ImageLoadReport& report)
{
    bool const has_alpha = map.m_rgba_channels && map.m_rgba_channels->m_alpha;
    if (map.m_depth <= 0 || has_alpha)
        return;
    if (add_constant_alpha(map, data_window, report))
        map.m_depth = static_cast<ImagePixel::Depth>(map.m_depth + 1);
}

/// What is done to the whole image once its samples are there.
bool finish_pixels(ImageMap& map, GMathVec4<int> const& data_window, ImageLoadOptions const& options,
                   OfApp* app, ImageLoadReport& report)
{
    if (options.force_alpha)
        add_opaque_alpha(map, data_window, report);
    if (options.color_space == ColorIO::get_default_color_space_name() && !options.premultiply)
        return true;
    bool const is_done =
        run_pixel_pass(map, window_of(data_window), options.color_space, options.premultiply, app);
    if (!is_done)  // nothing else makes one fail
        note_lack_of_memory(report, "no memory for a pass over the pixels");
    return is_done;
}

/// Runs a step of a load; what is thrown ends as its failure, in the report and as a line of the log.
template <class Step>
bool guarded_step(CoreString const& path, ImageLoadReport& report, Step&& step)
{
    try {
        return step();
    } catch (std::bad_alloc const& exception) {
        note_lack_of_memory(report, exception.what());
        log_load_exception(path);
    } catch (std::exception const& exception) {
        note_error(report, exception.what());
        log_load_exception(path);
    } catch (...) {
        note_error(report, "unknown exception");
        log_load_exception(path);
    }
    return false;
}

}  // namespace

}  // namespace zv_image_io

CoreClassInfo const& ImageIOLoad::class_info()
{
    static CoreClassInfo const& record =
        CoreClassInfo::new_class("ImageIOLoad", ___class_destructor__, &CoreBaseType::class_info(), nullptr);
    return record;
}

CoreClassInfo const& ImageIOLoad::get_class_info() const
{
    return class_info();
}

bool ImageIOLoad::___class_destructor__(void* object, bool const&)
{
    delete static_cast<ImageIOLoad*>(object);
    return true;
}

bool ImageIOLoad::load_image(CoreString const& path, ImageCanvas& canvas, ImageLoadOptions const& options,
                             OfApp* app, AppProgressBar* progress)
{
    ImageLoadReport report;
    return load_image(path, canvas, options, app, progress, report);
}

bool ImageIOLoad::load_image(CoreString const& path, ImageCanvas& canvas, ImageLoadOptions const& options,
                             OfApp* app, AppProgressBar* progress, ImageLoadReport& report)
{
    SysTimer const timer;
    report = {};
    bool const result = zv_image_io::guarded_step(
        path, report, [&] { return load_picture(path, canvas, options, app, progress, report); });
    report.milliseconds = timer.get_elapsed_time();
    return result;
}

bool ImageIOLoad::load_picture(CoreString const& path, ImageCanvas& canvas, ImageLoadOptions const& options,
                               OfApp* app, AppProgressBar* progress, ImageLoadReport& report)
{
    using namespace zv_image_io;
    report.color_space = options.color_space;
    if (progress)
        progress->set_value(0.0f);
    if (!SysFilesystem::file_exists(path))
        return false;

    std::unique_ptr<OIIO::ImageInput> input;
    OIIO::ImageSpec spec(OIIO::TypeDesc::UNKNOWN);
    {
        ProgressTask const task(progress, "read header", 0.1f);
        if (!open_picture(path, input, spec))
            return false;
    }
    if (!is_acceptable(path, *input, spec)) {
        close_reader(*input, report);
        return false;
    }

    GMathVec4<int> data_window(spec.x, spec.y, spec.width, spec.height);
    GMathVec4<int> const display_window(spec.full_x, spec.full_y, spec.full_width, spec.full_height);
    ImageMap& map = *canvas.get_image();
    bool result;
    {
        ProgressTask const task(progress, "read data", 0.8f);
        result = guarded_step(path, report, [&] {
            return read_data(input.get(), spec, map, data_window, options, true, app, progress, report);
        });
    }
    result = result && guarded_step(path, report,
                                    [&] { return finish_pixels(map, data_window, options, app, report); });

    close_reader(*input, report);
    canvas.set_canvas(display_window, &data_window);
    canvas.finalize(true, false);
    return result;
}
