#pragma once

#include <cstddef>

namespace zv_image_io {

// The buffer of a map's tile, with its apron of one sample on all sides:
//
//     a a a a a a      rows of tile size + 2 samples, tile size + 2 of them; sample (column, row) of the tile lies at
//     a . . . . a      number (tile size + 2) * (row + 1) + 1 + column
//     a . . . . a
//     a a a a a a

/// Bytes from one row of the buffer to the next.
constexpr std::size_t tile_row_bytes(int tile_size, std::size_t sample_bytes)
{
    return (std::size_t(tile_size) + 2) * sample_bytes;
}

/// The first sample of the tile itself, inside the apron.
template <class Byte>
Byte* inner_square(Byte* buffer, int tile_size, std::size_t sample_bytes)
{
    return buffer + tile_row_bytes(tile_size, sample_bytes) + sample_bytes;
}

/// Rows of samples of one channel, `from_stride` bytes apart, and where they go, packed. Strides in bytes; borrows.
struct SampleRows {
    std::byte const* from;
    std::size_t from_stride, from_row_stride;
    std::byte* into;
    std::size_t into_row_stride;
    int width, height;
};

/// Copies samples of 1, 2 or 4 bytes as they are.
void copy_samples(SampleRows const& rows, std::size_t sample_bytes);

}  // namespace zv_image_io
