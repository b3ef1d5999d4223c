#pragma once

#include <cstddef>
#include <cstdint>

#include "host/image/band_source.h"
#include "host/image/image_pixel.h"

namespace zv_host {

/// Rows of samples of one type: all arithmetic of the image model on single samples.
///
/// Shape    `count` samples; typed rows are packed and may lie at any address that the type is aligned to
///          (`gather_rows` and the equality of strided samples take any address)
/// Bits     a sample in the low bytes of a word, bits above it 0
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

/// Copies a block of a band, at any address, into rows that begin `target_stride` samples apart. `clear_sides` also sets
/// the sample in front of each row and the one behind it to 0.
void gather_rows(std::size_t sample_bytes, BandSource const& source, void* target, std::size_t target_stride,
                 std::size_t width, std::size_t height, bool clear_sides);
void fill_row(std::size_t sample_bytes, std::uint32_t bits, void* target, std::size_t count);

/// True if all `width` by `height` samples are `bits`.
bool samples_are(std::size_t sample_bytes, std::uint32_t bits, void const* first, std::ptrdiff_t pixel_stride,
                 std::ptrdiff_t row_stride, std::size_t width, std::size_t height);

/// Limits rows that begin `row_stride` samples apart; NaN stays. Samples inside the limits keep their bits. Bounds are
/// floats as `row_to_float` gives them. Returns true if a sample was changed.
bool clamp_rows(SampleKind kind, void* first, std::size_t row_stride, std::size_t width, std::size_t height,
                float low, float high);

}  // namespace zv_host
