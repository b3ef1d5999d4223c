#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/image/image_map_tile.h"
#include "host/image/repeat_place.h"
#include "host/image/sample_rows.h"

namespace {

using zv_host::Bounds;

/// Zeros in the part of the rectangle that `inner` does not cover.
void clear_outside(Bounds const& outer, Bounds const& inner, float* out, std::size_t row_length)
{
    for (std::int64_t y = outer.begin_y; y < outer.end_y; ++y) {
        float* const row = out + static_cast<std::size_t>(y - outer.begin_y) * row_length;
        if (inner.is_empty() || y < inner.begin_y || y >= inner.end_y) {
            std::fill_n(row, outer.width(), 0.0f);
            continue;
        }
        std::fill_n(row, inner.begin_x - outer.begin_x, 0.0f);
        std::fill_n(row + (inner.end_x - outer.begin_x), outer.end_x - inner.end_x, 0.0f);
    }
}

/// The column that each pixel of a row is read at, or -1 for zero, counted from the channel's first column.
std::vector<std::int64_t> repeated_columns(Bounds const& wanted, Bounds const& held,
                                           ImagePixel::RepeatMode mode)
{
    std::vector<std::int64_t> columns(static_cast<std::size_t>(wanted.width()));
    for (std::size_t i = 0; i < columns.size(); ++i)
        columns[i] = zv_host::repeat_place(wanted.begin_x + static_cast<std::int64_t>(i), held.begin_x,
                                           held.end_x, mode)
                         .value_or(held.begin_x - 1) -
                     held.begin_x;
    return columns;
}

}  // namespace

float* ImageMapChannel::create_float_buffer(ImageEvalContext* context, int const& x, int const& y,
                                            unsigned int const& width, unsigned int const& height,
                                            float* out) const
{
    if (out != nullptr && width != 0 && height != 0)
        read_region(context, {x, y, std::int64_t{x} + width, std::int64_t{y} + height}, out, width);
    return out;
}

float* ImageMapChannel::create_float_buffer(ImageEvalContext* context, GMathVec4<int> const& region,
                                            float* out) const
{
    Bounds const bounds(region);
    if (out != nullptr && !bounds.is_empty())
        read_region(context, bounds, out, static_cast<std::size_t>(bounds.width()));
    return out;
}

void ImageMapChannel::create_float_buffer(ImageEvalContext& context, GMathVec4<int> const& region, float* out,
                                          unsigned int plane_length, ImagePixel::RepeatMode const& u,
                                          ImagePixel::RepeatMode const& v) const
{
    Bounds const bounds(region);
    if (out == nullptr || bounds.is_empty())
        return;
    auto const width = static_cast<std::size_t>(bounds.width());
    std::size_t const room =
        std::min<std::size_t>(plane_length, width * static_cast<std::size_t>(bounds.height()));
    bool const inside = m_bounds.contains(bounds);
    bool const zero_outside = u == ImagePixel::REPEAT_MODE_NONE && v == ImagePixel::REPEAT_MODE_NONE;
    if (room == width * static_cast<std::size_t>(bounds.height()) && (inside || zero_outside)) {
        read_region(&context, bounds, out, width);
        return;
    }
    std::fill_n(out, room, 0.0f);
    if (!m_bounds.is_empty())
        read_repeated(context, bounds, {out, room}, u, v);
}

void ImageMapChannel::read_repeated(ImageEvalContext& context, Bounds const& bounds, std::span<float> out,
                                    ImagePixel::RepeatMode u, ImagePixel::RepeatMode v) const
{
    try {
        std::vector<std::int64_t> const columns = repeated_columns(bounds, m_bounds, u);
        std::vector<float> held_row(static_cast<std::size_t>(m_bounds.width()));
        auto held_y = std::numeric_limits<std::int64_t>::min();
        for (std::size_t first = 0; first < out.size(); first += columns.size()) {
            auto const line = static_cast<std::int64_t>(first / columns.size());
            auto const y = zv_host::repeat_place(bounds.begin_y + line, m_bounds.begin_y, m_bounds.end_y, v);
            if (!y)
                continue;
            if (*y != held_y)
                read_region(&context, {m_bounds.begin_x, *y, m_bounds.end_x, *y + 1}, held_row.data(),
                            held_row.size());
            held_y = *y;
            std::size_t const count = std::min(columns.size(), out.size() - first);
            for (std::size_t i = 0; i < count; ++i)
                out[first + i] = columns[i] < 0 ? 0.0f : held_row[static_cast<std::size_t>(columns[i])];
        }
    } catch (std::bad_alloc const&) {
        // Without the memory for one row the plane stays zero.
    }
}

void ImageMapChannel::read_region(ImageEvalContext* context, Bounds const& bounds, float* out,
                                  std::size_t row_length) const
{
    Bounds const held = intersection(bounds, m_bounds);
    if (!(held == bounds))
        clear_outside(bounds, held, out, row_length);
    zv_host::for_each_tile_number(held, m_map->m_tile_size, [&](int tile_x, int tile_y) {
        ImageMapTile& tile = *find_tile(tile_x, tile_y);
        if (m_evaluator)
            evaluate(tile, context);
        Bounds const part = intersection(held, get_covered_part(tile));
        float* const first = out + static_cast<std::size_t>(part.begin_y - bounds.begin_y) * row_length +
                             static_cast<std::size_t>(part.begin_x - bounds.begin_x);
        read_tile(tile, part, first, row_length);
    });
}

void ImageMapChannel::read_tile(ImageMapTile const& tile, Bounds const& part, float* out,
                                std::size_t row_length) const
{
    auto const kind = zv_host::sample_kind(m_map->m_bit_depth, m_map->m_bit_type);
    auto const width = static_cast<std::size_t>(part.width());
    auto const height = static_cast<std::size_t>(part.height());
    if (tile.is_constant()) {
        std::uint32_t bits = 0;
        // Bits, because a NaN need not come through a float unharmed.
        float const value = zv_host::bits_to_float(kind, tile.m_constant_bits);
        std::memcpy(&bits, &value, sizeof bits);
        for (std::size_t row = 0; row < height; ++row)
            zv_host::fill_row(sizeof(float), bits, out + row * row_length, width);
        return;
    }
    auto const origin = zv_host::tile_bounds(tile.m_tile_x, tile.m_tile_y, m_map->m_tile_size);
    std::size_t const row_bytes = (static_cast<std::size_t>(m_map->m_tile_size) + 2) * m_map->m_bit_depth;
    unsigned char const* samples =
        tile.get_row(static_cast<int>(part.begin_y - origin.begin_y)) +
        static_cast<std::size_t>(part.begin_x - origin.begin_x) * m_map->m_bit_depth;
    for (std::size_t row = 0; row < height; ++row, samples += row_bytes)
        zv_host::row_to_float(kind, samples, out + row * row_length, width);
}
