#include <ImfChannelList.h>

#include "host/colorio/color_io.h"
#include "host/colorio/color_io_converter.h"
#include "host/image/image_map_channel.h"
#include "host/image/image_map_tile.h"
#include "tests/save/exr_saves.h"
#include "tests/save/exr_threads.h"
#include "tests/support/recording_progress.h"

namespace {

using namespace zv_test;
using Lines = std::vector<LogLine>;
using Calls = std::vector<std::string>;
using zv_image_io::ExrTiledFile;

SavePicture::Shape shape_of(int x, int y, int width, int height, int tile = 16)
{
    SavePicture::Shape shape;
    shape.x = x;
    shape.y = y;
    shape.width = width;
    shape.height = height;
    shape.tile = tile;
    return shape;
}

/// A picture and a tiled file that is open for it.
struct OpenFile {
    explicit OpenFile(SavePicture::Shape const& shape, int threads = 0,
                      ImageIOFileFormat::Save format = ImageIOFileFormat::SAVE_EXR16)
        : own_threads(threads)
        , picture(shape)
    {
        app.tiling_mode = 1;
        header = ImageIOSaveDoors::header(&app, exr_options(format), picture.map().m_channels, shape.tile,
                                          picture.window, picture.window);
        file = std::make_unique<ExrTiledFile>(folder.file("a.exr"), *header, threads);
    }
    bool write_region(int x, int y, int width, int height, AppProgressBar* progress = nullptr,
                      char const* color_space = "")
    {
        return ImageIOSaveDoors::tiled_region(picture.context, *header, *file, rectangle(x, y, width, height),
                                              picture.map().m_channels, picture.shape.tile, color_space,
                                              progress);
    }
    bool write(AppProgressBar* progress = nullptr, char const* color_space = "")
    {
        return ImageIOSaveDoors::tiled(picture.context, *header, *file, picture.map().m_channels,
                                       unsigned(picture.shape.tile), color_space, progress);
    }
    ReadExr read() const { return read_exr(folder.file("a.exr")); }

