#pragma once

#include <cstddef>

/// Where the samples of one channel lie in a band of rows that was read from a file.
///
/// Shape    sample (column, row) of the band at first_sample + column * pixel_stride + row * row_stride
/// Units    strides in bytes, between neighbouring pixels and between neighbouring rows; any alignment
/// Owns     nothing; `first_sample` null: no samples for this channel
struct BandSource {
    void const* first_sample = nullptr;
    std::ptrdiff_t pixel_stride = 0;
    std::ptrdiff_t row_stride = 0;
};
