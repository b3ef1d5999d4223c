#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/app_base/app_progress_bar.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "image_io/frame/log_line.h"
#include "image_io/pixels/window.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/oiio_colour.h"
#include "image_io/save/oiio_whole.h"

namespace {

using Channels = CoreBasicArray<ImageMapChannel*>;
using zv_image_io::Window;

/// What one tile needs, made once a call.
///
/// All buffers hold floats, but the strides are counted in samples of the map (`sample_bytes`), as the files
/// of this road have always been made: maps of 8 or 16 bits are to be widened before they come here. No
/// stride is longer than that of floats, so that nothing leaves the buffers.
struct TileBuffers {
    int tile;
    unsigned int count;
    OIIO::stride_t sample_bytes;
    std::vector<float> samples, plane;
};

std::optional<TileBuffers> make_buffers(ImageMap const& map, unsigned int count)
{
    int const tile = map.m_tile_size;
    auto const plane = zv_image_io::size_product(tile, tile);
    auto const samples = zv_image_io::size_product(tile, tile, count, sizeof(float));
    bool const is_known_depth = map.m_bit_depth == 1 || map.m_bit_depth == 2 || map.m_bit_depth == 4;
    if (tile < 1 || count == 0 || !is_known_depth || !plane || !samples)
        return std::nullopt;
    return TileBuffers{tile, count, static_cast<OIIO::stride_t>(map.m_bit_depth),
                       std::vector<float>(*samples / sizeof(float)), std::vector<float>(*plane)};
}

/// Fills the tile from the channels; null ones, and what lies outside `part`, are zeros.
void gather_tile(TileBuffers& buffers, Channels const& channels, Window const& part)
{
    OIIO::stride_t const bytes = buffers.sample_bytes, pixel_bytes = bytes * buffers.count;
    std::fill(buffers.samples.begin(), buffers.samples.end(), 0.0f);
    for (unsigned int channel = 0; channel < buffers.count; ++channel) {
        if (!channels[channel])
            continue;
        std::fill(buffers.plane.begin(), buffers.plane.end(), 0.0f);
        channels[channel]->create_float_buffer(nullptr, part.rectangle(), buffers.plane.data());
        OpenImageIO::copy_image(1, part.width, part.height, 1, buffers.plane.data(), bytes, bytes,
                                part.width * bytes, OIIO::AutoStride, buffers.samples.data() + channel,
                                pixel_bytes, part.width * pixel_bytes, OIIO::AutoStride);
    }
}

bool write_tile(OIIO::ImageOutput& output, TileBuffers const& buffers, Window const& part)
{
    OIIO::stride_t const pixel_bytes = buffers.sample_bytes * buffers.count;
    // A row of a tile at the edge is as long as what is left of the picture.
    if (output.write_tile(part.x, part.y, 0, OIIO::TypeDesc::FLOAT, buffers.samples.data(), pixel_bytes,
                          pixel_bytes * part.width, OIIO::AutoStride))
        return true;
    zv_image_io::log_line(zv_image_io::kLogWarning, "Problem while writing tile ", "(", part.x, ", ", part.y,
                          ", ", part.width, ", ", part.height, ")", ": ", output.geterror().c_str(), "\n");
    return false;
}

/// Calls visit(part) for the tiles of a grid that begins at the corner of `area`, cut at its far edges.
template <class Visit>
void for_each_tile(Window const& area, int tile, Visit&& visit)
{
    for (std::int64_t y = area.y; y < area.end_y(); y += tile)
        for (std::int64_t x = area.x; x < area.end_x(); x += tile)
            visit(Window{static_cast<int>(x), static_cast<int>(y),
                         static_cast<int>(std::min<std::int64_t>(tile, area.end_x() - x)),
                         static_cast<int>(std::min<std::int64_t>(tile, area.end_y() - y))});
}

/// The channels and the map may have been changed since the file was opened for them, and the writer reads
/// whole tiles of the file, however large ours are. A file without tiles refuses each of them.
bool is_writable(OIIO::ImageSpec const& spec, Channels const& channels, int tile)
{
    bool const are_tiles_alike =
        spec.tile_width == 0 || (spec.tile_width == tile && spec.tile_height == tile);
    return static_cast<int>(channels.get_count()) == spec.nchannels && are_tiles_alike;
}

}  // namespace

bool ImageIOSave::save_tiled_region(OIIO::ImageOutput* output, GMathVec4<int> const& region,
                                    Channels const& channels, ImageMap const* map,
                                    CoreString const& color_space, AppProgressBar* progress)
try {
    if (!output || !map || !is_writable(output->spec(), channels, map->m_tile_size))
        return false;
    auto buffers = make_buffers(*map, channels.get_count());
    Window const band{output->spec().x, region[1], output->spec().width, region[3]};
    if (!buffers || band.end_x() > INT_MAX || band.end_y() > INT_MAX)
        return false;
    zv_image_io::OiioColour const colour(color_space);
    auto const edge = static_cast<unsigned int>(buffers->tile);
    bool is_written = true;
    for_each_tile(band, buffers->tile, [&](Window const& part) {
        gather_tile(*buffers, channels, part);
        if (colour.is_enabled())  // whatever the number of channels, unlike strips
            colour.convert(buffers->samples, edge, edge, buffers->count, true);
        is_written &= write_tile(*output, *buffers, part);
    });
    if (progress)
        progress->set_value(1.0f);
    return is_written;
} catch (...) {
    return false;
}

bool ImageIOSave::save_tiled(OIIO::ImageOutput* output, Channels const& channels, ImageMap const* map,
                             CoreString const& color_space, AppProgressBar* progress)
{
    return zv_image_io::write_whole(output, progress, [&](GMathVec4<int> const& whole) {
        return save_tiled_region(output, whole, channels, map, color_space, progress);
    });
}
