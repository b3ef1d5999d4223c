#include <gtest/gtest.h>

#include "host/colorio/color_io.h"
#include "host/image/image_map_pyramid.h"
#include "host/image/image_map_tile.h"
#include "image_io/load/image_io_load.h"
#include "tests/load/channel_script.h"
#include "tests/load/load_doors.h"
#include "tests/load/loaded_picture.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/recording_progress.h"
#include "tests/support/scripted_format.h"
#include "tests/support/temp_dir.h"

// The steps around the reading of samples: what is decided before, what is done after, what is told on the way.

namespace {

using namespace zv_test;
using Calls = std::vector<std::string>;

/// A canvas of one's own, filled by the inner door.
struct OwnCanvas {
    ImageCanvas canvas{false};
    ImageLoadReport report;

    bool load(std::string const& path, ImageLoadOptions const& options = plain_options())
    {
        return ImageIOLoad::load_image(path.c_str(), canvas, options, nullptr, nullptr, report);
    }
};

TEST(LoadImage, GivesACanvasWithBothWindowsAndTheRepeatModes)
{
    TempDir folder;
    ExrPicture exr;
    exr.x = -5, exr.y = 7, exr.width = 20, exr.height = 10;
    exr.display_x = 1, exr.display_y = 2, exr.display_width = 30, exr.display_height = 40;
    exr.channels = {{"R"}, {"G"}, {"B"}};
    write_exr(folder.file("a.exr"), exr);

    std::unique_ptr<ImageCanvas> const canvas(
        ImageIO::load_image(folder.file("a.exr").c_str(), plain_options(), nullptr, nullptr,
                            ImagePixel::REPEAT_MODE_MIRROR, ImagePixel::REPEAT_MODE_CLAMP));

    ASSERT_NE(canvas, nullptr);
    EXPECT_EQ(canvas->get_x(), 1);
    EXPECT_EQ(canvas->get_y(), 2);
    EXPECT_EQ(canvas->get_width(), 30);
    EXPECT_EQ(canvas->get_height(), 40);
    ASSERT_NE(canvas->m_map, nullptr);
    EXPECT_EQ(*canvas->m_map->m_bbox, GMathVec4<int>(-5, 7, 20, 10));
    EXPECT_EQ(canvas->get_image()->m_channels[0]->get_region(), GMathVec4<int>(-5, 7, 20, 10));
    EXPECT_TRUE(canvas->is_finalized());
    EXPECT_EQ(canvas->m_pyramid->get_repeat_mode_u(), ImagePixel::REPEAT_MODE_MIRROR);
    EXPECT_EQ(canvas->m_pyramid->get_repeat_mode_v(), ImagePixel::REPEAT_MODE_CLAMP);
}

TEST(LoadImage, TellsItsProgressCallByCall)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"R", "G", "B"}));
    RecordingProgress progress;

    ASSERT_TRUE(load_picture(file.path(), plain_options(), &progress));

    EXPECT_EQ(progress.calls(),
              (Calls{"set_value 0", "set_value 0", "begin_task \"read header\" 0.1 false", "end_task",
                     "begin_task \"read data\" 0.8 false", "set_value 0.1", "set_step_count 3", "step 1",
                     "step 2", "step 3", "end_task", "set_value 1"}));
    EXPECT_FLOAT_EQ(progress.get_total(), 1.0f);
}

TEST(LoadImage, LeavesTheLastTenthToTheOuterDoor)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"R", "G", "B"}));
    RecordingProgress progress;
    ImageCanvas canvas(false);

    ASSERT_TRUE(ImageIOLoad::load_image(file.path().c_str(), canvas, plain_options(), nullptr, &progress));

    EXPECT_FLOAT_EQ(progress.get_total(), 0.9f);
}

TEST(LoadImage, OfAMissingFileGivesNullLogsNothingAndLeavesProgressAtZero)
{
    TempDir folder;
    RecordingProgress progress;
    LogCapture log;

    EXPECT_FALSE(load_picture(folder.file("missing.exr"), plain_options(), &progress));

    EXPECT_EQ(progress.calls(), (Calls{"set_value 0", "set_value 0"}));
    EXPECT_EQ(progress.get_total(), 0.0f);
    EXPECT_TRUE(log.lines().empty());
}

