#include <OpenImageIO/imageio.h>

#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/colorio/color_io.h"
#include "host/of/of_app.h"
#include "tests/save/oiio_doors.h"
#include "tests/save/test_canvas.h"
#include "tests/support/log_capture.h"
#include "tests/support/recording_progress.h"
#include "tests/support/scripted_format.h"

namespace {

using namespace zv_test;
using Calls = std::vector<std::string>;
using Lines = std::vector<LogLine>;
using Rectangle = GMathVec4<int>;

WriteScript tiled_script()
{
    WriteScript script;
    script.supports_tiles = true;
    return script;
}

/// A scripted file in tiles, opened for the channels of a canvas.
struct OpenTiles {
    explicit OpenTiles(TestCanvas const& source, WriteScript const& script = tiled_script())
        : OpenTiles(source, source.all_channels(), script)
    {
    }
    OpenTiles(TestCanvas const& source, CoreVector<ImageMapChannel*> const& some_channels,
              WriteScript const& script = tiled_script())
        : canvas(source)
        , channels(some_channels)
        , file(folder, script)
    {
        OfApp app;
        app.tiling_mode = 1;
        ImageSaveOptions options;
        options.format = ImageIOFileFormat::SAVE_TIFF32;
        output = ImageIOSaveDoors::build_image_output(&app, options, file.path().c_str(), channels,
                                                      canvas.map().m_tile_size, canvas.canvas_rectangle(),
                                                      canvas.data_window());
    }

    bool save(CoreString const& color_space = "", AppProgressBar* progress = nullptr)
    {
        return ImageIOSaveDoors::save_tiled(output.get(), channels, &canvas.map(), color_space, progress);
    }
    bool save_region(Rectangle const& region, CoreString const& color_space = "",
                     AppProgressBar* progress = nullptr)
    {
        return ImageIOSaveDoors::save_tiled_region(output.get(), region, channels, &canvas.map(), color_space,
                                                   progress);
    }
    Calls calls() const
    {
        Calls all = file.written().calls;
        all.erase(all.begin());
        return all;
    }
    WrittenTile tile(int number) const { return file.written().tiles.at(static_cast<std::size_t>(number)); }

    TestCanvas const& canvas;
    CoreVector<ImageMapChannel*> channels;
    TempDir folder;
    ScriptedFile file;
    std::unique_ptr<OIIO::ImageOutput> output;
};

/// The samples of the part of a tile that lies in the picture.
void expect_tile(WrittenTile const& tile, int edge, int channels, int width, int height)
{
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < channels; ++c)
                ASSERT_EQ(tile.samples[(std::size_t(y) * edge + x) * channels + c],
                          encoded(c, tile.x + x, tile.y + y))
                    << c << " " << x << " " << y;
}

