#include "host/image/sample_rows.h"

#include "host/image/half_rows.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <type_traits>

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

// In double, so that a value just below the middle between two integers is not lifted to it by the product.
template <class Sample>
void integers_from_float(float const* source, Sample* target, std::size_t count)
{
    using Wide = std::conditional_t<sizeof(Sample) == 4, std::int64_t, std::int32_t>;
    constexpr double kScale = std::numeric_limits<Sample>::max();
    for (std::size_t i = 0; i < count; ++i)
        target[i] =
            static_cast<Sample>(static_cast<Wide>(static_cast<double>(limited(source[i])) * kScale + 0.5));
}

template <class Sample>
Sample load(void const* address)
{
    Sample sample;
    std::memcpy(&sample, address, sizeof(Sample));
    return sample;
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

}  // namespace zv_host
