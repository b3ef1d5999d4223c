#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>

#include "host/core/core_string.h"
#include "host/core/core_vector.h"
#include "host/gmath/gmath_vec4.h"
#include "host/image/band_source.h"
#include "host/image/image_map_tile_handle.h"
#include "host/image/image_pixel.h"
#include "host/image/region.h"

namespace zv_host {
enum class SampleKind;
}

class ImageEvalContext;
class ImageMap;
class ImageMapTile;

/// One named plane of samples, stored as tiles over one region.
///
/// The region is that of `create_tiles`; the tile grid is anchored at pixel (0, 0), and tile numbers are
/// pixels divided by the tile size, rounded down. The channel reads 0 outside its region, also where a tile
/// of its edge reaches further. The sample type is the map's.
///
/// Units    regions are x, y, width, height in pixels of the data window, negative x and y allowed
/// Errors   memory that is not there leaves a tile constant (a channel without tiles); nothing throws
/// Threads  any number of readers, or one writer; writers of different tiles may run at once
class ImageMapChannel {
public:
    /// Fills one tile of a lazily computed channel, on its first use, through the tile or through
    /// `fill_tiles`. False leaves it as it is and asks again at the next use. One call at a time for a
    /// channel.
    using Evaluator = std::function<bool(ImageMapTile& tile, ImageEvalContext& context)>;

    ImageMapChannel(ImageMap* map, CoreString const& name, int index);
    ~ImageMapChannel();
    ImageMapChannel(ImageMapChannel const&) = delete;
    ImageMapChannel& operator=(ImageMapChannel const&) = delete;

    ImageMap* m_map;
    CoreString m_name;
    int m_index;  ///< kIndexRed .. kIndexLuminance, or kIndexExtra (an AOV)

    static constexpr int kIndexRed = 0;
    static constexpr int kIndexGreen = 1;
    static constexpr int kIndexBlue = 2;
    static constexpr int kIndexAlpha = 3;
    static constexpr int kIndexLuminance = 4;
    static constexpr int kIndexExtra = 6;

    // Tiles (image_map_channel.cpp)

    /// Creates the tiles that cover `region`, in the place of those that there were, all constant `value` and
    /// without a buffer. `out`, where given, gets their handles in row order. A region of more than
    /// 2^25 tiles, past the int range, or for which there is no memory leaves the channel without tiles.
    void create_tiles(GMathVec4<int> const& region, CoreVector<ImageMapTileHandle>* out, float const& value);
    void remove_tiles();

    [[nodiscard]] unsigned int const& get_tile_count() const { return m_tile_count; }
    [[nodiscard]] GMathVec4<int> const& get_region() const { return m_region; }

    /// Tile by number, in row order over the region; null at and above the count.
    ImageMapTileHandle get_tile(unsigned int const& index) const;
    /// Tile by tile numbers, evaluated; null outside the grid.
    ImageMapTileHandle get_tile(ImageEvalContext& context, int const& tile_x, int const& tile_y) const;
    /// The same without evaluating; null outside the grid.
    [[nodiscard]] ImageMapTile* find_tile(int tile_x, int tile_y) const;

    /// The part of the tile that lies inside the region of the channel.
    [[nodiscard]] zv_host::Bounds get_covered_part(ImageMapTile const& tile) const;

    /// Makes the channel a lazily computed one; its tiles are asked for one by one. Null makes it a stored
    /// one.
    void set_evaluator(Evaluator evaluator);
    [[nodiscard]] bool is_lazy() const { return m_evaluator != nullptr; }

    /// Bytes held by tiles and buffers.
    [[nodiscard]] std::size_t get_memory_size() const;

    // Filling (image_map_channel_fill.cpp)

    /// Copies a packed plane of the channel's sample type, rows of region.width. `true`: the plane is all
    /// that is being loaded, and a channel without tiles (or whose tiles do not cover it) gets new ones over
    /// `region`. `false`: a part of it; what lies outside the tiles is dropped, and only a channel without
    /// any gets new ones.
    void fill_tiles(unsigned char const* buffer, GMathVec4<int> const& region, bool whole_region);

    /// Copies a band of interleaved samples into the tiles: any rows of the region, any columns. Tiles must
    /// exist. A tile all of whose samples are equal, bit for bit, stays or becomes a constant tile: it is
    /// looked at on the source where the band holds all of a tile's rows, so that it never gets a buffer,
    /// else when the tile's last row comes. Bands of whole tile rows are therefore the fast ones.
    ///
    /// Shape    sample (column, row) of the band at samples + column * pixel_stride + row * row_stride bytes
    /// Units    strides in bytes, negative and zero allowed; `rows_region` in absolute pixels, clipped to the
    ///          channel's region
    /// Returns  false if a tile got no memory (it keeps its old value), or without tiles
    bool fill_rows(void const* samples, std::ptrdiff_t pixel_stride_bytes, std::ptrdiff_t row_stride_bytes,
                   GMathVec4<int> const& rows_region);

