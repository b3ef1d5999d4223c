#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "host/gmath/gmath_vec4.h"

namespace zv_host {

/// Division that rounds down, for negative numbers too; the divisor is positive.
constexpr std::int64_t floor_div(std::int64_t value, std::int64_t divisor)
{
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

/// A region with exclusive ends in 64 bits, so that no sum of coordinates overflows.
struct Bounds {
    std::int64_t begin_x = 0, begin_y = 0, end_x = 0, end_y = 0;

    Bounds() = default;
    Bounds(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1)
        : begin_x(x0)
        , begin_y(y0)
        , end_x(x1)
        , end_y(y1)
    {
    }
    explicit Bounds(GMathVec4<int> const& region)
        : begin_x(region.x())
        , begin_y(region.y())
        , end_x(begin_x + region.width())
        , end_y(begin_y + region.height())
    {
    }

    [[nodiscard]] bool is_empty() const { return begin_x >= end_x || begin_y >= end_y; }
    [[nodiscard]] std::int64_t width() const { return end_x - begin_x; }
    [[nodiscard]] std::int64_t height() const { return end_y - begin_y; }
    [[nodiscard]] bool operator==(Bounds const&) const = default;

    [[nodiscard]] bool contains(Bounds const& other) const
    {
        return begin_x <= other.begin_x && begin_y <= other.begin_y && end_x >= other.end_x &&
               end_y >= other.end_y;
    }

    /// True if all corners are ints and the region has an area.
    [[nodiscard]] bool is_valid_region() const
    {
        return !is_empty() && end_x <= std::int64_t{std::numeric_limits<int>::max()} + 1 &&
               end_y <= std::int64_t{std::numeric_limits<int>::max()} + 1 &&
               width() <= std::numeric_limits<int>::max() && height() <= std::numeric_limits<int>::max();
    }

    [[nodiscard]] GMathVec4<int> region() const
    {
        return {static_cast<int>(begin_x), static_cast<int>(begin_y), static_cast<int>(width()),
                static_cast<int>(height())};
    }
};

inline Bounds intersection(Bounds const& a, Bounds const& b)
{
    return {std::max(a.begin_x, b.begin_x), std::max(a.begin_y, b.begin_y), std::min(a.end_x, b.end_x),
            std::min(a.end_y, b.end_y)};
}

/// The smallest bounds around both; an empty one plays no part.
inline Bounds enclosing(Bounds const& a, Bounds const& b)
{
    if (a.is_empty() || b.is_empty())
        return a.is_empty() ? b : a;
    return {std::min(a.begin_x, b.begin_x), std::min(a.begin_y, b.begin_y), std::max(a.end_x, b.end_x),
            std::max(a.end_y, b.end_y)};
}

/// The pixels of one tile of the grid.
inline Bounds tile_bounds(int tile_x, int tile_y, int tile_size)
{
    std::int64_t const x = std::int64_t{tile_x} * tile_size;
    std::int64_t const y = std::int64_t{tile_y} * tile_size;
    return {x, y, x + tile_size, y + tile_size};
}

/// Calls visit(tile_x, tile_y) for each tile of the grid that has pixels of `bounds`, row after row. Counted
/// in 64 bits: with tiles of one pixel the last number is the last int.
template <class Visit>
void for_each_tile_number(Bounds const& bounds, int tile_size, Visit&& visit)
{
    if (bounds.is_empty())
        return;
    std::int64_t const last_x = floor_div(bounds.end_x - 1, tile_size);
    std::int64_t const last_y = floor_div(bounds.end_y - 1, tile_size);
    for (std::int64_t y = floor_div(bounds.begin_y, tile_size); y <= last_y; ++y)
        for (std::int64_t x = floor_div(bounds.begin_x, tile_size); x <= last_x; ++x)
            visit(static_cast<int>(x), static_cast<int>(y));
}

}  // namespace zv_host
