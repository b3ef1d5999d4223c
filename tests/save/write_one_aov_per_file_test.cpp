#include <OpenImageIO/imageio.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/colorio/color_io.h"
#include "tests/save/oiio_doors.h"
#include "tests/save/test_canvas.h"
#include "tests/support/log_capture.h"
#include "tests/support/recording_progress.h"
#include "tests/support/scripted_format.h"

namespace {

using namespace zv_test;
using Calls = std::vector<std::string>;
using Lines = std::vector<LogLine>;
using Floats = std::vector<float>;
using Format = ImageIOFileFormat;
using Rectangle = GMathVec4<int>;

ImageSaveOptions options_of(CoreString const& color_space, Format::Save format = Format::SAVE_PNG8)
{
    ImageSaveOptions options;
    options.format = format;
    options.color_space = color_space;
    return options;
}

/// A file of two pixels whose samples are those given, channel after channel.
struct SmallFile {
    SmallFile(std::vector<Floats> const& planes, CoreString const& color_space,
              Format::Save format = Format::SAVE_PNG8)
    {
        CanvasShape shape;
        shape.width = 2;
        shape.height = 1;
        shape.channels.clear();
        for (std::size_t number = 0; number < planes.size(); ++number)
            shape.channels.push_back("c" + std::to_string(number));
        TestCanvas const canvas(shape, [&](int c, int x, int) {
            return planes[static_cast<std::size_t>(c)][static_cast<std::size_t>(x)];
        });
        ScriptedFile const file(folder, WriteScript{});
        status = ImageIOSaveDoors::write_one_aov_per_file(canvas.context(), file.path().c_str(),
                                                          options_of(color_space, format),
                                                          canvas.all_channels(), canvas.canvas_rectangle());
        written = file.written();
    }

    TempDir folder;
    ImageIO::SavingStatus status;
    WriteRecord written;
};

float srgb(float value)
{
    return value <= 0.0031308f ? value * 12.92f : 1.055f * std::pow(value, 1 / 2.4f) - 0.055f;
}

void expect_near(Floats const& found, Floats const& expected)
{
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t number = 0; number < found.size(); ++number)
        EXPECT_NEAR(found[number], expected[number], 2e-6) << number;
}

TEST(WriteOneAovPerFile, ASingleChannelBecomesRed)
{
    SmallFile const file({{0.25f, 0.5f}}, "");

    EXPECT_EQ(file.status, ImageIO::SAVING_STATUS_SUCCESS);
    EXPECT_EQ(file.written.calls.at(0), "open 2 by 1, 3 channels of uint8");
    EXPECT_EQ(file.written.samples, (Floats{0.25f, 0, 0, 0.5f, 0, 0}));
}

TEST(WriteOneAovPerFile, TwoChannelsAreRedAndGreen)
{
    SmallFile const file({{0.25f, 0.5f}, {1, 2}}, "");

    EXPECT_EQ(file.written.spec.nchannels, 3);
    EXPECT_EQ(file.written.samples, (Floats{0.25f, 1, 0, 0.5f, 2, 0}));
}

TEST(WriteOneAovPerFile, ThreeAndFourChannelsAreInterleaved)
{
    SmallFile const three({{1, 2}, {3, 4}, {5, 6}}, ""), four({{1, 2}, {3, 4}, {5, 6}, {7, 8}}, "");

    EXPECT_EQ(three.written.samples, (Floats{1, 3, 5, 2, 4, 6}));
    EXPECT_EQ(four.written.spec.nchannels, 4);
    EXPECT_EQ(four.written.samples, (Floats{1, 3, 5, 7, 2, 4, 6, 8}));
}

