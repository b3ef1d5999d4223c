#include "host/image/band_rows.h"

#include <cstring>

namespace zv_host {
namespace {

template <class Sample>
Sample load(void const* address)
{
    Sample sample;
    std::memcpy(&sample, address, sizeof(Sample));
    return sample;
}

// A stride that the compiler knows becomes loads of whole vectors and shuffles.
template <class Sample, std::size_t Channels>
void gather_pixels(unsigned char const* source, Sample* target, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        target[i] = load<Sample>(source + i * Channels * sizeof(Sample));
}

template <class Sample>
void gather(unsigned char const* source, std::ptrdiff_t stride, Sample* target, std::size_t count)
{
    constexpr auto kBytes = static_cast<std::ptrdiff_t>(sizeof(Sample));
    if (stride == 4 * kBytes)
        return gather_pixels<Sample, 4>(source, target, count);
    if (stride == 3 * kBytes)
        return gather_pixels<Sample, 3>(source, target, count);
    if (stride == kBytes)
        return gather_pixels<Sample, 1>(source, target, count);
    for (std::size_t i = 0; i < count; ++i)
        target[i] = load<Sample>(source + static_cast<std::ptrdiff_t>(i) * stride);
}

// Rows of a tile of 64 are what nearly all pictures are made of: a known count spares a call a row. The
// samples at the sides are cleared here, because the row's cache lines are at hand.
template <class Sample>
void gather_block(BandSource const& source, Sample* target, std::size_t target_stride, std::size_t width,
                  std::size_t height, bool clear_sides)
{
    auto const* samples = static_cast<unsigned char const*>(source.first_sample);
    for (std::size_t row = 0; row < height; ++row, samples += source.row_stride, target += target_stride) {
        gather(samples, source.pixel_stride, target, width == 64 ? 64 : width);
        if (clear_sides) {
            target[-1] = 0;
            target[width] = 0;
        }
    }
}

template <class Sample, class At>
bool row_is(Sample value, std::size_t count, At const& at)
{
    if (at(0) != value || at(count - 1) != value)
        return false;
    Sample differences = 0;
    for (std::size_t i = 0; i < count; ++i)
        differences |= static_cast<Sample>(at(i) ^ value);
    return differences == 0;
}

template <class Sample>
bool strided_row_is(Sample value, unsigned char const* samples, std::ptrdiff_t stride, std::size_t count)
{
    constexpr auto kBytes = static_cast<std::ptrdiff_t>(sizeof(Sample));
    if (stride == 4 * kBytes)
        return row_is(value, count,
                      [=](std::size_t i) { return load<Sample>(samples + i * 4 * sizeof(Sample)); });
    if (stride == 3 * kBytes)
        return row_is(value, count,
                      [=](std::size_t i) { return load<Sample>(samples + i * 3 * sizeof(Sample)); });
    return row_is(value, count, [=](std::size_t i) {
        return load<Sample>(samples + static_cast<std::ptrdiff_t>(i) * stride);
    });
}

template <class Sample>
bool strided_samples_are(Sample value, unsigned char const* first, std::ptrdiff_t pixel_stride,
                         std::ptrdiff_t row_stride, std::size_t width, std::size_t height)
{
    for (std::size_t row = 0; row < height; ++row, first += row_stride)
        if (!strided_row_is(value, first, pixel_stride, width == 64 ? 64 : width))
            return false;
    return true;
}

// A row of equal samples is the same as itself one sample on, which memcmp tells fastest.
template <class Sample>
bool packed_samples_are(Sample value, unsigned char const* first, std::ptrdiff_t row_stride,
                        std::size_t width, std::size_t height)
{
    for (std::size_t row = 0; row < height; ++row) {
        unsigned char const* const samples = first + static_cast<std::ptrdiff_t>(row) * row_stride;
        if (load<Sample>(samples) != value ||
            std::memcmp(samples, samples + sizeof(Sample), (width - 1) * sizeof(Sample)) != 0)
            return false;
    }
    return true;
}

template <class Sample>
bool typed_samples_are(Sample value, BandSource const& source, std::size_t width, std::size_t height)
{
    auto const* const first = static_cast<unsigned char const*>(source.first_sample);
    if (source.pixel_stride == sizeof(Sample))
        return packed_samples_are(value, first, source.row_stride, width, height);
    return strided_samples_are(value, first, source.pixel_stride, source.row_stride, width, height);
}

}  // namespace

void gather_rows(std::size_t sample_bytes, BandSource const& source, void* target, std::size_t target_stride,
                 std::size_t width, std::size_t height, bool clear_sides)
{
    switch (sample_bytes) {
    case 1:
        return gather_block(source, static_cast<std::uint8_t*>(target), target_stride, width, height,
                            clear_sides);
    case 2:
        return gather_block(source, static_cast<std::uint16_t*>(target), target_stride, width, height,
                            clear_sides);
    default:
        return gather_block(source, static_cast<std::uint32_t*>(target), target_stride, width, height,
                            clear_sides);
    }
}

bool samples_are(std::size_t sample_bytes, std::uint32_t bits, BandSource const& source, std::size_t width,
                 std::size_t height)
{
    if (width == 0)
        return true;
    switch (sample_bytes) {
    case 1:
        return typed_samples_are(static_cast<std::uint8_t>(bits), source, width, height);
    case 2:
        return typed_samples_are(static_cast<std::uint16_t>(bits), source, width, height);
    default:
        return typed_samples_are(bits, source, width, height);
    }
}

}  // namespace zv_host
