#include "host/image/image_map_channel.h"

#include "host/image/image_eval_context.h"
#include "tests/host/image/sample_types.h"

namespace {

struct GridCase {
    char const* name;
    GMathVec4<int> region;
    int tile_size;
    int first_x, first_y, columns, rows;
};

class TileGrid : public testing::TestWithParam<GridCase> {};

TEST_P(TileGrid, CoversTheRegionInRowOrder)
{
    GridCase const& grid = GetParam();
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"}, grid.tile_size);
    ImageMapChannel& channel = *map.m_channels[0];
    CoreVector<ImageMapTileHandle> handles;

    channel.create_tiles(grid.region, &handles, 0.5f);

    ASSERT_EQ(channel.get_tile_count(), static_cast<unsigned int>(grid.columns * grid.rows));
    ASSERT_EQ(handles.get_count(), channel.get_tile_count());
    ImageEvalContext context;
    for (unsigned int i = 0; i < channel.get_tile_count(); ++i) {
        ImageMapTile const& tile = *channel.get_tile(i).m_tile;
        EXPECT_EQ(tile.m_tile_x, grid.first_x + static_cast<int>(i) % grid.columns);
        EXPECT_EQ(tile.m_tile_y, grid.first_y + static_cast<int>(i) / grid.columns);
        EXPECT_EQ(tile.m_channel, &channel);
        EXPECT_EQ(tile.m_pixels, nullptr);
        EXPECT_EQ(tile.get_color(0, 0, false), 0.5f);
        EXPECT_EQ(handles[i].m_tile, &tile);
        EXPECT_EQ(channel.get_tile(context, tile.m_tile_x, tile.m_tile_y).m_tile, &tile);
    }
}

INSTANTIATE_TEST_SUITE_P(Regions, TileGrid,
                         testing::Values(GridCase{"one_pixel", {0, 0, 1, 1}, 64, 0, 0, 1, 1},
                                         GridCase{"whole_tiles", {0, 0, 128, 64}, 64, 0, 0, 2, 1},
                                         GridCase{"one_past_a_tile", {0, 0, 65, 65}, 64, 0, 0, 2, 2},
                                         GridCase{"odd", {0, 0, 47, 33}, 16, 0, 0, 3, 3},
                                         GridCase{"off_the_grid", {10, 70, 100, 10}, 64, 0, 1, 2, 1},
                                         GridCase{"negative", {-1, -65, 2, 2}, 64, -1, -2, 2, 2},
                                         GridCase{"negative_aligned", {-128, -64, 64, 64}, 64, -2, -1, 1, 1},
                                         GridCase{"tile_of_one", {-2, 3, 3, 2}, 1, -2, 3, 3, 2}),
                         [](auto const& info) { return info.param.name; });

TEST(ImageMapChannel, TilesOutsideTheGridAreNull)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"});
    ImageMapChannel& channel = *map.m_channels[0];
    ImageEvalContext context;
    EXPECT_EQ(channel.get_tile(0u).m_tile, nullptr);
    EXPECT_EQ(channel.get_tile(context, 0, 0).m_tile, nullptr);

    channel.create_tiles({64, 64, 10, 10}, nullptr, 0.0f);

    EXPECT_EQ(channel.get_tile(1u).m_tile, nullptr);
    EXPECT_EQ(channel.get_tile(context, 0, 1).m_tile, nullptr);
    EXPECT_EQ(channel.get_tile(context, 1, 0).m_tile, nullptr);
    EXPECT_EQ(channel.get_tile(context, 2, 1).m_tile, nullptr);
    EXPECT_NE(channel.get_tile(context, 1, 1).m_tile, nullptr);
}

TEST(ImageMapChannel, ImpossibleRegionsLeaveNoTiles)
{
    int const largest = std::numeric_limits<int>::max();
    int const least = std::numeric_limits<int>::min();
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"}, 1);
    ImageMapChannel& channel = *map.m_channels[0];

    for (GMathVec4<int> const& region : {GMathVec4<int>{0, 0, 0, 5},
                                         {0, 0, 5, -1},
                                         {0, 0, largest, largest},
                                         {5, 0, largest, 1},
                                         {least, least, largest, largest}}) {
        channel.create_tiles(region, nullptr, 1.0f);

        EXPECT_EQ(channel.get_tile_count(), 0u);
        EXPECT_EQ(channel.get_bits(0, 0), 0u);
    }
}

TEST(ImageMapChannel, WindowsAtTheEndsOfTheIntRangeWork)
{
    int const largest = std::numeric_limits<int>::max();
    int const least = std::numeric_limits<int>::min();
    SampleType const& type = kSampleTypes[1];
    for (GMathVec4<int> const& region :
         {GMathVec4<int>{largest - 69, largest - 9, 70, 10}, {least, least, 70, 10}}) {
        ImageMap map;
        prepare_map(map, type, {"r"}, 48);
        std::vector<unsigned char> plane(70 * 10 * 2);
        for (std::size_t i = 0; i < plane.size(); ++i)
            plane[i] = static_cast<unsigned char>(i * 7 + 1);

        map.m_channels[0]->fill_tiles(plane.data(), region, true);

        std::vector<float> out(70 * 10);
        map.m_channels[0]->create_float_buffer(nullptr, region, out.data());
        for (std::size_t i = 0; i < out.size(); ++i) {
            std::uint16_t sample = 0;
            std::memcpy(&sample, plane.data() + i * 2, 2);
            ASSERT_EQ(out[i], static_cast<float>(sample) / 65535.0f) << i;
        }
    }
}

