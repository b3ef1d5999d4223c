#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "tests/load/loaded_picture.h"
#include "tests/support/pictures.h"
#include "tests/support/scripted_format.h"
#include "tests/support/temp_dir.h"

// A file is gone through once, in bands of lines that take no more memory than one plane of one channel.

namespace {

using namespace zv_test;
using OIIO::TypeDesc;

struct PassCase {
    char const* name;
    int width, height, channels;
    TypeDesc::BASETYPE type;
    char const* compression;
    int rows_per_strip;
    int block;  // lines that a band must not cut
    bool has_planes = false;
};

ReadScript script_of(PassCase const& each)
{
    ReadScript script;
    script.spec = picture_spec(each.width, each.height, each.channels, each.type, 3, -7);
    if (*each.compression)
        script.spec.attribute("compression", each.compression);
    if (each.rows_per_strip)
        script.spec.attribute("tiff:RowsPerStrip", each.rows_per_strip);
    if (each.has_planes)
        script.spec.attribute("planarconfig", "separate");
    return script;
}

class OnePass : public testing::TestWithParam<PassCase> {};

TEST_P(OnePass, AsksForEachSampleOnceFromTheTopToTheBottom)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of(GetParam()));

    ASSERT_TRUE(load_picture(file.path()));

    int next_y = -7;
    for (ReadCall const& call : file.reads()) {
        EXPECT_EQ(call.kind, ReadCall::SCANLINES);
        EXPECT_EQ(call.y, next_y);
        EXPECT_EQ(call.first_channel, 0);
        EXPECT_EQ(call.end_channel, GetParam().channels);
        EXPECT_EQ(call.format, TypeDesc(GetParam().type));
        next_y = call.end_y;
    }
    EXPECT_EQ(next_y, GetParam().height - 7);
}

TEST_P(OnePass, HoldsNoMoreThanAPlaneOrABlock)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of(GetParam()));

    ASSERT_TRUE(load_picture(file.path()));

    std::size_t const line = TypeDesc(GetParam().type).size() * std::size_t(GetParam().width);
    std::size_t const plane = line * std::size_t(GetParam().height);
    std::size_t const block = line * std::size_t(GetParam().channels) * std::size_t(GetParam().block);
    for (ReadCall const& call : file.reads()) {
        auto const lines = std::size_t(call.end_y - call.y);
        EXPECT_LE(line * lines * std::size_t(call.end_channel - call.first_channel), std::max(plane, block));
    }
}

TEST_P(OnePass, CutsBetweenBlocks)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of(GetParam()));

    ASSERT_TRUE(load_picture(file.path()));

    for (ReadCall const& call : file.reads())
        EXPECT_EQ((call.y + 7) % GetParam().block, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Files, OnePass,
    testing::Values(PassCase{"one_pixel", 1, 1, 1, TypeDesc::UINT8, "", 0, 1},
                    PassCase{"grey", 131, 200, 1, TypeDesc::UINT8, "", 0, 1},
                    PassCase{"colour", 131, 200, 3, TypeDesc::FLOAT, "", 0, 1},
                    PassCase{"doubles", 47, 133, 2, TypeDesc::DOUBLE, "", 0, 1},
                    PassCase{"zips", 131, 200, 4, TypeDesc::HALF, "zips", 0, 1},
                    PassCase{"zip", 131, 200, 4, TypeDesc::HALF, "zip", 0, 16},
                    PassCase{"zip_40_channels", 65, 1000, 40, TypeDesc::HALF, "zip", 0, 16},
                    PassCase{"zip_40_channels_low", 65, 20, 40, TypeDesc::HALF, "zip", 0, 16},
                    PassCase{"pxr24", 31, 200, 3, TypeDesc::FLOAT, "pxr24", 0, 16},
                    PassCase{"piz", 31, 500, 4, TypeDesc::HALF, "piz", 0, 32},
                    PassCase{"b44", 31, 500, 4, TypeDesc::HALF, "b44", 0, 32},
                    PassCase{"b44a", 31, 500, 4, TypeDesc::HALF, "b44a", 0, 32},
                    PassCase{"dwaa", 31, 500, 4, TypeDesc::HALF, "dwaa", 0, 32},
                    PassCase{"dwab", 31, 3000, 4, TypeDesc::HALF, "dwab", 0, 256},
                    PassCase{"dwab_low", 31, 300, 4, TypeDesc::HALF, "dwab", 0, 256},
                    PassCase{"strips_of_32", 131, 200, 3, TypeDesc::UINT16, "zip", 32, 32},
                    PassCase{"strips_of_100", 131, 450, 3, TypeDesc::UINT16, "lzw", 100, 1},
                    PassCase{"one_strip", 131, 200, 3, TypeDesc::UINT16, "lzw", 2147483647, 1},
                    PassCase{"planes_in_strips_of_100", 131, 450, 3, TypeDesc::UINT16, "lzw", 100, 100, true},
                    PassCase{"planes_in_one_strip", 131, 200, 3, TypeDesc::UINT16, "lzw", 2147483647, 200,
                             true}),
    [](auto const& info) { return info.param.name; });

TEST(OnePassOf, TallPicturesTakesManyLinesACall)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"", 31, 1000, 4, TypeDesc::FLOAT, "", 0, 1}));

    ASSERT_TRUE(load_picture(file.path()));

    EXPECT_LE(file.reads().size(), 20u);
}

TEST(OnePassOf, NamedChannelsAsksForEachSampleOnce)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"", 31, 200, 6, TypeDesc::FLOAT, "zip", 0, 16}));
    CoreVector<CoreString> const names{"b", "r", "b"};
    ImageLoadOptions options = plain_options();
    options.channels = &names;

    LoadedPicture const picture = load_picture(file.path(), options);

    std::map<std::pair<int, int>, int> asked;
    for (ReadCall const& call : file.reads())
        for (int y = call.y; y < call.end_y; ++y)
            for (int c = call.first_channel; c < call.end_channel; ++c)
                ++asked[{c, y}];
    for (auto const& [sample, times] : asked) {
        EXPECT_EQ(times, 1);
        EXPECT_LE(sample.first, 2);
    }
    EXPECT_EQ(picture.at("r", 5, 9), encoded(2, 5, 9));
    EXPECT_EQ(picture.at("g", 5, 9), encoded(0, 5, 9));
    EXPECT_EQ(picture.at("b", 5, 9), encoded(2, 5, 9));
}

}  // namespace
