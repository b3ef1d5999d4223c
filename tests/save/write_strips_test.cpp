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

/// A scripted file, opened for the channels of a canvas.
struct OpenStrips {
    explicit OpenStrips(TestCanvas const& source, WriteScript const& script = {})
        : OpenStrips(source, source.all_channels(), script)
    {
    }
    OpenStrips(TestCanvas const& source, CoreVector<ImageMapChannel*> const& some_channels,
               WriteScript const& script = {})
        : canvas(source)
        , channels(some_channels)
        , file(folder, script)
    {
        ImageSaveOptions options;
        options.format = ImageIOFileFormat::SAVE_TIFF32;
        output = ImageIOSaveDoors::build_image_output(nullptr, options, file.path().c_str(), channels, 16,
                                                      canvas.canvas_rectangle(), canvas.data_window());
    }

    bool save(CoreString const& color_space = "", AppProgressBar* progress = nullptr)
    {
        return ImageIOSaveDoors::save_scanline(output.get(), channels, &canvas.map(), color_space, progress);
    }
    bool save_region(Rectangle const& region, CoreString const& color_space = "",
                     AppProgressBar* progress = nullptr)
    {
        return ImageIOSaveDoors::save_scanline_region(output.get(), region, channels, &canvas.map(),
                                                      color_space, progress);
    }
    /// The calls without the first, which is `open`.
    Calls calls() const
    {
        Calls all = file.written().calls;
        all.erase(all.begin());
        return all;
    }
    float at(int channel, int x, int y) const
    {
        WriteRecord const record = file.written();
        return record.samples.at((std::size_t(y - record.spec.y) * record.spec.width + (x - record.spec.x)) *
                                     record.spec.nchannels +
                                 channel);
    }

    TestCanvas const& canvas;
    CoreVector<ImageMapChannel*> channels;
    TempDir folder;
    ScriptedFile file;
    std::unique_ptr<OIIO::ImageOutput> output;
};

TEST(SaveScanline, WritesStripsOfOneRowOfTilesAndClosesTheFile)
{
    TestCanvas const canvas;  // 33 rows, tiles of 16
    OpenStrips strips(canvas);
    LogCapture const log;

    EXPECT_TRUE(strips.save());

    EXPECT_EQ(strips.calls(), (Calls{"write_scanlines 0 16, z 1, float", "write_scanlines 16 32, z 1, float",
                                     "write_scanlines 32 33, z 1, float", "close"}));
    EXPECT_EQ(strips.file.written().samples, interleaved<float>(0, 0, 47, 33, 4));
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(SaveScanline, TakesTheWindowOfTheFileWithANegativeOrigin)
{
    CanvasShape shape;
    shape.x = -20;
    shape.y = -35;
    TestCanvas const canvas(shape);
    OpenStrips strips(canvas);

    EXPECT_TRUE(strips.save());

    EXPECT_EQ(strips.calls(),
              (Calls{"write_scanlines -35 -32, z 1, float", "write_scanlines -32 -16, z 1, float",
                     "write_scanlines -16 -2, z 1, float", "close"}));
    EXPECT_EQ(strips.file.written().samples, interleaved<float>(-20, -35, 47, 33, 4));
}

TEST(SaveScanline, ReadsZeroWhereTheCanvasReachesPastTheData)
{
    CanvasShape shape;
    shape.x = 3;
    shape.y = 2;
    shape.width = 4;
    shape.height = 3;
    shape.display_window = Rectangle(0, 0, 10, 8);
    TestCanvas const canvas(shape);
    OpenStrips strips(canvas);

    EXPECT_TRUE(strips.save());

    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 10; ++x)
            EXPECT_EQ(strips.at(1, x, y), x >= 3 && x < 7 && y >= 2 && y < 5 ? encoded(1, x, y) : 0.0f)
                << x << y;
}

struct RunCase {
    char const* label;
    int y, height, tile;
    std::vector<std::pair<int, int>> runs;
};

class StripRuns : public testing::TestWithParam<RunCase> {};

