#include "image_io/save/image_io_output.h"

#include <ImfChannelList.h>
#include <OpenImageIO/imageio.h>

#include <climits>
#include <filesystem>
#include <limits>

#include "host/image/image_map_channel.h"
#include "host/image/image_map_tile.h"
#include "tests/save/exr_saves.h"
#include "tests/save/exr_threads.h"
#include "tests/support/recording_progress.h"

namespace {

using namespace zv_test;
using Lines = std::vector<LogLine>;
constexpr auto kSuccess = ImageIO::SAVING_STATUS_SUCCESS;
constexpr auto kFailed = ImageIO::SAVING_STATUS_WRITE_FAILED;

TEST(ImageIOOutput, BeginsClosedAndEmpty)
{
    OfApp app;
    ImageMap const map;
    ImageIOOutput output(&map, "RGBA", "/some/file.exr", &app);

    EXPECT_EQ(output.get_app(), &app);
    EXPECT_EQ(output.get_name(), "RGBA");
    EXPECT_EQ(output.get_filename(), "/some/file.exr");
    EXPECT_EQ(output.get_description(), "'/some/file.exr'");
    EXPECT_EQ(output.get_channel_count(), 0u);
    EXPECT_EQ(output.get_header_exr(), nullptr);
    EXPECT_EQ(output.get_write_mode(), ImageIOOutput::WRITE_MODE_NONE);
    EXPECT_EQ(output.get_write_type(), ImageIOOutput::WRITE_TYPE_CLOSED);
    output.set_image_map(nullptr);
    output.get_channels().add(nullptr);
    EXPECT_EQ(output.get_channel_count(), 1u);
}

TEST(ImageIOOutput, EnumeratorsHaveTheirNumbers)
{
    EXPECT_EQ(int(ImageIOOutput::WRITE_MODE_NONE), -1);
    EXPECT_EQ(int(ImageIOOutput::WRITE_MODE_SCANLINE), 0);
    EXPECT_EQ(int(ImageIOOutput::WRITE_MODE_TILED), 1);
    EXPECT_EQ(int(ImageIOOutput::WRITE_TYPE_CLOSED), -1);
    EXPECT_EQ(int(ImageIOOutput::WRITE_TYPE_OIIO), 0);
    EXPECT_EQ(int(ImageIOOutput::WRITE_TYPE_EXR), 1);
}

TEST(ImageIOOutput, TellsEachStepOfASave)
{
    TempDir const folder;
    OfApp app;
    SavePicture picture({});
    std::string const quoted = "'" + folder.file("a.exr") + "'";
    LogCapture const log;

    auto output = picture.output(folder.file("a.exr"));
    ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
    EXPECT_EQ(output->get_write_type(), ImageIOOutput::WRITE_TYPE_EXR);
    EXPECT_EQ(output->get_write_mode(), ImageIOOutput::WRITE_MODE_SCANLINE);
    EXPECT_NE(output->get_header_exr(), nullptr);
    EXPECT_EQ(output->write_region(picture.context, rectangle(0, 0, 47, 16), nullptr), kSuccess);
    EXPECT_EQ(output->write(picture.context, nullptr), kSuccess);
    output->close();
    EXPECT_EQ(output->get_write_type(), ImageIOOutput::WRITE_TYPE_CLOSED);
    EXPECT_EQ(output->get_header_exr(), nullptr);
    output.reset();

    EXPECT_EQ(log.lines(), (Lines{{3, "Opened " + quoted + " for writing.\n"},
                                  {3, "Saving scanline region (0, 0, 47, 16)...\n"},
                                  {3, "Writing " + quoted + " ...\n"},
                                  {3, "Closed " + quoted + ".\n"},
                                  {3, "Closed " + quoted + ".\n"}}));
    expect_channels(read_exr(folder.file("a.exr")), picture.shape, {"R", "G", "B", "A"});
}

TEST(ImageIOOutput, CloseWithoutAFileIsToldEachTime)
{
    ImageMap const map;
    LogCapture const log;
    {
        ImageIOOutput output(&map, "image", "a.exr", nullptr);
        output.close();
        output.close();
        EXPECT_EQ(output.get_write_mode(), ImageIOOutput::WRITE_MODE_NONE);
    }
    LogLine const line{3, "Closed 'a.exr'.\n"};
    EXPECT_EQ(log.lines(), (Lines{line, line, line}));
}

struct ModeRow {
    char const* name;
    int tiling_mode, tile_size;
    ImageIOOutput::WriteMode mode;
};

class ImageIOOutputModes : public testing::TestWithParam<ModeRow> {};

TEST_P(ImageIOOutputModes, FollowTheTable)
{
    TempDir const folder;
    OfApp app;
    app.tiling_mode = GetParam().tiling_mode;
    SavePicture picture({});
    auto output = picture.output(folder.file("a.exr"));

    ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, GetParam().tile_size));

    EXPECT_EQ(output->get_write_mode(), GetParam().mode);
}

