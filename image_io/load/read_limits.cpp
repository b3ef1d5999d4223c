#include "image_io/load/read_limits.h"

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "image_io/pixels/window.h"

namespace zv_image_io {

namespace {

int limit(char const* name)
{
    int value = 0;
    return OIIO::getattribute(name, value) ? value : 0;
}

/// Bytes of `width` by `height` by `depth` pixels as the reader hands them over, or nothing if that does not fit.
std::optional<std::size_t> byte_count(OIIO::ImageSpec const& spec, int width, int height, int depth)
{
    return size_product(std::size_t(std::max(width, 0)), std::size_t(std::max(height, 0)),
                        std::size_t(std::max(depth, 1)), std::size_t(std::max(spec.nchannels, 0)),
                        spec.format.size());
}

bool is_above(std::optional<std::size_t> bytes, int megabytes)
{
    return !bytes || (megabytes > 0 && *bytes > std::size_t(megabytes) << 20);
}

// A file that is cut short is read as far as it goes: of this one less than a sixty-fourth is there.
constexpr std::uintmax_t kTrace = 64;
constexpr std::uintmax_t kLarge = 64 << 20;

bool is_uncompressed(OIIO::ImageSpec const& spec, OIIO::ImageInput const& input)
{
    std::string_view const format = input.format_name();
    return format == "fits" || (format == "dpx" && spec.get_string_attribute("compression").empty());
}

bool holds_a_trace(OIIO::ImageSpec const& spec, CoreString const& path)
{
    std::error_code error;
    std::uintmax_t const held = std::filesystem::file_size(path.get_data(), error);
    auto const bits = static_cast<std::uintmax_t>(
        std::max(1, spec.get_int_attribute("oiio:BitsPerSample", static_cast<int>(spec.format.size() * 8))));
    auto const samples = byte_count(spec, spec.width, spec.height, spec.depth).value_or(0) /
                         std::max<std::size_t>(spec.format.size(), 1);
    std::uintmax_t const declared = samples / 8 * bits;
    return !error && declared > kLarge && declared / kTrace > held;
}

}  // namespace

CoreString refusal(OIIO::ImageSpec const& spec)
{
    int const most_channels = limit("limits:channels");
    if (spec.nchannels < 0 || (most_channels > 0 && spec.nchannels > most_channels))
        return CoreString() + spec.nchannels + " channels, the limit is " + most_channels;
    Window const data{spec.x, spec.y, spec.width, spec.height};
    Window const display{spec.full_x, spec.full_y, spec.full_width, spec.full_height};
    if (data.is_empty() || !data.fits_int() || !display.fits_int())
        return "its windows are out of range";
    int const most_megabytes = limit("limits:imagesize_MB");
    if (is_above(byte_count(spec, spec.width, spec.height, spec.depth), most_megabytes))
        return CoreString() + "its pixels are above the limit of " + most_megabytes + " MB";
    if (is_above(byte_count(spec, spec.tile_width, spec.tile_height, spec.tile_depth), most_megabytes))
        return CoreString() + "its tiles are above the limit of " + most_megabytes + " MB";
    return {};
}

CoreString refusal(OIIO::ImageSpec const& spec, OIIO::ImageInput const& input, CoreString const& path)
{
    CoreString const reason = refusal(spec);
    if (reason.is_empty() && is_uncompressed(spec, input) && holds_a_trace(spec, path))
        return "the file holds next to nothing of its pixels";
    return reason;
}

}  // namespace zv_image_io