TEST(SaveTiled, WritesEveryTileInRowsAndClosesTheFile)
{
    TestCanvas const canvas;  // 47 by 33, tiles of 16
    OpenTiles tiles(canvas);
    LogCapture const log;

    EXPECT_TRUE(tiles.save());

    EXPECT_EQ(tiles.calls(), (Calls{"write_tile 0 0", "write_tile 16 0", "write_tile 32 0", "write_tile 0 16",
                                    "write_tile 16 16", "write_tile 32 16", "write_tile 0 32",
                                    "write_tile 16 32", "write_tile 32 32", "close"}));
    int const widths[] = {16, 16, 15}, heights[] = {16, 16, 1};
    for (int number = 0; number < 9; ++number)
        expect_tile(tiles.tile(number), 16, 4, widths[number % 3], heights[number / 3]);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(SaveTiled, TilesAtTheEdgesHaveRowsOfTheirOwnWidth)
{
    TestCanvas const canvas;
    OpenTiles tiles(canvas);

    EXPECT_TRUE(tiles.save());

    for (int number : {0, 2, 8}) {
        WrittenTile const tile = tiles.tile(number);
        EXPECT_EQ(tile.format, OIIO::TypeDesc::FLOAT);
        EXPECT_EQ(tile.z, 0);
        EXPECT_EQ(tile.x_stride, 4 * 4);
        EXPECT_EQ(tile.y_stride, 4 * 4 * (number == 0 ? 16 : 15));
        EXPECT_EQ(tile.z_stride, OIIO::AutoStride);
    }
}

TEST(SaveTiled, TheGridBeginsAtTheOriginOfTheFile)
{
    CanvasShape shape;
    shape.x = -20;
    shape.y = 5;
    shape.width = 20;
    shape.height = 17;
    TestCanvas const canvas(shape);
    OpenTiles tiles(canvas);

    EXPECT_TRUE(tiles.save());

    EXPECT_EQ(tiles.calls(), (Calls{"write_tile -20 5", "write_tile -4 5", "write_tile -20 21",
                                    "write_tile -4 21", "close"}));
    expect_tile(tiles.tile(1), 16, 4, 4, 16);
}

TEST(SaveTiledRegion, WritesABandOfTheFullWidthFromItsFirstRow)
{
    TestCanvas const canvas;
    OpenTiles tiles(canvas);

    EXPECT_TRUE(tiles.save_region(Rectangle(40, 10, 2, 20)));

    EXPECT_EQ(tiles.calls(),
              (Calls{"write_tile 0 10", "write_tile 16 10", "write_tile 32 10", "write_tile 0 26",
                     "write_tile 16 26", "write_tile 32 26"}));  // the file stays open
    expect_tile(tiles.tile(3), 16, 4, 16, 4);
}

TEST(SaveTiledRegion, WithoutRowsWritesNothing)
{
    TestCanvas const canvas;
    OpenTiles tiles(canvas);

    EXPECT_TRUE(tiles.save_region(Rectangle(0, 0, 47, 0)));

    EXPECT_EQ(tiles.calls(), Calls{});
}

TEST(SaveTiled, ATileThatFailsIsLoggedAndStopsNoOther)
{
    TestCanvas const canvas;
    WriteScript script = tiled_script();
    script.bad_tiles = {{16, 0}, {32, 32}};
    script.write_error = "torn";
    OpenTiles tiles(canvas, script);
    LogCapture const log;

    EXPECT_FALSE(tiles.save());

    EXPECT_EQ(tiles.calls().size(), 10u);
    EXPECT_EQ(log.lines(), (Lines{{2, "Problem while writing tile (16, 0, 16, 16): torn\n"},
                                  {2, "Problem while writing tile (32, 32, 15, 1): torn\n"}}));
    EXPECT_EQ(tiles.output->geterror(), "");
}

TEST(SaveTiled, AWriterThatThrowsFailsThatTileAndTheClose)
{
    TestCanvas const canvas;
    WriteScript script = tiled_script();
    script.bad_tiles = {{16, 0}};
    script.bad_answer = WriteScript::THROW;
    script.write_error = "thrown";
    OpenTiles tiles(canvas, script);
    LogCapture const log;

    EXPECT_FALSE(tiles.save());

    EXPECT_EQ(tiles.calls().size(), 10u);
    EXPECT_EQ(log.lines(), (Lines{{2, "Problem while writing tile (16, 0, 16, 16): thrown\n"}}));
}

TEST(SaveTiled, PassesOnWhatCloseSays)
{
    TestCanvas const canvas;
    WriteScript script = tiled_script();
    script.close = WriteScript::REFUSE;
    OpenTiles tiles(canvas, script);
    LogCapture const log;

    EXPECT_FALSE(tiles.save());

    EXPECT_EQ(log.lines(), Lines{}) << "the output tells it";

    EXPECT_EQ(tiles.output->geterror(), "scripted: will not close");
}

TEST(SaveTiled, TheBarJumpsToItsEnd)
{
    TestCanvas const canvas;
    OpenTiles tiles(canvas);
    RecordingProgress progress;

    EXPECT_TRUE(tiles.save("", &progress));

    EXPECT_EQ(progress.calls(), (Calls{"set_value 1", "set_value 1"}));
}

TEST(SaveTiledRegion, TheBarIsFullAfterAFailureToo)
{
    TestCanvas const canvas;
    WriteScript script = tiled_script();
    script.write = WriteScript::REFUSE;
    OpenTiles tiles(canvas, script);
    RecordingProgress progress;

    EXPECT_FALSE(tiles.save_region(Rectangle(0, 0, 47, 16), "", &progress));

    EXPECT_EQ(progress.calls(), (Calls{"set_value 1"}));
}

TEST(SaveTiled, NullChannelsAreZeros)
{
    TestCanvas const canvas;
    OpenTiles tiles(canvas, canvas.channels({"r", "", "b"}));

    EXPECT_TRUE(tiles.save());

    WrittenTile const tile = tiles.tile(4);
    EXPECT_EQ(tile.samples[0], encoded(0, 16, 16));
    EXPECT_EQ(tile.samples[1], 0.0f);
    EXPECT_EQ(tile.samples[2], encoded(2, 16, 16));
}

TEST(SaveTiled, NarrowMapsKeepTheStridesOfTheirSamples)
{
    for (auto depth : {ImagePixel::BIT_DEPTH_8, ImagePixel::BIT_DEPTH_16}) {
        CanvasShape shape;
        shape.bit_depth = depth;
        TestCanvas const canvas(shape);
        OpenTiles tiles(canvas);

        EXPECT_TRUE(tiles.save("sRGB"));

        EXPECT_EQ(tiles.tile(0).x_stride, 4 * int(depth));
        EXPECT_EQ(tiles.tile(2).y_stride, 4 * int(depth) * 15);
    }
}

TEST(SaveTiledRegion, SizesThatDoNotFitAreAFailure)
{
    TestCanvas const canvas;
    OpenTiles tiles(canvas);
    Rectangle const some(0, 0, 47, 16);

    for (int size : {0, -16, 2147483647}) {
        canvas.map().m_tile_size = size;
        EXPECT_FALSE(tiles.save_region(some)) << size;
    }
    canvas.map().m_tile_size = 16;
    canvas.map().m_bit_depth = static_cast<ImagePixel::BitDepth>(8);
    EXPECT_FALSE(tiles.save_region(some));
    canvas.map().m_bit_depth = ImagePixel::BIT_DEPTH_32;
    EXPECT_FALSE(tiles.save_region(Rectangle(0, 2147483640, 47, 100)));

    EXPECT_EQ(tiles.calls(), Calls{});
}

TEST(SaveTiledRegion, ChannelsThatDoNotFitTheFileAreAFailure)
{
    TestCanvas const canvas;
    OpenTiles tiles(canvas);
    tiles.channels.add(canvas.channel("r"));

    EXPECT_FALSE(tiles.save());
    EXPECT_FALSE(ImageIOSaveDoors::save_tiled(nullptr, tiles.channels, &canvas.map()));
    EXPECT_FALSE(
        ImageIOSaveDoors::save_tiled_region(tiles.output.get(), {0, 0, 1, 1}, tiles.channels, nullptr));
}

TEST(SaveTiledRegion, TilesOfAnotherSizeThanTheMapsAreAFailure)
{
    TestCanvas const canvas;
    for (int const tile : {8, 32}) {
        OpenTiles tiles(canvas);
        CanvasShape shape;
        shape.tile = tile;
        TestCanvas const other(shape);
        LogCapture const log;

        EXPECT_FALSE(ImageIOSaveDoors::save_tiled_region(tiles.output.get(), {0, 0, 47, 33},
                                                         other.all_channels(), &other.map()));

        EXPECT_TRUE(tiles.file.written().tiles.empty());
        EXPECT_EQ(log.lines(), Lines{});
    }
}

// Colours

/// What becomes of one whole tile, told once more: the pass over alpha takes four floats a pixel, as far as
/// the buffer reaches, whatever the number of channels.
std::vector<float> converted_tile(TestCanvas const& canvas, int edge, int width, int height)
{
    auto const count = canvas.all_channels().get_count();
    std::vector<float> buffer(std::size_t(edge) * edge * count);
    for (unsigned int c = 0; c < count; ++c) {
        std::vector<float> plane(std::size_t(width) * height);
        canvas.all_channels()[c]->create_float_buffer(nullptr, Rectangle(0, 0, width, height), plane.data());
        for (std::size_t pixel = 0; pixel < plane.size(); ++pixel)
            buffer[pixel * count + c] = plane[pixel];
    }
    std::size_t const pixels = std::min(buffer.size() / 4, std::size_t(edge) * edge);
    for (std::size_t pixel = 0; pixel < pixels; ++pixel)
        for (std::size_t c = 0; c < 3 && std::fabs(double(buffer[pixel * 4 + 3])) > 1e-8; ++c)
            buffer[pixel * 4 + c] *= 1.0f / buffer[pixel * 4 + 3];
    auto const size = static_cast<unsigned int>(edge);
    EXPECT_TRUE(ColorIO::convert_buffer(buffer.data(), size, size, count, "sRGB",
                                        ColorIO::get_default_color_space_name()));
    for (std::size_t pixel = 0; pixel < pixels; ++pixel)
        for (std::size_t c = 0; c < 3; ++c)
            buffer[pixel * 4 + c] *= buffer[pixel * 4 + 3];
    return buffer;
}

class TileColours : public testing::TestWithParam<int> {};

TEST_P(TileColours, TakePixelsFourFloatsLongUpToTheBuffersEnd)
{
    CanvasShape shape;
    shape.width = shape.height = 16;
    shape.channels.assign({"r", "g", "b", "a", "x.r", "x.g"});
    shape.channels.resize(static_cast<std::size_t>(GetParam()));
    TestCanvas const canvas(shape,
                            [](int c, int x, int y) { return (x + y) % 5 == 0 ? 0.0 : encoded(c, x, y); });
    OpenTiles tiles(canvas);

    EXPECT_TRUE(tiles.save("sRGB"));

    EXPECT_EQ(tiles.tile(0).samples, converted_tile(canvas, 16, 16, 16));
}

INSTANTIATE_TEST_SUITE_P(Channels, TileColours, testing::Values(1, 2, 3, 4, 5, 6));

TEST(TileColour, EmptyNameMeansNone)
{
    TestCanvas const canvas;
    OpenTiles tiles(canvas);

    EXPECT_TRUE(tiles.save(""));

    expect_tile(tiles.tile(0), 16, 4, 16, 16);
}

TEST(TileColour, UnknownAndEqualNamesMeanNone)
{
    TestCanvas const canvas;
    for (CoreString const& name : {CoreString("no such space"), ColorIO::get_default_color_space_name()}) {
        OpenTiles tiles(canvas);

        EXPECT_TRUE(tiles.save(name));

        expect_tile(tiles.tile(0), 16, 4, 16, 16);
    }
}

TEST(TileColour, SingleColoursAreAsExpected)
{
    TestCanvas const canvas({}, [](int channel, int, int) { return channel == 3 ? 0.5 : 0.25; });
    OpenTiles tiles(canvas);

    EXPECT_TRUE(tiles.save("sRGB"));

    EXPECT_NEAR(tiles.tile(0).samples[0], 0.5 * (1.055 * std::pow(0.5, 1 / 2.4) - 0.055), 2e-6);
    EXPECT_EQ(tiles.tile(0).samples[3], 0.5f);
}

}  // namespace