    ExrThreads own_threads;
    TempDir folder;
    OfApp app;
    SavePicture picture;
    std::unique_ptr<Imf::Header> header;
    std::unique_ptr<ExrTiledFile> file;
};

class ExrTiledWriter : public testing::TestWithParam<int> {};  // threads

INSTANTIATE_TEST_SUITE_P(Threads, ExrTiledWriter, testing::Values(0, 1, 3));

TEST_P(ExrTiledWriter, StepsOnceATileAndNeverSetsTheEnd)
{
    OpenFile open(shape_of(0, 0, 47, 33), GetParam());
    RecordingProgress progress;

    EXPECT_TRUE(open.write(&progress));

    Calls wanted = {"set_step_count 9"};
    for (int i = 1; i <= 9; ++i)
        wanted.push_back("step " + std::to_string(i));
    EXPECT_EQ(progress.calls(), wanted);
}

TEST_P(ExrTiledWriter, CountsTheStepsOfTheRegionNotOfItsTiles)
{
    OpenFile open(shape_of(0, 0, 47, 33), GetParam());
    RecordingProgress progress;

    // 2 by 2 pixels that touch 4 tiles.
    EXPECT_TRUE(open.write_region(15, 15, 2, 2, &progress));

    EXPECT_EQ(progress.calls(), (Calls{"set_step_count 1", "step 1", "step 2", "step 3", "step 4"}));
}

TEST_P(ExrTiledWriter, KeepsTilesThatAreThere)
{
    OpenFile open(shape_of(-20, -5, 60, 40), GetParam());
    RecordingProgress progress;
    ASSERT_TRUE(open.write_region(0, 0, 16, 16));
    ASSERT_TRUE(open.write_region(-20, -5, 1, 1));

    EXPECT_TRUE(open.write(&progress));

    // From -32 to 47 and from -16 to 47: 5 by 4 tiles; those that were there count as well.
    EXPECT_EQ(progress.calls().front(), "set_step_count 20");
    EXPECT_EQ(progress.calls_of("step").size(), 20u);
    EXPECT_EQ(progress.calls().back(), "step 20");
    expect_channels(open.read(), open.picture.shape, {"R", "G", "B", "A"});
}

TEST_P(ExrTiledWriter, TakesTilesInAnyOrder)
{
    OpenFile open(shape_of(0, 0, 48, 48), GetParam());
    for (int number : {8, 0, 4, 7, 1, 5, 3, 2, 6})
        ASSERT_TRUE(open.write_region(number % 3 * 16, number / 3 * 16, 16, 16)) << number;

    open.file->finish();

    expect_channels(open.read(), open.picture.shape, {"R", "G", "B", "A"});
}

TEST_P(ExrTiledWriter, ATileGivenTwiceIsAFailedWriteThatChangesNothing)
{
    OpenFile open(shape_of(0, 0, 48, 48), GetParam());
    ASSERT_TRUE(open.write_region(16, 16, 16, 16));
    RecordingProgress progress;
    {
        LogCapture const log;
        EXPECT_FALSE(open.write_region(0, 0, 48, 48, &progress));
        EXPECT_FALSE(open.write_region(20, 20, 1, 1, &progress));
        LogLine const line{
            1, "ImageIOSave::save_openexr_tiled_region: OpenEXR exception 'Tile (1, 1) was written "
               "before.'\n"};
        EXPECT_EQ(log.lines(), (Lines{line, line}));
    }
    EXPECT_TRUE(progress.calls().empty()) << "the bar stays where it was";
    EXPECT_FALSE(open.file->has_failed());
    EXPECT_TRUE(open.write_region(0, 0, 48, 16));
    EXPECT_TRUE(open.write());
    expect_channels(open.read(), open.picture.shape, {"R", "G", "B", "A"});
}

TEST(ExrTiledRefusals, RegionsOutsideAndTileSizesThatAreNotTheFiles)
{
    OpenFile open(shape_of(0, 0, 47, 33));
    std::string const prefix = "ImageIOSave::save_openexr_tiled_region: OpenEXR exception '";
    LogCapture const log;

    EXPECT_FALSE(open.write_region(-1, 0, 4, 4));
    EXPECT_FALSE(open.write_region(0, -1, 4, 4));
    EXPECT_FALSE(open.write_region(40, 0, 9, 4));
    EXPECT_FALSE(open.write_region(0, 40, 4, 9));
    EXPECT_FALSE(open.write_region(0, 0, 0x7fffffff, 0x7fffffff));
    for (int tile : {0, -16, 8, 32}) {
        open.picture.shape.tile = tile;
        EXPECT_FALSE(open.write_region(0, 0, 4, 4));
        EXPECT_FALSE(open.write());
    }

    Lines wanted(5, {1, prefix + "The region lies outside the file.'\n"});
    wanted.insert(wanted.end(), 8, {1, prefix + "There is no such tile size.'\n"});
    EXPECT_EQ(log.lines(), wanted);
}

TEST(ExrTiledRefusals, AFinishedFileIsAFailedWrite)
{
    OpenFile open(shape_of(0, 0, 47, 33));
    ASSERT_TRUE(open.write());
    LogCapture const log;

    EXPECT_FALSE(open.write());

    EXPECT_EQ(log.lines(),
              (Lines{{1, "ImageIOSave::save_openexr_tiled_region: OpenEXR exception 'The file is "
                         "finished.'\n"}}));
    expect_channels(open.read(), open.picture.shape, {"R", "G", "B", "A"});
}

TEST_P(ExrTiledWriter, AFailedWriteLeavesTheProgressWhereItWas)
{
    ExrThreads const threads(GetParam());
    OfApp app;
    app.tiling_mode = 1;
    SavePicture picture(shape_of(0, 0, 320, 320));
    auto const header = ImageIOSaveDoors::header(&app, exr_options(), picture.map().m_channels, 16,
                                                 picture.window, picture.window);
    ExrTiledFile file("/dev/full", *header, GetParam());
    RecordingProgress progress;
    LogCapture const log;

    EXPECT_FALSE(
        ImageIOSaveDoors::tiled(picture.context, *header, file, picture.map().m_channels, 16, "", &progress));

    EXPECT_EQ(
        log.lines(),
        (Lines{{1, "ImageIOSave::save_openexr_tiled_region: OpenEXR exception 'Failed to write pixel data to "
                   "image file \"/dev/full\". No space left on device.'\n"}}));
    EXPECT_TRUE(progress.calls_of("set_value").empty());
    EXPECT_LT(progress.get_total(), 1.0f);
    EXPECT_TRUE(file.has_failed());
}

// What is in the tiles

TEST_P(ExrTiledWriter, AConstantTileFillsItsWholeSquare)
{
    SavePicture::Shape shape = shape_of(0, 0, 20, 20);
    shape.sample = [](int channel, int, int) { return 0.25 * (channel + 1); };
    OpenFile open(shape, GetParam());

    ASSERT_TRUE(open.write());

    ReadExr const file = open.read();
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x)
            ASSERT_EQ(file.at("G", x, y), 0.5f) << x << " " << y;
}

