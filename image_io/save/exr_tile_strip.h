#pragma once

#include <ImfFrameBuffer.h>

#include <cstddef>
#include <memory>
#include <vector>

#include "image_io/pixels/window.h"
#include "image_io/save/exr_channel_buffers.h"

namespace zv_image_io {

/// Finished tiles side by side, in the types of the file, as OpenEXR takes several of them at once.
///
///     | tile 0 | tile 1 | tile 2 | free   |    for each channel rows of capacity * tile size samples, tile size of them
///
/// A strip of one tile is the channel's own buffers: nothing is copied.
///
/// Owns     the strips of more than one tile; `buffers` must outlive it
class TileStrip {
public:
    TileStrip(ExrChannelBuffers& buffers, int tile, int capacity);

    bool is_empty() const { return m_count == 0; }
    bool is_full() const { return m_count == m_capacity; }
    void clear() { m_count = 0; }

    /// Takes the tile that the buffers hold as floats.
    void append(ExrChannelBuffers const& buffers);

    /// Where the file finds a channel, `first` being the place of the first tile in the picture.
    Imf_2_4::Slice slice(ExrChannelBuffers const& buffers, unsigned int channel, Window const& first) const;

private:
    void append_channel(ExrChannelBuffer const& entry, unsigned char* plane) const;

    std::vector<std::unique_ptr<unsigned char[], FreeMemory>> m_own_planes;
    std::vector<unsigned char*> m_planes;  // one a channel
    std::size_t m_tile, m_capacity, m_count = 0;
};

}  // namespace zv_image_io