TEST_P(StripRuns, EndOnRowsOfTiles)
{
    RunCase const& row = GetParam();
    CanvasShape shape;
    shape.y = -100;
    shape.height = 300;
    shape.width = 3;
    shape.tile = row.tile;
    shape.channels = {"r"};
    TestCanvas const canvas(shape);
    OpenStrips strips(canvas);

    EXPECT_TRUE(strips.save_region(Rectangle(0, row.y, 3, row.height)));

    Calls expected;
    for (auto const& [begin, end] : row.runs)
        expected.push_back("write_scanlines " + std::to_string(begin) + " " + std::to_string(end) +
                           ", z 1, float");
    EXPECT_EQ(strips.calls(), expected);
}

INSTANTIATE_TEST_SUITE_P(Regions, StripRuns,
                         testing::Values(RunCase{"one_row", 70, 1, 64, {{70, 71}}},
                                         RunCase{"short_first", 60, 10, 64, {{60, 64}, {64, 70}}},
                                         RunCase{"negative", -3, 5, 64, {{-3, 0}, {0, 2}}},
                                         RunCase{"negative_on_the_grid", -64, 64, 64, {{-64, 0}}},
                                         RunCase{"past_negative_rows", -70, 10, 64, {{-70, -64}, {-64, -60}}},
                                         RunCase{"tiles_of_one", 5, 3, 1, {{5, 6}, {6, 7}, {7, 8}}},
                                         RunCase{"large_tile", 5, 100, 1024, {{5, 105}}},
                                         RunCase{"no_rows", 5, 0, 64, {}},
                                         RunCase{"fewer_rows", 5, -4, 64, {}}),
                         [](auto const& run) { return run.param.label; });

TEST(SaveScanlineRegion, WritesTheFullWidthWhateverTheRegionsIs)
{
    TestCanvas const canvas;
    OpenStrips strips(canvas);

    EXPECT_TRUE(strips.save_region(Rectangle(10, 8, 3, 2)));

    EXPECT_EQ(strips.calls(), (Calls{"write_scanlines 8 10, z 1, float"}));  // the file stays open
    for (int x = 0; x < 47; ++x)
        EXPECT_EQ(strips.at(2, x, 9), encoded(2, x, 9)) << x;
    EXPECT_EQ(strips.at(2, 5, 10), 0.0f);
}

TEST(SaveScanlineRegion, BandsMakeThePictureThatTheWholeMakes)
{
    TestCanvas const canvas;
    OpenStrips whole(canvas), bands(canvas);

    EXPECT_TRUE(whole.save("ACEScg"));
    for (int y = 0; y < 33; y += 7)
        EXPECT_TRUE(bands.save_region(Rectangle(0, y, 47, std::min(7, 33 - y)), "ACEScg"));

    EXPECT_EQ(bands.file.written().samples, whole.file.written().samples);
}

TEST(SaveScanline, NullChannelsAreZeros)
{
    TestCanvas const canvas;
    OpenStrips strips(canvas, canvas.channels({"r", "", "b"}));

    EXPECT_TRUE(strips.save());

    EXPECT_EQ(strips.at(0, 5, 6), encoded(0, 5, 6));
    EXPECT_EQ(strips.at(1, 5, 6), 0.0f);
    EXPECT_EQ(strips.at(2, 5, 6), encoded(2, 5, 6));
    EXPECT_EQ(strips.file.written().spec.channelnames, (Calls{"R", "channel1", "B"}));
}

TEST(SaveScanline, NarrowSamplesBecomeFloats)
{
    CanvasShape shape;
    shape.bit_depth = ImagePixel::BIT_DEPTH_8;
    TestCanvas const canvas(shape);
    OpenStrips strips(canvas);

    EXPECT_TRUE(strips.save());

    EXPECT_NEAR(strips.at(3, 40, 30), encoded(3, 40, 30), 0.51 / 255);
}

