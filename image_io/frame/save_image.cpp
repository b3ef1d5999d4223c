#include <OpenImageIO/imageio.h>

#include <exception>
#include <optional>
#include <string>

#include "image_io/frame/checked_image_output.h"
#include "image_io/frame/image_io.h"
#include "image_io/frame/log_exception.h"
#include "image_io/frame/log_line.h"
#include "image_io/frame/writer_limits.h"

namespace {

using zv_image_io::CheckedImageOutput;

/// An interleaved buffer on its way to a file.
struct PixelBuffer {
    OIIO::TypeDesc type;
    void const* pixels;
    unsigned int channels, width, height;
};

std::string find_objection(OIIO::ImageOutput const& output, PixelBuffer const& buffer)
{
    if (!buffer.pixels)
        return "there are no pixels";
    return zv_image_io::find_objection(
        output.format_name(), {buffer.channels, buffer.width, buffer.height, buffer.type.size(), false});
}

/// Opens, writes and closes. Gives the reason of a failure, which may be empty, or nothing after a success.
std::optional<std::string> write_file(CheckedImageOutput& output, std::string const& path,
                                      PixelBuffer const& buffer)
{
    if (std::string objection = find_objection(output, buffer); !objection.empty())
        return objection;
    OIIO::ImageSpec const spec(static_cast<int>(buffer.width), static_cast<int>(buffer.height),
                               static_cast<int>(buffer.channels), buffer.type);
    if (!output.open(path, spec, OIIO::ImageOutput::Create))
        return output.geterror();
    bool const is_written = output.write_image(buffer.type, buffer.pixels);
    output.close_and_keep();  // The result plays no part: what was refused on the way is known.
    if (is_written && !output.has_trouble())
        return std::nullopt;
    output.remove_file();
    return output.geterror();
}

bool save_buffer(CoreString const& path, PixelBuffer const& buffer) noexcept
{
    try {
        std::optional<std::string> failure;
        std::string const name(path.view());
        try {
            auto const output = CheckedImageOutput::make(name);
            if (!output)
                return false;
            failure = write_file(*output, name, buffer);
        } catch (std::exception const& error) {
            failure = error.what();
        } catch (...) {
            failure = "unknown exception";
        }
        if (failure)
            zv_image_io::log_line(zv_image_io::kLogError, "Could not write ", path,
                                  ", error = ", failure->c_str(), "\n");
        return !failure;
    } catch (...) {
        zv_image_io::log_save_exception(path);
        return false;
    }
}

}  // namespace

bool ImageIO::save_image(CoreString const& path, unsigned char const* pixels, unsigned int channels,
                         unsigned int width, unsigned int height)
{
    return save_buffer(path, {OIIO::TypeDesc::UINT8, pixels, channels, width, height});
}

bool ImageIO::save_image(CoreString const& path, float const* pixels, unsigned int channels,
                         unsigned int width, unsigned int height)
{
    return save_buffer(path, {OIIO::TypeDesc::FLOAT, pixels, channels, width, height});
}