TEST(ImageMapChannel, TilesOfOnePixelAtTheLastIntAreWalkedToTheirEnd)
{
    int const largest = std::numeric_limits<int>::max();
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"}, 1);
    std::vector<float> const plane{1.0f, 2.0f, 3.0f, 4.0f};
    GMathVec4<int> const region(largest - 1, largest - 1, 2, 2);

    map.m_channels[0]->fill_tiles(reinterpret_cast<unsigned char const*>(plane.data()), region, true);

    std::vector<float> out(4);
    map.m_channels[0]->create_float_buffer(nullptr, region, out.data());
    EXPECT_EQ(out, plane);
}

TEST(ImageMapChannel, CreatesTilesAnewOverItsOwnRegion)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"});
    ImageMapChannel& channel = *map.m_channels[0];
    channel.create_tiles({3, -4, 100, 50}, nullptr, 0.25f);

    channel.create_tiles(channel.get_region(), nullptr, 1.0f);

    EXPECT_EQ(channel.get_region(), GMathVec4<int>(3, -4, 100, 50));
    EXPECT_EQ(channel.get_bits(3, -4), float_bits(1.0f));
}

TEST(ImageMapChannel, SamplesOfASizeThatThereIsNotGetNoTiles)
{
    for (unsigned int const bytes : {0u, 3u, 5u, 8u}) {
        ImageMap map;
        auto const depth = static_cast<ImagePixel::BitDepth>(bytes);
        map.init(ImagePixel::DEPTH_NONE, depth, ImagePixel::BIT_TYPE_FLOAT, 8);
        ImageMapChannel& channel = *map.add_channel("r", depth, ImagePixel::BIT_TYPE_FLOAT);
        std::vector<unsigned char> const plane(8 * 8 * 8, 1);

        channel.fill_tiles(plane.data(), {0, 0, 8, 8}, true);

        EXPECT_EQ(channel.get_tile_count(), 0u) << bytes;
    }
}

TEST(ImageMapChannel, CreatingTilesAgainDropsTheOldOnes)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"});
    ImageMapChannel& channel = *map.m_channels[0];
    channel.create_tiles({0, 0, 10, 10}, nullptr, 0.25f);

    channel.create_tiles({100, 100, 5, 5}, nullptr, 0.75f);

    EXPECT_EQ(channel.get_bits(5, 5), 0u);
    EXPECT_EQ(channel.get_bits(102, 102), float_bits(0.75f));
}

class ChannelSamples : public testing::TestWithParam<SampleType> {};

TEST_P(ChannelSamples, ConstantOneIsTheLargestIntegerOrOne)
{
    ImageMap map;
    prepare_map(map, GetParam(), {"a"});
    ImageMapChannel& channel = *map.m_channels[0];

    channel.create_tiles({-3, -3, 70, 70}, nullptr, 1.0f);

    EXPECT_EQ(constant_tile_count(channel), channel.get_tile_count());
    EXPECT_EQ(channel.get_tile(0u).m_tile->get_color(0, 0, false), 1.0f);
    EXPECT_EQ(channel.get_tile(0u).m_tile->get_color(63, 63, false), 1.0f);
    std::vector<float> out(70 * 70);
    EXPECT_EQ(channel.create_float_buffer(nullptr, {-3, -3, 70, 70}, out.data()), out.data());
    EXPECT_EQ(out, std::vector<float>(70 * 70, 1.0f));
    EXPECT_EQ(expected_float(GetParam(), channel.get_tile(0u).m_tile->get_constant_bits()), 1.0f);
}

TEST_P(ChannelSamples, BufferLayoutHasAnApronOfOneSample)
{
    SampleType const& type = GetParam();
    GMathVec4<int> const region{0, 0, 16, 16};
    ImageMap map;
    prepare_map(map, type, {"r"}, 16);
    std::vector<unsigned char> const plane = test_pixels(type, region, 1);

    map.m_channels[0]->fill_tiles(plane.data(), region, true);

    unsigned char const* const pixels = map.m_channels[0]->get_tile(0u).m_tile->m_pixels;
    ASSERT_NE(pixels, nullptr);
    for (int row = -1; row <= 16; ++row)
        for (int column = -1; column <= 16; ++column) {
            std::uint32_t bits = 0;
            std::memcpy(&bits, pixels + (18 * (row + 1) + 1 + column) * type.depth, type.depth);
            bool const inside = row >= 0 && column >= 0 && row < 16 && column < 16;
            ASSERT_EQ(bits, inside ? test_bits(type, 0, column, row) : 0u) << column << ", " << row;
        }
}

TEST_P(ChannelSamples, MemorySizeCountsBuffersOnly)
{
    SampleType const& type = GetParam();
    GMathVec4<int> const region{0, 0, 128, 128};
    ImageMap map;
    prepare_map(map, type, {"r"});
    ImageMapChannel& channel = *map.m_channels[0];
    channel.create_tiles(region, nullptr, 0.0f);
    std::size_t const before = channel.get_memory_size();
    std::vector<unsigned char> const plane = test_pixels(type, region, 1);

    channel.fill_tiles(plane.data(), region, true);

    EXPECT_EQ(channel.get_memory_size() - before, 4u * 66 * 66 * type.depth);
}

INSTANTIATE_TEST_SUITE_P(Types, ChannelSamples, testing::ValuesIn(kSampleTypes), sample_type_name);

}  // namespace
