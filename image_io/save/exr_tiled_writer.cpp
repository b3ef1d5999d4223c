#include <ImfFrameBuffer.h>
#include <ImfHeader.h>

#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "host/app_base/app_progress_bar.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/image/image_map_tile.h"
#include "image_io/pixels/window.h"
#include "image_io/save/exr_channel_buffers.h"
#include "image_io/save/exr_file.h"
#include "image_io/save/exr_guard.h"
#include "image_io/save/exr_tile_strip.h"
#include "image_io/save/image_io_save.h"

namespace {

using zv_image_io::ExrChannelBuffer;
using zv_image_io::ExrChannelBuffers;
using zv_image_io::ExrTiledFile;
using zv_image_io::floor_div;
using zv_image_io::TileRun;
using zv_image_io::TileStrip;
using zv_image_io::Window;
using Channels = CoreBasicArray<ImageMapChannel*>;

/// What becomes of tiles that the file has already.
enum class TilesThere { REFUSED, KEPT };

/// Rows and columns of the file's tiles, half open.
struct TileRange {
    int begin_column, begin_row, end_column, end_row;
};

/// The tiles that the region touches. Throws unless all of them are tiles of the file.
TileRange tiles_of(ExrTiledFile const& file, Imath_2_4::Box2i const& data, Window const& region, int tile)
{
    std::int64_t const first_column = floor_div(std::int64_t(region.x) - data.min.x, tile);
    std::int64_t const first_row = floor_div(std::int64_t(region.y) - data.min.y, tile);
    std::int64_t const end_column = floor_div(region.end_x() - 1 - data.min.x, tile) + 1;
    std::int64_t const end_row = floor_div(region.end_y() - 1 - data.min.y, tile) + 1;
    if (first_column < 0 || first_row < 0 || end_column > file.columns() || end_row > file.rows())
        throw Iex_2_4::ArgExc("The region lies outside the file.");
    return {int(first_column), int(first_row), int(end_column), int(end_row)};
}

void require_missing(ExrTiledFile const& file, TileRange const& range)
{
    for (int row = range.begin_row; row < range.end_row; ++row)
        for (int column = range.begin_column; column < range.end_column; ++column)
            if (file.has_tile(column, row))
                throw Iex_2_4::ArgExc("Tile (" + std::to_string(column) + ", " + std::to_string(row) +
                                      ") was written before.");
}

/// One tile of one channel as floats. False if the map has no such tile.
bool fill_tile(ImageMapChannel const& channel, ImageEvalContext& context, Window const& tile, float* out)
{
    int const size = tile.width;
    if (channel.m_map->m_tile_size == size) {
        ImageMapTileHandle const handle =
            channel.get_tile(context, int(floor_div(tile.x, size)), int(floor_div(tile.y, size)));
        if (!handle.m_tile)
            return false;
        // A constant tile spares a decode, and fills its square past the picture's edge, too.
        if (!handle.m_tile->m_pixels) {
            std::fill_n(out, std::size_t(size) * std::size_t(size), handle.m_tile->get_color(0, 0, false));
            return true;
        }
    }
    channel.create_float_buffer(nullptr, tile.rectangle(), out);
    return true;
}

/// Without the memory for several tiles they go one by one.
TileStrip make_strip(ExrChannelBuffers& buffers, int tile, int capacity)
{
    try {
        return TileStrip(buffers, tile, capacity);
    } catch (std::bad_alloc const&) {
        return TileStrip(buffers, tile, 1);
    }
}

/// What a call writes, and where.
struct TiledCall {
    ImageEvalContext& context;
    Imf_2_4::Header const& header;
    ExrTiledFile& file;
    Channels const& channels;
    int tile;
    CoreString const& color_space;
    AppProgressBar* progress;
};

/// Writes the tiles of one call, row by row, several at a time where threads share the work.
class TileWriter {
public:
    explicit TileWriter(TiledCall const& call)
        : m_call(call)
        , m_converter(zv_image_io::make_save_converter(call.color_space))
        , m_buffers(call.header, call.channels, std::size_t(call.tile) * std::size_t(call.tile),
                    m_converter.is_enabled())
        , m_strip(make_strip(m_buffers, call.tile, std::min(call.file.tiles_per_run(), call.file.columns())))
        , m_is_there(call.channels.get_count())
    {
    }

    void write(TileRange const& range)
    {
        for (int row = range.begin_row; row < range.end_row; ++row) {
            for (int column = range.begin_column; column < range.end_column; ++column) {
                if (m_call.file.has_tile(column, row)) {
                    hand_over();
                    step(1);
                } else {
                    add(column, row);
                }
            }
            hand_over();
        }
    }

private:
    Window tile_window(int column, int row) const
    {
        Imath_2_4::V2i const origin = m_call.header.dataWindow().min;
        return {origin.x + column * m_call.tile, origin.y + row * m_call.tile, m_call.tile, m_call.tile};
    }

