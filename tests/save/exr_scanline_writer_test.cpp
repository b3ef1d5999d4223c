#include <ImfChannelList.h>

#include <cmath>

#include "host/colorio/color_io.h"
#include "host/colorio/color_io_converter.h"
#include "tests/save/exr_saves.h"
#include "tests/save/exr_threads.h"
#include "tests/support/recording_progress.h"

namespace {

using namespace zv_test;
using Lines = std::vector<LogLine>;
using Calls = std::vector<std::string>;
using zv_image_io::ExrScanlineFile;

SavePicture::Shape shape_at(int y, int height, int tile)
{
    SavePicture::Shape shape;
    shape.y = y;
    shape.width = 20;
    shape.height = height;
    shape.tile = tile;
    return shape;
}

/// A picture and a file of scan lines that is open for it.
struct OpenFile {
    explicit OpenFile(SavePicture::Shape const& shape,
                      ImageIOFileFormat::Save format = ImageIOFileFormat::SAVE_EXR16)
        : picture(shape)
        , header(ImageIOSaveDoors::header(&app, exr_options(format), picture.map().m_channels, 0,
                                          picture.window, picture.window))
        , file(std::make_unique<ExrScanlineFile>(folder.file("a.exr"), *header, 0))
    {
    }
    bool write_region(int x, int y, int width, int height, unsigned int tile,
                      AppProgressBar* progress = nullptr, char const* color_space = "")
    {
        return ImageIOSaveDoors::scanline_region(*header, *file, rectangle(x, y, width, height),
                                                 picture.map().m_channels, tile, color_space, progress);
    }
    bool write(unsigned int tile, AppProgressBar* progress = nullptr, char const* color_space = "")
    {
        return ImageIOSaveDoors::scanline(*header, *file, picture.map().m_channels, tile, color_space,
                                          progress);
    }
    ReadExr read() const { return read_exr(folder.file("a.exr")); }

