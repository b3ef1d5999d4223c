#include "host/image/image_map_channel.h"

#include "host/image/image_tile_factory.h"
#include "tests/host/image/sample_types.h"

namespace {

struct WindowCase {
    char const* name;
    GMathVec4<int> region;
};

WindowCase const kWindows[] = {
    {"one_pixel", {0, 0, 1, 1}},         {"odd", {0, 0, 47, 33}},
    {"one_past_a_tile", {0, 0, 65, 65}}, {"off_the_grid", {10, -20, 131, 70}},
    {"negative", {-200, -131, 97, 140}}, {"aligned", {-64, 64, 128, 64}},
};

class Fill : public testing::TestWithParam<std::tuple<SampleType, WindowCase>> {
protected:
    SampleType const& type() const { return std::get<0>(GetParam()); }
    GMathVec4<int> const& region() const { return std::get<1>(GetParam()).region; }
};

TEST_P(Fill, TilesGetAWholePlane)
{
    ImageMap map;
    prepare_map(map, type(), {"z"});
    std::vector<unsigned char> const plane = test_pixels(type(), region(), 1);

    map.m_channels[0]->fill_tiles(plane.data(), region(), true);

    EXPECT_EQ(map.m_channels[0]->get_region(), region());
    expect_test_samples(type(), *map.m_channels[0], 0, region());
}

TEST_P(Fill, TilesGetThePlaneInParts)
{
    ImageMap map;
    prepare_map(map, type(), {"z"});
    map.create_tiles(region(), false);
    int const step = 48;

    for (int y = region().y(); y < region().y() + region().height(); y += step)
        for (int x = region().x(); x < region().x() + region().width(); x += step) {
            // Like a file's tiles: whole ones, also where they reach past the window.
            GMathVec4<int> const part{x, y, step, step};
            map.m_channels[0]->fill_tiles(test_pixels(type(), part, 1).data(), part, false);
        }

    expect_test_samples(type(), *map.m_channels[0], 0, region());
    EXPECT_EQ(map.m_channels[0]->get_bits(region().x() - 1, region().y()), 0u);
    EXPECT_EQ(map.m_channels[0]->get_bits(region().x() + region().width(), region().y()), 0u);
}

TEST_P(Fill, BandsOfInterleavedPixelsReachTheirChannels)
{
    for (int channels : {1, 2, 3, 4, 5, 7})
        for (int rows : {64, 10, 200}) {
            ImageMap map;
            prepare_map(map, type(), std::vector<char const*>(static_cast<std::size_t>(channels), "x"));
            map.create_tiles(region(), false);
            auto const stride = static_cast<std::ptrdiff_t>(channels * type().depth);

            for (int y = region().y(); y < region().y() + region().height(); y += rows) {
                int const height = std::min(rows, region().y() + region().height() - y);
                GMathVec4<int> const band{region().x(), y, region().width(), height};
                std::vector<unsigned char> const pixels = test_pixels(type(), band, channels);
                std::vector<BandSource> sources;
                for (int c = 0; c < channels; ++c)
                    sources.push_back({pixels.data() + c * type().depth, stride, stride * region().width()});
                EXPECT_TRUE(map.fill_rows(sources, band));
            }

            for (int c = 0; c < channels; ++c)
                expect_test_samples(type(), *map.m_channels[static_cast<unsigned int>(c)], c, region());
        }
}

INSTANTIATE_TEST_SUITE_P(All, Fill,
                         testing::Combine(testing::ValuesIn(kSampleTypes), testing::ValuesIn(kWindows)),
                         [](auto const& info) {
                             return std::string(std::get<0>(info.param).name) + "_" +
                                    std::get<1>(info.param).name;
                         });

class FillTypes : public testing::TestWithParam<SampleType> {};

TEST_P(FillTypes, UnalignedSamplesAreRead)
{
    GMathVec4<int> const region{0, 0, 70, 70};
    std::vector<unsigned char> pixels = test_pixels(GetParam(), region, 4);
    pixels.insert(pixels.begin(), 0xee);
    ImageMap map;
    prepare_map(map, GetParam(), {"r"});
    map.create_tiles(region, false);
    auto const stride = static_cast<std::ptrdiff_t>(4 * GetParam().depth);

    EXPECT_TRUE(map.m_channels[0]->fill_rows(pixels.data() + 1, stride, stride * 70, region));

    expect_test_samples(GetParam(), *map.m_channels[0], 0, region);
}

TEST_P(FillTypes, NegativeStridesTurnThePictureOver)
{
    GMathVec4<int> const region{0, 0, 70, 70};
    std::vector<unsigned char> const plane = test_pixels(GetParam(), region, 1);
    ImageMap map;
    prepare_map(map, GetParam(), {"r"});
    map.create_tiles(region, false);
    auto const bytes = static_cast<std::ptrdiff_t>(GetParam().depth);

    map.m_channels[0]->fill_rows(plane.data() + plane.size() - bytes, -bytes, -bytes * 70, region);

    for (int y = 0; y < 70; ++y)
        for (int x = 0; x < 70; ++x)
            ASSERT_EQ(map.m_channels[0]->get_bits(x, y), test_bits(GetParam(), 0, 69 - x, 69 - y));
}

TEST_P(FillTypes, EqualSamplesNeverGetABuffer)
{
    GMathVec4<int> const region{-10, -10, 150, 150};
    std::uint32_t const bits = test_bits(GetParam(), 0, 5, 7);
    std::vector<unsigned char> pixels(150 * 150 * 3 * GetParam().depth);
    for (std::size_t i = 0; i < pixels.size(); i += GetParam().depth)
        store_bits(GetParam(), bits, pixels.data() + i);
    ImageMap map;
    prepare_map(map, GetParam(), {"r", "g", "b"});
    map.create_tiles(region, false);
    auto const bytes = static_cast<std::ptrdiff_t>(GetParam().depth);
    std::size_t const in_use = ImageTileFactory::get().get_statistics().tiles_in_use;
    BandSource const sources[] = {{pixels.data(), 3 * bytes, 450 * bytes},
                                  {pixels.data() + bytes, 3 * bytes, 450 * bytes},
                                  {pixels.data(), bytes, 150 * bytes}};

    EXPECT_TRUE(map.fill_rows(sources, region));

    EXPECT_EQ(ImageTileFactory::get().get_statistics().tiles_in_use, in_use);
    for (ImageMapChannel const* const channel : map.m_channels) {
        EXPECT_EQ(constant_tile_count(*channel), channel->get_tile_count());
        EXPECT_EQ(channel->get_tile(0u).m_tile->get_constant_bits(), bits);
        EXPECT_EQ(channel->get_bits(139, 139), bits);
        EXPECT_EQ(channel->get_bits(140, 139), 0u);
    }
}

TEST_P(FillTypes, EqualSamplesInPartsBecomeConstantAtTheLastPart)
{
    GMathVec4<int> const region{5, 5, 64, 64};
    std::uint32_t const bits = test_bits(GetParam(), 0, 1, 1);
    std::vector<unsigned char> pixels(64 * 64 * GetParam().depth);
    for (std::size_t i = 0; i < pixels.size(); i += GetParam().depth)
        store_bits(GetParam(), bits, pixels.data() + i);
    ImageMap map;
    prepare_map(map, GetParam(), {"r"});
    ImageMapChannel& channel = *map.m_channels[0];
    channel.create_tiles(region, nullptr, 0.0f);

    for (int y = 0; y < 64; y += 16)
        channel.fill_tiles(pixels.data(), {5, 5 + y, 64, 16}, false);

    EXPECT_EQ(constant_tile_count(channel), 4u);
    EXPECT_EQ(channel.get_bits(68, 68), bits);
}

TEST_P(FillTypes, OneDifferentSampleKeepsTheBuffer)
{
    GMathVec4<int> const region{0, 0, 64, 64};
    for (auto const& [x, y] : {std::pair{0, 0}, {63, 0}, {31, 17}, {0, 63}, {63, 63}})
        for (int channels : {1, 3, 4, 5}) {
            std::vector<unsigned char> pixels(64 * 64 * channels * GetParam().depth);
            pixels[(y * 64 + x) * channels * GetParam().depth] = 1;
            ImageMap map;
            prepare_map(map, GetParam(), {"r"});
            map.create_tiles(region, false);
            auto const stride = static_cast<std::ptrdiff_t>(channels * GetParam().depth);

            map.m_channels[0]->fill_rows(pixels.data(), stride, stride * 64, region);

            EXPECT_EQ(constant_tile_count(*map.m_channels[0]), 0u);
            EXPECT_EQ(map.m_channels[0]->get_bits(x, y), 1u);
        }
}

TEST_P(FillTypes, PartOfAConstantTileKeepsTheRest)
{
    ImageMap map;
    prepare_map(map, GetParam(), {"r"});
    ImageMapChannel& channel = *map.m_channels[0];
    channel.create_tiles({0, 0, 50, 50}, nullptr, 1.0f);
    GMathVec4<int> const part{10, 10, 5, 5};

    channel.fill_tiles(test_pixels(GetParam(), part, 1).data(), part, false);

    expect_test_samples(GetParam(), channel, 0, part);
    EXPECT_EQ(expected_float(GetParam(), channel.get_bits(9, 9)), 1.0f);
    EXPECT_EQ(expected_float(GetParam(), channel.get_bits(49, 49)), 1.0f);
    EXPECT_EQ(channel.get_tile(0u).m_tile->get_color(50, 49, false), 0.0f);
}

TEST_P(FillTypes, RefillingReplacesSamplesAndConstants)
{
    GMathVec4<int> const region{0, 0, 100, 100};
    ImageMap map;
    prepare_map(map, GetParam(), {"r"});
    ImageMapChannel& channel = *map.m_channels[0];
    std::vector<unsigned char> const zeros(100 * 100 * GetParam().depth);
    std::vector<unsigned char> const samples = test_pixels(GetParam(), region, 1);

    channel.fill_tiles(samples.data(), region, true);
    channel.fill_tiles(zeros.data(), region, true);
    EXPECT_EQ(constant_tile_count(channel), 4u);
    channel.fill_tiles(samples.data(), region, true);

    expect_test_samples(GetParam(), channel, 0, region);
}

TEST_P(FillTypes, RecycledBuffersShowNothingOfTheirPast)
{
    SampleType const& type = GetParam();
    {
        ImageMap map;
        prepare_map(map, type, {"r"});
        std::vector<unsigned char> noise(128 * 128 * type.depth);
        for (std::size_t i = 0; i < noise.size(); ++i)
            noise[i] = static_cast<unsigned char>(i * 89 + 17);
        map.m_channels[0]->fill_tiles(noise.data(), {0, 0, 128, 128}, true);
        for (unsigned int i = 0; i < 4; ++i)
            std::memset(map.m_channels[0]->get_tile(i).m_tile->m_pixels, 0xab, 66 * 66 * type.depth);
    }
    GMathVec4<int> const region{70, 75, 30, 20};
    ImageMap map;
    prepare_map(map, type, {"r"});
    map.m_channels[0]->fill_tiles(test_pixels(type, region, 1).data(), region, true);

    unsigned char const* const pixels = map.m_channels[0]->get_tile(0u).m_tile->m_pixels;
    for (int row = -1; row <= 64; ++row)
        for (int column = -1; column <= 64; ++column) {
            std::uint32_t bits = 0;
            std::memcpy(&bits, pixels + (66 * (row + 1) + 1 + column) * type.depth, type.depth);
            bool const inside = column >= 6 && column < 36 && row >= 11 && row < 31;
            ASSERT_EQ(bits, inside ? test_bits(type, 0, 64 + column, 64 + row) : 0u) << column << ", " << row;
        }
}

INSTANTIATE_TEST_SUITE_P(Types, FillTypes, testing::ValuesIn(kSampleTypes), sample_type_name);

TEST(FillRows, SpecialFloatsSurviveAsConstants)
{
    for (std::uint32_t bits : {0x80000000u, 0x7fc12345u, 0x7f800001u, 0xffc00000u, 0x7f800000u, 1u}) {
        std::vector<std::uint32_t> const plane(64 * 64, bits);
        ImageMap map;
        prepare_map(map, kSampleTypes[4], {"r"});

        map.m_channels[0]->fill_tiles(reinterpret_cast<unsigned char const*>(plane.data()), {0, 0, 64, 64},
                                      true);

        ASSERT_EQ(constant_tile_count(*map.m_channels[0]), 1u);
        std::vector<float> out(64 * 64);
        map.m_channels[0]->create_float_buffer(nullptr, {0, 0, 64, 64}, out.data());
        for (float value : out)
            ASSERT_EQ(float_bits(value), bits);
    }
}

TEST(FillRows, ZerosOfBothSignsAreDifferentSamples)
{
    std::vector<float> plane(64 * 64, 0.0f);
    plane[100] = -0.0f;
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"});

    map.m_channels[0]->fill_tiles(reinterpret_cast<unsigned char const*>(plane.data()), {0, 0, 64, 64}, true);

    EXPECT_EQ(constant_tile_count(*map.m_channels[0]), 0u);
    EXPECT_EQ(map.m_channels[0]->get_bits(36, 1), 0x80000000u);
}

TEST(FillRows, ChannelsWithoutASourceStayAsTheyAre)
{
    GMathVec4<int> const region{0, 0, 20, 20};
    std::vector<unsigned char> const pixels = test_pixels(kSampleTypes[0], region, 2);
    ImageMap map;
    prepare_map(map, kSampleTypes[0], {"r", "g", "b"});
    map.create_tiles(region, false);
    BandSource const sources[] = {{nullptr, 2, 40}, {pixels.data() + 1, 2, 40}};

    EXPECT_TRUE(map.fill_rows(sources, region));

    EXPECT_EQ(constant_tile_count(*map.m_channels[0]), 1u);
    expect_test_samples(kSampleTypes[0], *map.m_channels[1], 1, region);
    EXPECT_EQ(constant_tile_count(*map.m_channels[2]), 1u);
}

TEST(FillRows, WithoutTilesNothingIsTaken)
{
    std::vector<unsigned char> const pixels(100, 3);
    ImageMap map;
    prepare_map(map, kSampleTypes[0], {"r"});
    BandSource const source{pixels.data(), 1, 10};

    EXPECT_FALSE(map.m_channels[0]->fill_rows(pixels.data(), 1, 10, {0, 0, 10, 10}));
    EXPECT_FALSE(map.fill_rows({&source, 1}, {0, 0, 10, 10}));
}

TEST(FillRows, RowsOutsideTheRegionAreCut)
{
    GMathVec4<int> const band{-10, -10, 100, 100};
    std::vector<unsigned char> const pixels = test_pixels(kSampleTypes[1], band, 1);
    ImageMap map;
    prepare_map(map, kSampleTypes[1], {"r"});
    map.create_tiles({0, 0, 30, 30}, false);

    EXPECT_TRUE(map.m_channels[0]->fill_rows(pixels.data(), 2, 200, band));

    expect_test_samples(kSampleTypes[1], *map.m_channels[0], 0, {0, 0, 30, 30});
    EXPECT_EQ(map.m_channels[0]->get_tile_count(), 1u);
}

TEST(FillRows, WithoutMemoryTilesKeepTheirValue)
{
    ImageTileFactory& factory = ImageTileFactory::get();
    factory.free_unused_tiles(false);
    GMathVec4<int> const region{0, 0, 100, 100};
    std::vector<unsigned char> const pixels = test_pixels(kSampleTypes[0], region, 1);
    ImageMap map;
    prepare_map(map, kSampleTypes[0], {"r"});
    ImageMapChannel& channel = *map.m_channels[0];
    channel.create_tiles(region, nullptr, 1.0f);
    factory.set_memory_limit(factory.get_statistics().bytes_in_use + 66 * 66 + 10);

    EXPECT_FALSE(channel.fill_rows(pixels.data(), 1, 100, region));
    factory.set_memory_limit(0);

    EXPECT_EQ(constant_tile_count(channel), 3u);
    EXPECT_EQ(channel.get_bits(70, 70), 255u);
    EXPECT_EQ(channel.get_bits(5, 5), test_bits(kSampleTypes[0], 0, 5, 5));
}

TEST(ReleaseEqualTiles, FindsConstantsAmongTilesWrittenDirectly)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[1], {"r"});
    map.create_tiles({0, 0, 192, 64}, true);
    ImageMapChannel& channel = *map.m_channels[0];
    ASSERT_EQ(constant_tile_count(channel), 0u);
    channel.get_tile(1u).m_tile->m_pixels[(66 * 3 + 5) * 2] = 9;
    auto* const samples = reinterpret_cast<std::uint16_t*>(channel.get_tile(2u).m_tile->m_pixels);
    for (int row = 1; row <= 64; ++row)
        std::fill_n(samples + row * 66 + 1, 64, std::uint16_t{500});

    EXPECT_EQ(channel.release_equal_tiles(nullptr), 2u);

    EXPECT_EQ(channel.get_bits(0, 0), 0u);
    EXPECT_EQ(channel.get_bits(64 + 4, 2), 9u);
    EXPECT_EQ(channel.get_bits(191, 63), 500u);
    EXPECT_EQ(constant_tile_count(channel), 2u);
}

}  // namespace
