#include <algorithm>
#include <cstring>

#include "host/image/band_rows.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/image/image_map_tile.h"
#include "host/image/image_tile_factory.h"
#include "host/image/sample_clamp.h"
#include "host/image/sample_rows.h"

namespace {

using zv_host::Bounds;

unsigned char const* sample_at(BandSource const& source, std::int64_t column, std::int64_t row)
{
    return static_cast<unsigned char const*>(source.first_sample) + column * source.pixel_stride +
           row * source.row_stride;
}

bool equal_samples(std::size_t sample_bytes, std::uint32_t bits, BandSource const& source,
                   Bounds const& block)
{
    return zv_host::samples_are(sample_bytes, bits, source, static_cast<std::size_t>(block.width()),
                                static_cast<std::size_t>(block.height()));
}

/// Clears what a block that goes into a fresh buffer leaves, but for the sample at each side of its rows:
/// the rows above and below, and what lies outside the region in its own rows.
void clear_around(unsigned char* buffer, Bounds const& origin, Bounds const& block, std::size_t sample_bytes)
{
    std::size_t const row_bytes = (static_cast<std::size_t>(origin.width()) + 2) * sample_bytes;
    std::size_t const left = static_cast<std::size_t>(block.begin_x - origin.begin_x + 1) * sample_bytes;
    std::size_t const right = static_cast<std::size_t>(origin.end_x - block.end_x + 1) * sample_bytes;
    auto const first_row = static_cast<std::size_t>(block.begin_y - origin.begin_y + 1);
    auto const end_row = static_cast<std::size_t>(block.end_y - origin.begin_y + 1);
    std::memset(buffer, 0, first_row * row_bytes);
    for (std::size_t row = first_row; left + right > 2 * sample_bytes && row < end_row; ++row) {
        std::memset(buffer + row * row_bytes, 0, left);
        std::memset(buffer + (row + 1) * row_bytes - right, 0, right);
    }
    std::memset(buffer + end_row * row_bytes, 0,
                row_bytes * (static_cast<std::size_t>(origin.height()) + 2 - end_row));
}

void copy_block(ImageMapTile& tile, Bounds const& origin, BandSource const& source, Bounds const& block,
                std::size_t sample_bytes, bool clear_sides)
{
    unsigned char* const target = tile.get_row(static_cast<int>(block.begin_y - origin.begin_y)) +
                                  static_cast<std::size_t>(block.begin_x - origin.begin_x) * sample_bytes;
    zv_host::gather_rows(sample_bytes, source, target, static_cast<std::size_t>(origin.width()) + 2,
                         static_cast<std::size_t>(block.width()), static_cast<std::size_t>(block.height()),
                         clear_sides);
}

}  // namespace

void ImageMapChannel::fill_tiles(unsigned char const* buffer, GMathVec4<int> const& region, bool whole_region)
{
    Bounds const bounds(region);
    if (buffer == nullptr || !bounds.is_valid_region())
        return;
    if (m_tile_count == 0 || (whole_region && !m_bounds.contains(bounds)))
        create_tiles(region, nullptr, 0.0f);
    auto const sample_stride = static_cast<std::ptrdiff_t>(m_map->m_bit_depth);
    // The result plays no part: a tile without memory keeps its old value.
    fill_rows(buffer, sample_stride, sample_stride * region.width(), region);
}

bool ImageMapChannel::fill_rows(void const* samples, std::ptrdiff_t pixel_stride_bytes,
                                std::ptrdiff_t row_stride_bytes, GMathVec4<int> const& rows_region)
{
    if (samples == nullptr || m_tile_count == 0)
        return false;
    Bounds const bounds(rows_region);
    BandSource const source{samples, pixel_stride_bytes, row_stride_bytes};
    bool filled = true;
    zv_host::for_each_tile_number(
        intersection(bounds, m_bounds), m_map->m_tile_size,
        [&](int tile_x, int tile_y) { filled &= fill_tile(tile_x, tile_y, source, bounds); });
    return filled;
}

bool ImageMapChannel::fill_tile(int tile_x, int tile_y, BandSource const& source, Bounds const& source_bounds)
{
    ImageMapTile* const tile = find_tile(tile_x, tile_y);
    if (tile == nullptr)
        return true;
    Bounds const block = intersection(source_bounds, get_covered_part(*tile));
    if (block.is_empty())
        return true;
    BandSource const part{
        sample_at(source, block.begin_x - source_bounds.begin_x, block.begin_y - source_bounds.begin_y),
        source.pixel_stride, source.row_stride};
    return fill_block(*tile, part, block);
}

bool ImageMapChannel::fill_block(ImageMapTile& tile, BandSource const& source, Bounds const& block)
{
    std::size_t const sample_bytes = m_map->m_bit_depth;
    Bounds const covered = get_covered_part(tile);
    std::uint32_t const bits = zv_host::load_bits(sample_bytes, source.first_sample);
    bool const whole = block == covered;
    bool const constant = tile.is_constant() && bits == tile.m_constant_bits;
    if ((whole || constant) && equal_samples(sample_bytes, bits, source, block)) {
        if (!constant)
            tile.set_constant_bits(bits);
        return true;
    }
    Bounds const origin = zv_host::tile_bounds(tile.m_tile_x, tile.m_tile_y, m_map->m_tile_size);
    bool const fresh = whole && tile.is_constant();
    if (fresh) {
        ImageTileFactory::get().allocate_tile_buffer(&tile, false);
        if (tile.m_pixels == nullptr)
            return false;
        clear_around(tile.m_pixels, origin, block, sample_bytes);
    } else if (!tile.allocate()) {
        return false;
    }
    copy_block(tile, origin, source, block, sample_bytes, fresh);
    tile.m_apron_ready.store(false, std::memory_order_relaxed);
    tile.m_equality_known = whole;
    // The last rows of a tile that came in parts: now its samples can be told to be equal.
    if (!whole && block.end_x == covered.end_x && block.end_y == covered.end_y)
        tile.make_constant_if_equal();
    return true;
}

