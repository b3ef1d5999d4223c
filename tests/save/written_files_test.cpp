#include <OpenImageIO/imageio.h>

#include <array>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/of/of_app.h"
#include "image_io/frame/image_io.h"
#include "image_io/save/image_save_options.h"
#include "tests/save/test_canvas.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

// What stands in files beside their pixels, as OpenImageIO's own programs tell it.

namespace {

using namespace zv_test;
using Format = ImageIOFileFormat;

std::string output_of(std::string const& command)
{
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const pipe(popen((command + " 2>&1").c_str(), "r"),
                                                               pclose);
    std::string text;
    std::array<char, 4096> block;
    while (pipe && std::fgets(block.data(), static_cast<int>(block.size()), pipe.get()))
        text += block.data();
    return text;
}

std::string info_of(std::string const& path)
{
    return output_of("iinfo -v '" + path + "'");
}

class WrittenFile : public testing::Test {
protected:
    WrittenFile()
    {
        options.color_space = "";
        options.format = Format::SAVE_TIFF8;
        CoreArray<CoreVariant> matrix(16);
        for (unsigned int number = 0; number < 16; ++number)
            matrix[number] = CoreVariant(number + 0.5);
        options.meta_data = {{"worldToCamera", matrix}, {"comment", {CoreVariant("made by hand")}}};
    }
    void save(std::string const& name, CanvasShape const& shape = {})
    {
        TestCanvas const canvas(shape);
        EXPECT_EQ(ImageIO::save(folder.file(name).c_str(), options, canvas.canvas(), &app, nullptr, nullptr),
                  ImageIO::SAVING_STATUS_SUCCESS);
    }
    std::string saved(std::string const& name, CanvasShape const& shape = {})
    {
        save(name, shape);
        return info_of(folder.file(name));
    }
    /// Saves, and reads as many channels again.
    void expect_whole(std::string const& name, int channels)
    {
        save(name);
        EXPECT_EQ(read_picture(folder.file(name)).spec.nchannels, channels) << name;
    }
    static void expect_text(std::string const& info, std::string const& text)
    {
        EXPECT_NE(info.find(text), std::string::npos) << "no '" << text << "' in\n" << info;
    }

    TempDir folder;
    OfApp app;
    ImageSaveOptions options;
};

TEST_F(WrittenFile, OfTiffHoldsTheMatrixAndThePixelAspect)
{
    options.pixel_aspect_ratio = 2.0f;

    std::string const info = saved("a.tif");

    expect_text(info, "47 x   33, 4 channel, uint8 tiff");
    expect_text(info, "channel list: R, G, B, A");
    expect_text(info, "worldtocamera: 0.5, 1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 7.5");
    expect_text(info, "PixelAspectRatio: 2");
}

TEST_F(WrittenFile, OfTiffIsTiledInModeOne)
{
    app.tiling_mode = 1;

    expect_text(saved("a.tif"), "tile size: 16 x 16");
}

TEST_F(WrittenFile, OfTiffKeepsAnOriginAndLayersWithoutTheirNames)
{
    CanvasShape shape;
    shape.x = 7;
    shape.y = 9;
    shape.channels = {"r", "g", "b", "a", "depth.z", "id"};

    std::string const info = saved("a.tif", shape);

    expect_text(info, "6 channel");
    expect_text(info, "channel list: R, G, B, A, channel4, channel5");
    expect_text(info, "pixel data origin: x=7, y=9");
}

TEST_F(WrittenFile, OfPngHoldsTheCommentOnThePlannedRoadAlone)
{
    CanvasShape shape;
    shape.channels = {"r", "g", "b"};
    options.format = Format::SAVE_UNKNOWN;
    expect_text(saved("planned.png", shape), "made by hand");

    options.format = Format::SAVE_PNG8;
    EXPECT_EQ(saved("simple.png", shape).find("made by hand"), std::string::npos);
}

TEST_F(WrittenFile, OfPngHasTheSamplesOfItsFormat)
{
    options.format = Format::SAVE_PNG16;
    expect_text(saved("sixteen.png"), "4 channel, uint16 png");
    options.format = Format::SAVE_PNG8;
    expect_text(saved("eight.png"), "4 channel, uint8 png");
    options.format = Format::SAVE_UNKNOWN;
    expect_text(saved("planned.png"), "4 channel, uint8 png");
}

TEST_F(WrittenFile, IsWholeForAnotherProgram)
{
    CanvasShape shape;
    shape.channels = {"r", "g", "b"};
    options.format = Format::SAVE_TIFF16;
    save("a.tif", shape);
    options.format = Format::SAVE_PNG16;
    save("a.png", shape);

    std::string const text =
        output_of("oiiotool '" + folder.file("a.tif") + "' '" + folder.file("a.png") + "' --diff");

    expect_text(text, "PASS");
}

TEST_F(WrittenFile, TakesOddMetadata)
{
    std::string const long_text(100000, 'x');
    options.meta_data = {{"comment", {CoreVariant(long_text.c_str())}},
                         {"comment", {CoreVariant("second")}},
                         {"worldToNDC", {CoreVariant("not"), CoreVariant("a"), CoreVariant("matrix")}},
                         {std::string(1000, 'n').c_str(), {CoreVariant(1)}},
                         {"oiio:UnassociatedAlpha", {CoreVariant(1)}},
                         {"nothing", {}}};
    for (char const* name : {"a.tif", "a.png", "a.tga", "a.bmp"}) {
        options.format = std::string(name) == "a.tif" ? Format::SAVE_TIFF8 : Format::SAVE_UNKNOWN;
        expect_whole(name, 4);
    }
}

TEST_F(WrittenFile, TakesOddPixelAspects)
{
    for (float const aspect : {0.0f, -1.0f, 1e-30f, 1e30f, std::numeric_limits<float>::quiet_NaN(),
                               std::numeric_limits<float>::infinity()}) {
        options.pixel_aspect_ratio = aspect;
        options.format = Format::SAVE_TIFF8;
        expect_whole("a.tif", 4);
        options.format = Format::SAVE_UNKNOWN;
        expect_whole("a.png", 4);
        options.format = Format::SAVE_JPEG;
        expect_whole("a.jpg", 3);
    }
}

TEST_F(WrittenFile, HoldsUpToTwoHundredChannels)
{
    for (int count : {1, 2, 3, 5, 200}) {
        CanvasShape shape;
        shape.channels.clear();
        for (int number = 0; number < count; ++number)
            shape.channels.push_back("layer" + std::to_string(number) + "." + std::string(300, 'c'));
        options.format = Format::SAVE_TIFF32;

        save("a.tif", shape);

        EXPECT_EQ(read_picture(folder.file("a.tif")).samples, interleaved<float>(0, 0, 47, 33, count))
            << count;
    }
}

}  // namespace
