#include "tests/equality/reference_output.h"

#include <algorithm>

#include <Iex.h>

#include "host/app_base/app_progress_bar.h"
#include "host/colorio/color_io_manager.h"
#include "host/of/of_app.h"
#include "image_io/save/image_save_options.h"

namespace zv_equality {

namespace {

std::string without_family(std::string const& name)
{
    std::size_t const found = name.find(ColorIOManager::s_instance->get_color_space_enum_separator());
    return found == std::string::npos ? name : name.substr(found + 1);
}

}  // namespace

ReferenceOutput::ReferenceOutput(ImageMap const& map, std::string name, std::string filename,
                                 Channels channels)
    : m_map(map)
    , m_name(std::move(name))
    , m_filename(std::move(filename))
    , m_channels(std::move(channels))
{
}

ReferenceOutput::~ReferenceOutput()
{
    close();
}

bool ReferenceOutput::open(OfApp* app, ImageSaveOptions const& options, Place const& region,
                           Place const& canvas, int tile_size)
{
    m_tile_size = tile_size;
    m_is_tiled = app && app->tiling_mode != 0 && tile_size != 0;
    m_color_space = without_family(text_of(options.color_space));
    m_is_exr = static_cast<unsigned>(options.format) < 2;
    bool is_open = true;
    if (m_is_exr) {
        try {
            open_exr(app, options, region, canvas, tile_size);
        } catch (Iex::BaseExc const& exception) {
            say(1, std::string("ImageIOOutput::open_exr: OpenEXR exception: ") + exception.what() + "\n");
            is_open = false;
        }
    } else {
        is_open = open_oiio(app, options, region, canvas, tile_size);
    }
    if (!is_open) {
        say(1, "Failed to open " + quoted() + " for writing.\n");
        return false;
    }
    if (m_is_tiled && !m_is_exr && m_oiio->supports("tiles") == 0)
        m_is_tiled = false;
    say(3, "Opened " + quoted() + " for writing.\n");
    return true;
}

Status ReferenceOutput::write(ImageEvalContext& context, AppProgressBar* progress)
{
    say(3, "Writing " + quoted() + " ...\n");
    if (m_is_exr) {
        try {
            finish_exr(context, progress);
        } catch (Iex::BaseExc const&) {
            return write_fail();
        }
        return 0;
    }
    OIIO::ImageSpec const& spec = m_oiio->spec();
    Place const window(spec.x, spec.y, spec.width, spec.height);
    bool const written =
        m_is_tiled ? write_oiio_tiles(window, progress) : write_oiio_strips(window, progress);
    bool const closed = m_oiio->close();
    if (progress)
        progress->set_value(1.0f);
    if (written && closed)
        return 0;
    say_writer_error();
    return write_fail();
}

Status ReferenceOutput::write_region(ImageEvalContext& context, Place const& region, AppProgressBar* progress)
{
    Place limits;
    if (m_is_exr)
        limits = exr_window();
    else
        limits = Place(0, 0, m_oiio->spec().width, m_oiio->spec().height);
    int const x = std::max(region.x, limits.x), y = std::max(region.y, limits.y);
    Place const clipped(x, y, std::min(region.end_x(), limits.end_x()) - x,
                        std::min(region.end_y(), limits.end_y()) - y);
    if (clipped.width < 1 || clipped.height < 1)
        return 0;
    say(3, std::string("Saving ") + (m_is_tiled ? "tiled" : "scanline") + " region (" +
               std::to_string(clipped.x) + ", " + std::to_string(clipped.y) + ", " +
               std::to_string(clipped.width) + ", " + std::to_string(clipped.height) + ")...\n");
    bool written = true;
    try {
        if (m_is_exr && m_is_tiled)
            write_exr_tiles(context, clipped, progress);
        else if (m_is_exr)
            write_exr_lines(clipped, progress);
        else
            written = m_is_tiled ? write_oiio_tiles(clipped, progress) : write_oiio_strips(clipped, progress);
    } catch (Iex::BaseExc const&) {
        return write_fail();
    }
    if (written)
        return 0;
    say_writer_error();
    return write_fail();
}

Status ReferenceOutput::write_fail()
{
    say(1, "Failed to write " + quoted() + ".\n");
    return 3;
}

void ReferenceOutput::say_writer_error()
{
    std::string const error = m_oiio->geterror();
    if (!error.empty())
        say(1, "OpenImageIO error: " + error + "\n");
}

void ReferenceOutput::close()
{
    if (m_oiio && !m_oiio->close()) {
        say(1, "Error while closing " + quoted() + ".\n");
        say_writer_error();
    }
    m_oiio.reset();
    m_lines.reset();
    m_tiles.reset();
    m_header.reset();
    say(3, "Closed " + quoted() + ".\n");
}

}  // namespace zv_equality
