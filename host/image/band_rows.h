#pragma once

#include <cstddef>
#include <cstdint>

#include "host/image/band_source.h"

namespace zv_host {

/// Copies a block of a band, at any address, into rows that begin `target_stride` samples apart.
/// `clear_sides` also sets the sample in front of each row and the one behind it to 0.
void gather_rows(std::size_t sample_bytes, BandSource const& source, void* target, std::size_t target_stride,
                 std::size_t width, std::size_t height, bool clear_sides);

/// True if all `width` by `height` samples are `bits`.
bool samples_are(std::size_t sample_bytes, std::uint32_t bits, BandSource const& source, std::size_t width,
                 std::size_t height);

}  // namespace zv_host