TEST(SaveScanline, AStripThatTheFormatRefusesStaysUnnoticed)
{
    TestCanvas const canvas;
    WriteScript script;
    script.bad_rows = {20};
    OpenStrips strips(canvas, script);
    LogCapture const log;

    EXPECT_TRUE(strips.save());

    EXPECT_EQ(strips.calls().size(), 4u);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(SaveScanline, PassesOnWhatCloseSays)
{
    TestCanvas const canvas;
    WriteScript script;
    script.close = WriteScript::REFUSE;
    script.close_error = "still wet";
    OpenStrips strips(canvas, script);
    LogCapture const log;

    EXPECT_FALSE(strips.save());

    EXPECT_EQ(strips.output->geterror(), "still wet");
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(SaveScanline, AWriterThatThrowsIsAFailureAtTheEnd)
{
    TestCanvas const canvas;
    WriteScript script;
    script.bad_rows = {20};
    script.bad_answer = WriteScript::THROW;
    script.write_error = "thrown";
    OpenStrips strips(canvas, script);

    EXPECT_FALSE(strips.save());

    EXPECT_EQ(strips.calls().size(), 4u);  // all strips, and close
    EXPECT_EQ(strips.output->geterror(), "thrown");
}

TEST(SaveScanline, TellsTheBarRowsByTheEndRow)
{
    CanvasShape shape;
    shape.channels = {"r", "g"};
    TestCanvas const canvas(shape);
    OpenStrips strips(canvas);
    RecordingProgress progress;

    EXPECT_TRUE(strips.save("", &progress));

    // 16 of 33 rows in 2 channels, then 1 of 33
    EXPECT_EQ(progress.calls(),
              (Calls{"increment 0.242424", "increment 0.242424", "increment 0.242424", "increment 0.242424",
                     "increment 0.0151515", "increment 0.0151515", "set_value 1", "set_value 1"}));
}

TEST(SaveScanlineRegion, FillsLessOfTheBarFurtherDown)
{
    CanvasShape shape;
    shape.channels = {"r"};
    TestCanvas const canvas(shape);
    OpenStrips strips(canvas);
    RecordingProgress progress;

    EXPECT_TRUE(strips.save_region(Rectangle(0, 16, 47, 4), "", &progress));

    EXPECT_EQ(progress.calls(), (Calls{"increment 0.2", "set_value 1"}));
}

TEST(SaveScanlineRegion, ABandThatEndsAtRowZeroLeavesTheBarAlone)
{
    CanvasShape shape;
    shape.y = -8;
    shape.channels = {"r"};
    TestCanvas const canvas(shape);
    OpenStrips strips(canvas);
    RecordingProgress progress;

    EXPECT_TRUE(strips.save_region(Rectangle(0, -8, 47, 8), "", &progress));

    ASSERT_EQ(progress.totals().size(), 1u);  // the division by zero fills nothing
    EXPECT_EQ(progress.totals()[0], 1.0f);
}

TEST(SaveScanlineRegion, ChannelsThatDoNotFitTheFileAreAFailure)
{
    TestCanvas const canvas;
    OpenStrips strips(canvas);

    strips.channels.add(canvas.channel("r"));
    EXPECT_FALSE(strips.save_region(Rectangle(0, 0, 47, 2)));
    strips.channels.clear();
    EXPECT_FALSE(strips.save_region(Rectangle(0, 0, 47, 2)));

    EXPECT_EQ(strips.calls(), Calls{});
}

TEST(SaveScanlineRegion, SizesThatDoNotFitAreAFailure)
{
    TestCanvas const canvas;
    OpenStrips strips(canvas);

    canvas.map().m_tile_size = 0;
    EXPECT_FALSE(strips.save_region(Rectangle(0, 0, 47, 2)));
    canvas.map().m_tile_size = -16;
    EXPECT_FALSE(strips.save_region(Rectangle(0, 0, 47, 2)));
    canvas.map().m_tile_size = 16;
    EXPECT_FALSE(strips.save_region(Rectangle(0, 2147483640, 47, 100)));

    EXPECT_EQ(strips.calls(), Calls{});
}

TEST(SaveScanlineRegion, WithoutAFileOrAMapFails)
{
    TestCanvas const canvas;
    OpenStrips strips(canvas);

    EXPECT_FALSE(ImageIOSaveDoors::save_scanline(nullptr, strips.channels, &canvas.map()));
    EXPECT_FALSE(
        ImageIOSaveDoors::save_scanline_region(nullptr, {0, 0, 1, 1}, strips.channels, &canvas.map()));
    EXPECT_FALSE(
        ImageIOSaveDoors::save_scanline_region(strips.output.get(), {0, 0, 1, 1}, strips.channels, nullptr));
}

// Colours

float linear_to_srgb(float value)
{
    return value <= 0.0031308f ? value * 12.92f : 1.055f * std::pow(value, 1 / 2.4f) - 0.055f;
}

TEST(StripColours, EmptyNameMeansNone)
{
    TestCanvas const canvas;
    OpenStrips strips(canvas);

    EXPECT_TRUE(strips.save(""));

    EXPECT_EQ(strips.file.written().samples, interleaved<float>(0, 0, 47, 33, 4));
}

TEST(StripColours, UnknownAndEqualNamesMeanNone)
{
    TestCanvas const canvas;
    for (CoreString const& name : {CoreString("no such space"), ColorIO::get_default_color_space_name()}) {
        OpenStrips strips(canvas);

        EXPECT_TRUE(strips.save(name));

        EXPECT_EQ(strips.file.written().samples, interleaved<float>(0, 0, 47, 33, 4)) << name;
    }
}

TEST(StripColours, ThreeChannelsAreConvertedAsTheyAre)
{
    CanvasShape shape;
    shape.channels = {"r", "g", "b"};
    TestCanvas const canvas(shape);
    OpenStrips strips(canvas);

    EXPECT_TRUE(strips.save("sRGB"));

    for (int x = 0; x < 47; ++x)
        for (int c = 0; c < 3; ++c)
            EXPECT_NEAR(strips.at(c, x, 20), linear_to_srgb(encoded(c, x, 20)), 2e-6) << c << " " << x;
}

TEST(StripColours, AlphaIsUndoneBeforeAndAppliedAfter)
{
    TestCanvas const canvas({},
                            [](int channel, int, int) { return channel == 3 ? 0.5 : 0.125 * (channel + 1); });
    OpenStrips strips(canvas);

    EXPECT_TRUE(strips.save("sRGB"));

    for (int c = 0; c < 3; ++c)
        EXPECT_NEAR(strips.at(c, 3, 4), linear_to_srgb(0.25f * float(c + 1)) * 0.5f, 2e-6) << c;
    EXPECT_EQ(strips.at(3, 3, 4), 0.5f);
}

TEST(StripColours, AlphaAtTheThresholdIsNotDividedByButMultiplied)
{
    for (float alpha : {0.0f, 1e-8f, -1e-9f}) {
        TestCanvas const canvas({},
                                [&](int channel, int, int) { return channel == 3 ? double(alpha) : 0.25; });
        OpenStrips strips(canvas);

        EXPECT_TRUE(strips.save("sRGB"));

        EXPECT_EQ(strips.at(0, 3, 4), linear_to_srgb(0.25f) * alpha) << alpha;
        EXPECT_EQ(strips.at(3, 3, 4), alpha);
    }
}

TEST(StripColours, NegativeAlphaIsDividedBy)
{
    TestCanvas const canvas({}, [](int channel, int, int) { return channel == 3 ? -0.5 : -0.125; });
    OpenStrips strips(canvas);

    EXPECT_TRUE(strips.save("sRGB"));

    EXPECT_NEAR(strips.at(0, 3, 4), linear_to_srgb(0.25f) * -0.5f, 2e-6);
}

TEST(StripColours, MoreChannelsAreTakenFourFloatsAPixel)
{
    // Five channels: the pass over alpha walks the wrong strides and reaches four fifths of the strip.
    CanvasShape shape;
    shape.channels = {"r", "g", "b", "a", "depth.z"};
    shape.width = 5;
    shape.height = 1;
    Sample const sample = [](int channel, int x, int) { return 0.1 + 0.15 * channel + 0.02 * x; };
    TestCanvas const canvas(shape, sample);
    OpenStrips strips(canvas);
    std::vector<float> expected;
    for (int x = 0; x < 5; ++x)
        for (int c = 0; c < 5; ++c)
            expected.push_back(static_cast<float>(sample(c, x, 0)));
    auto const scale = [&](bool divide) {
        for (std::size_t first = 0; first < 20; first += 4)
            for (std::size_t c = 0; c < 3; ++c)
                expected[first + c] *= divide ? 1.0f / expected[first + 3] : expected[first + 3];
    };
    scale(true);
    ASSERT_TRUE(
        ColorIO::convert_buffer(expected.data(), 5, 1, 5, "sRGB", ColorIO::get_default_color_space_name()));
    scale(false);

    EXPECT_TRUE(strips.save("sRGB"));

    EXPECT_EQ(strips.file.written().samples, expected);
}

}  // namespace
