#include <OpenImageIO/imageio.h>

#include <climits>
#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "image_io/frame/checked_file.h"
#include "image_io/frame/image_io.h"
#include "image_io/frame/log_line.h"

namespace {

using zv_image_io::CheckedFile;

/// An interleaved buffer on its way to a file.
struct PixelBuffer {
    OIIO::TypeDesc type;
    void const* pixels;
    unsigned int channels, width, height;
};

/// The JPEG library ends the process when it is asked for more.
constexpr unsigned int kMaximumJpegEdge = 65500;

std::string find_format_objection(std::string const& format, PixelBuffer const& buffer)
{
    if (format == "jpeg" && (buffer.width > kMaximumJpegEdge || buffer.height > kMaximumJpegEdge))
        return "JPEG files have at most " + std::to_string(kMaximumJpegEdge) + " pixels an edge";
    if (format == "dpx" && buffer.channels != 1 && buffer.channels != 3 && buffer.channels != 4)
        return "DPX files have 1, 3 or 4 channels";  // the writer aborts the process at all others
    return {};
}

/// Why no writer should see a buffer of this shape; empty if it is fit. Writers answer some of these with a
/// crash.
std::string find_objection(OIIO::ImageOutput const& output, PixelBuffer const& buffer)
{
    if (!buffer.pixels)
        return "there are no pixels";
    if (buffer.channels == 0)
        return "the image has no channels";
    if (buffer.width == 0 || buffer.height == 0)
        return "the image has no size";
    constexpr std::size_t kMaximumBytes = PTRDIFF_MAX;
    std::size_t bytes = buffer.type.size();
    for (unsigned int factor : {buffer.channels, buffer.width, buffer.height}) {
        if (factor > INT_MAX || bytes > kMaximumBytes / factor)
            return "the image is too large";
        bytes *= factor;
    }
    return find_format_objection(output.format_name(), buffer);
}

/// Opens, writes and closes. Gives the reason of a failure, which may be empty, or nothing after a success.
std::optional<std::string> write_file(OIIO::ImageOutput& output, std::string const& path,
                                      PixelBuffer const& buffer, CheckedFile* file)
{
    OIIO::ImageSpec const spec(static_cast<int>(buffer.width), static_cast<int>(buffer.height),
                               static_cast<int>(buffer.channels), buffer.type);
    if (!output.open(path, spec, OIIO::ImageOutput::Create)) {
        std::string error = output.geterror();
        if (file)
            file->discard();
        return error;
    }
    bool const is_written = output.write_image(buffer.type, buffer.pixels);
    output.close();  // The result plays no part: what was refused on the way is known to the file.
    std::string const error = output.geterror();
    if (file && !file->finish())
        return file->trouble();
    return is_written ? std::nullopt : std::optional(error);
}

/// The same, through a file that notices what the writer overlooks, where the format takes one.
std::optional<std::string> write_checked(std::unique_ptr<OIIO::ImageOutput> output, std::string const& path,
                                         PixelBuffer const& buffer)
{
    if (std::string objection = find_objection(*output, buffer); !objection.empty())
        return objection;
    if (!output->supports("ioproxy"))
        return write_file(*output, path, buffer, nullptr);
    CheckedFile file(path);
    if (!file.is_open())
        return "Could not open file \"" + path + "\"";  // as the writers word it
    auto const writer = std::move(output);              // goes before its file, on every path
    writer->set_ioproxy(&file);
    return write_file(*writer, path, buffer, &file);
}

bool save_buffer(CoreString const& path, PixelBuffer const& buffer) noexcept
{
    try {
        std::optional<std::string> failure;
        std::string const name(path.view());
        try {
            auto output = OIIO::ImageOutput::create(name, nullptr, "");
            if (!output) {
                OIIO::geterror();  // nobody asks for this text; a later message must not carry it
                return false;
            }
            failure = write_checked(std::move(output), name, buffer);
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
        return false;  // no memory for the message
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
