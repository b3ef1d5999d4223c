#include <gtest/gtest.h>

#include "host/image/image_map_tile.h"
#include "tests/load/channel_script.h"
#include "tests/load/loaded_picture.h"
#include "tests/support/pictures.h"
#include "tests/support/scripted_format.h"
#include "tests/support/temp_dir.h"

// How the depth of a loaded map follows from its channels, and the alpha that it gets on request.

namespace {

using namespace zv_test;

struct DepthCase {
    char const* name;
    std::vector<std::string> channels;
    int mode;
    int depth;
};

class LoadedDepth : public testing::TestWithParam<DepthCase> {};

TEST_P(LoadedDepth, FollowsTheColourChannels)
{
    TempDir folder;
    ImageLoadOptions options = plain_options();
    options.single_channel_mode = GetParam().mode;
    for (int const tile : {0, 32}) {
        ScriptedFile const file(folder, script_of(GetParam().channels, OIIO::TypeDesc::FLOAT, tile));

        LoadedPicture const picture = load_picture(file.path(), options);

        ASSERT_TRUE(picture);
        EXPECT_EQ(int(picture.map().m_depth), GetParam().depth) << "tile " << tile;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Channels, LoadedDepth,
    testing::Values(DepthCase{"rgb", {"R", "G", "B"}, 1, 3}, DepthCase{"rgba", {"R", "G", "B", "A"}, 1, 4},
                    DepthCase{"red_alone_counts_as_colour", {"R", "Z"}, 1, 3},
                    DepthCase{"red_and_alpha", {"R", "A"}, 1, 4}, DepthCase{"luminance", {"L", "Z"}, 1, 1},
                    DepthCase{"luminance_alpha", {"L", "A"}, 1, 2},
                    DepthCase{"red_goes_before_luminance", {"L", "R"}, 1, 3},
                    DepthCase{"no_red_and_no_luminance", {"G", "B", "A"}, 1, 0},
                    DepthCase{"no_colour_channel", {"Z"}, 0, 0}, DepthCase{"grey", {"Y"}, 1, 1},
                    DepthCase{"alpha_alone", {"Y"}, 2, 0}, DepthCase{"grey_and_alpha", {"Y"}, 3, 2}),
    [](auto const& info) { return info.param.name; });

TEST(ForceAlpha, AddsAnAlphaOfOneOverTheDataWindow)
{
    TempDir folder;
    ImageLoadOptions options = plain_options();
    options.force_alpha = true;
    for (auto const type : {OIIO::TypeDesc::UINT8, OIIO::TypeDesc::UINT16, OIIO::TypeDesc::UINT32,
                            OIIO::TypeDesc::HALF, OIIO::TypeDesc::FLOAT})
        for (int const tile : {0, 32}) {
            ReadScript script = script_of({"R", "G", "B"}, type, tile);
            script.spec.x = script.spec.full_x = -64;
            script.spec.y = script.spec.full_y = 5;
            ScriptedFile const file(folder, script);

            LoadedPicture const picture = load_picture(file.path(), options);

            ASSERT_TRUE(picture);
            EXPECT_EQ(picture.channel_names(), "r g b a");
            EXPECT_EQ(picture.map().m_depth, ImagePixel::DEPTH_RGBA);
            expect_plane("a", picture.plane("a", -64, 5, 70, 40), -64, 5, 70, 40,
                         [](int, int) { return 1.0f; });
            EXPECT_EQ(picture.at("a", -65, 5), 0.0f);
            EXPECT_TRUE(picture.channel("a")->get_tile(0).m_tile->is_constant());
        }
}

TEST(ForceAlpha, MakesLuminanceLuminanceAndAlpha)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"Y"}));
    ImageLoadOptions options = plain_options();
    options.force_alpha = true;

    LoadedPicture const picture = load_picture(file.path(), options);

    EXPECT_EQ(picture.channel_names(), "l a");
    EXPECT_EQ(picture.map().m_depth, ImagePixel::DEPTH_LUMINANCE_ALPHA);
}

TEST(ForceAlpha, AddsNothingToAMapThatHasOneOrThatHasNoColour)
{
    TempDir folder;
    ImageLoadOptions options = plain_options();
    options.force_alpha = true;
    options.single_channel_mode = 0;
    ScriptedFile const with_alpha(folder, script_of({"R", "G", "B", "A"}), "alpha.zvs");
    ScriptedFile const without_colour(folder, script_of({"Z"}), "depth.zvs");

    LoadedPicture const first = load_picture(with_alpha.path(), options);
    LoadedPicture const second = load_picture(without_colour.path(), options);

    EXPECT_EQ(first.channel_names(), "r g b a");
    EXPECT_EQ(first.map().m_depth, ImagePixel::DEPTH_RGBA);
    EXPECT_EQ(first.at("a", 3, 4), encoded(3, 3, 4));
    EXPECT_EQ(second.channel_names(), "z");
    EXPECT_EQ(second.map().m_depth, ImagePixel::DEPTH_NONE);
}

}  // namespace
