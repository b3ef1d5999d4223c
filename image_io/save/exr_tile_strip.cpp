#include "image_io/save/exr_tile_strip.h"

#include <cstring>
#include <new>

#include "image_io/pixels/half_rows.h"

namespace zv_image_io {

namespace {

std::size_t sample_bytes(ExrChannelBuffer const& entry)
{
    return entry.type == Imf_2_4::HALF ? sizeof(std::uint16_t) : sizeof(float);
}

unsigned char* own_buffer(ExrChannelBuffer const& entry)
{
    return entry.type == Imf_2_4::HALF ? reinterpret_cast<unsigned char*>(entry.half_buffer.get())
                                       : reinterpret_cast<unsigned char*>(entry.float_buffer.get());
}

}  // namespace

TileStrip::TileStrip(ExrChannelBuffers& buffers, int tile, int capacity)
    : m_own_planes(buffers.count)
    , m_planes(buffers.count)
    , m_tile(static_cast<std::size_t>(tile))
    , m_capacity(static_cast<std::size_t>(capacity))
{
    for (unsigned int i = 0; i < buffers.count; ++i) {
        ExrChannelBuffer const& entry = buffers.entries[i];
        if (!entry.is_written())
            continue;
        auto const bytes = size_product(m_tile, m_tile, m_capacity, sample_bytes(entry));
        if (!bytes)
            throw std::bad_alloc();
        if (m_capacity > 1)
            m_own_planes[i] = allocate_plane<unsigned char>(*bytes);
        m_planes[i] = m_capacity > 1 ? m_own_planes[i].get() : own_buffer(entry);
    }
}

void TileStrip::append_channel(ExrChannelBuffer const& entry, unsigned char* plane) const
{
    bool const is_single = m_capacity == 1;
    if (entry.type == Imf_2_4::FLOAT && is_single)
        return;  // the floats are where the file looks for them
    std::size_t const row_count = is_single ? 1 : m_tile;
    std::size_t const row_length = is_single ? m_tile * m_tile : m_tile;
    std::size_t const bytes = sample_bytes(entry);
    for (std::size_t row = 0; row < row_count; ++row) {
        float const* const from = entry.float_buffer.get() + row * row_length;
        unsigned char* const into = plane + (row * m_capacity + m_count) * m_tile * bytes;
        if (entry.type == Imf_2_4::HALF)
            float_row_to_half(from, reinterpret_cast<std::uint16_t*>(into), row_length);
        else
            std::memcpy(into, from, row_length * bytes);
    }
}

void TileStrip::append(ExrChannelBuffers const& buffers)
{
    for (unsigned int i = 0; i < buffers.count; ++i)
        if (buffers.entries[i].is_written())
            append_channel(buffers.entries[i], m_planes[i]);
    ++m_count;
}

Imf_2_4::Slice TileStrip::slice(ExrChannelBuffers const& buffers, unsigned int channel,
                                Window const& first) const
{
    // In pixels of the picture: several tiles of one strip have no common place inside a tile.
    std::size_t const bytes = sample_bytes(buffers.entries[channel]);
    std::size_t const strip_width = m_tile * m_capacity;
    return Imf_2_4::Slice::Make(buffers.entries[channel].type, m_planes[channel],
                                Imath_2_4::V2i(first.x, first.y), static_cast<std::int64_t>(strip_width),
                                static_cast<std::int64_t>(m_tile), bytes, bytes * strip_width);
}

}  // namespace zv_image_io