TEST(LoadImage, OfAFolderGivesNull)
{
    TempDir folder;

    EXPECT_FALSE(load_picture(folder.path().string()));
    EXPECT_FALSE(load_picture(""));
}

TEST(LoadImage, OfAFileThatDoesNotOpenEndsAfterTheHeader)
{
    TempDir folder;
    ReadScript script = script_of({"R"});
    script.opens = false;
    ScriptedFile const file(folder, script);
    RecordingProgress progress;
    LogCapture log;

    EXPECT_FALSE(load_picture(file.path(), plain_options(), &progress));

    EXPECT_EQ(progress.calls(),
              (Calls{"set_value 0", "set_value 0", "begin_task \"read header\" 0.1 false", "end_task"}));
    EXPECT_FLOAT_EQ(progress.get_total(), 0.1f);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{
                               {2, "Failed to load image '" + file.path() + "': could not open file.\n"}}));
}

TEST(LoadImage, OfAFileWithoutChannelsClosesItAndGivesNullInSilence)
{
    TempDir folder;
    ReadScript script = script_of({});
    ScriptedFile const file(folder, script);
    RecordingProgress progress;
    LogCapture log;
    OwnCanvas own;

    EXPECT_FALSE(load_picture(file.path(), plain_options(), &progress));
    EXPECT_EQ(file.closes(), 1);
    EXPECT_FALSE(own.load(file.path()));

    EXPECT_EQ(progress.calls().back(), "end_task");
    EXPECT_EQ(progress.calls_of("begin_task").size(), 1u);
    EXPECT_TRUE(file.reads().empty());
    EXPECT_EQ(file.closes(), 2);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_FALSE(own.canvas.is_finalized());
}

TEST(ReadData, OfAFileWithoutChannelsAddsNone)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({}));
    OpenedPicture picture(file.path());
    RecordingProgress progress;

    EXPECT_FALSE(picture.read_data(plain_options(), true, &progress));

    EXPECT_EQ(picture.map.get_channel_count(), 0u);
    EXPECT_EQ(progress.calls(), (Calls{"set_value 0.1"}));
}

struct Refused {
    char const* name;
    OIIO::TypeDesc::BASETYPE type;
    int tile_width, tile_height;
};

class LoadImageRefuses : public testing::TestWithParam<Refused> {};

TEST_P(LoadImageRefuses, InSilenceWithTheReaderClosedAndTheCanvasSet)
{
    TempDir folder;
    ReadScript script = script_of({"R", "G", "B"}, GetParam().type);
    script.spec.tile_width = GetParam().tile_width;
    script.spec.tile_height = GetParam().tile_height;
    ScriptedFile const file(folder, script);
    RecordingProgress progress;
    LogCapture log;
    OwnCanvas own;

    EXPECT_FALSE(own.load(file.path()));

    EXPECT_EQ(file.closes(), 1);
    EXPECT_TRUE(own.canvas.is_finalized());
    EXPECT_EQ(own.canvas.get_width(), 70);
    EXPECT_EQ(own.canvas.get_height(), 40);
    EXPECT_EQ(own.canvas.get_image()->get_channel_count(), 0u);
    EXPECT_FALSE(load_picture(file.path(), plain_options(), &progress));
    EXPECT_EQ(progress.calls(),
              (Calls{"set_value 0", "set_value 0", "begin_task \"read header\" 0.1 false", "end_task",
                     "begin_task \"read data\" 0.8 false", "set_value 0.1", "end_task"}));
    EXPECT_TRUE(file.reads().empty());
    EXPECT_TRUE(log.lines().empty());
}

INSTANTIATE_TEST_SUITE_P(Files, LoadImageRefuses,
                         testing::Values(Refused{"uint64", OIIO::TypeDesc::UINT64, 0, 0},
                                         Refused{"int64", OIIO::TypeDesc::INT64, 0, 0},
                                         Refused{"unknown", OIIO::TypeDesc::UNKNOWN, 0, 0},
                                         Refused{"uint64_tiled", OIIO::TypeDesc::UINT64, 32, 32},
                                         Refused{"tiles_32_by_64", OIIO::TypeDesc::HALF, 32, 64},
                                         Refused{"tiles_64_by_32", OIIO::TypeDesc::HALF, 64, 32},
                                         Refused{"tiles_of_height_alone", OIIO::TypeDesc::HALF, 0, 64}),
                         [](auto const& info) { return info.param.name; });

