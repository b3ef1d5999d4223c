#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>
#include <vector>

#include "host/app_base/app_progress_bar.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/image/image_map_tile.h"
#include "host/image/image_tile_factory.h"
#include "image_io/frame/log_line.h"
#include "image_io/load/channel_names.h"
#include "image_io/load/guarded_read.h"
#include "image_io/load/image_io_load.h"
#include "image_io/load/map_channels.h"
#include "image_io/pixels/tile_rows.h"
#include "image_io/pixels/window.h"

namespace zv_image_io {

namespace {

/// The file channel that feeds each of the map's channels, parallel to `m_channels`; -1: nothing feeds it.
using ChannelSources = CoreVector<int>;

struct TiledJob {
    OIIO::ImageInput& input;
    OIIO::ImageSpec const& spec;
    ImageMap& map;
    Window window;
    ChannelSources const& channel_sources;
    AppProgressBar* progress;
    ImageLoadReport& report;
};

void prepare_tiled_channels(OIIO::ImageSpec const& spec, ImageLoadOptions const& options,
                            GMathVec4<int> const& data_window, ImageMap& map, ChannelSources& channel_sources,
                            ImageLoadReport& report)
{
    auto const add = [&](CoreString const& name, int source) {
        if (add_channel(map, name, report))
            channel_sources.add(source);
    };
    if (is_single_channel_load(spec, options)) {
        add(single_channel_name(options), 0);
    } else if (spec.nchannels != 1 && options.channels) {
        // A name that the file lacks gives a channel all the same; nothing writes to its tiles.
        for (NamedChannel const& named : find_named_channels(spec, *options.channels))
            add(named.destination, named.file_channel);
    } else {
        for (int i = 0; i < spec.nchannels; ++i)
            add(file_channel_name(spec, i), i);
    }
    create_tiles(map, data_window, report);
}

/// Whether the window's origin lies on the tile grid, decided in single precision.
bool is_aligned(OIIO::ImageSpec const& spec)
{
    float const reciprocal = 1.0f / float(spec.tile_width);
    auto const column = static_cast<std::int64_t>(float(spec.x) * reciprocal);
    auto const row = static_cast<std::int64_t>(float(spec.y) / float(spec.tile_height));
    return spec.x == column * spec.tile_width && spec.y == row * spec.tile_height;
}

/// The bar's share of one of `tile_count` tiles.
void set_increment(AppProgressBar* progress, std::int64_t tile_count)
{
    if (progress && tile_count > 0)
        progress->set_task_increment(static_cast<float>(0.8 / double(tile_count)) *
                                     progress->m_current_task->span);
}

/// One file tile of all channels, interleaved as the reader writes it: in the sample type of the file and in its depth.
class TileBuffer {
public:
    explicit TileBuffer(OIIO::ImageSpec const& spec)
    {
        auto const bytes =
            size_product(spec.format.size(), std::size_t(spec.nchannels), std::size_t(spec.tile_width),
                         std::size_t(spec.tile_height), std::size_t(std::max(spec.tile_depth, 1)));
        if (!bytes)
            throw std::bad_alloc();
        m_bytes.resize(*bytes);
    }

