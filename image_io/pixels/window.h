#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

#include "host/gmath/gmath_vec4.h"

namespace zv_image_io {

/// A rectangle of pixels, half open. Units: pixels of the file's own coordinates, negative allowed.
struct Window {
    int x = 0, y = 0, width = 0, height = 0;

    std::int64_t end_x() const { return std::int64_t(x) + width; }
    std::int64_t end_y() const { return std::int64_t(y) + height; }
    bool is_empty() const { return width <= 0 || height <= 0; }

    /// Corners and far edges are ints, so that no later sum of them can overflow.
    bool fits_int() const
    {
        constexpr std::int64_t limit = std::numeric_limits<int>::max();
        return width >= 0 && height >= 0 && end_x() <= limit && end_y() <= limit;
    }

    GMathVec4<int> rectangle() const { return GMathVec4<int>(x, y, width, height); }
};

inline Window window_of(GMathVec4<int> const& rectangle)
{
    return {rectangle[0], rectangle[1], rectangle[2], rectangle[3]};
}

/// Division that rounds down, for negative numbers too. The divisor is positive.
constexpr std::int64_t floor_div(std::int64_t value, std::int64_t divisor)
{
    return value / divisor - (value % divisor < 0);
}

/// The product of sizes, or nothing if it does not fit.
template <class... Factors>
std::optional<std::size_t> size_product(Factors... factors)
{
    std::size_t product = 1;
    bool const overflow = (... || __builtin_mul_overflow(product, factors, &product));
    return overflow ? std::nullopt : std::optional<std::size_t>(product);
}

}  // namespace zv_image_io
