#include "host/image/sample_rows.h"

#include "host/image/half_rows.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>

namespace zv_host {
namespace {

template <class Sample>
constexpr float kLargest = static_cast<float>(std::numeric_limits<Sample>::max());

template <class Sample>
void integers_to_float(Sample const* source, float* target, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        target[i] = static_cast<float>(source[i]) / kLargest<Sample>;
}

// 32 bits do not fit a float's 24: the quotient is formed in double and rounded once.
void integers_to_float(std::uint32_t const* source, float* target, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        target[i] = static_cast<float>(static_cast<double>(source[i]) / 4294967295.0);
}

float limited(float value)
{
    float const positive = value > 0.0f ? value : 0.0f;
    return positive < 1.0f ? positive : 1.0f;
}

template <class Sample>
void integers_from_float(float const* source, Sample* target, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        target[i] = static_cast<Sample>(static_cast<int>(limited(source[i]) * kLargest<Sample> + 0.5f));
}

void integers_from_float(float const* source, std::uint32_t* target, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        target[i] = static_cast<std::uint32_t>(
            static_cast<std::int64_t>(static_cast<double>(limited(source[i])) * 4294967295.0 + 0.5));
}

template <class Sample>
Sample load(void const* address)
{
    Sample sample;
    std::memcpy(&sample, address, sizeof(Sample));
    return sample;
}

template <class Sample>
void gather(unsigned char const* source, std::ptrdiff_t stride, Sample* target, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        target[i] = load<Sample>(source + static_cast<std::ptrdiff_t>(i) * stride);
}

template <class Sample>
bool strided_samples_are(Sample value, unsigned char const* first, std::ptrdiff_t pixel_stride,
                         std::ptrdiff_t row_stride, std::size_t width, std::size_t height)
{
    for (std::size_t row = 0; row < height; ++row) {
        unsigned char const* const samples = first + static_cast<std::ptrdiff_t>(row) * row_stride;
        if (load<Sample>(samples) != value)
            return false;
        Sample differences = 0;
        for (std::size_t i = 1; i < width; ++i)
            differences |= load<Sample>(samples + static_cast<std::ptrdiff_t>(i) * pixel_stride) ^ value;
        if (differences != 0)
            return false;
    }
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
bool typed_samples_are(Sample value, void const* first, std::ptrdiff_t pixel_stride,
                       std::ptrdiff_t row_stride, std::size_t width, std::size_t height)
{
    auto const* const bytes = static_cast<unsigned char const*>(first);
    if (pixel_stride == sizeof(Sample))
        return packed_samples_are(value, bytes, row_stride, width, height);
    return strided_samples_are(value, bytes, pixel_stride, row_stride, width, height);
}

template <class Sample>
bool clamp_packed(Sample* row, std::size_t count, Sample low, Sample high)
{
    bool changed = false;
    for (std::size_t i = 0; i < count; ++i) {
        Sample const sample = row[i];
        // Written as two comparisons, so that a NaN passes.
        Sample const raised = sample < low ? low : sample;
        Sample const result = raised > high ? high : raised;
        changed |= (sample < low) | (raised > high);
        row[i] = result;
    }
    return changed;
}

// Halves are looked at as floats, and only the samples outside are written: the others keep their bits.
bool clamp_halves(std::uint16_t* row, std::size_t count, float low, float high)
{
    auto const low_bits = static_cast<std::uint16_t>(bits_from_float(SampleKind::HALF, low));
    auto const high_bits = static_cast<std::uint16_t>(bits_from_float(SampleKind::HALF, high));
    std::array<float, 256> values;
    bool changed = false;
    for (std::size_t first = 0; first < count; first += values.size()) {
        std::size_t const length = std::min(values.size(), count - first);
        half_row_to_float(row + first, values.data(), length);
        int outside = 0;
        for (std::size_t i = 0; i < length; ++i)
            outside |= static_cast<int>(values[i] < low) | static_cast<int>(values[i] > high);
        if (outside == 0)
            continue;
        changed = true;
        for (std::size_t i = 0; i < length; ++i)
            row[first + i] = values[i] < low ? low_bits : values[i] > high ? high_bits : row[first + i];
    }
    return changed;
}

}  // namespace

SampleKind sample_kind(ImagePixel::BitDepth bit_depth, ImagePixel::BitType bit_type)
{
    bool const floating = bit_type == ImagePixel::BIT_TYPE_FLOAT;
    switch (bit_depth) {
    case ImagePixel::BIT_DEPTH_8:
        return SampleKind::INTEGER_8;
    case ImagePixel::BIT_DEPTH_16:
        return floating ? SampleKind::HALF : SampleKind::INTEGER_16;
    case ImagePixel::BIT_DEPTH_32:
        break;
    }
    return floating ? SampleKind::FLOAT : SampleKind::INTEGER_32;
}

void row_to_float(SampleKind kind, void const* source, float* target, std::size_t count)
{
    switch (kind) {
    case SampleKind::INTEGER_8:
        return integers_to_float(static_cast<std::uint8_t const*>(source), target, count);
    case SampleKind::INTEGER_16:
        return integers_to_float(static_cast<std::uint16_t const*>(source), target, count);
    case SampleKind::INTEGER_32:
        return integers_to_float(static_cast<std::uint32_t const*>(source), target, count);
    case SampleKind::HALF:
        return half_row_to_float(static_cast<std::uint16_t const*>(source), target, count);
    case SampleKind::FLOAT:
        std::memcpy(target, source, count * sizeof(float));
    }
}

void row_from_float(SampleKind kind, float const* source, void* target, std::size_t count)
{
    switch (kind) {
    case SampleKind::INTEGER_8:
        return integers_from_float(source, static_cast<std::uint8_t*>(target), count);
    case SampleKind::INTEGER_16:
        return integers_from_float(source, static_cast<std::uint16_t*>(target), count);
    case SampleKind::INTEGER_32:
        return integers_from_float(source, static_cast<std::uint32_t*>(target), count);
    case SampleKind::HALF:
        return float_row_to_half(source, static_cast<std::uint16_t*>(target), count);
    case SampleKind::FLOAT:
        std::memcpy(target, source, count * sizeof(float));
    }
}

float bits_to_float(SampleKind kind, std::uint32_t bits)
{
    float value = 0.0f;
    // The low bytes come first on the machines that this runs on.
    static_assert(std::endian::native == std::endian::little);
    row_to_float(kind, &bits, &value, 1);
    return value;
}

std::uint32_t bits_from_float(SampleKind kind, float value)
{
    std::uint32_t bits = 0;
    row_from_float(kind, &value, &bits, 1);
    return bits;
}

std::uint32_t load_bits(std::size_t sample_bytes, void const* sample)
{
    switch (sample_bytes) {
    case 1:
        return load<std::uint8_t>(sample);
    case 2:
        return load<std::uint16_t>(sample);
    default:
        return load<std::uint32_t>(sample);
    }
}

void gather_row(std::size_t sample_bytes, void const* source, std::ptrdiff_t stride, void* target,
                std::size_t count)
{
    auto const* const bytes = static_cast<unsigned char const*>(source);
    if (stride == static_cast<std::ptrdiff_t>(sample_bytes)) {
        std::memcpy(target, source, count * sample_bytes);
        return;
    }
    switch (sample_bytes) {
    case 1:
        return gather(bytes, stride, static_cast<std::uint8_t*>(target), count);
    case 2:
        return gather(bytes, stride, static_cast<std::uint16_t*>(target), count);
    default:
        return gather(bytes, stride, static_cast<std::uint32_t*>(target), count);
    }
}

void fill_row(std::size_t sample_bytes, std::uint32_t bits, void* target, std::size_t count)
{
    switch (sample_bytes) {
    case 1:
        std::memset(target, static_cast<int>(bits), count);
        return;
    case 2:
        std::fill_n(static_cast<std::uint16_t*>(target), count, static_cast<std::uint16_t>(bits));
        return;
    default:
        std::fill_n(static_cast<std::uint32_t*>(target), count, bits);
    }
}

bool samples_are(std::size_t sample_bytes, std::uint32_t bits, void const* first, std::ptrdiff_t pixel_stride,
                 std::ptrdiff_t row_stride, std::size_t width, std::size_t height)
{
    if (width == 0)
        return true;
    switch (sample_bytes) {
    case 1:
        return typed_samples_are(static_cast<std::uint8_t>(bits), first, pixel_stride, row_stride, width,
                                 height);
    case 2:
        return typed_samples_are(static_cast<std::uint16_t>(bits), first, pixel_stride, row_stride, width,
                                 height);
    default:
        return typed_samples_are(bits, first, pixel_stride, row_stride, width, height);
    }
}

bool clamp_row(SampleKind kind, void* row, std::size_t count, float low, float high)
{
    auto const low_bits = bits_from_float(kind, low);
    auto const high_bits = bits_from_float(kind, high);
    switch (kind) {
    case SampleKind::INTEGER_8:
        return clamp_packed(static_cast<std::uint8_t*>(row), count, static_cast<std::uint8_t>(low_bits),
                            static_cast<std::uint8_t>(high_bits));
    case SampleKind::INTEGER_16:
        return clamp_packed(static_cast<std::uint16_t*>(row), count, static_cast<std::uint16_t>(low_bits),
                            static_cast<std::uint16_t>(high_bits));
    case SampleKind::INTEGER_32:
        return clamp_packed(static_cast<std::uint32_t*>(row), count, low_bits, high_bits);
    case SampleKind::HALF:
        return clamp_halves(static_cast<std::uint16_t*>(row), count, low, high);
    case SampleKind::FLOAT:
        return clamp_packed(static_cast<float*>(row), count, low, high);
    }
    return false;
}

}  // namespace zv_host
