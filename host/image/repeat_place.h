#pragma once

#include <cstdint>
#include <optional>

#include "host/image/image_pixel.h"
#include "host/image/region.h"

namespace zv_host {

/// Where a coordinate past the ends of the half open [begin, end) is read; nothing where it is zero. The
/// range is not empty.
inline std::optional<std::int64_t> repeat_place(std::int64_t place, std::int64_t begin, std::int64_t end,
                                                ImagePixel::RepeatMode mode)
{
    if (place >= begin && place < end)
        return place;
    std::int64_t const length = end - begin;
    std::int64_t const distance = place - begin;
    switch (mode) {
    case ImagePixel::REPEAT_MODE_REPEAT:
        return begin + distance - floor_div(distance, length) * length;
    case ImagePixel::REPEAT_MODE_MIRROR: {
        std::int64_t const phase = distance - floor_div(distance, 2 * length) * 2 * length;
        return begin + (phase < length ? phase : 2 * length - 1 - phase);
    }
    case ImagePixel::REPEAT_MODE_CLAMP:
        return place < begin ? begin : end - 1;
    case ImagePixel::REPEAT_MODE_NONE:
        break;
    }
    return std::nullopt;
}

}  // namespace zv_host
