#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "host/app_base/app_progress_bar.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "image_io/pixels/window.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/oiio_colour.h"
#include "image_io/save/oiio_whole.h"

namespace {

using Channels = CoreBasicArray<ImageMapChannel*>;

/// What one strip needs, made once a call. `count` channels, interleaved in `strip`, one after the other in
/// `plane`.
struct StripBuffers {
    unsigned int width, count;
    std::vector<float> strip, plane;

    std::span<float> samples(int rows)
    {
        return std::span(strip).first(std::size_t(width) * count * static_cast<std::size_t>(rows));
    }
};

std::optional<StripBuffers> make_buffers(OIIO::ImageSpec const& spec, int tile)
{
    auto const plane = zv_image_io::size_product(spec.width, tile);
    auto const strip = zv_image_io::size_product(spec.width, tile, spec.nchannels, sizeof(float));
    if (!plane || !strip)
        return std::nullopt;
    return StripBuffers{static_cast<unsigned int>(spec.width), static_cast<unsigned int>(spec.nchannels),
                        std::vector<float>(*strip / sizeof(float)), std::vector<float>(*plane)};
}

/// Rows from `y` to the end of its row of tiles, or to `end`.
int strip_rows(int y, int end, int tile)
{
    int rest = static_cast<int>(std::fmod(static_cast<float>(y), static_cast<float>(tile)));
    if (rest < 0)
        rest += tile;
    // At least one, where floats are too coarse for the rows' numbers.
    return static_cast<int>(
        std::max<std::int64_t>(1, std::min<std::int64_t>(tile - rest, std::int64_t(end) - y)));
}

/// Fills the strip from the channels; null ones are zeros.
void gather_strip(StripBuffers& buffers, Channels const& channels, int x, int y, int rows,
                  AppProgressBar* progress, float step)
{
    std::span<float> const samples = buffers.samples(rows);
    std::fill(samples.begin(), samples.end(), 0.0f);
    for (unsigned int channel = 0; channel < buffers.count; ++channel) {
        if (channels[channel]) {
            channels[channel]->create_float_buffer(nullptr, x, y, buffers.width,
                                                   static_cast<unsigned int>(rows), buffers.plane.data());
            float* into = samples.data() + channel;
            std::size_t const pixels = std::size_t(buffers.width) * static_cast<std::size_t>(rows);
            for (std::size_t pixel = 0; pixel < pixels; ++pixel, into += buffers.count)
                *into = buffers.plane[pixel];
        }
        if (progress)
            progress->increment(step);
    }
}

bool is_writable(OIIO::ImageOutput const& output, Channels const& channels, int tile)
{
    // The channels may have been changed since the file was opened for them.
    return channels.get_count() != 0 && tile > 0 &&
           static_cast<int>(channels.get_count()) == output.spec().nchannels;
}

}  // namespace

bool ImageIOSave::save_scanline_region(OIIO::ImageOutput* output, GMathVec4<int> const& region,
                                       Channels const& channels, ImageMap const* map,
                                       CoreString const& color_space, AppProgressBar* progress)
try {
    zv_image_io::Window const band = zv_image_io::window_of(region);
    int const tile = map ? map->m_tile_size : 0;
    if (!output || !is_writable(*output, channels, tile) || band.end_y() > INT_MAX)
        return false;
    auto buffers = make_buffers(output->spec(), tile);
    if (!buffers)
        return false;
    zv_image_io::OiioColour const colour(color_space);
    int const end = static_cast<int>(band.end_y());
    for (int y = band.y; y < end;) {
        int const rows = strip_rows(y, end, tile);
        // By the end row, not by the height: a region further down fills less of the bar.
        auto const step = static_cast<float>(double(rows) / end / buffers->count);
        gather_strip(*buffers, channels, output->spec().x, y, rows, progress, step);
        if (colour.is_enabled())
            colour.convert(buffers->samples(rows), buffers->width, static_cast<unsigned int>(rows),
                           buffers->count, buffers->count > 3);
        // The result plays no part: a strip that the format refuses must not end the band.
        output->write_scanlines(y, y + rows, 1, OIIO::TypeDesc::FLOAT, buffers->strip.data(),
                                OIIO::AutoStride, OIIO::AutoStride);
        y += rows;
    }
    if (progress)
        progress->set_value(1.0f);
    return true;
} catch (...) {
    return false;
}

bool ImageIOSave::save_scanline(OIIO::ImageOutput* output, Channels const& channels, ImageMap const* map,
                                CoreString const& color_space, AppProgressBar* progress)
{
    return zv_image_io::write_whole(output, progress, [&](GMathVec4<int> const& whole) {
        return save_scanline_region(output, whole, channels, map, color_space, progress);
    });
}