/// A picture some of whose channels have no tiles at some places.
void cut_channel(SavePicture& picture, unsigned int channel, GMathVec4<int> const& kept)
{
    ImageMapChannel& cut = *picture.map().m_channels[channel];
    cut.create_tiles(kept, nullptr, 0.0f);
    std::vector<half> plane;
    for (int y = kept[1]; y < kept[1] + kept[3]; ++y)
        for (int x = kept[0]; x < kept[0] + kept[2]; ++x)
            plane.push_back(half(encoded(int(channel), x, y)));
    cut.fill_tiles(reinterpret_cast<unsigned char const*>(plane.data()), kept, false);
}

TEST_P(ExrTiledWriter, AChannelWithoutATileIsZeroInThatTileAlone)
{
    SavePicture::Shape shape = shape_of(0, 0, 96, 48);
    OpenFile open(shape, GetParam());
    cut_channel(open.picture, 1, rectangle(0, 0, 96, 16));    // G in the first row of tiles
    cut_channel(open.picture, 2, rectangle(32, 16, 16, 32));  // B in the third column, from the second row on

    ASSERT_TRUE(open.write());

    ReadExr const file = open.read();
    EXPECT_TRUE(file.is_complete);
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 96; ++x) {
            bool const has_blue = x >= 32 && x < 48 && y >= 16;
            ASSERT_EQ(file.at("R", x, y), encoded(0, x, y));
            ASSERT_EQ(file.at("G", x, y), y < 16 ? encoded(1, x, y) : 0.0f) << x << " " << y;
            ASSERT_EQ(file.at("B", x, y), has_blue ? encoded(2, x, y) : 0.0f) << x << " " << y;
            ASSERT_EQ(file.at("A", x, y), encoded(3, x, y));
        }
}

TEST_P(ExrTiledWriter, FloatLayersBesideHalfColour)
{
    SavePicture::Shape shape = shape_of(0, 0, 90, 40);
    shape.depth = ImagePixel::BIT_DEPTH_32;
    shape.names = {"r", "depth.z", "g"};
    OpenFile open(shape, GetParam());

    ASSERT_TRUE(open.write());

    expect_channels(open.read(), shape, {"R", "depth.Z", "G"});
}

TEST_P(ExrTiledWriter, LazyChannelsAreAskedForTheirTiles)
{
    OpenFile open(shape_of(0, 0, 48, 32), GetParam());
    int asked = 0;
    open.picture.map().m_channels[0]->set_evaluator([&](ImageMapTile& tile, ImageEvalContext&) {
        ++asked;
        tile.set_constant(float(tile.m_tile_x + 10 * tile.m_tile_y));
        return true;
    });

    ASSERT_TRUE(open.write());

    EXPECT_EQ(asked, 6);
    ReadExr const file = open.read();
    EXPECT_EQ(file.at("R", 0, 0), 0.0f);
    EXPECT_EQ(file.at("R", 40, 20), 12.0f);
    EXPECT_EQ(file.at("G", 40, 20), encoded(1, 40, 20));
}

