#include "image_io/load/read_limits.h"

#include <OpenImageIO/imageio.h>

#include <algorithm>

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

}  // namespace zv_image_io
