#include "host/image/sample_rows.h"

#include "host/image/half_rows.h"

#include <algorithm>
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

// Rows of a tile of 64 are what nearly all pictures are made of: a known count spares a call a row. The samples at
// the sides are cleared here, because the row's cache lines are at hand.
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
bool typed_samples_are(Sample value, void const* first, std::ptrdiff_t pixel_stride,
                       std::ptrdiff_t row_stride, std::size_t width, std::size_t height)
{
    auto const* const bytes = static_cast<unsigned char const*>(first);
    if (pixel_stride == sizeof(Sample))
        return packed_samples_are(value, bytes, row_stride, width, height);
    return strided_samples_are(value, bytes, pixel_stride, row_stride, width, height);
}

// Most rows have nothing to limit: they are looked at first, and not written.
template <class Sample>
bool clamp_row(Sample* row, std::size_t count, Sample low, Sample high)
{
    int outside = 0;
    for (std::size_t i = 0; i < count; ++i)
        outside |= static_cast<int>(row[i] < low) | static_cast<int>(row[i] > high);
    if (outside == 0)
        return false;
    for (std::size_t i = 0; i < count; ++i) {
        // Written as two comparisons, so that a NaN passes.
        Sample const raised = row[i] < low ? low : row[i];
        row[i] = raised > high ? high : raised;
    }
    return true;
}

/// Bounds of halves, with a quick look at rows that have nothing to limit.
class HalfClamp {
public:
    HalfClamp(float low, float high)
        : m_low(low)
        , m_high(high)
        , m_low_bits(static_cast<std::uint16_t>(bits_from_float(SampleKind::HALF, low)))
        , m_high_bits(static_cast<std::uint16_t>(bits_from_float(SampleKind::HALF, high)))
        , m_exact(bits_to_float(SampleKind::HALF, m_low_bits) == low &&
                  bits_to_float(SampleKind::HALF, m_high_bits) == high)
    {
    }

    bool operator()(std::uint16_t* row, std::size_t count) const
    {
        if (m_exact && is_within(row, count))
            return false;
        bool changed = false;
        for (std::size_t i = 0; i < count; ++i) {
            float const value = bits_to_float(SampleKind::HALF, row[i]);
            bool const below = value < m_low;
            bool const above = value > m_high;
            row[i] = below ? m_low_bits : above ? m_high_bits : row[i];
            changed |= below || above;
        }
        return changed;
    }

private:
    /// Halves in the order of their values as integers; NaNs lie past the infinities.
    static std::int16_t order(std::uint16_t bits)
    {
        auto const sample = static_cast<std::int16_t>(bits);
        return static_cast<std::int16_t>(sample ^ ((sample >> 15) & 0x7fff));
    }

    /// False for NaNs and for a zero of the other sign too, which the comparison of floats then lets pass.
    bool is_within(std::uint16_t const* row, std::size_t count) const
    {
        std::int16_t const low = order(m_low_bits);
        std::int16_t const high = order(m_high_bits);
        std::int16_t least = high;
        std::int16_t most = low;
        for (std::size_t i = 0; i < count; ++i) {
            std::int16_t const place = order(row[i]);
            least = std::min(least, place);
            most = std::max(most, place);
        }
        return least >= low && most <= high;
    }

    float m_low, m_high;
    std::uint16_t m_low_bits, m_high_bits;
    bool m_exact;
};

template <class Sample, class Clamp>
bool clamp_typed(void* first, std::size_t row_stride, std::size_t width, std::size_t height,
                 Clamp const& clamp)
{
    bool changed = false;
    auto* row = static_cast<Sample*>(first);
    for (std::size_t y = 0; y < height; ++y, row += row_stride)
        changed |= clamp(row, width);
    return changed;
}

template <class Sample>
bool clamp_plain(void* first, std::size_t row_stride, std::size_t width, std::size_t height, Sample low,
                 Sample high)
{
    return clamp_typed<Sample>(first, row_stride, width, height, [=](Sample* row, std::size_t count) {
        return clamp_row(row, count == 64 ? 64 : count, low, high);
    });
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

bool clamp_rows(SampleKind kind, void* first, std::size_t row_stride, std::size_t width, std::size_t height,
                float low, float high)
{
    std::uint32_t const low_bits = bits_from_float(kind, low);
    std::uint32_t const high_bits = bits_from_float(kind, high);
    switch (kind) {
    case SampleKind::INTEGER_8:
        return clamp_plain(first, row_stride, width, height, static_cast<std::uint8_t>(low_bits),
                           static_cast<std::uint8_t>(high_bits));
    case SampleKind::INTEGER_16:
        return clamp_plain(first, row_stride, width, height, static_cast<std::uint16_t>(low_bits),
                           static_cast<std::uint16_t>(high_bits));
    case SampleKind::INTEGER_32:
        return clamp_plain(first, row_stride, width, height, low_bits, high_bits);
    case SampleKind::HALF:
        return clamp_typed<std::uint16_t>(first, row_stride, width, height, HalfClamp(low, high));
    case SampleKind::FLOAT:
        return clamp_plain(first, row_stride, width, height, low, high);
    }
    return false;
}

}  // namespace zv_host
