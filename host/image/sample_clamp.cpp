#include "host/image/sample_clamp.h"

#include <algorithm>

namespace zv_host {
namespace {

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