INSTANTIATE_TEST_SUITE_P(Cases, ImageIOOutputModes,
                         testing::Values(ModeRow{"scanline", 0, 16, ImageIOOutput::WRITE_MODE_SCANLINE},
                                         ModeRow{"tiled", 1, 16, ImageIOOutput::WRITE_MODE_TILED},
                                         ModeRow{"no_tile_size", 1, 0, ImageIOOutput::WRITE_MODE_SCANLINE},
                                         ModeRow{"other_mode", 2, 16, ImageIOOutput::WRITE_MODE_TILED}),
                         [](auto const& row) { return row.param.name; });

TEST(ImageIOOutput, ATilingModeWithoutATiledFileFailsToWrite)
{
    TempDir const folder;
    for (int mode : {2, -1}) {
        OfApp app;
        app.tiling_mode = mode;
        SavePicture picture({});
        auto output = picture.output(folder.file("a.exr"));
        ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
        LogCapture const log(2);

        EXPECT_EQ(output->write_region(picture.context, rectangle(0, 0, 16, 16), nullptr), kFailed);
        EXPECT_EQ(output->write(picture.context, nullptr), kFailed);

        LogLine const line{1, "Failed to write '" + folder.file("a.exr") + "'.\n"};
        EXPECT_EQ(log.lines(), (Lines{line, line}));
        output.reset();
        EXPECT_FALSE(std::filesystem::exists(folder.file("a.exr")));
    }
}

TEST(ImageIOOutput, TileSizesOfNoneFailToWrite)
{
    TempDir const folder;
    for (int tile_size : {0, -16}) {
        OfApp app;
        SavePicture picture({});
        auto output = picture.output(folder.file("a.exr"));
        ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, tile_size));
        LogCapture const log(2);

        EXPECT_EQ(output->write(picture.context, nullptr), kFailed);

        EXPECT_EQ(
            log.lines(),
            (Lines{{1, "ImageIOSave::save_openexr_scanline_region: OpenEXR exception: 'There is no such tile "
                       "size.'\n"},
                   {1, "Failed to write '" + folder.file("a.exr") + "'.\n"}}));
    }
}

TEST(ImageIOOutput, AFileThatDoesNotOpenIsTold)
{
    TempDir const folder;
    OfApp app;
    SavePicture picture({});
    std::string const path = folder.file("no/a.exr");
    LogCapture const log;
    {
        auto output = picture.output(path);
        EXPECT_FALSE(output->open(&app, exr_options(), picture.window, picture.window, 16));
        EXPECT_EQ(output->get_write_type(), ImageIOOutput::WRITE_TYPE_EXR);
        EXPECT_NE(output->get_header_exr(), nullptr);
    }
    EXPECT_EQ(log.lines(),
              (Lines{{1, "ImageIOOutput::open_exr: OpenEXR exception: Cannot open image file \"" + path +
                             "\". No such file or directory.\n"},
                     {1, "Failed to open '" + path + "' for writing.\n"},
                     {3, "Closed '" + path + "'.\n"}}));
}

struct OpenRow {
    char const* name;
    char const* text;  // what the library says
    void (*spoil)(SavePicture& picture, OfApp& app, ImageSaveOptions& options);
};

class ImageIOOutputBadOpens : public testing::TestWithParam<OpenRow> {};

