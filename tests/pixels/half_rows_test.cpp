#include "image_io/pixels/half_rows.h"

#include <gtest/gtest.h>
#include <half.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

using zv_image_io::float_row_to_half;
using zv_image_io::plain_float_row_to_half;

/// Compares with Imath's own conversion, sample by sample.
void expect_halves(std::vector<float> const& floats)
{
    std::vector<std::uint16_t> halves(floats.size()), plain(floats.size());
    float_row_to_half(floats.data(), halves.data(), floats.size());
    plain_float_row_to_half(floats.data(), plain.data(), floats.size());
    for (std::size_t i = 0; i < floats.size(); ++i) {
        ASSERT_EQ(halves[i], half(floats[i]).bits()) << floats[i] << " at " << i;
        ASSERT_EQ(plain[i], halves[i]) << floats[i] << " at " << i;
    }
}

TEST(FloatRowToHalf, IsRightAroundEveryHalf)
{
    std::vector<float> floats;
    for (unsigned int bits = 0; bits < 0x10000; ++bits) {
        half exact;
        exact.setBits(static_cast<unsigned short>(bits));
        float const value = exact;
        if (std::isnan(value))
            continue;
        float const infinity = std::numeric_limits<float>::infinity();
        half next;
        next.setBits(static_cast<unsigned short>(bits + 1));
        float const tie = std::isinf(float(next)) ? 65520.0f : (value + float(next)) / 2;
        for (float const each : {value, tie})
            floats.insert(floats.end(),
                          {each, std::nextafter(each, infinity), std::nextafter(each, -infinity)});
    }
    expect_halves(floats);
}

TEST(FloatRowToHalf, KeepsEveryKindOfNaN)
{
    // Signalling ones too, which the instruction would make quiet; each alone among numbers.
    for (std::uint32_t const bits :
         {0x7fc00000u, 0x7f800001u, 0x7fa00000u, 0xffc12345u, 0xff80ffffu, 0x7f802000u})
        for (std::size_t place = 0; place < 19; ++place) {
            std::vector<float> floats(19, 0.1f);
            floats[place] = std::bit_cast<float>(bits);
            std::vector<std::uint16_t> halves(19);
            float_row_to_half(floats.data(), halves.data(), 19);
            EXPECT_EQ(halves[place], half(floats[place]).bits()) << std::hex << bits;
            EXPECT_EQ(halves[(place + 1) % 19], half(0.1f).bits());
        }
}

TEST(FloatRowToHalf, TakesRowsOfAnyLength)
{
    for (std::size_t count = 0; count < 40; ++count) {
        std::vector<float> floats(count);
        for (std::size_t i = 0; i < count; ++i)
            floats[i] = float(i) * 0.3f - 2;
        std::vector<std::uint16_t> halves(count + 1, 0xabcd);
        float_row_to_half(floats.data(), halves.data(), count);
        EXPECT_EQ(halves[count], 0xabcd);
        expect_halves(floats);
    }
}

TEST(FloatRowToHalf, TooLargeBecomesInfinity)
{
    float const infinity = std::numeric_limits<float>::infinity();
    expect_halves({65504.0f, 65519.9f, 65520.0f, 1e30f, infinity, -infinity, -1e30f, 1e-30f, -1e-30f});
}

}  // namespace