TEST(WriteOneAovPerFile, MoreChannelsArePackedFourFloatsAPixel)
{
    SmallFile const file({{1, 2}, {3, 4}, {5, 6}, {7, 8}, {9, 9}, {9, 9}}, "");

    EXPECT_EQ(file.written.spec.nchannels, 6);
    EXPECT_EQ(file.written.samples, (Floats{1, 3, 5, 7, 2, 4, 6, 8, 0, 0, 0, 0}));
}

TEST(WriteOneAovPerFile, NoChannelsAreABlackPicture)
{
    TestCanvas const canvas;
    TempDir const folder;
    ScriptedFile const file(folder, WriteScript{});

    EXPECT_EQ(ImageIOSaveDoors::write_one_aov_per_file(canvas.context(), file.path().c_str(), options_of(""),
                                                       CoreVector<ImageMapChannel*>(), Rectangle(0, 0, 2, 1)),
              ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(file.written().samples, Floats(6));
}

TEST(WriteOneAovPerFile, AMissingPlaneCountsAsZeros)
{
    TestCanvas const canvas;
    TempDir const folder;
    ScriptedFile const file(folder, WriteScript{});

    EXPECT_EQ(ImageIOSaveDoors::write_one_aov_per_file(canvas.context(), file.path().c_str(), options_of(""),
                                                       canvas.channels({"r", "", "b"}),
                                                       Rectangle(1, 2, 1, 1)),
              ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(file.written().samples, (Floats{encoded(0, 1, 2), 0, encoded(2, 1, 2)}));
}

TEST(WriteOneAovPerFile, ReadsZeroPastTheData)
{
    CanvasShape shape;
    shape.width = shape.height = 2;
    shape.channels = {"r"};
    TestCanvas const canvas(shape, [](int, int, int) { return 1.0; });
    TempDir const folder;
    ScriptedFile const file(folder, WriteScript{});

    EXPECT_EQ(ImageIOSaveDoors::write_one_aov_per_file(canvas.context(), file.path().c_str(), options_of(""),
                                                       canvas.all_channels(), Rectangle(-1, -1, 4, 4)),
              ImageIO::SAVING_STATUS_SUCCESS);

    Floats reds;
    for (std::size_t first = 0; first < 48; first += 3)
        reds.push_back(file.written().samples.at(first));
    EXPECT_EQ(reds, (Floats{0, 0, 0, 0, 0, 1, 1, 0, 0, 1, 1, 0, 0, 0, 0, 0}));
}

TEST(WriteOneAovPerFile, NeitherAnEmptyNorTheDefaultSpaceConverts)
{
    for (CoreString const& name : {CoreString(), ColorIO::get_default_color_space_name()}) {
        SmallFile const file({{0.1f, 0.3f}, {0.2f, 0.4f}, {0.3f, 0.5f}, {0.0f, 0.7f}}, name);

        EXPECT_EQ(file.written.samples, (Floats{0.1f, 0.2f, 0.3f, 0.0f, 0.3f, 0.4f, 0.5f, 0.7f}));
    }
}

TEST(WriteOneAovPerFile, ThreeChannelsAreConvertedAsTheyAre)
{
    SmallFile const file({{0.1f, 0.4f}, {0.2f, 0.5f}, {0.3f, 0.6f}}, "sRGB");

    expect_near(file.written.samples,
                {srgb(0.1f), srgb(0.2f), srgb(0.3f), srgb(0.4f), srgb(0.5f), srgb(0.6f)});
}

TEST(WriteOneAovPerFile, FourChannelsAreConvertedStraight)
{
    SmallFile const file({{0.1f, 0.2f}, {0.2f, 0.1f}, {0.3f, 0.1f}, {0.5f, 0.25f}}, "sRGB");

    expect_near(file.written.samples, {srgb(0.2f) / 2, srgb(0.4f) / 2, srgb(0.6f) / 2, 0.5f, srgb(0.8f) / 4,
                                       srgb(0.4f) / 4, srgb(0.4f) / 4, 0.25f});
}

TEST(WriteOneAovPerFile, JpegIsConvertedAsItIs)
{
    SmallFile const file({{0.1f, 0.2f}, {0.2f, 0.1f}, {0.3f, 0.1f}, {0.5f, 0.25f}}, "sRGB",
                         Format::SAVE_JPEG);

    expect_near(file.written.samples,
                {srgb(0.1f), srgb(0.2f), srgb(0.3f), 0.5f, srgb(0.2f), srgb(0.1f), srgb(0.1f), 0.25f});
}

TEST(WriteOneAovPerFile, NothingGuardsTheDivisionByAlphaZero)
{
    SmallFile const file({{0.0f, 0.2f}, {0.2f, 0.1f}, {0.3f, 0.1f}, {0.0f, 0.25f}}, "sRGB");

    EXPECT_TRUE(std::isnan(file.written.samples[0]));  // 0 times infinity
    EXPECT_TRUE(std::isnan(file.written.samples[1]));  // infinity times 0
    EXPECT_EQ(file.written.samples[3], 0.0f);
    EXPECT_FALSE(std::isnan(file.written.samples[4]));
}

TEST(WriteOneAovPerFile, OtherCountsNeverTouchAlpha)
{
    SmallFile const file({{0.1f, 0.4f}, {0.2f, 0.5f}, {0.3f, 0.6f}, {0.0f, 0.0f}, {0.5f, 0.5f}}, "sRGB");

    // Packed four floats a pixel, converted five floats a pixel.
    expect_near(file.written.samples,
                {srgb(0.1f), srgb(0.2f), srgb(0.3f), 0.0f, 0.4f, srgb(0.5f), srgb(0.6f), 0, 0, 0});
}

TEST(WriteOneAovPerFile, UnknownSpacesLeaveTheColoursAlone)
{
    SmallFile const file({{0.5f, 0.25f}, {0.5f, 0.25f}, {0.5f, 0.25f}}, "no such space");

    EXPECT_EQ(file.status, ImageIO::SAVING_STATUS_SUCCESS);
    EXPECT_EQ(file.written.samples, (Floats{0.5f, 0.5f, 0.5f, 0.25f, 0.25f, 0.25f}));
}

TEST(WriteOneAovPerFile, FillsTheBarBeforeAndAfter)
{
    TestCanvas const canvas;
    TempDir const folder;
    RecordingProgress progress;
    LogCapture const log;

    EXPECT_EQ(ImageIOSaveDoors::write_one_aov_per_file(canvas.context(), folder.file("a.zzz").c_str(),
                                                       options_of(""), canvas.all_channels(),
                                                       canvas.canvas_rectangle(), &progress),
              ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    EXPECT_EQ(progress.calls(), (Calls{"set_value 0", "set_value 1"}));
    EXPECT_EQ(log.lines(), (Lines{{1, "Could not write " + folder.file("a.zzz") + "\n"}}));
}

TEST(WriteOneAovPerFile, SizesThatDoNotFitAreAFailure)
{
    TestCanvas const canvas;
    TempDir const folder;
    std::string const path = folder.file("a.png");
    std::string const begin = "Could not write " + path + ", error = ";
    auto const write = [&](Rectangle const& region) {
        return ImageIOSaveDoors::write_one_aov_per_file(canvas.context(), path.c_str(), options_of(""),
                                                        canvas.all_channels(), region);
    };
    LogCapture const log;

    EXPECT_EQ(write({0, 0, 0, 5}), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);
    EXPECT_EQ(write({0, 0, -4, 5}), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);
    EXPECT_EQ(write({0, 0, 2147483647, 2147483647}), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);
    EXPECT_EQ(write({0, 0, 65536, 65536}), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    EXPECT_EQ(log.lines(), (Lines{{1, begin + "the image has no size\n"},
                                  {1, begin + "the image has no size\n"},
                                  {1, begin + "the image is too large\n"},
                                  {1, begin + "the image is too large\n"}}));
    EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
