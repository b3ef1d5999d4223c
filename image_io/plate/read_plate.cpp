#include "image_io/plate/read_plate.h"

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace zv_image_io {

namespace {

constexpr int kChannels = 4;
constexpr OIIO::stride_t kPixelBytes = kChannels * sizeof(float);

/// Tiled files are read tile row by tile row, since they give nothing smaller; the rows that count are copied.
bool read_tile_rows(OIIO::ImageInput& input, OIIO::ImageSpec const& spec, float* pixels)
{
    if (spec.y > 0)
        return false;  // row 0 lies in front of the window, which readers of scanline files refuse
    std::size_t const row_length = std::size_t(spec.width) * kChannels;
    std::vector<float> band(row_length * std::size_t(spec.tile_height));
    int const window_end = spec.y + spec.height;
    for (int top = spec.y; top < window_end; top += spec.tile_height) {
        int const bottom = std::min(top + spec.tile_height, window_end);
        int const first = std::max(top, 0), last = std::min(bottom, spec.height);
        if (first >= last)
            continue;
        if (!input.read_tiles(0, 0, spec.x, spec.x + spec.width, top, bottom, spec.z, spec.z + 1, 0,
                              kChannels, OIIO::TypeDesc::FLOAT, band.data(), kPixelBytes))
            return false;
        std::copy_n(band.data() + std::size_t(first - top) * row_length,
                    std::size_t(last - first) * row_length, pixels + std::size_t(first) * row_length);
    }
    return true;
}

}  // namespace

bool read_plate_rows(OIIO::ImageInput& input, OIIO::ImageSpec const& spec, float* pixels)
{
    if (spec.tile_width > 0)  // read_scanlines would divide by zero
        return read_tile_rows(input, spec, pixels);
    return input.read_scanlines(0, 0, 0, spec.height, 0, 0, kChannels, OIIO::TypeDesc::FLOAT, pixels,
                                kPixelBytes, kPixelBytes * spec.width);
}

}  // namespace zv_image_io