    /// Brings one tile into the strip. A tile in which a channel is missing goes into the file alone.
    void add(int column, int row)
    {
        bool const is_whole = fill(tile_window(column, row));
        if (!is_whole)
            hand_over();
        m_buffers.convert_colour(m_converter, unsigned(m_call.tile), unsigned(m_call.tile));
        if (m_strip.is_empty()) {
            m_run = {row, column, column};
            m_has_slice = m_is_there;
        }
        m_strip.append(m_buffers);
        ++m_run.end_column;
        if (!is_whole || m_strip.is_full())
            hand_over();
    }

    bool fill(Window const& tile)
    {
        bool is_whole = true;
        for (unsigned int i = 0; i < m_buffers.count; ++i) {
            ExrChannelBuffer const& entry = m_buffers.entries[i];
            m_is_there[i] = entry.is_written() &&
                            fill_tile(*m_call.channels[i], m_call.context, tile, entry.float_buffer.get());
            is_whole = is_whole && (m_is_there[i] || !entry.is_written());
        }
        return is_whole;
    }

    void hand_over()
    {
        if (m_strip.is_empty())
            return;
        Window const first = tile_window(m_run.begin_column, m_run.row);
        Imf_2_4::FrameBuffer buffer;
        for (unsigned int i = 0; i < m_buffers.count; ++i)
            if (m_has_slice[i])
                buffer.insert(m_buffers.entries[i].name.get_data(), m_strip.slice(m_buffers, i, first));
        m_call.file.write_tiles(buffer, m_run);
        step(unsigned(m_run.end_column - m_run.begin_column));
        m_strip.clear();
    }

    void step(unsigned int tile_count)
    {
        for (unsigned int i = 0; i < tile_count; ++i) {
            ++m_tile_count;
            if (m_call.progress)
                m_call.progress->step(m_tile_count);
        }
    }

    TiledCall const& m_call;
    ColorIOConverter m_converter;
    ExrChannelBuffers m_buffers;
    TileStrip m_strip;
    TileRun m_run{};
    std::vector<bool> m_is_there;   // which channels have the tile that was filled last
    std::vector<bool> m_has_slice;  // and those of the run
    unsigned int m_tile_count = 0;
};

/// The library reads whole tiles of the header's size, whatever we give it.
void require_tile_size(Imf_2_4::Header const& header, int tile)
{
    if (tile <= 0 || header.tileDescription().xSize != unsigned(tile) ||
        header.tileDescription().ySize != unsigned(tile))
        throw Iex_2_4::ArgExc("There is no such tile size.");
}

unsigned int step_count(Window const& region, int tile)
{
    auto const tiles_along = [tile](int length) {
        return (unsigned(length) + unsigned(tile) - 1) / unsigned(tile);
    };
    return tiles_along(region.width) * tiles_along(region.height);
}

bool write_region(TiledCall const& call, Window const& region, TilesThere tiles_there)
{
    // The one prefix of the four without a colon.
    return zv_image_io::run_guarded(
        "ImageIOSave::save_openexr_tiled_region: OpenEXR exception '", "'\n", [&] {
            require_tile_size(call.header, call.tile);
            TileRange const range = tiles_of(call.file, call.header.dataWindow(), region, call.tile);
            if (tiles_there == TilesThere::REFUSED)
                require_missing(call.file, range);
            TileWriter writer(call);
            if (call.progress)
                call.progress->set_step_count(step_count(region, call.tile));
            writer.write(range);
            call.file.flush();
            // Other than with lines, the bar is not set to its end, neither here nor after a failure.
        });
}

}  // namespace

bool ImageIOSave::save_openexr_tiled_region(ImageEvalContext& context, Imf_2_4::Header& header,
                                            ExrTiledFile& file, GMathVec4<int> const& region,
                                            Channels const& channels, int tile_size,
                                            CoreString const& color_space, AppProgressBar* progress)
{
    return write_region({context, header, file, channels, tile_size, color_space, progress},
                        zv_image_io::window_of(region), TilesThere::REFUSED);
}

bool ImageIOSave::save_openexr_tiled(ImageEvalContext& context, Imf_2_4::Header& header, ExrTiledFile& file,
                                     Channels const& channels, unsigned int const& tile_size,
                                     CoreString const& color_space, AppProgressBar* progress)
{
    Imath_2_4::Box2i const& data = header.dataWindow();
    Window const whole{data.min.x, data.min.y, data.max.x - data.min.x + 1, data.max.y - data.min.y + 1};
    return write_region({context, header, file, channels, int(tile_size), color_space, progress}, whole,
                        TilesThere::KEPT) &&
           zv_image_io::run_guarded("ImageIOSave::save_openexr_tiled: OpenEXR exception: '", "'\n",
                                    [&] { file.finish(); });
}
