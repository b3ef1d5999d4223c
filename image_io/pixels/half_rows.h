#pragma once

#include <cstddef>
#include <cstdint>

namespace zv_image_io {

/// A row of floats as halves, eight at a time where the processor has F16C.
///
/// Both roads give the bits that Imath's `half` gives: rounded to the nearest, ties to even; too large becomes infinity.
/// Eights that hold a NaN take the plain road, because the instruction would make signalling NaNs quiet and `half` does not.
///
/// Shape    `count` packed samples; the rows must not overlap
/// Threads  any
void float_row_to_half(float const* source, std::uint16_t* target, std::size_t count);

/// The same by `half` alone: the fallback, and what tests compare with.
void plain_float_row_to_half(float const* source, std::uint16_t* target, std::size_t count);

}  // namespace zv_image_io
