#pragma once

#include <cstddef>
#include <cstdint>

namespace zv_host {

/// Rows of half samples to floats and back, eight at a time where the processor has F16C.
///
/// Both roads give the bits that Imath's `half` gives, NaN payloads included: blocks that hold a NaN take the
/// plain road, because the instructions would make signalling NaNs quiet and `half` does not. Rounding is to
/// the nearest, ties to even; too large becomes infinity. A half that goes to float and back keeps its bits.
///
/// Shape    `count` packed samples; the rows must not overlap
/// Threads  any
void half_row_to_float(std::uint16_t const* source, float* target, std::size_t count);
void float_row_to_half(float const* source, std::uint16_t* target, std::size_t count);

/// The same by `half` alone: the fallback, and what tests compare with.
void plain_half_row_to_float(std::uint16_t const* source, float* target, std::size_t count);
void plain_float_row_to_half(float const* source, std::uint16_t* target, std::size_t count);

/// True if the rows above convert eight at a time on this machine.
bool half_rows_are_fast();

}  // namespace zv_host
