#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/of/of_app.h"
#include "image_io/frame/image_io.h"
#include "image_io/save/image_save_options.h"
#include "tests/save/test_canvas.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

// From a canvas in memory to a file, read back with OpenImageIO alone. What a format cannot hold is lost in
// one named step: from 0 to 1 a file of 8 bits has 255 of them, one of 16 bits 65535; halfs and floats hold
// the samples exactly.

namespace {

using namespace zv_test;
using Format = ImageIOFileFormat;

struct FormatCase {
    char const* label;
    char const* name;
    Format::Save format;
    std::vector<std::string> channels;
    double steps;  // from 0 to 1; 0 for files that hold floats
    OIIO::TypeDesc::BASETYPE type;

    friend std::ostream& operator<<(std::ostream& stream, FormatCase const& row)
    {
        return stream << row.label;
    }
};

ImageSaveOptions plain_options(Format::Save format)
{
    ImageSaveOptions options;
    options.format = format;
    options.compression = Format::COMPRESSION_ZIP;
    options.color_space = "";
    return options;
}

/// Half a step, and what is lost where OpenImageIO rounds floats.
double tolerance(double steps)
{
    return steps == 0 ? 0 : 0.51 / steps;
}

/// Opaque: what writers and readers do to associated alpha has tests of its own.
double opaque_sample(FormatCase const& row, int channel, int x, int y)
{
    return row.channels[static_cast<std::size_t>(channel)] == "a" ? 1.0 : double(encoded(channel, x, y));
}

std::string name_of(testing::TestParamInfo<FormatCase> const& row)
{
    return row.param.label;
}

class RoundTrip : public testing::TestWithParam<FormatCase> {
protected:
    void save_and_compare(CanvasShape shape, OfApp& app)
    {
        FormatCase const& row = GetParam();
        TempDir const folder;
        std::string const path = folder.file(row.name);
        shape.channels = row.channels;
        Sample const sample = [&](int channel, int x, int y) { return opaque_sample(row, channel, x, y); };
        TestCanvas const canvas(shape, sample);
        ImageSaveOptions options = plain_options(row.format);
        LogCapture const log;

        ASSERT_EQ(ImageIO::save(path.c_str(), options, canvas.canvas(), &app, nullptr, nullptr),
                  ImageIO::SAVING_STATUS_SUCCESS);

        compare(read_picture(path), shape, sample);
        for (LogLine const& line : log.lines())
            EXPECT_EQ(line.level, 3) << line;
    }

