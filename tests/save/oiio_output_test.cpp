#include <OpenImageIO/imageio.h>

#include "tests/save/exr_saves.h"
#include "tests/support/scripted_format.h"

// Outputs whose files OpenImageIO writes.

namespace {

using namespace zv_test;
using Lines = std::vector<LogLine>;
constexpr auto kSuccess = ImageIO::SAVING_STATUS_SUCCESS;
constexpr auto kFailed = ImageIO::SAVING_STATUS_WRITE_FAILED;

ImageSaveOptions script_options()
{
    return exr_options(ImageIOFileFormat::SAVE_TIFF8);  // any format that OpenImageIO writes
}

TEST(ImageIOOutputOfOpenImageIo, FallsBackToScanlinesWhereTheFormatHasNoTiles)
{
    for (bool has_tiles : {false, true}) {
        TempDir const folder;
        OfApp app;
        app.tiling_mode = 1;
        SavePicture picture({});
        WriteScript script;
        script.supports_tiles = has_tiles;
        ScriptedFile const file(folder, script);
        auto output = picture.output(file.path());

        ASSERT_TRUE(output->open(&app, script_options(), picture.window, picture.window, 16));

        EXPECT_EQ(output->get_write_type(), ImageIOOutput::WRITE_TYPE_OIIO);
        EXPECT_EQ(output->get_write_mode(),
                  has_tiles ? ImageIOOutput::WRITE_MODE_TILED : ImageIOOutput::WRITE_MODE_SCANLINE);
        EXPECT_EQ(output->get_header_exr(), nullptr);
        EXPECT_EQ(output->write(picture.context, nullptr), kSuccess);
    }
}

TEST(ImageIOOutputOfOpenImageIo, WithoutAWriterDoesNotOpen)
{
    TempDir const folder;
    OfApp app;
    SavePicture picture({});
    auto output = picture.output(folder.file("a.nothing"));
    LogCapture const log;

    EXPECT_FALSE(output->open(&app, script_options(), picture.window, picture.window, 16));

    EXPECT_EQ(log.lines(), (Lines{{1, "Failed to open '" + folder.file("a.nothing") + "' for writing.\n"}}));
}

TEST(ImageIOOutputOfOpenImageIo, TellsWhatTheWriterSaysOfAFailedWrite)
{
    TempDir const folder;
    OfApp app;
    SavePicture picture({});
    WriteScript script;
    script.close = WriteScript::REFUSE;
    ScriptedFile const file(folder, script);
    auto output = picture.output(file.path());
    ASSERT_TRUE(output->open(&app, script_options(), picture.window, picture.window, 16));
    LogCapture const log(2);

    EXPECT_EQ(output->write(picture.context, nullptr), kFailed);

    EXPECT_EQ(log.lines(), (Lines{{1, "OpenImageIO error: scripted: will not close\n"},
                                  {1, "Failed to write '" + file.path() + "'.\n"}}));
    EXPECT_EQ(output->write(picture.context, nullptr), kFailed);
    EXPECT_EQ(output->write_region(picture.context, picture.window, nullptr), kFailed);
}

TEST(ImageIOOutputOfOpenImageIo, TellsACloseThatFails)
{
    TempDir const folder;
    OfApp app;
    SavePicture picture({});
    WriteScript script;
    script.close = WriteScript::REFUSE;
    ScriptedFile const file(folder, script);
    auto output = picture.output(file.path());
    ASSERT_TRUE(output->open(&app, script_options(), picture.window, picture.window, 16));
    LogCapture const log;

    output->close();

    EXPECT_EQ(log.lines(), (Lines{{1, "Error while closing '" + file.path() + "'.\n"},
                                  {1, "OpenImageIO error: scripted: will not close\n"},
                                  {3, "Closed '" + file.path() + "'.\n"}}));
    EXPECT_EQ(output->get_write_type(), ImageIOOutput::WRITE_TYPE_CLOSED);
    EXPECT_EQ(file.written().calls.back(), "destroy");
}

TEST(ImageIOOutputOfOpenImageIo, ACloseThatFailsWithoutATextIsOneLine)
{
    TempDir const folder;
    OfApp app;
    SavePicture picture({});
    WriteScript script;
    script.close = WriteScript::REFUSE;
    script.close_error = "";
    ScriptedFile const file(folder, script);
    auto output = picture.output(file.path());
    ASSERT_TRUE(output->open(&app, script_options(), picture.window, picture.window, 16));
    LogCapture const log(2);

    output->close();

    EXPECT_EQ(log.lines(), (Lines{{1, "Error while closing '" + file.path() + "'.\n"}}));
}

TEST(ImageIOOutputOfOpenImageIo, RegionsAreCutAtZeroAndTheSizeWhateverTheOrigin)
{
    TempDir const folder;
    OfApp app;
    SavePicture::Shape shape;
    shape.x = 20;
    shape.y = 20;
    SavePicture picture(shape);  // 47 by 33
    ScriptedFile const file(folder, WriteScript{});
    auto output = picture.output(file.path());
    ASSERT_TRUE(output->open(&app, script_options(), picture.window, picture.window, 16));
    LogCapture const log;

    EXPECT_EQ(output->write_region(picture.context, rectangle(-5, -5, 1000, 1000), nullptr), kSuccess);
    EXPECT_EQ(output->write_region(picture.context, rectangle(20, 33, 10, 10), nullptr), kSuccess);

    EXPECT_EQ(log.lines(), (Lines{{3, "Saving scanline region (0, 0, 47, 33)...\n"}}));
}

TEST(ImageIOOutputOfOpenImageIo, TilesThatFailInARegionAreAFailedWrite)
{
    TempDir const folder;
    OfApp app;
    app.tiling_mode = 1;
    SavePicture picture({});
    WriteScript script;
    script.supports_tiles = true;
    script.write = WriteScript::REFUSE;
    ScriptedFile const file(folder, script);
    auto output = picture.output(file.path());
    ASSERT_TRUE(output->open(&app, script_options(), picture.window, picture.window, 16));
    LogCapture const log(2);

    EXPECT_EQ(output->write_region(picture.context, rectangle(0, 0, 16, 16), nullptr), kFailed);

    ASSERT_FALSE(log.lines().empty());
    EXPECT_EQ(log.lines().back(), (LogLine{1, "Failed to write '" + file.path() + "'.\n"}));
}

TEST(ImageIOOutputOfOpenImageIo, ATilingModeWithoutATiledFileFailsToWrite)
{
    TempDir const folder;
    OfApp app;
    app.tiling_mode = 2;
    SavePicture picture({});
    WriteScript script;
    script.supports_tiles = true;
    ScriptedFile const file(folder, script);
    auto output = picture.output(file.path());
    ASSERT_TRUE(output->open(&app, script_options(), picture.window, picture.window, 16));
    ASSERT_EQ(output->get_write_mode(), ImageIOOutput::WRITE_MODE_TILED);
    LogCapture const log(2);

    EXPECT_EQ(output->write_region(picture.context, rectangle(0, 0, 16, 16), nullptr), kFailed);
    EXPECT_EQ(output->write(picture.context, nullptr), kFailed);

    LogLine const line{1, "Failed to write '" + file.path() + "'.\n"};
    EXPECT_EQ(log.lines(), (Lines{line, line}));
    for (auto const& call : file.written().calls)
        EXPECT_FALSE(call.starts_with("write_")) << call;
}

TEST(ImageIOOutputOfOpenImageIo, WithoutAPictureFailsToWrite)
{
    TempDir const folder;
    OfApp app;
    SavePicture picture({});
    ScriptedFile const file(folder, WriteScript{});
    auto output = picture.output(file.path());
    ASSERT_TRUE(output->open(&app, script_options(), picture.window, picture.window, 16));
    ImageEvalContext nothing;

    EXPECT_EQ(output->write_region(nothing, picture.window, nullptr), kFailed);
    EXPECT_EQ(output->write(nothing, nullptr), kFailed);
}

}  // namespace