    void clear() { std::fill(m_bytes.begin(), m_bytes.end(), std::byte(0)); }
    std::byte* data() { return m_bytes.data(); }

private:
    std::vector<std::byte> m_bytes;
};

/// Reads one tile into the cleared buffer. `pixel_stride` in bytes may be automatic.
ReadResult read_tile(TiledJob const& job, int x, int y, OIIO::stride_t pixel_stride, TileBuffer& buffer)
{
    buffer.clear();
    ++job.report.tiles_asked;
    ReadResult const result = guarded_read(job.input, job.report, [&] {
        return job.input.read_tile(x, y, 0, job.spec.format, buffer.data(), pixel_stride);
    });
    job.report.tiles_lost += !result.good;
    return result;
}

/// Gives the tile its buffer if it has none; null if there is no memory.
unsigned char* tile_pixels(ImageMapTile& tile)
{
    if (!tile.m_pixels) {
        if (!ImageTileFactory::s_factory)
            ImageTileFactory::init();
        ImageTileFactory::s_factory->allocate_tile_buffer(&tile, true);
    }
    return tile.m_pixels;
}

/// Hands the visible part of the read buffer to tile number `t` of each channel: rows go straight into the inner square.
void copy_into_tiles(TiledJob const& job, unsigned int t, int copy_width, int copy_height,
                     std::byte const* buffer)
{
    std::size_t const sample_bytes = job.map.m_bit_depth;
    std::size_t const pixel_bytes = sample_bytes * std::size_t(job.spec.nchannels);
    for (unsigned int c = 0; c < job.channel_sources.get_count(); ++c) {
        int const source = job.channel_sources[c];
        ImageMapTile* const tile = source < 0 ? nullptr : job.map.m_channels[c]->get_tile(t).m_tile;
        if (!tile)
            continue;
        unsigned char* const pixels = tile_pixels(*tile);
        if (!pixels) {
            note_missing_tile(job.report);
            continue;
        }
        copy_samples(
            {.from = buffer + std::size_t(source) * sample_bytes,
             .from_stride = pixel_bytes,
             .from_row_stride = pixel_bytes * std::size_t(job.spec.tile_width),
             .into = inner_square(reinterpret_cast<std::byte*>(pixels), job.map.m_tile_size, sample_bytes),
             .into_row_stride = tile_row_bytes(job.map.m_tile_size, sample_bytes),
             .width = copy_width,
             .height = copy_height},
            sample_bytes);
    }
}

/// File tiles and map tiles coincide.
void read_tiles_directly(TiledJob const& job)
{
    ImageMapChannel const& first = *job.map.m_channels[0];
    int const tile_size = job.map.m_tile_size;
    TileBuffer buffer(job.spec);
    set_increment(job.progress, first.get_tile_count());
    for (unsigned int t = 0; t < first.get_tile_count(); ++t) {
        ImageMapTile const& tile = *first.get_tile(t).m_tile;
        int const tile_x = tile.m_tile_x * tile_size, tile_y = tile.m_tile_y * tile_size;
        ReadResult const result = read_tile(job, tile_x, tile_y, OIIO::AutoStride, buffer);
        if (result.good) {
            // Counted from the window's origin: what is visible of an edge tile ends with the window.
            auto const visible = [&](std::int64_t end, int at) {
                return static_cast<int>(std::clamp<std::int64_t>(end - at, 0, job.spec.tile_width));
            };
            copy_into_tiles(job, t, visible(job.window.end_x(), tile_x), visible(job.window.end_y(), tile_y),
                            buffer.data());
        } else {
            log_line(2, "Error while reading tile [", tile_x, ",", tile_y, ",", tile_size, ",", tile_size,
                     "]: ", result.error, "\n");
        }
        if (job.progress)
            job.progress->increment();
    }
}

/// Spreads the visible part of a file tile over the map's tiles.
void fill_from_tile(TiledJob const& job, Window const& part, std::byte const* buffer)
{
    std::ptrdiff_t const sample_bytes = job.map.m_bit_depth;
    std::ptrdiff_t const pixel_bytes = sample_bytes * job.spec.nchannels;
    for (unsigned int c = 0; c < job.channel_sources.get_count(); ++c)
        if (job.channel_sources[c] >= 0 &&
            !job.map.m_channels[c]->fill_rows(buffer + job.channel_sources[c] * sample_bytes, pixel_bytes,
                                              pixel_bytes * job.spec.tile_width, part.rectangle()))
            note_missing_tile(job.report);
}

/// Rounded to the nearest, so it can fall short of the real number: for the bar alone.
std::int64_t estimated_tile_count(OIIO::ImageSpec const& spec)
{
    float const reciprocal = 1.0f / float(spec.tile_width);
    auto const rows = static_cast<std::int64_t>(float(spec.height) / float(spec.tile_height) + 0.5f);
    auto const columns = static_cast<std::int64_t>(float(spec.width) * reciprocal + 0.5f);
    return std::max<std::int64_t>(rows * columns, 1);
}

/// The file's tile grid lies across the map's.
void read_tiles_across(TiledJob const& job)
{
    OIIO::ImageSpec const& spec = job.spec;
    OIIO::stride_t const pixel_stride = OIIO::stride_t(job.map.m_bit_depth) * spec.nchannels;
    TileBuffer buffer(spec);
    set_increment(job.progress, estimated_tile_count(spec));
    for (std::int64_t y = spec.y; y < job.window.end_y(); y += spec.tile_height) {
        for (std::int64_t x = spec.x; x < job.window.end_x(); x += spec.tile_width) {
            Window const part{int(x), int(y),
                              int(std::min<std::int64_t>(spec.tile_width, job.window.end_x() - x)),
                              int(std::min<std::int64_t>(spec.tile_height, job.window.end_y() - y))};
            ReadResult const result = read_tile(job, part.x, part.y, pixel_stride, buffer);
            if (result.good)
                fill_from_tile(job, part, buffer.data());
            else
                log_line(2, "Error while reading tile ", "(", part.x, ", ", part.y, ", ", part.width, ", ",
                         part.height, ")", ": ", result.error, "\n");
            if (job.progress)
                job.progress->increment();
        }
    }
}

}  // namespace

}  // namespace zv_image_io

bool ImageIOLoad::read_tiled_data(OIIO::ImageInput* input, OIIO::ImageSpec& spec, ImageMap& map,
                                  GMathVec4<int>& data_window, ImageLoadOptions const& options, OfApp*,
                                  AppProgressBar* progress, ImageLoadReport& report)
{
    using namespace zv_image_io;
    ChannelSources channel_sources;
    prepare_tiled_channels(spec, options, data_window, map, channel_sources, report);
    if (map.get_channel_count() == 0)
        return true;
    TiledJob const job{*input, spec, map, window_of(data_window), channel_sources, progress, report};
    if (is_aligned(spec))
        read_tiles_directly(job);
    else
        read_tiles_across(job);
    if (spec.nchannels == 1 && options.single_channel_mode == 3)
        // A file's own "a" is not limited here.
        copy_to_alpha(map, *map.m_channels[0], data_window, report);
    return true;
}
