#include "image_io/save/image_io_output.h"

#include <ImfHeader.h>
#include <ImfThreading.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <string>

#include "host/app_base/app_base.h"
#include "host/colorio/color_io_manager.h"
#include "host/image/image_eval_context.h"
#include "host/image/image_map.h"
#include "host/image/image_map_pyramid.h"
#include "host/of/of_app.h"
#include "image_io/frame/checked_image_output.h"
#include "image_io/frame/log_line.h"
#include "image_io/pixels/window.h"
#include "image_io/save/exr_file.h"
#include "image_io/save/exr_guard.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"

using zv_image_io::kLogError;
using zv_image_io::kLogInformation;
using zv_image_io::log_line;
using zv_image_io::run_guarded;
using zv_image_io::Window;

namespace {

constexpr char const* kOpenPrefix = "ImageIOOutput::open_exr: OpenEXR exception: ";

ImageMap const* map_of(ImageEvalContext const& context)
{
    return context.m_pyramid ? context.m_pyramid->get_image() : nullptr;
}

/// The part of a region between two corners, the second outside. Empty if there is none.
Window intersection(Window const& region, Window const& limits)
{
    std::int64_t const x = std::max(region.x, limits.x), y = std::max(region.y, limits.y);
    std::int64_t const width = std::min(region.end_x(), limits.end_x()) - x;
    std::int64_t const height = std::min(region.end_y(), limits.end_y()) - y;
    if (width < 1 || height < 1)
        return {};
    return {int(x), int(y), int(width), int(height)};
}

}  // namespace

ImageIOOutput::ImageIOOutput(ImageMap const* map, CoreString const& name, CoreString const& filename,
                             AppBase* app)
    : m_app(app)
    , m_name(name)
    , m_filename(filename)
    , m_image_map(map)
{
}

ImageIOOutput::~ImageIOOutput()
{
    if (!m_is_nobodys)
        close();
}

bool ImageIOOutput::open(OfApp* app, ImageSaveOptions const& options, GMathVec4<int> const& region,
                         GMathVec4<int> const& canvas_rectangle, int tile_size)
try {
    if (m_is_nobodys)
        return false;
    close_file();
    m_was_written = m_has_failed = m_has_regions = m_is_dropped = false;
    m_tile_size = tile_size;
    m_write_mode = app && app->tiling_mode != 0 && tile_size != 0 ? WRITE_MODE_TILED : WRITE_MODE_SCANLINE;
    m_color_space = CoreString::after_first(options.color_space,
                                            ColorIOManager::s_instance->get_color_space_enum_separator());
    m_write_type = options.is_file_exr() ? WRITE_TYPE_EXR : WRITE_TYPE_OIIO;
    bool const is_open = m_write_type == WRITE_TYPE_EXR ? create_exr(app, options, region, canvas_rectangle)
                                                        : create_oiio(app, options, region, canvas_rectangle);
    if (!is_open)
        return open_fail();
    log_line(kLogInformation, "Opened '", m_filename, "' for writing.\n");
    return true;
} catch (...) {
    return open_fail();
}

bool ImageIOOutput::create_exr(OfApp* app, ImageSaveOptions const& options, GMathVec4<int> const& region,
                               GMathVec4<int> const& canvas_rectangle)
{
    Imf_2_4::Header* header = nullptr;
    bool const write_rgba = !app || !app->output_aovs_only;
    bool const is_built = run_guarded(kOpenPrefix, "\n", [&] {
        header = ImageIOSave::build_openexr_header(app, options, m_channels, m_tile_size, canvas_rectangle,
                                                   region, write_rgba);
    });
    return is_built && open_exr(header);
}

bool ImageIOOutput::create_oiio(OfApp* app, ImageSaveOptions const& options, GMathVec4<int> const& region,
                                GMathVec4<int> const& canvas_rectangle)
{
    if (!open_oiio(ImageIOSave::build_image_output(app, options, m_filename, m_channels, m_tile_size,
                                                   canvas_rectangle, region, options.color_space)))
        return false;
    if (m_write_mode == WRITE_MODE_TILED && m_oiio_file->supports("tiles") == 0)
        m_write_mode = WRITE_MODE_SCANLINE;
    return true;
}

bool ImageIOOutput::open_exr(Imf_2_4::Header* header)
{
    if (!header)
        return false;
    m_header.reset(header);
    return run_guarded(kOpenPrefix, "\n", [&] {
        std::string const path(m_filename.view());
        // Read at each file: it is 0 at first, and OpenImageIO changes it.
        int const thread_count = Imf_2_4::globalThreadCount();
        if (header->hasTileDescription())
            m_tiled_file = std::make_unique<zv_image_io::ExrTiledFile>(path, *header, thread_count);
        else
            m_scanline_file = std::make_unique<zv_image_io::ExrScanlineFile>(path, *header, thread_count);
    });
}