    TempDir folder;
    OfApp app;
    SavePicture picture;
    std::unique_ptr<Imf::Header> header;
    std::unique_ptr<ExrScanlineFile> file;
};

struct ProgressRow {
    char const* name;
    int y, height, tile;
    Calls calls;
};

class ExrScanlineProgress : public testing::TestWithParam<ProgressRow> {};

TEST_P(ExrScanlineProgress, IsAStepForEachBlock)
{
    ProgressRow const& row = GetParam();
    OpenFile open(shape_at(row.y, row.height, 16));
    RecordingProgress progress;

    EXPECT_TRUE(open.write_region(0, row.y, 20, row.height, unsigned(row.tile), &progress));

    EXPECT_EQ(progress.calls(), row.calls);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ExrScanlineProgress,
    testing::Values(
        ProgressRow{"one_block", 0, 16, 16, {"set_step_count 1", "step 1", "set_value 1"}},
        ProgressRow{
            "short_last", 0, 33, 16, {"set_step_count 3", "step 1", "step 2", "step 3", "set_value 1"}},
        // Two blocks, of 4 and of 6 lines, where the count of steps expects one.
        ProgressRow{"begins_in_a_block", 60, 10, 64, {"set_step_count 1", "step 1", "step 2", "set_value 1"}},
        ProgressRow{"negative", -3, 5, 64, {"set_step_count 1", "step 1", "step 2", "set_value 1"}},
        ProgressRow{"negative_on_the_grid", -64, 64, 64, {"set_step_count 1", "step 1", "set_value 1"}},
        ProgressRow{"one_line", 70, 1, 64, {"set_step_count 1", "step 1", "set_value 1"}}),
    [](auto const& row) { return row.param.name; });

TEST(ExrScanlineWriter, AWholeSaveHasTheProgressOfItsRegion)
{
    OpenFile open(shape_at(0, 33, 16));
    RecordingProgress progress;

    EXPECT_TRUE(open.write(16, &progress));

    EXPECT_EQ(progress.calls(), (Calls{"set_step_count 3", "step 1", "step 2", "step 3", "set_value 1"}));
    expect_channels(open.read(), open.picture.shape, {"R", "G", "B", "A"});
}

TEST(ExrScanlineWriter, WithNothingLeftToWriteFinishesTheFile)
{
    OpenFile open(shape_at(0, 33, 16));
    RecordingProgress progress;
    ASSERT_TRUE(open.write_region(0, 0, 20, 33, 16));

    EXPECT_TRUE(open.write(16, &progress));

    EXPECT_EQ(progress.calls(), (Calls{"set_step_count 0", "set_value 1"}));
    expect_channels(open.read(), open.picture.shape, {"R", "G", "B", "A"});
}

TEST(ExrScanlineWriter, WritesTheRestBehindRegions)
{
    OpenFile open(shape_at(-5, 40, 16));
    RecordingProgress progress;
    ASSERT_TRUE(open.write_region(0, -5, 20, 7, 16));

    EXPECT_TRUE(open.write(16, &progress));

    EXPECT_EQ(progress.calls(), (Calls{"set_step_count 3", "step 1", "step 2", "step 3", "set_value 1"}));
    expect_channels(open.read(), open.picture.shape, {"R", "G", "B", "A"});
}

TEST(ExrScanlineWriter, WidensRegionsToTheWholeWidth)
{
    OpenFile open(shape_at(0, 33, 16));

    EXPECT_TRUE(open.write_region(5, 0, 3, 16, 16));
    EXPECT_TRUE(open.write_region(-100, 16, 1, 17, 16));
    open.file->finish();

    expect_channels(open.read(), open.picture.shape, {"R", "G", "B", "A"});
}

struct RefusedRow {
    char const* name;
    int y, height;
    char const* text;
};

class ExrScanlineRefusals : public testing::TestWithParam<RefusedRow> {};

TEST_P(ExrScanlineRefusals, AreToldAndChangeNothing)
{
    OpenFile open(shape_at(0, 48, 16));
    ASSERT_TRUE(open.write_region(0, 0, 20, 16, 16));
    RecordingProgress progress;
    {
        LogCapture const log;
        EXPECT_FALSE(open.write_region(0, GetParam().y, 20, GetParam().height, 16, &progress));
        EXPECT_EQ(log.lines(), (Lines{{1, std::string("ImageIOSave::save_openexr_scanline_region: OpenEXR "
                                                      "exception: '") +
                                              GetParam().text + "'\n"}}));
    }
    EXPECT_EQ(progress.calls(), (Calls{"set_value 1"}));
    EXPECT_FALSE(open.file->has_failed());
    EXPECT_TRUE(open.write(16));
    expect_channels(open.read(), open.picture.shape, {"R", "G", "B", "A"});
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ExrScanlineRefusals,
    testing::Values(
        RefusedRow{"again", 0, 16, "Lines 0 to 15 do not begin at the file's next line, 16."},
        RefusedRow{"overlaps", 15, 16, "Lines 15 to 30 do not begin at the file's next line, 16."},
        RefusedRow{"ahead", 17, 5, "Lines 17 to 21 do not begin at the file's next line, 16."},
        RefusedRow{"last_one_first", 47, 1, "Lines 47 to 47 do not begin at the file's next line, 16."},
        RefusedRow{"too_many", 16, 33, "Lines 16 to 48 go beyond the file's last line, 47."},
        RefusedRow{"far_too_many", 16, 0x7fffffff,
                   "Lines 16 to 2147483662 go beyond the file's last line, 47."},
        RefusedRow{"outside", 1000, 16, "Lines 1000 to 1015 do not begin at the file's next line, 16."}),
    [](auto const& row) { return row.param.name; });

TEST(ExrScanlineWriter, RefusesTileSizesThatAreNone)
{
    OpenFile open(shape_at(0, 33, 16));
    for (unsigned int tile : {0u, 0x80000000u, 0xffffffffu}) {
        LogCapture const log;
        EXPECT_FALSE(open.write_region(0, 0, 20, 33, tile));
        EXPECT_EQ(log.lines(),
                  (Lines{{1, "ImageIOSave::save_openexr_scanline_region: OpenEXR exception: 'There is "
                             "no such tile size.'\n"}}));
    }
}

TEST(ExrScanlineWriter, BuffersThatMemoryCannotHoldAreAFailedWrite)
{
    SavePicture::Shape shape = shape_at(0, 3, 16);
    shape.width = 40'000;  // times the tile size: past all addresses
    OpenFile open(shape);
    LogCapture const log;

    EXPECT_FALSE(open.write_region(0, 0, 20, 3, 0x7fffffff));

    EXPECT_EQ(log.lines(), (Lines{{1, "ImageIOSave::save_openexr_scanline_region: OpenEXR exception: "
                                      "'std::bad_alloc'\n"}}));
    EXPECT_TRUE(open.write(16));
    expect_channels(open.read(), open.picture.shape, {"R", "G", "B", "A"});
}

TEST(ExrScanlineWriter, AFinishedFileIsAFailedWrite)
{
    OpenFile open(shape_at(0, 33, 16));
    ASSERT_TRUE(open.write(16));
    LogCapture const log;

    EXPECT_FALSE(open.write(16));
    EXPECT_FALSE(open.write_region(0, 0, 20, 33, 16));

    EXPECT_EQ(
        log.lines(),
        (Lines{
            {1, "ImageIOSave::save_openexr_scanline: OpenEXR exception: 'The file is finished.'\n"},
            {1, "ImageIOSave::save_openexr_scanline_region: OpenEXR exception: 'The file is finished.'\n"}}));
    expect_channels(open.read(), open.picture.shape, {"R", "G", "B", "A"});
}

TEST(ExrScanlineWriter, AFailedWriteLeavesTheProgressFull)
{
    SavePicture picture(shape_at(0, 33, 16));
    OfApp app;
    auto const header = ImageIOSaveDoors::header(&app, exr_options(), picture.map().m_channels, 0,
                                                 picture.window, picture.window);
    ExrScanlineFile file("/dev/full", *header, 0);
    RecordingProgress progress;
    LogCapture const log;

    EXPECT_FALSE(ImageIOSaveDoors::scanline_region(*header, file, picture.window, picture.map().m_channels,
                                                   16, "", &progress));

    EXPECT_EQ(progress.calls().back(), "set_value 1");
    EXPECT_EQ(progress.get_total(), 1.0f);
    EXPECT_EQ(log.lines(),
              (Lines{{1, "ImageIOSave::save_openexr_scanline_region: OpenEXR exception: 'No space left "
                         "on device.'\n"}}));
    EXPECT_TRUE(file.has_failed());
}

TEST(ExrScanlineWriter, AFailedWriteFillsTheBarBeforeItIsTold)
{
    SavePicture picture(shape_at(0, 33, 16));
    OfApp app;
    auto const header = ImageIOSaveDoors::header(&app, exr_options(), picture.map().m_channels, 0,
                                                 picture.window, picture.window);
    ExrScanlineFile file("/dev/full", *header, 0);
    RecordingProgress progress;
    LogCapture const log;  // takes the log over, and gives it back
    std::vector<std::string> calls_before_the_line;
    CoreLogHandler::set_sink([&](int, CoreString const&) { calls_before_the_line = progress.calls(); });

    EXPECT_FALSE(ImageIOSaveDoors::scanline_region(*header, file, picture.window, picture.map().m_channels,
                                                   16, "", &progress));

    ASSERT_FALSE(calls_before_the_line.empty());
    EXPECT_EQ(calls_before_the_line.back(), "set_value 1");
    EXPECT_EQ(calls_before_the_line, progress.calls()) << "nothing is told of it later";
}

TEST(ExrScanlineWriter, ABlockThatIsRefusedNamesTheFile)
{
    SavePicture picture(shape_at(0, 4000, 16));
    OfApp app;
    auto const header = ImageIOSaveDoors::header(&app, exr_options(), picture.map().m_channels, 0,
                                                 picture.window, picture.window);
    ExrScanlineFile file("/dev/full", *header, 0);
    LogCapture const log;

    EXPECT_FALSE(ImageIOSaveDoors::scanline(*header, file, picture.map().m_channels, 16, "", nullptr));

    EXPECT_EQ(
        log.lines(),
        (Lines{
            {1,
             "ImageIOSave::save_openexr_scanline_region: OpenEXR exception: 'Failed to write pixel data to "
             "image file \"/dev/full\". No space left on device.'\n"}}));
}

// Colour

struct Pixel {
    float r, g, b, a;
};

/// What becomes of a pixel by hand: straight colour above the threshold, converted, multiplied again.
Pixel converted(Pixel pixel, bool has_alpha)
{
    ColorIOConverter converter;
    EXPECT_TRUE(converter.configure(ColorIO::get_default_color_space_name(), "sRGB"));
    float const factor = has_alpha && pixel.a > 1e-6 ? 1.0f / pixel.a : 1.0f;
    float rgb[3] = {pixel.r * factor, pixel.g * factor, pixel.b * factor};
    EXPECT_TRUE(converter.convert_buffers(&rgb[0], &rgb[1], &rgb[2], nullptr, 1, 1));
    float const alpha = has_alpha ? pixel.a : 1.0f;
    return {rgb[0] * alpha, rgb[1] * alpha, rgb[2] * alpha, pixel.a};
}

/// Alphas around the threshold, at and below zero, and above one.
float alpha_at(int x)
{
    float const alphas[] = {0.0f, 1.0f, 0.5f, 1e-6f, std::nextafter(1e-6f, 1.0f), 5e-7f, -0.5f, 2.0f};
    return alphas[x % 8];
}

SavePicture::Shape colour_shape(std::vector<std::string> const& names)
{
    SavePicture::Shape shape = shape_at(0, 33, 16);
    shape.names = names;
    shape.depth = ImagePixel::BIT_DEPTH_32;
    shape.sample = [names](int channel, int x, int y) {
        return names[std::size_t(channel)] == "a" ? double(alpha_at(x)) : 0.05 + encoded(channel, x, y) / 2;
    };
    return shape;
}

TEST(ExrScanlineColour, ConvertsStraightColourAndMultipliesAgain)
{
    OpenFile open(colour_shape({"r", "g", "b", "a", "depth.z"}), ImageIOFileFormat::SAVE_EXR32);
    auto const& sample = open.picture.shape.sample;

    ASSERT_TRUE(open.write(16, nullptr, "sRGB"));

    ReadExr const file = open.read();
    for (int y = 0; y < 33; ++y)
        for (int x = 0; x < 20; ++x) {
            Pixel const wanted = converted(
                {float(sample(0, x, y)), float(sample(1, x, y)), float(sample(2, x, y)), alpha_at(x)}, true);
            ASSERT_EQ(file.at("R", x, y), wanted.r) << x << " " << y;
            ASSERT_EQ(file.at("G", x, y), wanted.g) << x << " " << y;
            ASSERT_EQ(file.at("B", x, y), wanted.b) << x << " " << y;
            ASSERT_EQ(file.at("A", x, y), alpha_at(x));
            ASSERT_EQ(file.at("depth.Z", x, y), float(sample(4, x, y)));
        }
}

TEST(ExrScanlineColour, WithoutAlphaConvertsDirectly)
{
    OpenFile open(colour_shape({"b", "g", "r"}), ImageIOFileFormat::SAVE_EXR32);
    auto const& sample = open.picture.shape.sample;

    ASSERT_TRUE(open.write(16, nullptr, "sRGB"));

    ReadExr const file = open.read();
    for (int x = 0; x < 20; ++x) {
        Pixel const wanted =
            converted({float(sample(2, x, 5)), float(sample(1, x, 5)), float(sample(0, x, 5)), 0}, false);
        ASSERT_EQ(file.at("R", x, 5), wanted.r);
        ASSERT_EQ(file.at("G", x, 5), wanted.g);
        ASSERT_EQ(file.at("B", x, 5), wanted.b);
    }
}

TEST(ExrScanlineColour, ChannelsThatAreMissingCountAsZeros)
{
    OpenFile open(colour_shape({"r", "a"}), ImageIOFileFormat::SAVE_EXR32);
    auto const& sample = open.picture.shape.sample;

    ASSERT_TRUE(open.write(16, nullptr, "sRGB"));

    ReadExr const file = open.read();
    for (int x = 0; x < 20; ++x)
        ASSERT_EQ(file.at("R", x, 5), converted({float(sample(0, x, 5)), 0, 0, alpha_at(x)}, true).r) << x;
}

TEST(ExrScanlineColour, ConvertsBeforeItRoundsToHalf)
{
    OpenFile open(colour_shape({"r", "g", "b"}));
    auto const& sample = open.picture.shape.sample;

    ASSERT_TRUE(open.write(16, nullptr, "sRGB"));

    ReadExr const file = open.read();
    for (int x = 0; x < 20; ++x) {
        Pixel const wanted =
            converted({float(sample(0, x, 5)), float(sample(1, x, 5)), float(sample(2, x, 5)), 0}, false);
        ASSERT_EQ(file.at("R", x, 5), float(half(wanted.r)));
    }
}

TEST(ExrScanlineColour, StaysAsItIsWhereThereIsNothingToConvert)
{
    for (char const* space : {"", "linear", "no such space"}) {
        OpenFile open(colour_shape({"r", "g", "b", "a"}), ImageIOFileFormat::SAVE_EXR32);

        ASSERT_TRUE(open.write(16, nullptr, space));

        expect_channels(open.read(), open.picture.shape, {"R", "G", "B", "A"});
    }
}

TEST(ExrScanlineColour, OfLayersIsNeverConverted)
{
    OpenFile open(colour_shape({"light.r", "light.g", "light.b", "R"}), ImageIOFileFormat::SAVE_EXR32);

    ASSERT_TRUE(open.write(16, nullptr, "sRGB"));

    expect_channels(open.read(), open.picture.shape, {"light.r", "light.g", "light.b", "R"});
}

TEST(ExrScanlineWriter, GivesTheSameBytesWithThreads)
{
    std::vector<std::vector<char>> files;
    for (int threads : {0, 2}) {
        ExrThreads const own(threads);
        TempDir const folder;
        OfApp app;
        SavePicture picture(shape_at(-7, 200, 16));
        auto output = picture.output(folder.file("a.exr"));
        ASSERT_TRUE(
            output->open(&app, exr_options(ImageIOFileFormat::SAVE_EXR16, ImageIOFileFormat::COMPRESSION_ZIP),
                         picture.window, picture.window, 16));
        EXPECT_EQ(output->write(picture.context, nullptr), ImageIO::SAVING_STATUS_SUCCESS);
        files.push_back(file_bytes(folder.file("a.exr")));
    }
    EXPECT_EQ(files[0], files[1]);
}

}  // namespace