TEST(LoadImage, ARealFileTiled32By64FailsWithoutAMessage)
{
    TempDir folder;
    ExrPicture exr;
    exr.width = 100, exr.height = 70, exr.tile = 32, exr.tile_height = 64;
    exr.channels = {{"R"}, {"G"}, {"B"}};
    write_exr(folder.file("a.exr"), exr);
    LogCapture log;

    EXPECT_FALSE(load_picture(folder.file("a.exr")));

    EXPECT_TRUE(log.lines().empty());
}

TEST(LoadImage, TakesTheTileSizeOfATiledFileAnd64ForAnother)
{
    TempDir folder;
    ScriptedFile const tiled(folder, script_of({"R"}, OIIO::TypeDesc::FLOAT, 32), "tiled.zvs");
    ScriptedFile const lines(folder, script_of({"R"}), "lines.zvs");

    EXPECT_EQ(load_picture(tiled.path()).map().m_tile_size, 32);
    EXPECT_EQ(load_picture(lines.path()).map().m_tile_size, 64);
}

TEST(LoadImage, ClosesTheReaderOnce)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"R", "G", "B"}));

    ASSERT_TRUE(load_picture(file.path()));

    EXPECT_EQ(file.opens(), 1);
    EXPECT_EQ(file.closes(), 1);
}

TEST(LoadImage, GoesOnAfterReadsThatFail)
{
    TempDir folder;
    ReadScript script = script_of({"R", "G", "B"});
    script.ends_at_row = 0;
    ScriptedFile const file(folder, script);
    OwnCanvas own;

    EXPECT_TRUE(own.load(file.path()));

    EXPECT_EQ(own.canvas.get_image()->get_channel_count(), 3u);
    EXPECT_EQ(own.canvas.get_image()->m_depth, ImagePixel::DEPTH_RGB);
    EXPECT_TRUE(own.canvas.is_finalized());
}

TEST(LoadImage, WithoutAReportGivesTheSame)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"R", "G", "B"}));
    ImageCanvas canvas(false);

    ASSERT_TRUE(ImageIOLoad::load_image(file.path().c_str(), canvas, plain_options(), nullptr, nullptr));

    ASSERT_EQ(canvas.get_image()->get_channel_count(), 3u);
    EXPECT_EQ(canvas.get_image()->m_channels[1]->get_bits(69, 39),
              load_picture(file.path()).map().m_channels[1]->get_bits(69, 39));
}

TEST(LoadReport, StartsAfreshAndTellsWhatWasAsked)
{
    TempDir folder;
    ReadScript bad = script_of({"R"});
    bad.bad_rows = {1};
    ScriptedFile const damaged(folder, bad, "bad.zvs");
    ScriptedFile const good(folder, script_of({"R"}), "good.zvs");
    ScriptedFile const tiled(folder, script_of({"R"}, OIIO::TypeDesc::FLOAT, 32), "tiled.zvs");
    OwnCanvas own;
    ASSERT_TRUE(own.load(damaged.path()));
    ASSERT_EQ(own.report.rows_lost, 1u);
    ASSERT_EQ(own.report.errors.get_count(), 1u);

    ASSERT_TRUE(own.load(good.path()));
    EXPECT_EQ(own.report.rows_asked, 40u);
    EXPECT_EQ(own.report.rows_lost, 0u);
    EXPECT_EQ(own.report.errors.get_count(), 0u);
    EXPECT_EQ(own.report.color_space, ColorIO::get_default_color_space_name());
    EXPECT_GT(own.report.milliseconds, 0.0);

    ASSERT_TRUE(own.load(tiled.path()));
    EXPECT_EQ(own.report.rows_asked, 0u);
    EXPECT_EQ(own.report.tiles_asked, 6u);
    EXPECT_EQ(own.report.tiles_lost, 0u);

    EXPECT_FALSE(own.load(folder.file("missing.exr")));
    EXPECT_EQ(own.report.tiles_asked, 0u);
}

}  // namespace
