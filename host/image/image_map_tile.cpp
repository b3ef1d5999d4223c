#include "host/image/image_map_tile.h"

#include "host/image/band_rows.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/image/image_tile_factory.h"
#include "host/image/region.h"
#include "host/image/sample_rows.h"

namespace {

zv_host::SampleKind kind_of(ImageMap const& map)
{
    return zv_host::sample_kind(map.m_bit_depth, map.m_bit_type);
}

}  // namespace

ImageMapTile::~ImageMapTile()
{
    if (m_pixels != nullptr)
        ImageTileFactory::get().release_tile_buffer(this);
}

std::size_t ImageMapTile::get_buffer_size(int tile_size, std::size_t sample_bytes)
{
    // Samples are moved as words of these sizes.
    if (tile_size < 1 || (sample_bytes != 1 && sample_bytes != 2 && sample_bytes != 4))
        return 0;
    // No machine has more, and with it no product of the layout overflows.
    constexpr std::size_t kMaximumBytes = std::size_t{1} << 40;
    std::size_t const edge = static_cast<std::size_t>(tile_size) + 2;
    return edge * edge <= kMaximumBytes / sample_bytes ? edge * edge * sample_bytes : 0;
}

unsigned char* ImageMapTile::get_row(int row) const
{
    ImageMap const& map = *m_channel->m_map;
    std::size_t const edge = static_cast<std::size_t>(map.m_tile_size) + 2;
    return m_pixels + (edge * static_cast<std::size_t>(row + 1) + 1) * map.m_bit_depth;
}

float ImageMapTile::get_color(int const& x, int const& y, bool across_tiles) const
{
    ImageMap const& map = *m_channel->m_map;
    if (x < 0 || y < 0 || x >= map.m_tile_size || y >= map.m_tile_size) {
        if (!across_tiles)
            return 0.0f;
        auto const origin = zv_host::tile_bounds(m_tile_x, m_tile_y, map.m_tile_size);
        return zv_host::bits_to_float(kind_of(map),
                                      m_channel->get_repeated_bits(origin.begin_x + x, origin.begin_y + y));
    }
    std::size_t const offset = static_cast<std::size_t>(x) * map.m_bit_depth;
    return zv_host::bits_to_float(kind_of(map),
                                  is_constant() ? m_constant_bits
                                                : zv_host::load_bits(map.m_bit_depth, get_row(y) + offset));
}

void ImageMapTile::set_constant(float value)
{
    set_constant_bits(zv_host::bits_from_float(kind_of(*m_channel->m_map), value));
}

void ImageMapTile::set_constant_bits(std::uint32_t bits)
{
    if (m_pixels != nullptr)
        ImageTileFactory::get().release_tile_buffer(this);
    m_constant_bits = bits;
    m_apron_ready.store(false, std::memory_order_relaxed);
}

bool ImageMapTile::allocate()
{
    if (m_pixels != nullptr)
        return true;
    ImageTileFactory::get().allocate_tile_buffer(this, true);
    if (m_pixels == nullptr)
        return false;
    if (m_constant_bits == 0)
        return true;
    ImageMap const& map = *m_channel->m_map;
    zv_host::Bounds const part = m_channel->get_covered_part(*this);
    auto const tile = zv_host::tile_bounds(m_tile_x, m_tile_y, map.m_tile_size);
    std::size_t const offset = static_cast<std::size_t>(part.begin_x - tile.begin_x) * map.m_bit_depth;
    for (std::int64_t y = part.begin_y; y < part.end_y; ++y)
        zv_host::fill_row(map.m_bit_depth, m_constant_bits,
                          get_row(static_cast<int>(y - tile.begin_y)) + offset,
                          static_cast<std::size_t>(part.width()));
    return true;
}

bool ImageMapTile::make_constant_if_equal()
{
    if (m_pixels == nullptr)
        return true;
    ImageMap const& map = *m_channel->m_map;
    zv_host::Bounds const part = m_channel->get_covered_part(*this);
    auto const tile = zv_host::tile_bounds(m_tile_x, m_tile_y, map.m_tile_size);
    unsigned char const* const first =
        get_row(static_cast<int>(part.begin_y - tile.begin_y)) +
        static_cast<std::size_t>(part.begin_x - tile.begin_x) * map.m_bit_depth;
    std::uint32_t const bits = zv_host::load_bits(map.m_bit_depth, first);
    auto const sample_stride = static_cast<std::ptrdiff_t>(map.m_bit_depth);
    BandSource const samples{first, sample_stride, (map.m_tile_size + 2) * sample_stride};
    if (zv_host::samples_are(map.m_bit_depth, bits, samples, static_cast<std::size_t>(part.width()),
                             static_cast<std::size_t>(part.height()))) {
        set_constant_bits(bits);
        return true;
    }
    m_equality_known = true;
    return false;
}

unsigned char const* ImageMapTile::prepare_apron()
{
    if (m_pixels == nullptr)
        return nullptr;
    if (!m_apron_ready.load(std::memory_order_acquire)) {
        std::lock_guard const lock(m_channel->m_lock);
        if (!m_apron_ready.load(std::memory_order_relaxed)) {
            fill_apron();
            m_apron_ready.store(true, std::memory_order_release);
        }
    }
    return m_pixels;
}

void ImageMapTile::fill_apron()
{
    ImageMap const& map = *m_channel->m_map;
    int const size = map.m_tile_size;
    auto const origin = zv_host::tile_bounds(m_tile_x, m_tile_y, size);
    auto const copy = [&](int column, int row) {
        std::uint32_t const bits =
            m_channel->get_repeated_bits(origin.begin_x + column, origin.begin_y + row);
        std::ptrdiff_t const offset =
            static_cast<std::ptrdiff_t>(column) * static_cast<std::ptrdiff_t>(map.m_bit_depth);
        zv_host::fill_row(map.m_bit_depth, bits, get_row(row) + offset, 1);
    };
    for (int column = -1; column <= size; ++column) {
        copy(column, -1);
        copy(column, size);
    }
    for (int row = 0; row < size; ++row) {
        copy(-1, row);
        copy(size, row);
    }
}
