#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <half.h>

#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/image/image_map_tile.h"

/// A sample type under test, with arithmetic of its own to compare with.
struct SampleType {
    char const* name;
    ImagePixel::BitDepth depth;
    ImagePixel::BitType type;
};

inline SampleType const kSampleTypes[] = {
    {"uint8", ImagePixel::BIT_DEPTH_8, ImagePixel::BIT_TYPE_INTEGER},
    {"uint16", ImagePixel::BIT_DEPTH_16, ImagePixel::BIT_TYPE_INTEGER},
    {"uint32", ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_INTEGER},
    {"half", ImagePixel::BIT_DEPTH_16, ImagePixel::BIT_TYPE_FLOAT},
    {"float", ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_FLOAT},
};

inline std::string sample_type_name(testing::TestParamInfo<SampleType> const& info)
{
    return info.param.name;
}

/// The bits of a sample that tells channel, x and y, and differs from its neighbours.
inline std::uint32_t test_bits(SampleType const& type, int channel, int x, int y)
{
    auto const number = static_cast<unsigned int>(channel * 31 + (x + 1000) * 7 + (y + 1000) * 13);
    if (type.type == ImagePixel::BIT_TYPE_INTEGER)
        return type.depth == 1 ? number % 251 : type.depth == 2 ? number * 37 % 65521 : number * 2654435761u;
    float const value = static_cast<float>(number % 509) / 64.0f - 2.0f;
    if (type.depth == 2)
        return half(value).bits();
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

/// What the bits are as a float, told without the code under test.
inline float expected_float(SampleType const& type, std::uint32_t bits)
{
    if (type.type == ImagePixel::BIT_TYPE_INTEGER) {
        double const largest = type.depth == 1 ? 255.0 : type.depth == 2 ? 65535.0 : 4294967295.0;
        return static_cast<float>(bits / largest);
    }
    if (type.depth == 2) {
        half sample;
        sample.setBits(static_cast<std::uint16_t>(bits));
        return sample;
    }
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

inline void store_bits(SampleType const& type, std::uint32_t bits, unsigned char* place)
{
    std::memcpy(place, &bits, type.depth);
}

/// Interleaved samples of a region: pixel after pixel, `channels` samples each.
inline std::vector<unsigned char> test_pixels(SampleType const& type, GMathVec4<int> const& region,
                                              int channels)
{
    std::vector<unsigned char> pixels(static_cast<std::size_t>(region.width()) * region.height() * channels *
                                      type.depth);
    unsigned char* place = pixels.data();
    for (int y = 0; y < region.height(); ++y)
        for (int x = 0; x < region.width(); ++x)
            for (int c = 0; c < channels; ++c, place += type.depth)
                store_bits(type, test_bits(type, c, region.x() + x, region.y() + y), place);
    return pixels;
}

/// Every pixel of the region holds the test sample of `channel`; one message a failing channel.
inline void expect_test_samples(SampleType const& type, ImageMapChannel const& channel, int number,
                                GMathVec4<int> const& region)
{
    for (int y = region.y(); y < region.y() + region.height(); ++y)
        for (int x = region.x(); x < region.x() + region.width(); ++x)
            ASSERT_EQ(channel.get_bits(x, y), test_bits(type, number, x, y))
                << type.name << " channel " << number << " at " << x << ", " << y;
}

/// A map of one type with these channels, without tiles.
inline void prepare_map(ImageMap& map, SampleType const& type, std::vector<char const*> const& names,
                        int tile_size = 64)
{
    map.init(ImagePixel::DEPTH_NONE, type.depth, type.type, tile_size);
    for (char const* const name : names)
        map.add_channel(name, type.depth, type.type);
}

inline unsigned int constant_tile_count(ImageMapChannel const& channel)
{
    unsigned int count = 0;
    for (unsigned int i = 0; i < channel.get_tile_count(); ++i)
        count += channel.get_tile(i).m_tile->is_constant();
    return count;
}

inline std::uint32_t float_bits(float value)
{
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}