TEST(ExrTiledSaves, AnotherTileSizeThanTheMapsIsRight)
{
    for (int tile : {8, 32, 7}) {
        TempDir const folder;
        OfApp app;
        app.tiling_mode = 1;
        SavePicture picture(shape_of(-5, 3, 47, 33, 16));
        auto output = picture.output(folder.file("a.exr"));
        ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, tile));
        EXPECT_EQ(output->write(picture.context, nullptr), ImageIO::SAVING_STATUS_SUCCESS);
        expect_channels(read_exr(folder.file("a.exr")), picture.shape, {"R", "G", "B", "A"});
    }
}

TEST_P(ExrTiledWriter, ConvertsStraightColourAndMultipliesAgain)
{
    SavePicture::Shape shape = shape_of(0, 0, 90, 20);
    shape.depth = ImagePixel::BIT_DEPTH_32;
    shape.sample = [](int channel, int x, int y) {
        float const alphas[] = {0.0f, 1.0f, 0.5f, 1e-6f, 2e-6f, 5e-7f, -0.5f};
        return channel == 3 ? double(alphas[x % 7]) : 0.05 + encoded(channel, x, y) / 2;
    };
    OpenFile open(shape, GetParam(), ImageIOFileFormat::SAVE_EXR32);
    ColorIOConverter converter;
    ASSERT_TRUE(converter.configure(ColorIO::get_default_color_space_name(), "sRGB"));

    ASSERT_TRUE(open.write(nullptr, "sRGB"));

    ReadExr const file = open.read();
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 90; ++x) {
            float const alpha = float(shape.sample(3, x, y));
            float const factor = alpha > 1e-6 ? 1.0f / alpha : 1.0f;
            float rgb[3];
            for (int c = 0; c < 3; ++c)
                rgb[c] = float(shape.sample(c, x, y)) * factor;
            ASSERT_TRUE(converter.convert_buffers(&rgb[0], &rgb[1], &rgb[2], nullptr, 1, 1));
            ASSERT_EQ(file.at("R", x, y), rgb[0] * alpha) << x << " " << y;
            ASSERT_EQ(file.at("G", x, y), rgb[1] * alpha) << x << " " << y;
            ASSERT_EQ(file.at("B", x, y), rgb[2] * alpha) << x << " " << y;
            ASSERT_EQ(file.at("A", x, y), alpha);
        }
}

TEST(ExrTiledSaves, GivesTheSameBytesWithThreads)
{
    std::vector<std::vector<char>> files;
    for (int threads : {0, 1, 2, 5}) {
        ExrThreads const own(threads);
        TempDir const folder;
        OfApp app;
        app.tiling_mode = 1;
        SavePicture::Shape shape = shape_of(-7, 5, 300, 200);
        shape.names = {"r", "g", "depth.z"};
        SavePicture picture(shape);
        cut_channel(picture, 1, rectangle(0, 64, 100, 64));
        auto output = picture.output(folder.file("a.exr"));
        ASSERT_TRUE(
            output->open(&app, exr_options(ImageIOFileFormat::SAVE_EXR16, ImageIOFileFormat::COMPRESSION_ZIP),
                         picture.window, picture.window, 16));
        EXPECT_EQ(output->write(picture.context, nullptr), ImageIO::SAVING_STATUS_SUCCESS);
        files.push_back(file_bytes(folder.file("a.exr")));
    }
    for (auto const& file : files)
        EXPECT_EQ(file, files[0]);
}

TEST(ExrTiledFile, WritesSeveralTilesAtOnceOnlyWithThreads)
{
    for (int threads : {0, 1, 4}) {
        OpenFile open(shape_of(0, 0, 47, 33), threads);
        EXPECT_EQ(open.file->tiles_per_run(), threads == 0 ? 1 : 2 * threads);
        EXPECT_EQ(open.file->columns(), 3);
        EXPECT_EQ(open.file->rows(), 3);
    }
}

}  // namespace