bool ImageIOOutput::open_oiio(std::unique_ptr<OIIO::ImageOutput> output)
{
    m_oiio_file = std::move(output);
    return m_oiio_file != nullptr;
}

bool ImageIOOutput::open_fail()
{
    log_line(kLogError, "Failed to open '", m_filename, "' for writing.\n");
    return false;
}

ImageIO::SavingStatus ImageIOOutput::write_fail()
{
    log_line(kLogError, "Failed to write '", m_filename, "'.\n");
    return ImageIO::SAVING_STATUS_WRITE_FAILED;
}

bool ImageIOOutput::is_writable() const
{
    return !m_was_written && (m_oiio_file || m_scanline_file || m_tiled_file);
}

/// Of an OpenEXR file, also those of a region that failed half-way.
bool ImageIOOutput::has_blocks() const
{
    return (m_scanline_file && m_scanline_file->has_lines()) || (m_tiled_file && m_tiled_file->has_tiles());
}

/// False for a file in the mode of tiles that was opened without any: tiling modes other than 0 and 1 make such ones.
bool ImageIOOutput::has_tiles_to_write() const
{
    return m_write_mode != WRITE_MODE_TILED || m_oiio_file->spec().tile_width > 0;
}

ImageIO::SavingStatus ImageIOOutput::write(ImageEvalContext& context, AppProgressBar* progress)
try {
    log_line(kLogInformation, "Writing '", m_filename, "' ...\n");
    if (!is_writable())
        return write_fail();
    m_was_written = true;
    m_has_regions |= has_blocks();
    m_is_dropped = false;
    bool const is_written =
        m_write_type == WRITE_TYPE_EXR ? write_exr(context, progress) : write_oiio(context, progress);
    m_has_failed = !is_written;
    return is_written ? ImageIO::SAVING_STATUS_SUCCESS : write_fail();
} catch (...) {
    m_has_failed = true;
    return write_fail();
}

bool ImageIOOutput::write_exr(ImageEvalContext& context, AppProgressBar* progress)
{
    auto const tile_size = static_cast<unsigned int>(m_tile_size);
    if (m_write_mode == WRITE_MODE_SCANLINE)
        return m_scanline_file && ImageIOSave::save_openexr_scanline(*m_header, *m_scanline_file, m_channels,
                                                                     tile_size, m_color_space, progress);
    return m_tiled_file && ImageIOSave::save_openexr_tiled(context, *m_header, *m_tiled_file, m_channels,
                                                           tile_size, m_color_space, progress);
}

bool ImageIOOutput::write_oiio(ImageEvalContext& context, AppProgressBar* progress)
{
    if (!has_tiles_to_write())
        return false;
    ImageMap const* const map = map_of(context);
    auto const save = m_write_mode == WRITE_MODE_TILED ? ImageIOSave::save_tiled : ImageIOSave::save_scanline;
    bool const is_written = map && save(m_oiio_file.get(), m_channels, map, m_color_space, progress);
    if (!is_written)
        log_oiio_error();
    return is_written;
}

ImageIO::SavingStatus ImageIOOutput::write_region(ImageEvalContext& context, GMathVec4<int> const& region,
                                                  AppProgressBar* progress)
try {
    if (!is_writable())
        return write_fail();
    Window const part = clip(region);
    if (part.is_empty())
        return ImageIO::SAVING_STATUS_SUCCESS;
    log_line(kLogInformation, "Saving ", m_write_mode == WRITE_MODE_TILED ? "tiled" : "scanline", " region (",
             part.x, ", ", part.y, ", ", part.width, ", ", part.height, ")...\n");
    bool const is_written = m_write_type == WRITE_TYPE_EXR
                                ? write_exr_region(context, part.rectangle(), progress)
                                : write_oiio_region(context, part.rectangle(), progress);
    m_has_regions |= is_written;
    return is_written ? ImageIO::SAVING_STATUS_SUCCESS : write_fail();
} catch (...) {
    return write_fail();
}

