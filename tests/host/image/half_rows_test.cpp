#include "host/image/half_rows.h"

#include <cstring>
#include <limits>
#include <vector>

#include <gtest/gtest.h>
#include <half.h>

namespace {

std::uint32_t bits_of(float value)
{
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

float float_of(std::uint32_t bits)
{
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

TEST(HalfRows, AllHalvesGiveTheFloatsOfHalf)
{
    std::vector<std::uint16_t> halves(65536);
    for (std::size_t i = 0; i < halves.size(); ++i)
        halves[i] = static_cast<std::uint16_t>(i);
    std::vector<float> floats(halves.size());

    zv_host::half_row_to_float(halves.data(), floats.data(), halves.size());

    for (std::size_t i = 0; i < halves.size(); ++i) {
        half sample;
        sample.setBits(halves[i]);
        ASSERT_EQ(bits_of(floats[i]), bits_of(static_cast<float>(sample))) << "half " << i;
    }
}

TEST(HalfRows, AllHalvesKeepTheirBitsThroughFloat)
{
    std::vector<std::uint16_t> halves(65536);
    for (std::size_t i = 0; i < halves.size(); ++i)
        halves[i] = static_cast<std::uint16_t>(i);
    std::vector<float> floats(halves.size());
    std::vector<std::uint16_t> back(halves.size());

    zv_host::half_row_to_float(halves.data(), floats.data(), halves.size());
    zv_host::float_row_to_half(floats.data(), back.data(), back.size());

    EXPECT_EQ(back, halves);
}

TEST(HalfRows, FloatsOfEveryMagnitudeRoundAsHalfDoes)
{
    // Every 997th float, then the neighbourhood of each half's value and of each middle between two halves.
    std::vector<float> floats;
    for (std::uint64_t bits = 0; bits < 0x100000000ull; bits += 997 * 16)
        floats.push_back(float_of(static_cast<std::uint32_t>(bits)));
    for (std::uint32_t i = 0; i < 0x7c00; i += 3) {
        half sample;
        sample.setBits(static_cast<std::uint16_t>(i));
        std::uint32_t const bits = bits_of(static_cast<float>(sample));
        for (int step : {-1, 0, 1, 0xfff, 0x1000, 0x1001})
            floats.push_back(float_of(bits + static_cast<std::uint32_t>(step)));
    }
    for (float value : {65504.0f, 65519.9f, 65520.0f, 1e9f, 6e-8f, 2.98e-8f, 1e-45f, -0.0f,
                        std::numeric_limits<float>::infinity(), float_of(0x7f800001), float_of(0xffc12345)})
        floats.push_back(value);
    std::vector<std::uint16_t> halves(floats.size());

    zv_host::float_row_to_half(floats.data(), halves.data(), floats.size());

    for (std::size_t i = 0; i < floats.size(); ++i)
        ASSERT_EQ(halves[i], half(floats[i]).bits()) << "float bits " << std::hex << bits_of(floats[i]);
}

TEST(HalfRows, RowsOfAnyLengthWriteNothingBehindTheirEnd)
{
    for (std::size_t length = 0; length < 40; ++length) {
        std::vector<std::uint16_t> halves(length, half(0.25f).bits());
        std::vector<float> floats(length + 1, 7.0f);
        std::vector<std::uint16_t> back(length + 1, 9);

        zv_host::half_row_to_float(halves.data(), floats.data(), length);
        zv_host::float_row_to_half(floats.data(), back.data(), length);

        EXPECT_EQ(floats, [&] {
            std::vector<float> v(length, 0.25f);
            v.push_back(7.0f);
            return v;
        }());
        EXPECT_EQ(back.back(), 9);
        EXPECT_TRUE(std::equal(halves.begin(), halves.end(), back.begin()));
    }
}

TEST(HalfRows, PlainRoadIsTheSame)
{
    std::vector<float> floats;
    for (int i = 0; i < 1000; ++i)
        floats.push_back(static_cast<float>(i * i) * 0.37f - 500.0f);
    floats[500] = std::numeric_limits<float>::quiet_NaN();
    std::vector<std::uint16_t> fast(floats.size()), plain(floats.size());

    zv_host::float_row_to_half(floats.data(), fast.data(), floats.size());
    zv_host::plain_float_row_to_half(floats.data(), plain.data(), floats.size());

    EXPECT_EQ(fast, plain);
}

}  // namespace
