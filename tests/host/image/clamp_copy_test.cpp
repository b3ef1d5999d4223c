#include "tests/host/image/sample_types.h"

namespace {

class FloatingClamp : public testing::TestWithParam<SampleType> {
protected:
    std::uint32_t bits(float value) const
    {
        return GetParam().depth == 2 ? half(value).bits() : float_bits(value);
    }

    /// One tile whose samples go through these values.
    void fill(std::vector<std::uint32_t> const& values, GMathVec4<int> const& region)
    {
        prepare_map(m_map, GetParam(), {"a"});
        std::vector<unsigned char> plane(static_cast<std::size_t>(region.width() * region.height()) *
                                         GetParam().depth);
        for (std::size_t i = 0; i * GetParam().depth < plane.size(); ++i)
            store_bits(GetParam(), values[i % values.size()], plane.data() + i * GetParam().depth);
        m_map.m_channels[0]->fill_tiles(plane.data(), region, true);
    }

    ImageMap m_map;
};

TEST_P(FloatingClamp, LimitsToTheInterval)
{
    float const infinity = std::numeric_limits<float>::infinity();
    float const values[] = {-infinity, -2.5f, -1e-6f, 0.0f,     1e-6f,   0.25f,
                            0.999f,    1.0f,  1.001f, 60000.0f, infinity};
    std::vector<std::uint32_t> samples;
    for (float value : values)
        samples.push_back(bits(value));
    fill(samples, {0, 0, 70, 5});

    m_map.m_channels[0]->clamp_values(0.0f, 1.0f, {0, 0, 70, 5});

    for (int i = 0; i < 350; ++i) {
        float const stored =
            expected_float(GetParam(), samples[static_cast<std::size_t>(i) % samples.size()]);
        float const limited = stored < 0.0f ? 0.0f : stored > 1.0f ? 1.0f : stored;
        ASSERT_EQ(m_map.m_channels[0]->get_bits(i % 70, i / 70), bits(limited)) << i;
    }
}

TEST_P(FloatingClamp, NanAndNegativeZeroKeepTheirBits)
{
    std::uint32_t const nan = GetParam().depth == 2 ? 0x7d01 : 0x7f812345;
    std::uint32_t const negative_nan = GetParam().depth == 2 ? 0xfe07 : 0xffc00001;
    fill({nan, bits(-0.0f), negative_nan, bits(0.5f), bits(7.0f)}, {0, 0, 5, 3});

    m_map.m_channels[0]->clamp_values(0.0f, 1.0f, {0, 0, 5, 3});

    for (int y = 0; y < 3; ++y) {
        EXPECT_EQ(m_map.m_channels[0]->get_bits(0, y), nan);
        EXPECT_EQ(m_map.m_channels[0]->get_bits(1, y), bits(-0.0f));
        EXPECT_EQ(m_map.m_channels[0]->get_bits(2, y), negative_nan);
        EXPECT_EQ(m_map.m_channels[0]->get_bits(3, y), bits(0.5f));
        EXPECT_EQ(m_map.m_channels[0]->get_bits(4, y), bits(1.0f));
    }
}

TEST_P(FloatingClamp, OnlyTheRegionIsLimited)
{
    fill({bits(3.0f), bits(4.0f)}, {0, 0, 80, 80});

    m_map.m_channels[0]->clamp_values(-1.0f, 2.0f, {60, 60, 10, 10});

    for (int y = 50; y < 80; ++y)
        for (int x = 50; x < 80; ++x) {
            bool const limited = x >= 60 && x < 70 && y >= 60 && y < 70;
            ASSERT_EQ(m_map.m_channels[0]->get_bits(x, y), bits(limited ? 2.0f
                                                                : x % 2 ? 4.0f
                                                                        : 3.0f))
                << x << ", " << y;
        }
}

TEST_P(FloatingClamp, ConstantTilesStayConstant)
{
    prepare_map(m_map, GetParam(), {"a"});
    m_map.m_channels[0]->create_tiles({0, 0, 100, 100}, nullptr, 5.0f);

    m_map.m_channels[0]->clamp_values(0.0f, 1.0f, {0, 0, 100, 100});

    EXPECT_EQ(constant_tile_count(*m_map.m_channels[0]), 4u);
    EXPECT_EQ(m_map.m_channels[0]->get_bits(99, 99), bits(1.0f));
}

TEST_P(FloatingClamp, PartOfAConstantTileIsLimitedAlone)
{
    prepare_map(m_map, GetParam(), {"a"});
    m_map.m_channels[0]->create_tiles({0, 0, 60, 60}, nullptr, 5.0f);

    m_map.m_channels[0]->clamp_values(0.0f, 1.0f, {0, 0, 60, 30});

    EXPECT_EQ(m_map.m_channels[0]->get_bits(59, 29), bits(1.0f));
    EXPECT_EQ(m_map.m_channels[0]->get_bits(59, 30), bits(5.0f));
}

TEST_P(FloatingClamp, TilesThatBecomeEqualBecomeConstant)
{
    fill({bits(3.0f), bits(4.0f)}, {0, 0, 64, 64});

    m_map.m_channels[0]->clamp_values(0.0f, 1.0f, {0, 0, 64, 64});

    EXPECT_EQ(constant_tile_count(*m_map.m_channels[0]), 1u);
    EXPECT_EQ(m_map.m_channels[0]->get_bits(3, 3), bits(1.0f));
}

TEST_P(FloatingClamp, LimitsThatAreNoSamplesAreRounded)
{
    fill({bits(0.3f), bits(0.1f), bits(0.2f), bits(0.15f)}, {0, 0, 8, 1});

    m_map.m_channels[0]->clamp_values(0.1234567f, 0.2345678f, {0, 0, 8, 1});

    EXPECT_EQ(m_map.m_channels[0]->get_bits(0, 0), bits(0.2345678f));
    EXPECT_EQ(m_map.m_channels[0]->get_bits(1, 0), bits(0.1234567f));
    EXPECT_EQ(m_map.m_channels[0]->get_bits(2, 0), bits(0.2f));
    EXPECT_EQ(m_map.m_channels[0]->get_bits(3, 0), bits(0.15f));
}

INSTANTIATE_TEST_SUITE_P(Types, FloatingClamp, testing::Values(kSampleTypes[3], kSampleTypes[4]),
                         sample_type_name);

TEST(IntegerClamp, BoundsCountAsZeroToOne)
{
    for (int index : {0, 1, 2}) {
        SampleType const& type = kSampleTypes[index];
        GMathVec4<int> const region{0, 0, 70, 70};
        ImageMap map;
        prepare_map(map, type, {"a"});
        map.m_channels[0]->fill_tiles(test_pixels(type, region, 1).data(), region, true);

        map.m_channels[0]->clamp_values(0.0f, 1.0f, region);
        expect_test_samples(type, *map.m_channels[0], 0, region);
        map.m_channels[0]->clamp_values(0.25f, 0.5f, region);

        double const largest = type.depth == 1 ? 255.0 : type.depth == 2 ? 65535.0 : 4294967295.0;
        auto const low = static_cast<std::uint32_t>(0.25 * largest + 0.5);
        auto const high = static_cast<std::uint32_t>(0.5 * largest + 0.5);
        for (int y = 0; y < 70; ++y)
            for (int x = 0; x < 70; ++x)
                ASSERT_EQ(map.m_channels[0]->get_bits(x, y), std::clamp(test_bits(type, 0, x, y), low, high))
                    << type.name;
    }
}

class Copy : public testing::TestWithParam<SampleType> {};

TEST_P(Copy, WholeChannelTakesTilesAndSamples)
{
    GMathVec4<int> const region{-30, 5, 140, 70};
    ImageMap map;
    prepare_map(map, GetParam(), {"l", "a"});
    map.m_channels[0]->fill_tiles(test_pixels(GetParam(), region, 1).data(), region, true);
    map.m_channels[1]->create_tiles({0, 0, 3, 3}, nullptr, 1.0f);

    EXPECT_TRUE(map.m_channels[1]->copy_from(*map.m_channels[0], nullptr, true));

    EXPECT_EQ(map.m_channels[1]->get_region(), region);
    EXPECT_EQ(map.m_channels[1]->get_tile_count(), map.m_channels[0]->get_tile_count());
    expect_test_samples(GetParam(), *map.m_channels[1], 0, region);
    EXPECT_NE(map.m_channels[1]->get_tile(0u).m_tile->m_pixels,
              map.m_channels[0]->get_tile(0u).m_tile->m_pixels);
}

TEST_P(Copy, ConstantTilesAreCopiedAsSuch)
{
    ImageMap map;
    prepare_map(map, GetParam(), {"l", "a"});
    map.m_channels[0]->create_tiles({0, 0, 100, 100}, nullptr, 1.0f);

    EXPECT_TRUE(map.m_channels[1]->copy_from(*map.m_channels[0], nullptr, true));

    EXPECT_EQ(constant_tile_count(*map.m_channels[1]), 4u);
    EXPECT_EQ(map.m_channels[1]->get_tile(3u).m_tile->get_color(0, 0, false), 1.0f);
}

TEST_P(Copy, RegionIsCopiedAlone)
{
    GMathVec4<int> const region{0, 0, 100, 100};
    ImageMap map;
    prepare_map(map, GetParam(), {"l", "a"});
    map.m_channels[0]->fill_tiles(test_pixels(GetParam(), region, 1).data(), region, true);
    map.m_channels[1]->create_tiles({0, 0, 90, 90}, nullptr, 1.0f);
    GMathVec4<int> const part{50, 50, 1000, 20};

    EXPECT_TRUE(map.m_channels[1]->copy_from(*map.m_channels[0], &part, true));

    expect_test_samples(GetParam(), *map.m_channels[1], 0, {50, 50, 40, 20});
    EXPECT_EQ(expected_float(GetParam(), map.m_channels[1]->get_bits(49, 50)), 1.0f);
    EXPECT_EQ(expected_float(GetParam(), map.m_channels[1]->get_bits(50, 70)), 1.0f);
    EXPECT_EQ(map.m_channels[1]->get_bits(95, 55), 0u);
}

INSTANTIATE_TEST_SUITE_P(Types, Copy, testing::ValuesIn(kSampleTypes), sample_type_name);

TEST(CopyBetweenMaps, WantsTheSameSamplesAndTiles)
{
    ImageMap source, other_type, other_tiles;
    prepare_map(source, kSampleTypes[0], {"r"});
    prepare_map(other_type, kSampleTypes[1], {"r"});
    prepare_map(other_tiles, kSampleTypes[0], {"r"}, 32);
    source.create_tiles({0, 0, 10, 10}, false);

    EXPECT_FALSE(other_type.m_channels[0]->copy_from(*source.m_channels[0], nullptr, true));
    EXPECT_FALSE(other_tiles.m_channels[0]->copy_from(*source.m_channels[0], nullptr, true));
    EXPECT_TRUE(source.m_channels[0]->copy_from(*source.m_channels[0], nullptr, true));
}

}  // namespace