TEST_P(ImageIOOutputBadOpens, AreToldAndLeaveNoFile)
{
    TempDir const folder;
    OfApp app;
    SavePicture picture({});
    ImageSaveOptions options = exr_options();
    GetParam().spoil(picture, app, options);
    std::string const path = folder.file("a.exr");
    auto output = picture.output(path);
    if (picture.shape.names.empty())
        output->get_channels().clear();
    LogCapture const log(2);

    EXPECT_FALSE(output->open(&app, options, picture.window, rectangle(0, 0, 47, 33), 16));

    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_EQ(log.lines()[0].level, 1);
    EXPECT_TRUE(log.lines()[0].text.starts_with("ImageIOOutput::open_exr: OpenEXR exception: "));
    EXPECT_NE(log.lines()[0].text.find(GetParam().text), std::string::npos) << log.lines()[0];
    EXPECT_EQ(log.lines()[1], (LogLine{1, "Failed to open '" + path + "' for writing.\n"}));
    EXPECT_EQ(output->write(picture.context, nullptr), kFailed);
    EXPECT_EQ(output->write_region(picture.context, picture.window, nullptr), kFailed);
    EXPECT_FALSE(std::filesystem::exists(path));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ImageIOOutputBadOpens,
    testing::Values(
        OpenRow{"aspect_0", "aspect",
                [](auto&, auto&, ImageSaveOptions& options) { options.pixel_aspect_ratio = 0; }},
        OpenRow{"aspect_nan", "aspect",
                [](auto&, auto&, ImageSaveOptions& options) {
                    options.pixel_aspect_ratio = std::numeric_limits<float>::quiet_NaN();
                }},
        OpenRow{"aspect_infinite", "aspect",
                [](auto&, auto&, ImageSaveOptions& options) {
                    options.pixel_aspect_ratio = std::numeric_limits<float>::infinity();
                }},
        OpenRow{"clashing_name", "Cannot assign",
                [](auto&, auto&, ImageSaveOptions& options) {
                    options.meta_data.add({"dataWindow", {CoreVariant(1.0)}});
                }},
        OpenRow{"clash_with_dwa", "Cannot assign",
                [](auto&, auto&, ImageSaveOptions& options) {
                    options.compression = ImageIOFileFormat::COMPRESSION_DWAB;
                    options.meta_data.add({"dwaCompressionLevel", {CoreVariant(1.0)}});
                }},
        OpenRow{"clash_with_type", "Cannot assign",
                [](auto&, auto&, ImageSaveOptions& options) {
                    options.meta_data.add({"type", {CoreVariant(1.0)}});
                }},
        OpenRow{"clash_with_tiles", "Cannot assign",
                [](auto&, OfApp& app, ImageSaveOptions& options) {
                    app.tiling_mode = 1;
                    options.meta_data.add({"tiles", {CoreVariant(1.0)}});
                }},
        OpenRow{"no_channels", "channel",
                [](SavePicture& picture, auto&, auto&) { picture.shape.names.clear(); }},
        OpenRow{"empty_window", "data window",
                [](SavePicture& picture, auto&, auto&) { picture.window = rectangle(5, 5, 0, 10); }},
        OpenRow{"negative_size", "data window",
                [](SavePicture& picture, auto&, auto&) { picture.window = rectangle(5, 5, -3, 10); }},
        OpenRow{
            "window_past_the_numbers", "window",
            [](SavePicture& picture, auto&, auto&) { picture.window = rectangle(INT_MAX - 3, 0, 10, 10); }},
        OpenRow{"enormous_tiled_window", "",
                [](SavePicture& picture, OfApp& app, auto&) {
                    app.tiling_mode = 1;
                    picture.window = rectangle(0, 0, INT_MAX / 2 - 100, INT_MAX / 2 - 100);
                }}),
    [](auto const& row) { return row.param.name; });

TEST(ImageIOOutput, AnOlderFileSurvivesAnOpenThatFails)
{
    TempDir const folder;
    OfApp app;
    SavePicture picture({});
    write_bytes(folder.file("a.exr"), {'o', 'l', 'd'});
    auto output = picture.output(folder.file("a.exr"));
    output->get_channels().clear();

    EXPECT_FALSE(output->open(&app, exr_options(), picture.window, picture.window, 16));

    EXPECT_EQ(file_bytes(folder.file("a.exr")), (std::vector<char>{'o', 'l', 'd'}));
}

