#include <gtest/gtest.h>

#include "image_io/frame/image_io.h"
#include "image_io/load/image_header.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/scripted_format.h"
#include "tests/support/temp_dir.h"

// What a probe tells of a file, and which fields of a record it leaves alone.

namespace {

using namespace zv_test;
using Lines = std::vector<LogLine>;

TEST(GetImageSpecs, TellsWindowsChannelsAndTexts)
{
    TempDir folder;
    ExrPicture exr;
    exr.x = -3;
    exr.y = 4;
    exr.width = 20;
    exr.height = 10;
    exr.display_x = 1;
    exr.display_y = 2;
    exr.display_width = 30;
    exr.display_height = 40;
    exr.channels = {{"R"}, {"G"}, {"B"}, {"A"}, {"Diffuse.R"}};
    exr.compression = Imf::PIZ_COMPRESSION;
    write_exr(folder.file("windows.exr"), exr);
    ImageHeader header;

    ASSERT_TRUE(ImageIO::get_image_specs(folder.file("windows.exr").c_str(), header));

    EXPECT_EQ(header.data_window, GMathVec4<int>(-3, 4, 20, 10));
    EXPECT_EQ(header.display_window, GMathVec4<int>(1, 2, 30, 40));
    EXPECT_EQ(header.channel_count, 5);
    ASSERT_EQ(header.channel_names.get_count(), 5u);
    char const* const names[] = {"r", "g", "b", "a", "diffuse.r"};
    for (unsigned int i = 0; i < 5; ++i)
        EXPECT_EQ(header.channel_names[i], names[i]);
    EXPECT_FALSE(header.is_tiled);
    EXPECT_EQ(header.compression, "piz");
    EXPECT_EQ(header.color_space,
              read_picture(folder.file("windows.exr")).spec.get_string_attribute("oiio:ColorSpace").c_str());
    EXPECT_FALSE(header.color_space.is_empty());
    EXPECT_TRUE(header.comment.is_empty());
}

TEST(GetImageSpecs, TellsTheComment)
{
    TempDir folder;
    OIIO::ImageSpec spec = picture_spec(4, 4, 3, OIIO::TypeDesc::UINT8);
    spec.attribute("Comment", "made for a test");
    write_picture(folder.file("comment.png"), spec);
    ImageHeader header;

    ASSERT_TRUE(ImageIO::get_image_specs(folder.file("comment.png").c_str(), header));

    EXPECT_EQ(header.comment, "made for a test");
}

TEST(GetImageSpecs, CallsAFileTiledIfItsTilesHaveAllThreeSizes)
{
    struct Case {
        int width, height, depth;
        bool is_tiled;
    };
    TempDir folder;
    for (Case const& each : {Case{64, 64, 1, true}, Case{64, 32, 4, true}, Case{64, 64, 0, false},
                             Case{0, 64, 1, false}, Case{64, 0, 1, false}, Case{0, 0, 0, false}}) {
        ReadScript script;
        script.spec = picture_spec(100, 70, 1, OIIO::TypeDesc::FLOAT);
        script.spec.tile_width = each.width;
        script.spec.tile_height = each.height;
        script.spec.tile_depth = each.depth;
        ScriptedFile const file(folder, script);
        ImageHeader header;

        ASSERT_TRUE(ImageIO::get_image_specs(file.path().c_str(), header));

        EXPECT_EQ(header.is_tiled, each.is_tiled) << each.width << " " << each.height << " " << each.depth;
    }
}

TEST(GetImageSpecs, KeepsAnOldCompressionAndClearsAnOldCommentAndColourSpace)
{
    TempDir folder;
    write_picture(folder.file("plain.tga"), picture_spec(4, 4, 1, OIIO::TypeDesc::UINT8));
    ImageHeader header;
    header.compression = "zip";
    header.comment = "of an earlier file";
    header.color_space = "ACEScg";
    header.channel_names = CoreArray<CoreString>{"r", "g", "b", "a"};

    ASSERT_TRUE(ImageIO::get_image_specs(folder.file("plain.tga").c_str(), header));

    EXPECT_EQ(header.compression, "zip");
    EXPECT_EQ(header.comment, "");
    EXPECT_EQ(header.color_space, "");
    EXPECT_EQ(header.channel_names.get_count(), 1u);
    EXPECT_EQ(header.channel_count, 1);
}

TEST(GetImageSpecs, GivesAMissingFileAPlaceholderSizeAndNothingElse)
{
    TempDir folder;
    ImageHeader header;
    header.channel_count = 77;
    header.is_tiled = true;
    header.channel_names = CoreArray<CoreString>{"kept"};
    header.color_space = header.comment = header.compression = "kept";
    LogCapture log;

    EXPECT_FALSE(ImageIO::get_image_specs(folder.file("missing.exr").c_str(), header));

    EXPECT_EQ(header.data_window, GMathVec4<int>(0, 0, 512, 512));
    EXPECT_EQ(header.display_window, GMathVec4<int>(0, 0, 512, 512));
    EXPECT_EQ(header.channel_count, 77);
    EXPECT_TRUE(header.is_tiled);
    ASSERT_EQ(header.channel_names.get_count(), 1u);
    EXPECT_EQ(header.color_space, "kept");
    EXPECT_EQ(header.comment, "kept");
    EXPECT_EQ(header.compression, "kept");
    EXPECT_TRUE(log.lines().empty());
}

TEST(GetImageSpecs, LeavesTheRecordOfAFileThatDoesNotOpen)
{
    TempDir folder;
    ReadScript script;
    script.opens = false;
    ScriptedFile const file(folder, script);
    ImageHeader header;
    header.data_window = GMathVec4<int>(1, 2, 3, 4);
    header.display_window = GMathVec4<int>(5, 6, 7, 8);
    header.comment = "kept";
    LogCapture log;

    EXPECT_FALSE(ImageIO::get_image_specs(file.path().c_str(), header));

    EXPECT_EQ(header.data_window, GMathVec4<int>(1, 2, 3, 4));
    EXPECT_EQ(header.display_window, GMathVec4<int>(5, 6, 7, 8));
    EXPECT_EQ(header.comment, "kept");
    EXPECT_EQ(log.lines(),
              (Lines{{2, "Failed to load image '" + file.path() + "': could not open file.\n"}}));
}

TEST(GetImageSpecs, ClosesTheReader)
{
    TempDir folder;
    ReadScript script;
    script.spec = picture_spec(4, 4, 1, OIIO::TypeDesc::FLOAT);
    ScriptedFile const file(folder, script);
    ImageHeader header;

    ASSERT_TRUE(ImageIO::get_image_specs(file.path().c_str(), header));

    EXPECT_EQ(file.opens(), 1);
    EXPECT_EQ(file.closes(), 1);
    EXPECT_TRUE(file.reads().empty());
}

TEST(GetImageSpecs, NamesAsManyChannelsAsTheFileHasThoughItsHeaderNamesFewer)
{
    TempDir folder;
    ReadScript script;
    script.spec = picture_spec(4, 4, 3, OIIO::TypeDesc::FLOAT);
    script.spec.channelnames = {"Y"};
    ScriptedFile const file(folder, script);
    ImageHeader header;

    ASSERT_TRUE(ImageIO::get_image_specs(file.path().c_str(), header));

    ASSERT_EQ(header.channel_names.get_count(), 3u);
    EXPECT_EQ(header.channel_names[0], "y");
    EXPECT_EQ(header.channel_names[2], "");
}

}  // namespace