/// The part of a region that lies in the file.
Window ImageIOOutput::clip(GMathVec4<int> const& region) const
{
    if (m_write_type == WRITE_TYPE_EXR) {
        Imath_2_4::Box2i const& data = m_header->dataWindow();
        return intersection(
            zv_image_io::window_of(region),
            {data.min.x, data.min.y, data.max.x - data.min.x + 1, data.max.y - data.min.y + 1});
    }
    // From 0, whatever the origin of the picture is.
    OIIO::ImageSpec const& spec = m_oiio_file->spec();
    return intersection(zv_image_io::window_of(region), {0, 0, spec.width, spec.height});
}

bool ImageIOOutput::write_exr_region(ImageEvalContext& context, GMathVec4<int> const& region,
                                     AppProgressBar* progress)
{
    if (m_write_mode == WRITE_MODE_SCANLINE)
        return m_scanline_file && ImageIOSave::save_openexr_scanline_region(
                                      *m_header, *m_scanline_file, region, m_channels,
                                      static_cast<unsigned int>(m_tile_size), m_color_space, progress);
    return m_tiled_file &&
           ImageIOSave::save_openexr_tiled_region(context, *m_header, *m_tiled_file, region, m_channels,
                                                  m_tile_size, m_color_space, progress);
}

bool ImageIOOutput::write_oiio_region(ImageEvalContext& context, GMathVec4<int> const& region,
                                      AppProgressBar* progress)
{
    if (!has_tiles_to_write())
        return false;
    ImageMap const* const map = map_of(context);
    auto const save =
        m_write_mode == WRITE_MODE_TILED ? ImageIOSave::save_tiled_region : ImageIOSave::save_scanline_region;
    bool const is_written = map && save(m_oiio_file.get(), region, m_channels, map, m_color_space, progress);
    if (!is_written)
        log_oiio_error();
    return is_written;
}

void ImageIOOutput::log_oiio_error()
{
    std::string const error = m_oiio_file->geterror();
    if (!error.empty())
        log_line(kLogError, "OpenImageIO error: ", error.c_str(), "\n");
}

void ImageIOOutput::close_oiio()
{
    if (!m_oiio_file)
        return;
    bool is_closed = false;
    try {
        is_closed = m_oiio_file->close();
    } catch (...) {
    }
    if (!is_closed) {
        log_line(kLogError, "Error while closing '", m_filename, "'.\n");
        log_oiio_error();
    }
    if (m_is_dropped && !m_has_regions)
        if (auto* const file = dynamic_cast<zv_image_io::CheckedImageOutput*>(m_oiio_file.get()))
            file->remove_file();
    m_oiio_file.reset();
}

/// A file that nobody called `write` for keeps what was handed over, and so does one of whose regions `write` could not
/// make a whole picture. One that has none, or does not hold what it was given, goes away.
template <class File>
void ImageIOOutput::close_exr(std::unique_ptr<File>& file)
{
    if (!file)
        return;
    bool const is_worth_keeping = m_has_regions || !(m_has_failed || m_is_dropped);
    if (file->is_open() && is_worth_keeping && !file->has_failed()) {
        try {
            file->finish_early();
        } catch (...) {
            log_line(kLogError, "Error while closing '", m_filename, "'.\n");
        }
    }
    file.reset();
}

void ImageIOOutput::close_file()
{
    close_oiio();
    close_exr(m_scanline_file);
    close_exr(m_tiled_file);
    m_header.reset();
}

void ImageIOOutput::close()
try {
    close_file();
    log_line(kLogInformation, "Closed '", m_filename, "'.\n");
    m_write_type = WRITE_TYPE_CLOSED;
} catch (...) {
    m_write_type = WRITE_TYPE_CLOSED;
}

void ImageIOOutput::drop_if_empty()
{
    m_is_dropped = !m_was_written && !m_has_regions && !has_blocks();
}

AppBase* ImageIOOutput::get_app() const
{
    return m_app;
}

unsigned int ImageIOOutput::get_channel_count() const
{
    return m_channels.get_count();
}

CoreVector<ImageMapChannel*>& ImageIOOutput::get_channels()
{
    return m_channels;
}

CoreString ImageIOOutput::get_description() const
{
    return "'" + m_filename + "'";
}

CoreString const& ImageIOOutput::get_filename() const
{
    return m_filename;
}

Imf_2_4::Header* ImageIOOutput::get_header_exr()
{
    return m_header.get();
}

CoreString const& ImageIOOutput::get_name() const
{
    return m_name;
}

ImageIOOutput::WriteMode ImageIOOutput::get_write_mode() const
{
    return m_write_mode;
}

ImageIOOutput::WriteType ImageIOOutput::get_write_type() const
{
    return m_write_type;
}

void ImageIOOutput::set_image_map(ImageMap const* map)
{
    m_image_map = map;
}
