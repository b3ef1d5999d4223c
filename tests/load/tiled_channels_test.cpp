#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "host/image/image_map_tile.h"
#include "tests/load/loaded_picture.h"
#include "tests/load/tiled_script.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

// Which channels a tiled file becomes, and samples that are wider or deeper than the map's.

namespace {

using namespace zv_test;
using OIIO::TypeDesc;
using Names = CoreVector<CoreString>;

Names const kOne{"z"}, kMissing{"r", "no such", "b"}, kNone{}, kFive{"b", "g", "r", "a", "b"},
    kUpper{"R", "g"};

struct TiledCase {
    char const* name;
    std::vector<std::string> file;
    int mode;
    Names const* list;
    std::string channels;
    std::vector<int> sources;
};

class TiledChannels : public testing::TestWithParam<TiledCase> {};

TEST_P(TiledChannels, AreTheseWithTheirSamples)
{
    TempDir folder;
    ImageLoadOptions options = plain_options();
    options.single_channel_mode = GetParam().mode;
    options.channels = GetParam().list;
    for (int const x : {0, 10}) {
        ScriptedFile const file(folder, tiled_script(GetParam().file, x));

        LoadedPicture const picture = load_picture(file.path(), options);

        ASSERT_TRUE(picture);
        ASSERT_EQ(picture.channel_names(), GetParam().channels);
        for (unsigned int c = 0; c < GetParam().sources.size(); ++c) {
            ImageMapChannel const& channel = *picture.map().m_channels[c];
            int const source = GetParam().sources[c];
            EXPECT_EQ(channel.get_tile_count(), 4u);
            for (int y = 0; y < 70; ++y)
                for (int px = x; px < x + 100; ++px)
                    ASSERT_EQ(std::bit_cast<float>(channel.get_bits(px, y)),
                              source < 0 ? 0.0f : wide_tiled(source, px, y))
                        << "channel " << c << " at " << px << ", " << y;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TiledChannels,
    testing::Values(
        TiledCase{"one_channel", {"Y"}, 1, nullptr, "l", {0}},
        TiledCase{"one_channel_and_a_list", {"Y"}, 1, &kOne, "l", {0}},
        TiledCase{"one_channel_and_an_empty_list", {"Y"}, 1, &kNone, "l", {0}},
        TiledCase{"mode_0_and_a_list", {"Y"}, 0, &kOne, "l", {0}},
        TiledCase{"mode_0", {"Depth.Z"}, 0, nullptr, "depth.z", {0}},
        TiledCase{"mode_below_0", {"Y"}, -2, nullptr, "y", {0}},
        TiledCase{"mode_2_is_not_limited", {"Y"}, 2, nullptr, "a", {0}},
        TiledCase{"mode_7", {"Y"}, 7, nullptr, "l", {0}},
        TiledCase{"all_with_an_alpha_that_is_not_limited",
                  {"R", "G", "B", "A"},
                  1,
                  nullptr,
                  "r g b a",
                  {0, 1, 2, 3}},
        TiledCase{"layers", {"R", "Diffuse.R", "Z"}, 3, nullptr, "r diffuse.r z", {0, 1, 2}},
        TiledCase{"a_name_that_is_missing", {"R", "G", "B", "A"}, 1, &kMissing, "r g b", {0, -1, 2}},
        TiledCase{"names_past_the_fourth", {"R", "G", "B", "A"}, 1, &kFive, "r g b a", {2, 1, 0, 3}},
        TiledCase{"upper_case_matches_nothing", {"R", "G"}, 1, &kUpper, "r g", {-1, 1}},
        TiledCase{"no_names", {"R", "G"}, 1, &kNone, "", {}},
        TiledCase{"one_name_twice", {"R", "r"}, 1, nullptr, "r r", {0, 1}}),
    [](auto const& info) { return info.param.name; });

TEST(TiledChannelsOf, Mode3AreLuminanceAndItsLimitedCopy)
{
    TempDir folder;
    ImageLoadOptions options = plain_options();
    options.single_channel_mode = 3;
    for (int const x : {0, 10}) {
        ScriptedFile const file(folder, tiled_script({"Y"}, x));

        LoadedPicture const picture = load_picture(file.path(), options);

        ASSERT_EQ(picture.channel_names(), "l a");
        EXPECT_EQ(picture.map().m_depth, ImagePixel::DEPTH_LUMINANCE_ALPHA);
        expect_plane("l", picture.plane("l", x, 0, 100, 70), x, 0, 100, 70,
                     [](int px, int py) { return wide_tiled(0, px, py); });
        expect_plane("a", picture.plane("a", x, 0, 100, 70), x, 0, 100, 70,
                     [](int px, int py) { return std::clamp(wide_tiled(0, px, py), 0.0f, 1.0f); });
    }
}

TEST(TiledChannelsOf, AMissingNameHaveTilesThatNothingWroteTo)
{
    TempDir folder;
    ImageLoadOptions options = plain_options();
    options.channels = &kMissing;
    for (int const x : {0, 10}) {
        ScriptedFile const file(folder, tiled_script({"R", "G", "B", "A"}, x));

        LoadedPicture const picture = load_picture(file.path(), options);

        ImageMapChannel const& green = *picture.channel("g");
        ASSERT_EQ(green.get_tile_count(), 4u);
        for (unsigned int t = 0; t < 4; ++t)
            EXPECT_TRUE(green.get_tile(t).m_tile->is_constant());
    }
}

TEST(TiledChannelsOf, AnEmptyListAskForNothing)
{
    TempDir folder;
    ImageLoadOptions options = plain_options();
    options.channels = &kNone;
    ScriptedFile const file(folder, tiled_script({"R", "G"}));

    LoadedPicture const picture = load_picture(file.path(), options);

    ASSERT_TRUE(picture);
    EXPECT_EQ(picture.map().get_channel_count(), 0u);
    EXPECT_EQ(picture.map().m_depth, ImagePixel::DEPTH_NONE);
    EXPECT_TRUE(file.reads().empty());
}

/// The bytes of a tile of doubles as a reader lays them out, with `pixel_bytes` from one pixel to the next.
std::vector<unsigned char> double_tile(ReadScript const& script, int tile_x, int tile_y,
                                       std::size_t pixel_bytes)
{
    auto const size = std::size_t(script.spec.tile_width);
    std::vector<unsigned char> bytes(size * size * std::size_t(script.spec.nchannels) * 8);
    for (std::size_t y = 0; y < size; ++y)
        for (std::size_t x = 0; x < size; ++x)
            for (std::size_t c = 0; c < std::size_t(script.spec.nchannels); ++c) {
                double const sample = script.sample(int(c), tile_x + int(x), tile_y + int(y));
                std::memcpy(&bytes[(y * size + x) * pixel_bytes + c * 8], &sample, 8);
            }
    return bytes;
}

TEST(DoubleTiles, ComeUnconvertedAndWithoutAnOverrunOnBothPaths)
{
    TempDir folder;
    for (int const x : {0, 10})
        for (auto const& names : {std::vector<std::string>{"Y"}, {"R", "G", "B"}}) {
            ReadScript script = tiled_script(names, x, 0, 16, TypeDesc::DOUBLE);
            ScriptedFile const file(folder, script);

            LoadedPicture const picture = load_picture(file.path());

            ASSERT_TRUE(picture);
            EXPECT_EQ(picture.map().m_bit_depth, ImagePixel::BIT_DEPTH_32);
            EXPECT_EQ(picture.map().m_bit_type, ImagePixel::BIT_TYPE_FLOAT);
            std::size_t const channels = names.size();
            for (int y = 0; y < 70; ++y)
                for (int px = x; px < x + 100; ++px) {
                    int const tile_x = (px - x) / 16 * 16 + x, tile_y = y / 16 * 16;
                    auto const bytes = double_tile(script, tile_x, tile_y, (x == 0 ? 8 : 4) * channels);
                    for (std::size_t c = 0; c < channels; ++c) {
                        std::size_t const number = std::size_t(y - tile_y) * 16 + std::size_t(px - tile_x);
                        std::uint32_t wanted;
                        std::memcpy(&wanted, &bytes[(number * channels + c) * 4], 4);
                        ASSERT_EQ(picture.map().m_channels[unsigned(c)]->get_bits(px, y), wanted)
                            << "channel " << c << " at " << px << ", " << y;
                    }
                }
        }
}

TEST(VolumeTiles, GiveTheirFirstSliceOnBothPaths)
{
    TempDir folder;
    for (int const x : {0, 10})
        for (auto const type : {TypeDesc::UINT8, TypeDesc::FLOAT, TypeDesc::DOUBLE}) {
            ReadScript script = tiled_script({"R", "G"}, x, 0, 16, type);
            script.spec.depth = script.spec.full_depth = 8;
            script.spec.tile_depth = 8;
            ScriptedFile const file(folder, script);

            LoadedPicture const picture = load_picture(file.path());

            ASSERT_TRUE(picture);
            EXPECT_EQ(picture.report.tiles_asked, 35u);
            if (type == TypeDesc::FLOAT) {
                EXPECT_EQ(picture.at("g", x + 99, 69), wide_tiled(1, x + 99, 69));
            }
        }
}

}  // namespace
