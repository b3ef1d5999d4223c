#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "tests/host/image/sample_types.h"

namespace {

float const kUntouched = -77.0f;

/// What a coordinate past the edges of [begin, begin + length) is read at, by walking; -1 is nowhere.
int walked_place(int place, int begin, int length, int mode)
{
    int offset = place - begin;
    if (offset >= 0 && offset < length)
        return place;
    if (mode == ImagePixel::REPEAT_MODE_NONE)
        return std::numeric_limits<int>::min();
    if (mode == ImagePixel::REPEAT_MODE_CLAMP)
        return offset < 0 ? begin : begin + length - 1;
    while (offset < 0 || offset >= length) {
        if (mode == ImagePixel::REPEAT_MODE_REPEAT)
            offset += offset < 0 ? length : -length;
        else
            offset = offset < 0 ? -1 - offset : 2 * length - 1 - offset;
    }
    return begin + offset;
}

class Read : public testing::TestWithParam<SampleType> {
protected:
    Read()
    {
        prepare_map(m_map, GetParam(), {"r"});
        m_channel = m_map.m_channels[0];
        m_channel->fill_tiles(test_pixels(GetParam(), m_region, 1).data(), m_region, true);
    }

    float expected(int x, int y) const
    {
        bool const inside = x >= m_region.x() && y >= m_region.y() && x < m_region.x() + m_region.width() &&
                            y < m_region.y() + m_region.height();
        return inside ? expected_float(GetParam(), test_bits(GetParam(), 0, x, y)) : 0.0f;
    }

    void expect_plane(std::vector<float> const& plane, GMathVec4<int> const& region) const
    {
        for (int y = 0; y < region.height(); ++y)
            for (int x = 0; x < region.width(); ++x)
                ASSERT_EQ(plane[static_cast<std::size_t>(y * region.width() + x)],
                          expected(region.x() + x, region.y() + y))
                    << x + region.x() << ", " << y + region.y();
    }