TEST(ImageIOOutput, WithoutAHeaderNothingOpensAndTheStoredOneStays)
{
    TempDir const folder;
    OfApp app;
    SavePicture picture({});
    auto output = picture.output(folder.file("no/a.exr"));
    EXPECT_FALSE(output->open(&app, exr_options(), picture.window, picture.window, 16));
    Imf::Header* const header = output->get_header_exr();
    LogCapture const log;

    EXPECT_FALSE(ImageIOOutputDoors::open_exr(*output, nullptr));

    EXPECT_EQ(output->get_header_exr(), header);
    EXPECT_TRUE(log.lines().empty());
}

TEST(ImageIOOutput, TakesAnObjectOfOpenImageIoOver)
{
    ImageMap const map;
    ImageIOOutput output(&map, "image", "a.tif", nullptr);

    EXPECT_FALSE(ImageIOOutputDoors::open_oiio(output, nullptr));
    EXPECT_TRUE(ImageIOOutputDoors::open_oiio(output, OIIO::ImageOutput::create("a.tif", nullptr, "")));
}

struct ClipRow {
    char const* name;
    GMathVec4<int> region;
    char const* told;  // nothing written where null
};

class ImageIOOutputClips : public testing::TestWithParam<ClipRow> {};

TEST_P(ImageIOOutputClips, FollowTheTable)
{
    TempDir const folder;
    OfApp app;
    SavePicture::Shape shape;
    shape.x = -10;
    shape.y = 20;
    SavePicture picture(shape);  // 47 by 33
    auto output = picture.output(folder.file("a.exr"));
    ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
    LogCapture const log;

    EXPECT_EQ(output->write_region(picture.context, GetParam().region, nullptr), kSuccess);

    if (GetParam().told) {
        EXPECT_EQ(log.lines(), (Lines{{3, GetParam().told}}));
    } else {
        EXPECT_TRUE(log.lines().empty());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ImageIOOutputClips,
    testing::Values(
        ClipRow{"all", {-10, 20, 47, 33}, "Saving scanline region (-10, 20, 47, 33)...\n"},
        ClipRow{"sticks_out", {-100, 0, 1000, 1000}, "Saving scanline region (-10, 20, 47, 33)...\n"},
        ClipRow{"largest", {INT_MIN, INT_MIN, INT_MAX, INT_MAX}, nullptr},
        ClipRow{
            "past_the_numbers", {-10, 20, INT_MAX, INT_MAX}, "Saving scanline region (-10, 20, 47, 33)...\n"},
        ClipRow{"inside", {0, 20, 5, 7}, "Saving scanline region (0, 20, 5, 7)...\n"},
        ClipRow{"left_of_it", {-20, 20, 10, 10}, nullptr}, ClipRow{"right_of_it", {37, 20, 10, 10}, nullptr},
        ClipRow{"above_it", {0, 10, 10, 10}, nullptr}, ClipRow{"below_it", {0, 53, 10, 10}, nullptr},
        ClipRow{"no_width", {0, 20, 0, 10}, nullptr}, ClipRow{"no_height", {0, 20, 10, 0}, nullptr},
        ClipRow{"negative_size", {0, 20, -10, -10}, nullptr}),
    [](auto const& row) { return row.param.name; });

TEST(ImageIOOutput, RegionsOfATiledFileAreToldAsTiled)
{
    TempDir const folder;
    OfApp app;
    app.tiling_mode = 1;
    SavePicture picture({});
    auto output = picture.output(folder.file("a.exr"));
    ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
    LogCapture const log;

    // The snapped data window reaches past the picture.
    EXPECT_EQ(output->write_region(picture.context, rectangle(40, 30, 100, 100), nullptr), kSuccess);

    EXPECT_EQ(log.lines(), (Lines{{3, "Saving tiled region (40, 30, 8, 18)...\n"}}));
}

class ImageIOOutputEnds : public testing::TestWithParam<int> {};

TEST_P(ImageIOOutputEnds, AllowNoFurtherWrite)
{
    TempDir const folder;
    OfApp app;
    app.tiling_mode = GetParam();
    SavePicture picture({});
    std::string const path = folder.file("a.exr");
    auto output = picture.output(path);
    ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
    ASSERT_EQ(output->write(picture.context, nullptr), kSuccess);
    auto const bytes = file_bytes(path);
    expect_channels(read_exr(path), picture.shape, {"R", "G", "B", "A"});  // whole before it is closed

    LogLine const failed{1, "Failed to write '" + path + "'.\n"};
    {
        LogCapture const log;
        EXPECT_EQ(output->write(picture.context, nullptr), kFailed);
        EXPECT_EQ(output->write_region(picture.context, picture.window, nullptr), kFailed);
        EXPECT_EQ(log.lines(), (Lines{{3, "Writing '" + path + "' ...\n"}, failed, failed}));
    }
    output->close();
    EXPECT_EQ(output->write(picture.context, nullptr), kFailed);
    EXPECT_EQ(output->write_region(picture.context, picture.window, nullptr), kFailed);
    output.reset();
    EXPECT_EQ(file_bytes(path), bytes);
}

INSTANTIATE_TEST_SUITE_P(Modes, ImageIOOutputEnds, testing::Values(0, 1));

TEST(ImageIOOutput, OpensAgainAfterAClose)
{
    TempDir const folder;
    OfApp app;
    SavePicture picture({});
    auto output = picture.output(folder.file("a.exr"));
    for (int tiling_mode : {0, 1}) {
        app.tiling_mode = tiling_mode;
        ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
        EXPECT_EQ(output->write(picture.context, nullptr), kSuccess);
        output->close();
        ReadExr const file = read_exr(folder.file("a.exr"));
        EXPECT_EQ(file.header.hasTileDescription(), tiling_mode == 1);
        expect_channels(file, picture.shape, {"R", "G", "B", "A"});
    }
}

TEST(ImageIOOutput, AnOpenOverAnOpenFileClosesThatOne)
{
    TempDir const folder;
    OfApp app;
    SavePicture picture({});
    auto output = picture.output(folder.file("a.exr"));
    ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
    ASSERT_EQ(output->write_region(picture.context, rectangle(0, 0, 47, 16), nullptr), kSuccess);

    ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
    EXPECT_EQ(output->write(picture.context, nullptr), kSuccess);
    output.reset();

    expect_channels(read_exr(folder.file("a.exr")), picture.shape, {"R", "G", "B", "A"});
}

TEST(ImageIOOutput, TakesTheThreadsThatThereAreAtEachOpen)
{
    TempDir const folder;
    OfApp app;
    app.tiling_mode = 1;
    SavePicture::Shape shape;
    shape.width = 128;
    shape.height = 16;  // 8 tiles in a row
    for (int threads : {0, 1, 2}) {
        ExrThreads const own(threads);
        SavePicture picture(shape);
        RecordingProgress progress;
        std::vector<std::size_t> steps_before;  // each tile
        picture.map().m_channels[0]->set_evaluator([&](ImageMapTile& tile, ImageEvalContext&) {
            steps_before.push_back(progress.calls_of("step").size());
            tile.set_constant(0.5f);
            return true;
        });
        auto output = picture.output(folder.file("a.exr"));
        ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));

        EXPECT_EQ(output->write(picture.context, &progress), kSuccess);

        // Two tiles a thread go into the file together.
        std::size_t const together = threads == 0 ? 1 : std::size_t(threads) * 2;
        ASSERT_EQ(steps_before.size(), 8u);
        for (std::size_t tile = 0; tile < 8; ++tile)
            EXPECT_EQ(steps_before[tile], tile / together * together) << threads;
    }
}

TEST(ImageIOOutput, TakesTheColourSpaceBehindItsFamily)
{
    TempDir const folder;
    OfApp app;
    SavePicture::Shape shape;
    shape.names = {"r", "g", "b"};
    SavePicture picture(shape);
    std::vector<std::vector<char>> files;
    for (char const* space : {"sRGB", "Utility|sRGB", ""}) {
        auto output = picture.output(folder.file("a.exr"));
        ImageSaveOptions options = exr_options();
        options.color_space = space;
        ASSERT_TRUE(output->open(&app, options, picture.window, picture.window, 16));
        ASSERT_EQ(output->write(picture.context, nullptr), kSuccess);
        output.reset();
        files.push_back(file_bytes(folder.file("a.exr")));
    }
    EXPECT_EQ(files[0], files[1]);
    EXPECT_NE(files[0], files[2]);
}

}  // namespace
