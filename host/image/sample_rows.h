#pragma once

#include <cstddef>
#include <cstdint>

#include "host/image/image_pixel.h"

namespace zv_host {

/// What a sample is; all arithmetic of the image model on single samples is told by this.
///
/// Shape    rows of `count` packed samples, at an address that the sample's type is aligned to
/// Bits     a sample in the low bytes of a word, the bits above it 0
/// Threads  any
enum class SampleKind { INTEGER_8, INTEGER_16, INTEGER_32, HALF, FLOAT };

SampleKind sample_kind(ImagePixel::BitDepth bit_depth, ImagePixel::BitType bit_type);

/// Integers give 0 to 1 (divided by their largest value), halves and floats themselves.
void row_to_float(SampleKind kind, void const* source, float* target, std::size_t count);
/// Integers are limited to 0 to 1, NaN is 0, and rounded to the nearest, halves up.
void row_from_float(SampleKind kind, float const* source, void* target, std::size_t count);

float bits_to_float(SampleKind kind, std::uint32_t bits);
std::uint32_t bits_from_float(SampleKind kind, float value);

/// The sample at any address, as bits.
std::uint32_t load_bits(std::size_t sample_bytes, void const* sample);

void fill_row(std::size_t sample_bytes, std::uint32_t bits, void* target, std::size_t count);

}  // namespace zv_host
