#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <string>

#include "host/sys/sys_filesystem.h"
#include "image_io/frame/image_io.h"
#include "image_io/frame/log_exception.h"
#include "image_io/frame/log_line.h"
#include "image_io/load/channel_names.h"
#include "image_io/load/image_header.h"
#include "image_io/load/image_io_load.h"
#include "image_io/load/reader_guards.h"

namespace zv_image_io {

namespace {

CoreString string_attribute(OIIO::ImageSpec const& spec, char const* name)
{
    return CoreString(std::string_view(spec.get_string_attribute(name)));
}

/// Straight alpha of these formats comes back as it stands in the file; the load options say what becomes of it.
bool keeps_straight_alpha(CoreString const& path)
{
    return path.end_with(".tif") || path.end_with(".tiff") || path.end_with(".tga");
}

std::unique_ptr<OIIO::ImageInput> create_reader(CoreString const& path)
{
    try {
        return OIIO::ImageInput::create(path.get_data(), false, nullptr, nullptr, "");
    } catch (...) {
        return nullptr;
    }
}

bool open_reader(OIIO::ImageInput& input, CoreString const& path, OIIO::ImageSpec& spec)
{
    OIIO::ImageSpec configuration(OIIO::TypeDesc::UNKNOWN);
    if (keeps_straight_alpha(path))
        configuration.attribute("oiio:UnassociatedAlpha", 1);
    std::string const name = path.get_data();  // here, where lack of memory is not the file's failure
    try {
        return input.open(name, spec, configuration);
    } catch (...) {
        return false;
    }
}

/// Logs why a file cannot be read. The library's global text is fetched whether it is logged or not, so that it does not
/// turn up behind the next failure of this thread. It is empty after a refused open: a reader keeps its own text.
void log_failure(CoreString const& path, char const* what)
{
    CoreString const error{std::string_view(OIIO::geterror())};
    log_line(kLogWarning, "Failed to load image '", path, "': ", what);
    if (!error.is_empty())
        log_line(kLogWarning, " ", error, "\n");
}

void fill_header(OIIO::ImageSpec const& spec, ImageHeader& header)
{
    header.comment = string_attribute(spec, "Comment");
    header.color_space = string_attribute(spec, "oiio:ColorSpace");
    header.data_window = GMathVec4<int>(spec.x, spec.y, spec.width, spec.height);
    header.display_window = GMathVec4<int>(spec.full_x, spec.full_y, spec.full_width, spec.full_height);
    header.channel_count = spec.nchannels;
    header.channel_names = CoreArray<CoreString>(unsigned(std::max(spec.nchannels, 0)));
    for (unsigned int i = 0; i < header.channel_names.get_count(); ++i)
        header.channel_names[i] = file_channel_name(spec, int(i));
    header.is_tiled = spec.tile_width > 0 && spec.tile_height > 0 && spec.tile_depth > 0;
    // Unlike the other texts an absent one leaves what the record held.
    CoreString const compression = string_attribute(spec, "compression");
    if (!compression.is_empty())
        header.compression = compression;
}

}  // namespace

}  // namespace zv_image_io

ImageHeader::ImageHeader() = default;

bool ImageIOLoad::load_header(CoreString const& path, std::unique_ptr<OIIO::ImageInput>& input,
                              OIIO::ImageSpec& spec)
try {
    return open_picture(path, input, spec);
} catch (...) {
    zv_image_io::log_load_exception(path);
    input.reset();
    return false;
}

bool ImageIOLoad::open_picture(CoreString const& path, std::unique_ptr<OIIO::ImageInput>& input,
                               OIIO::ImageSpec& spec)
{
    using namespace zv_image_io;
    if (path.is_empty())
        log_line(kLogWarning, "Loading image header: file name is empty.\n");
    // To look for a reader opens the file already.
    bool const is_safe = survives_reading(path.get_data());
    if (is_safe)
        input = create_reader(path);
    if (is_safe && !input) {
        log_failure(path, "could not create image input.\n");
        return false;
    }
    if (!is_safe || !survives_reading(path.get_data(), input->format_name()) ||
        !open_reader(*input, path, spec)) {
        log_failure(path, "could not open file.\n");
        input.reset();
        return false;
    }
    return true;
}

bool ImageIO::get_image_specs(CoreString const& path, ImageHeader& header)
{
    if (!SysFilesystem::file_exists(path)) {
        header.data_window = header.display_window = GMathVec4<int>(0, 0, 512, 512);
        return false;
    }
    OIIO::ImageSpec spec(OIIO::TypeDesc::UNKNOWN);
    std::unique_ptr<OIIO::ImageInput> input;
    if (!ImageIOLoad::load_header(path, input, spec))
        return false;
    try {
        zv_image_io::fill_header(spec, header);
        input->close();
    } catch (...) {
        zv_image_io::log_load_exception(path);
        return false;
    }
    return true;
}
