#include <memory>
#include <new>

#include "host/app_base/app_progress_bar.h"
#include "host/image/image_canvas.h"
#include "host/image/image_map_pyramid.h"
#include "image_io/frame/image_io.h"
#include "image_io/frame/log_exception.h"
#include "image_io/load/guarded_read.h"
#include "image_io/load/image_io_load.h"

namespace zv_image_io {

namespace {

constexpr int kTileSize = 64;

/// A canvas with the properties that it has before anything of the file is known.
std::unique_ptr<ImageCanvas> make_canvas(ImagePixel::RepeatMode repeat_u, ImagePixel::RepeatMode repeat_v)
{
    auto canvas = std::make_unique<ImageCanvas>(false);
    canvas->create_image(nullptr, ImagePixel::DEPTH_RGBA, ImagePixel::BIT_DEPTH_32,
                         ImagePixel::BIT_TYPE_FLOAT, kTileSize);
    canvas->m_pyramid->set_repeat_mode(repeat_u, repeat_v);
    return canvas;
}

}  // namespace

}  // namespace zv_image_io

ImageCanvas* ImageIO::load_image(CoreString const& path, ImageLoadOptions const& options, OfApp* app,
                                 AppProgressBar* progress, ImagePixel::RepeatMode repeat_u,
                                 ImagePixel::RepeatMode repeat_v)
{
    ImageLoadReport report;
    return load_image(path, options, app, progress, repeat_u, repeat_v, report);
}

ImageCanvas* ImageIO::load_image(CoreString const& path, ImageLoadOptions const& options, OfApp* app,
                                 AppProgressBar* progress, ImagePixel::RepeatMode repeat_u,
                                 ImagePixel::RepeatMode repeat_v, ImageLoadReport& report)
{
    try {
        std::unique_ptr<ImageCanvas> canvas = zv_image_io::make_canvas(repeat_u, repeat_v);
        if (progress)
            progress->set_value(0.0f);
        if (!ImageIOLoad::load_image(path, *canvas, options, app, progress, report))
            return nullptr;
        if (progress)
            progress->set_value(1.0f);
        return canvas.release();
    } catch (std::bad_alloc const& exception) {
        zv_image_io::note_lack_of_memory(report, exception.what());
        zv_image_io::log_load_exception(path);
        return nullptr;
    } catch (...) {
        zv_image_io::log_load_exception(path);
        return nullptr;
    }
}