    static void compare(ReadPicture const& picture, CanvasShape const& shape, Sample const& sample)
    {
        FormatCase const& row = GetParam();
        EXPECT_EQ(picture.spec.format.basetype, row.type);
        ASSERT_EQ(picture.spec.width, shape.width);
        ASSERT_EQ(picture.spec.height, shape.height);
        ASSERT_EQ(picture.spec.nchannels, static_cast<int>(row.channels.size()));
        for (int y = 0; y < shape.height; ++y)
            for (int x = 0; x < shape.width; ++x)
                for (int c = 0; c < picture.spec.nchannels; ++c)
                    ASSERT_NEAR(picture.at(c, picture.spec.x + x, picture.spec.y + y),
                                sample(c, shape.x + x, shape.y + y), tolerance(row.steps))
                        << "channel " << c << " at (" << x << ", " << y << ")";
    }
};

TEST_P(RoundTrip, KeepsEverySampleUpToOneStep)
{
    OfApp app;
    save_and_compare({}, app);
}

TEST_P(RoundTrip, KeepsOnePixel)
{
    OfApp app;
    CanvasShape shape;
    shape.width = shape.height = 1;
    save_and_compare(shape, app);
}

TEST_P(RoundTrip, KeepsOneMoreThanATile)
{
    OfApp app;
    CanvasShape shape;
    shape.width = shape.height = 17;
    save_and_compare(shape, app);
}

TEST_P(RoundTrip, KeepsEverySampleWhereTilesAreAskedFor)
{
    OfApp app;
    app.tiling_mode = 1;
    CanvasShape shape;
    shape.width = shape.height = 48;  // whole tiles, to which OpenEXR's window is widened
    save_and_compare(shape, app);
}

std::vector<std::string> const kGrey{"l"}, kColour{"r", "g", "b"}, kColourAlpha{"r", "g", "b", "a"},
    kLayers{"r", "g", "b", "a", "diffuse.r", "depth.z"};

INSTANTIATE_TEST_SUITE_P(
    Formats, RoundTrip,
    testing::Values(
        FormatCase{"png8_colour", "a.png", Format::SAVE_PNG8, kColour, 255, OIIO::TypeDesc::UINT8},
        FormatCase{"png8_alpha", "a.png", Format::SAVE_PNG8, kColourAlpha, 255, OIIO::TypeDesc::UINT8},
        FormatCase{"png16_colour", "a.png", Format::SAVE_PNG16, kColour, 65535, OIIO::TypeDesc::UINT16},
        FormatCase{"png16_alpha", "a.png", Format::SAVE_PNG16, kColourAlpha, 65535, OIIO::TypeDesc::UINT16},
        FormatCase{"targa_colour", "a.tga", Format::SAVE_TARGA, kColour, 255, OIIO::TypeDesc::UINT8},
        FormatCase{"targa_alpha", "a.tga", Format::SAVE_TARGA, kColourAlpha, 255, OIIO::TypeDesc::UINT8},
        FormatCase{"bmp_colour", "a.bmp", Format::SAVE_BMP, kColour, 255, OIIO::TypeDesc::UINT8},
        FormatCase{"bmp_alpha", "a.bmp", Format::SAVE_BMP, kColourAlpha, 255, OIIO::TypeDesc::UINT8},
        FormatCase{"tiff8_colour", "a.tif", Format::SAVE_TIFF8, kColour, 255, OIIO::TypeDesc::UINT8},
        FormatCase{"tiff8_layers", "a.tiff", Format::SAVE_TIFF8, kLayers, 255, OIIO::TypeDesc::UINT8},
        FormatCase{"tiff16_alpha", "a.tif", Format::SAVE_TIFF16, kColourAlpha, 65535, OIIO::TypeDesc::UINT16},
        FormatCase{"tiff16_layers", "a.tif", Format::SAVE_TIFF16, kLayers, 65535, OIIO::TypeDesc::UINT16},
        FormatCase{"tiff32_colour", "a.tif", Format::SAVE_TIFF32, kColour, 0, OIIO::TypeDesc::FLOAT},
        FormatCase{"tiff32_layers", "a.tif", Format::SAVE_TIFF32, kLayers, 0, OIIO::TypeDesc::FLOAT},
        FormatCase{"tiff32_grey", "a.tif", Format::SAVE_TIFF32, kGrey, 0, OIIO::TypeDesc::FLOAT},
        FormatCase{"exr16_alpha", "a.exr", Format::SAVE_EXR16, kColourAlpha, 0, OIIO::TypeDesc::HALF},
        FormatCase{"exr32_colour", "a.exr", Format::SAVE_EXR32, kColour, 0, OIIO::TypeDesc::FLOAT},
        FormatCase{"unknown_as_tiff", "a.tif", Format::SAVE_UNKNOWN, kColour, 255, OIIO::TypeDesc::UINT8}),
    name_of);

TEST(RoundTripOfJpeg, KeepsSmoothColoursNearly)
{
    TempDir const folder;
    CanvasShape shape;
    shape.channels = kColour;
    Sample const sample = [](int channel, int x, int y) { return (channel * 20 + x + y) / 120.0; };
    TestCanvas const canvas(shape, sample);
    ImageSaveOptions options = plain_options(Format::SAVE_JPEG);
    OfApp app;

    ASSERT_EQ(ImageIO::save(folder.file("a.jpg").c_str(), options, canvas.canvas(), &app, nullptr, nullptr),
              ImageIO::SAVING_STATUS_SUCCESS);

    auto const picture = read_picture(folder.file("a.jpg"));
    EXPECT_EQ(picture.spec.format, OIIO::TypeDesc::UINT8);
    for (int y = 0; y < shape.height; ++y)
        for (int x = 0; x < shape.width; ++x)
            for (int c = 0; c < 3; ++c)
                ASSERT_NEAR(picture.at(c, x, y), sample(c, x, y), 4 / 255.0) << c << " " << x << " " << y;
}

TEST(RoundTripOfRadiance, KeepsAnEighthBit)
{
    TempDir const folder;
    CanvasShape shape;
    shape.channels = kColour;
    Sample const sample = [](int channel, int x, int y) { return 100.0 + encoded(channel, x, y); };
    TestCanvas const canvas(shape, sample);
    ImageSaveOptions options = plain_options(Format::SAVE_UNKNOWN);
    OfApp app;

    ASSERT_EQ(ImageIO::save(folder.file("a.hdr").c_str(), options, canvas.canvas(), &app, nullptr, nullptr),
              ImageIO::SAVING_STATUS_SUCCESS);

    auto const picture = read_picture(folder.file("a.hdr"));
    for (int y = 0; y < shape.height; ++y)
        for (int x = 0; x < shape.width; ++x)
            for (int c = 0; c < 3; ++c)  // the exponent is shared: steps of 128 / 256
                ASSERT_NEAR(picture.at(c, x, y), sample(c, x, y), 0.5) << c << " " << x << " " << y;
}

}  // namespace
