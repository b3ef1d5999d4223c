#include "image_io/frame/writer_limits.h"

#include <algorithm>
#include <climits>
#include <iterator>
#include <string_view>

namespace zv_image_io {

namespace {

/// The JPEG library ends the process when it is asked for more.
constexpr std::size_t kMaximumJpegEdge = 65500;

/// The WebP writer calls itself for ever after a picture that its library refuses.
constexpr std::size_t kMaximumWebpEdge = 16383;

/// Their writers take the origin for a place in the picture, and write outside of their memory.
constexpr std::string_view kWithoutOrigin[] = {"dpx", "gif", "heif", "rla", "webp"};

constexpr std::string_view kForgetful[] = {"fits", "heif", "ico", "rla", "sgi", "zfile"};

template <std::size_t Count>
bool has(std::string_view const (&formats)[Count], std::string_view format)
{
    return std::find(std::begin(formats), std::end(formats), format) != std::end(formats);
}

bool is_too_large(ImageShape const& shape)
{
    constexpr std::size_t kMaximumBytes = PTRDIFF_MAX;
    std::size_t bytes = shape.sample_bytes;
    for (std::size_t factor : {shape.channels, shape.width, shape.height}) {
        if (factor > INT_MAX || bytes > kMaximumBytes / factor)
            return true;
        bytes *= factor;
    }
    return false;
}

std::string find_format_objection(std::string const& format, ImageShape const& shape)
{
    if (format == "jpeg" && (shape.width > kMaximumJpegEdge || shape.height > kMaximumJpegEdge))
        return "JPEG files have at most " + std::to_string(kMaximumJpegEdge) + " pixels an edge";
    if (format == "webp" && (shape.width > kMaximumWebpEdge || shape.height > kMaximumWebpEdge))
        return "WebP files have at most " + std::to_string(kMaximumWebpEdge) + " pixels an edge";
    if (format == "dpx" && shape.channels != 1 && shape.channels != 3 && shape.channels != 4)
        return "DPX files have 1, 3 or 4 channels";  // the writer aborts the process at all others
    if (shape.has_origin && has(kWithoutOrigin, format))
        return "files of this format begin at pixel (0, 0)";
    return {};
}

}  // namespace

std::string find_objection(std::string const& format, ImageShape const& shape)
{
    if (shape.channels == 0)
        return "the image has no channels";
    if (shape.width == 0 || shape.height == 0)
        return "the image has no size";
    if (is_too_large(shape))
        return "the image is too large";
    return find_format_objection(format, shape);
}

bool forgets_refused_bytes(std::string const& format)
{
    return has(kForgetful, format);
}

std::size_t row_bytes_read(std::string const& format, ImageShape const& shape)
{
    if (format != "heif")
        return 0;
    // The rows of its library: at least 64 pixels, an even number of them, and a multiple of 16 bytes.
    return std::max<std::size_t>(shape.width + 1, 64) * shape.channels + 15;
}

}  // namespace zv_image_io