    GMathVec4<int> m_region{-13, 57, 101, 77};
    ImageMap m_map;
    ImageMapChannel* m_channel;
};

TEST_P(Read, PlaneIsDenseAndZeroOutsideTheRegion)
{
    for (GMathVec4<int> const& region : {m_region,
                                         GMathVec4<int>{-20, 50, 120, 100},
                                         {0, 64, 64, 64},
                                         {5, 60, 1, 1},
                                         {-500, -500, 10, 10},
                                         {80, 0, 40, 60}}) {
        std::vector<float> plane(static_cast<std::size_t>(region.width() * region.height()) + 1, kUntouched);

        EXPECT_EQ(m_channel->create_float_buffer(nullptr, region, plane.data()), plane.data());

        expect_plane(plane, region);
        EXPECT_EQ(plane.back(), kUntouched);
    }
}

TEST_P(Read, CoordinatesAndRegionAreTheSame)
{
    std::vector<float> plane(30 * 20 + 1, kUntouched);

    EXPECT_EQ(m_channel->create_float_buffer(nullptr, -15, 55, 30u, 20u, plane.data()), plane.data());

    expect_plane(plane, {-15, 55, 30, 20});
    EXPECT_EQ(plane.back(), kUntouched);
}

TEST_P(Read, TileColorsAreTheSamplesAsFloats)
{
    ImageEvalContext context;
    ImageMapTile const& tile = *m_channel->get_tile(context, 0, 1).m_tile;

    EXPECT_EQ(tile.get_color(0, 0, false), expected(0, 64));
    EXPECT_EQ(tile.get_color(63, 63, false), expected(63, 127));
    EXPECT_EQ(tile.get_color(-1, 0, false), 0.0f);
    EXPECT_EQ(tile.get_color(-1, 0, true), expected(-1, 64));
    EXPECT_EQ(tile.get_color(64, -1, true), expected(64, 63));
}

TEST_P(Read, RepeatModesContinuePastTheEdges)
{
    GMathVec4<int> const region{-250, -40, 400, 300};
    ImageEvalContext context;
    for (int u = 0; u < 4; ++u)
        for (int v = 0; v < 4; ++v) {
            std::vector<float> plane(static_cast<std::size_t>(region.width() * region.height()), kUntouched);

            m_channel->create_float_buffer(
                context, region, plane.data(), static_cast<unsigned int>(plane.size()),
                static_cast<ImagePixel::RepeatMode>(u), static_cast<ImagePixel::RepeatMode>(v));

            for (int y = 0; y < region.height(); ++y)
                for (int x = 0; x < region.width(); ++x) {
                    int const from_x = walked_place(region.x() + x, m_region.x(), m_region.width(), u);
                    int const from_y = walked_place(region.y() + y, m_region.y(), m_region.height(), v);
                    ASSERT_EQ(plane[static_cast<std::size_t>(y * region.width() + x)],
                              expected(from_x, from_y))
                        << "modes " << u << ", " << v << " at " << x << ", " << y;
                }
        }
}

TEST_P(Read, PlaneLengthIsNotADistanceAndBoundsTheWrite)
{
    ImageEvalContext context;
    GMathVec4<int> const region{0, 60, 10, 10};
    for (ImagePixel::RepeatMode mode : {ImagePixel::REPEAT_MODE_NONE, ImagePixel::REPEAT_MODE_CLAMP})
        for (unsigned int length : {0u, 1u, 37u, 100u, 5000u}) {
            std::vector<float> plane(101, kUntouched);

            m_channel->create_float_buffer(context, region, plane.data(), length, mode, mode);

            for (unsigned int i = 0; i < 101; ++i)
                ASSERT_EQ(plane[i], i < std::min(length, 100u)
                                        ? expected(static_cast<int>(i % 10), 60 + static_cast<int>(i / 10))
                                        : kUntouched)
                    << length << " at " << i;
        }
}

TEST_P(Read, NothingIsWrittenForEmptyRegions)
{
    float sample = kUntouched;
    ImageEvalContext context;

    EXPECT_EQ(m_channel->create_float_buffer(nullptr, 0, 0, 0u, 5u, &sample), &sample);
    m_channel->create_float_buffer(nullptr, {0, 0, -5, 5}, &sample);
    m_channel->create_float_buffer(context, {0, 0, 5, 0}, &sample, 1, ImagePixel::REPEAT_MODE_CLAMP,
                                   ImagePixel::REPEAT_MODE_CLAMP);
    EXPECT_EQ(m_channel->create_float_buffer(nullptr, {0, 0, 5, 5}, nullptr), nullptr);

    EXPECT_EQ(sample, kUntouched);
}

INSTANTIATE_TEST_SUITE_P(Types, Read, testing::ValuesIn(kSampleTypes), sample_type_name);

TEST(ReadSamples, IntegersAreNormalised)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[2], {"r"});
    std::uint32_t const samples[] = {0, 1, 0x7fffffff, 0x80000000, 0xfffffffe, 0xffffffff};
    map.m_channels[0]->fill_tiles(reinterpret_cast<unsigned char const*>(samples), {0, 0, 6, 1}, true);
    float out[6];

    map.m_channels[0]->create_float_buffer(nullptr, {0, 0, 6, 1}, out);

    EXPECT_EQ(out[0], 0.0f);
    EXPECT_EQ(out[1], static_cast<float>(1.0 / 4294967295.0));
    EXPECT_EQ(out[2], 0.5f);
    EXPECT_EQ(out[5], 1.0f);
}

TEST(ReadSamples, ChannelWithoutTilesReadsZeroInAllForms)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[3], {"r"});
    ImageEvalContext context;
    std::vector<float> plane(25, kUntouched);

    map.m_channels[0]->create_float_buffer(nullptr, {0, 0, 5, 5}, plane.data());
    EXPECT_EQ(plane, std::vector<float>(25, 0.0f));
    plane.assign(25, kUntouched);
    map.m_channels[0]->create_float_buffer(context, {0, 0, 5, 5}, plane.data(), 25,
                                           ImagePixel::REPEAT_MODE_REPEAT, ImagePixel::REPEAT_MODE_MIRROR);
    EXPECT_EQ(plane, std::vector<float>(25, 0.0f));
}

