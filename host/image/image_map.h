#pragma once

#include <cstddef>
#include <span>

#include "host/core/core_string.h"
#include "host/core/core_vector.h"
#include "host/gmath/gmath_vec4.h"
#include "host/image/band_source.h"
#include "host/image/image_map_channel.h"
#include "host/image/image_pixel.h"

class ImageCanvas;

/// The colour channels of a map, in this order; null where the map has none of that kind.
struct ImageMapColorChannels {
    ImageMapChannel* m_luminance = nullptr;
    ImageMapChannel* m_red = nullptr;
    ImageMapChannel* m_green = nullptr;
    ImageMapChannel* m_blue = nullptr;
    ImageMapChannel* m_alpha = nullptr;
};

/// The named channels of one resolution, all with the same sample type and tile size.
///
/// Owns     its channels
/// Threads  one writer, or any number of readers
class ImageMap {
public:
    /// `canvas`, which may be null, is whose repeat modes the aprons follow and what lazy channels are asked
    /// with.
    explicit ImageMap(ImageCanvas const* canvas = nullptr);
    ~ImageMap();
    ImageMap(ImageMap const&) = delete;
    ImageMap& operator=(ImageMap const&) = delete;

    ImagePixel::Depth m_depth = ImagePixel::DEPTH_NONE;  ///< the loader's to set; channels do not change it
    ImagePixel::BitDepth m_bit_depth = ImagePixel::BIT_DEPTH_32;
    ImagePixel::BitType m_bit_type = ImagePixel::BIT_TYPE_FLOAT;
    CoreVector<ImageMapChannel*> m_channels;           ///< in order of insertion
    ImageMapColorChannels* m_rgba_channels = nullptr;  ///< null until the first colour channel
    int m_tile_size = kDefaultTileSize;                ///< edge of a tile in pixels

    static constexpr int kDefaultTileSize = 64;

    /// Sets the properties of an empty map; channels that there still are go. A tile size below 1 becomes
    /// `kDefaultTileSize`.
    void init(ImagePixel::Depth const& depth, ImagePixel::BitDepth const& bit_depth,
              ImagePixel::BitType const& bit_type, int const& tile_size);
    void remove_all_channels();

    /// Appends a channel, also under a name that exists: lists parallel to `m_channels` stay so. Exactly "r",
    /// "g", "b", "a" and "l" take their slot of `m_rgba_channels` while it is free, and their index; all
    /// others have index 6. The sample type is the map's; the two arguments are what the caller takes it for.
    /// Null if there is no memory.
    ImageMapChannel* add_channel(CoreString const& name, ImagePixel::BitDepth const& bit_depth,
                                 ImagePixel::BitType const& bit_type);
    /// The first channel of that exact name, or null.
    ImageMapChannel* get_channel_by_name(CoreString const& name) const;
    [[nodiscard]] unsigned int const& get_channel_count() const;
    /// Luminance, red, green, blue, alpha, those that exist, in the place of what `out` held.
    void get_rgba_channels(CoreVector<ImageMapChannel*>* out) const;

    /// Creates the tiles of all channels over the region: constant 0, without buffers. `true` also gives each
    /// tile its buffer of zeros.
    void create_tiles(GMathVec4<int> const& region, bool allocate_buffers);

    /// `ImageMapChannel::fill_rows` for all channels in one pass over the band, tile column by tile column,
    /// so that the samples come from the cache after the first channel. `sources` is parallel to
    /// `m_channels`; a shorter list or a null `first_sample` leaves channels alone.
    ///
    /// Returns  false if a tile of any channel got no memory, or a channel with samples has no tiles
    bool fill_rows(std::span<BandSource const> sources, GMathVec4<int> const& rows_region);

    /// Bytes held by channels, tiles and buffers.
    [[nodiscard]] std::size_t get_memory_size() const;
    [[nodiscard]] ImageCanvas const* get_canvas() const { return m_canvas; }

private:
    ImageMapColorChannels m_color_channels;
    ImageCanvas const* m_canvas;
};
