#include "image_io/pixels/tile_rows.h"

#include <cstdint>
#include <cstring>

namespace zv_image_io {

namespace {

template <class Sample>
void copy_row(std::byte const* from, std::size_t stride, std::byte* into, int width)
{
    for (int x = 0; x < width; ++x, from += stride, into += sizeof(Sample))
        std::memcpy(into, from, sizeof(Sample));
}

template <class Sample>
void copy_rows(SampleRows const& rows)
{
    for (int y = 0; y < rows.height; ++y)
        copy_row<Sample>(rows.from + std::size_t(y) * rows.from_row_stride, rows.from_stride,
                         rows.into + std::size_t(y) * rows.into_row_stride, rows.width);
}

}  // namespace

void copy_samples(SampleRows const& rows, std::size_t sample_bytes)
{
    switch (sample_bytes) {
    case 1:
        return copy_rows<std::uint8_t>(rows);
    case 2:
        return copy_rows<std::uint16_t>(rows);
    case 4:
        return copy_rows<std::uint32_t>(rows);
    }
}

}  // namespace zv_image_io