class Apron : public testing::TestWithParam<SampleType> {};

TEST_P(Apron, HoldsTheNeighboursAndWhatTheRepeatModesTell)
{
    SampleType const& type = GetParam();
    GMathVec4<int> const region{-5, 3, 40, 30};
    for (int mode = 0; mode < 4; ++mode) {
        ImageCanvas canvas(false);
        canvas.create_image(nullptr, ImagePixel::DEPTH_NONE, type.depth, type.type, 16);
        auto const repeat = static_cast<ImagePixel::RepeatMode>(mode);
        canvas.m_pyramid->set_repeat_mode(repeat, repeat);
        ImageMapChannel& channel = *canvas.get_image()->add_channel("r", type.depth, type.type);
        channel.fill_tiles(test_pixels(type, region, 1).data(), region, true);
        canvas.set_canvas(region, &region);

        canvas.finalize(true, false);

        for (unsigned int i = 0; i < channel.get_tile_count(); ++i) {
            ImageMapTile& tile = *channel.get_tile(i).m_tile;
            unsigned char const* const pixels = tile.prepare_apron();
            ASSERT_EQ(pixels, tile.m_pixels);
            for (int row = -1; row <= 16; ++row)
                for (int column = -1; column <= 16; ++column) {
                    bool const inner = row >= 0 && row < 16 && column >= 0 && column < 16;
                    if (inner)
                        continue;
                    int const x = walked_place(tile.m_tile_x * 16 + column, -5, 40, mode);
                    int const y = walked_place(tile.m_tile_y * 16 + row, 3, 30, mode);
                    std::uint32_t bits = 0;
                    std::memcpy(&bits, pixels + (18 * (row + 1) + 1 + column) * type.depth, type.depth);
                    int const nowhere = std::numeric_limits<int>::min();
                    ASSERT_EQ(bits, x == nowhere || y == nowhere ? 0u : test_bits(type, 0, x, y))
                        << "mode " << mode << " tile " << i << " at " << column << ", " << row;
                }
        }
    }
}

TEST_P(Apron, FollowsChangesOfSamplesAndModes)
{
    SampleType const& type = GetParam();
    ImageCanvas canvas(false);
    canvas.create_image(nullptr, ImagePixel::DEPTH_NONE, type.depth, type.type, 16);
    ImageMapChannel& channel = *canvas.get_image()->add_channel("r", type.depth, type.type);
    GMathVec4<int> const region{0, 0, 16, 16};
    channel.fill_tiles(test_pixels(type, region, 1).data(), region, true);
    ImageMapTile& tile = *channel.get_tile(0u).m_tile;
    auto const corner = [&] {
        std::uint32_t bits = 0;
        std::memcpy(&bits, tile.prepare_apron(), type.depth);
        return bits;
    };
    EXPECT_EQ(corner(), 0u);

    canvas.m_pyramid->set_repeat_mode(ImagePixel::REPEAT_MODE_CLAMP, ImagePixel::REPEAT_MODE_CLAMP);
    EXPECT_EQ(corner(), test_bits(type, 0, 0, 0));

    GMathVec4<int> const elsewhere{100, 100, 16, 16};
    channel.fill_tiles(test_pixels(type, elsewhere, 1).data(), region, false);
    EXPECT_EQ(corner(), test_bits(type, 0, 100, 100));
}

INSTANTIATE_TEST_SUITE_P(Types, Apron, testing::ValuesIn(kSampleTypes), sample_type_name);

TEST(ApronOfConstants, IsNotNeeded)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"});
    map.create_tiles({0, 0, 10, 10}, false);

    EXPECT_EQ(map.m_channels[0]->get_tile(0u).m_tile->prepare_apron(), nullptr);
}

}  // namespace