    /// Drops the buffers of those tiles in `region` (null: all) whose samples are equal. For callers that
    /// write through `m_pixels`. Returns the number of tiles that became constant.
    std::size_t release_equal_tiles(GMathVec4<int> const* region);

    /// Limits the samples of the region; NaN stays as it is. Bounds of integer samples count as 0 to 1.
    void clamp_values(float const& low, float const& high, GMathVec4<int> const& region);

    /// Copies the samples of another channel (of the same sample type and tile size; else false). A null
    /// region is the whole of `other`, whose tiles this channel then takes over in number and place. With a
    /// region the part of it inside both channels is copied. The flag asks for an own copy of the samples,
    /// which both values give.
    bool copy_from(ImageMapChannel const& other, GMathVec4<int> const* region, bool const& own_copy);

    /// Makes `prepare_apron` look at the neighbours again.
    void forget_aprons();

    // Reading (image_map_channel_read.cpp)

    /// Writes the rectangle as floats into `out`: a dense plane, row after row of `width`. Returns `out`. A
    /// lazy channel is evaluated first, without a context with one of its own.
    float* create_float_buffer(ImageEvalContext* context, int const& x, int const& y,
                               unsigned int const& width, unsigned int const& height, float* out) const;
    float* create_float_buffer(ImageEvalContext* context, GMathVec4<int> const& region, float* out) const;

    /// The same, with the channel going on past the edges of its region as `u` (columns) and `v` (rows) tell.
    /// `plane_length` is the number of samples that `out` holds, not a distance between them: no more are
    /// written.
    void create_float_buffer(ImageEvalContext& context, GMathVec4<int> const& region, float* out,
                             unsigned int plane_length, ImagePixel::RepeatMode const& u,
                             ImagePixel::RepeatMode const& v) const;

    /// The sample of a pixel as bits, not evaluated; 0 outside the region.
    [[nodiscard]] std::uint32_t get_bits(std::int64_t x, std::int64_t y) const;
    /// The sample at any pixel as bits, evaluated, past the region's edges as the repeat modes of the
    /// canvas's pyramid tell.
    [[nodiscard]] std::uint32_t get_repeated_bits(std::int64_t x, std::int64_t y) const;

private:
    friend class ImageMap;
    friend class ImageMapTile;
    friend class ImageProcess;

    [[nodiscard]] ImageMapTile* find_pixel_tile(std::int64_t x, std::int64_t y) const;
    void evaluate(ImageMapTile& tile, ImageEvalContext* context) const;
    /// Reads a region as floats into rows that are `row_length` floats apart; 0 outside the channel's region.
    void read_region(ImageEvalContext* context, zv_host::Bounds const& bounds, float* out,
                     std::size_t row_length) const;
    void read_repeated(ImageEvalContext& context, zv_host::Bounds const& bounds, std::span<float> out,
                       ImagePixel::RepeatMode u, ImagePixel::RepeatMode v) const;
    void read_tile(ImageMapTile const& tile, zv_host::Bounds const& part, float* out,
                   std::size_t row_length) const;
    /// Writes one tile's share of a band that lies over `source_bounds`; nothing outside the channel's grid.
    bool fill_tile(int tile_x, int tile_y, BandSource const& source, zv_host::Bounds const& source_bounds);
    /// Writes a block that begins at the source's first sample; `block` lies inside the covered part of the
    /// tile.
    bool fill_block(ImageMapTile& tile, BandSource const& source, zv_host::Bounds const& block);
    void clamp_tile(ImageMapTile& tile, zv_host::SampleKind kind, zv_host::Bounds const& bounds, float low,
                    float high);
    bool copy_tile(ImageMapTile& tile, ImageMapTile& source, zv_host::Bounds const& bounds);

    zv_host::Bounds m_bounds;  ///< the region, empty without tiles
    GMathVec4<int> m_region;
    int m_first_tile_x = 0;
    int m_first_tile_y = 0;
    int m_tile_columns = 0;
    int m_tile_rows = 0;
    std::unique_ptr<ImageMapTile[]> m_tiles;
    unsigned int m_tile_count = 0;
    Evaluator m_evaluator;
    /// Held while a tile is evaluated or gets its apron, which may ask for other tiles.
    mutable std::recursive_mutex m_lock;
};