std::size_t ImageMapChannel::release_equal_tiles(GMathVec4<int> const* region)
{
    std::size_t released = 0;
    Bounds const bounds = region != nullptr ? intersection(Bounds(*region), m_bounds) : m_bounds;
    zv_host::for_each_tile_number(bounds, m_map->m_tile_size, [&](int tile_x, int tile_y) {
        ImageMapTile& tile = *find_tile(tile_x, tile_y);
        if (!tile.is_constant() && !tile.m_equality_known && tile.make_constant_if_equal())
            ++released;
    });
    return released;
}

void ImageMapChannel::clamp_values(float const& low, float const& high, GMathVec4<int> const& region)
{
    auto const kind = zv_host::sample_kind(m_map->m_bit_depth, m_map->m_bit_type);
    if (m_map->m_bit_type == ImagePixel::BIT_TYPE_INTEGER && low <= 0.0f && high >= 1.0f)
        return;
    Bounds const bounds = intersection(Bounds(region), m_bounds);
    zv_host::for_each_tile_number(bounds, m_map->m_tile_size, [&](int tile_x, int tile_y) {
        clamp_tile(*find_tile(tile_x, tile_y), kind, bounds, low, high);
    });
}

void ImageMapChannel::clamp_tile(ImageMapTile& tile, zv_host::SampleKind kind, Bounds const& bounds,
                                 float low, float high)
{
    Bounds const covered = get_covered_part(tile);
    Bounds const block = intersection(bounds, covered);
    if (tile.is_constant()) {
        std::uint32_t bits = tile.m_constant_bits;
        if (!zv_host::clamp_rows(kind, &bits, 1, 1, 1, low, high))
            return;
        if (block == covered) {
            tile.m_constant_bits = bits;
            return;
        }
        if (!tile.allocate())
            return;
    }
    Bounds const origin = zv_host::tile_bounds(tile.m_tile_x, tile.m_tile_y, m_map->m_tile_size);
    unsigned char* const first =
        tile.get_row(static_cast<int>(block.begin_y - origin.begin_y)) +
        static_cast<std::size_t>(block.begin_x - origin.begin_x) * m_map->m_bit_depth;
    if (!zv_host::clamp_rows(kind, first, static_cast<std::size_t>(m_map->m_tile_size) + 2,
                             static_cast<std::size_t>(block.width()),
                             static_cast<std::size_t>(block.height()), low, high))
        return;
    tile.m_apron_ready.store(false, std::memory_order_relaxed);
    tile.make_constant_if_equal();
}

bool ImageMapChannel::copy_from(ImageMapChannel const& other, GMathVec4<int> const* region,
                                bool const& own_copy)
{
    (void)own_copy;
    if (&other == this)
        return true;
    ImageMap const& theirs = *other.m_map;
    if (theirs.m_bit_depth != m_map->m_bit_depth || theirs.m_bit_type != m_map->m_bit_type ||
        theirs.m_tile_size != m_map->m_tile_size)
        return false;
    if (region == nullptr) {
        create_tiles(other.m_region, nullptr, 0.0f);
        if (m_tile_count != other.m_tile_count)
            return false;
    }
    bool copied = true;
    Bounds const wanted = region != nullptr ? Bounds(*region) : m_bounds;
    Bounds const bounds = intersection(intersection(wanted, m_bounds), other.m_bounds);
    zv_host::for_each_tile_number(bounds, m_map->m_tile_size, [&](int tile_x, int tile_y) {
        copied &= copy_tile(*find_tile(tile_x, tile_y), *other.find_tile(tile_x, tile_y), bounds);
    });
    return copied;
}

bool ImageMapChannel::copy_tile(ImageMapTile& tile, ImageMapTile& source, Bounds const& bounds)
{
    if (source.m_channel->m_evaluator)
        source.m_channel->evaluate(source, nullptr);
    auto const sample_bytes = static_cast<std::ptrdiff_t>(m_map->m_bit_depth);
    Bounds const block = intersection(bounds, get_covered_part(tile));
    // Strides of zero make the one constant sample stand for all.
    if (source.is_constant())
        return fill_block(tile, {&source.m_constant_bits, 0, 0}, block);
    Bounds const origin = zv_host::tile_bounds(tile.m_tile_x, tile.m_tile_y, m_map->m_tile_size);
    unsigned char const* const first = source.get_row(static_cast<int>(block.begin_y - origin.begin_y)) +
                                       (block.begin_x - origin.begin_x) * sample_bytes;
    return fill_block(tile, {first, sample_bytes, (m_map->m_tile_size + 2) * sample_bytes}, block);
}
