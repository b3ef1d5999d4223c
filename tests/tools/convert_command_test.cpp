#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ImfChannelList.h>
#include <ImfFloatAttribute.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfStandardAttributes.h>
#include <ImfStringAttribute.h>
#include <ImfTileDescription.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/run_zvio.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using zv_test::encoded;
using zv_test::ExrPicture;
using zv_test::picture_spec;
using zv_test::read_picture;
using zv_test::run_zvio;
using zv_test::TempDir;
using Json = nlohmann::json;

constexpr int kWidth = 90, kHeight = 70;

/// Colours in half, a half and a float layer.
ExrPicture layered_picture()
{
    ExrPicture picture;
    picture.width = kWidth;
    picture.height = kHeight;
    picture.channels = {{"R"}, {"G"}, {"B"}, {"light.R"}, {"light.G"}, {"light.B"}, {"depth.Z", Imf::FLOAT}};
    return picture;
}

/// A folder with "layers.exr" in it.
struct Layers {
    TempDir folder;
    std::string source = folder.file("layers.exr");

    explicit Layers(ExrPicture const& picture = layered_picture()) { zv_test::write_exr(source, picture); }

    zv_test::ZvioRun convert(std::string const& name, std::vector<std::string> const& options = {}) const
    {
        std::vector<std::string> arguments = {"convert", "--json", source, "-o", folder.file(name)};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return run_zvio(arguments);
    }
    bool has(std::string const& name) const { return std::filesystem::exists(folder.file(name)); }
};

float to_srgb(float linear)
{
    return linear <= 0.0031308f ? linear * 12.92f : 1.055f * std::pow(linear, 1.0f / 2.4f) - 0.055f;
}

TEST(ZvioConvert, LayersKeepTheirSamplesAndTheirTypes)
{
    Layers const layers;

    auto const run = layers.convert("out.exr");
    Imf::InputFile const file(layers.folder.file("out.exr").c_str());
    auto const read = read_picture(layers.folder.file("out.exr"));

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_EQ(run.json()["result"]["files"][0]["ok"], true);
    EXPECT_EQ(run.json()["result"]["files"][0]["verified"], true);
    auto const& channels = file.header().channels();
    EXPECT_EQ(file.header().compression(), Imf::ZIP_COMPRESSION);
    EXPECT_EQ(channels["R"].type, Imf::HALF);
    EXPECT_EQ(channels["light.r"].type, Imf::HALF);
    EXPECT_EQ(channels["depth.Z"].type, Imf::FLOAT);
    ASSERT_EQ(read.spec.nchannels, 7);
    std::vector<std::string> const names = {"R", "G", "B", "light.r", "light.g", "light.b", "depth.Z"};
    for (std::size_t channel = 0; channel < names.size(); ++channel) {
        int const index = read.spec.channelindex(names[channel]);
        ASSERT_GE(index, 0) << names[channel];
        for (int y = 0; y < kHeight; y += 7)
            for (int x = 0; x < kWidth; x += 11)
                ASSERT_EQ(read.at(index, x, y), encoded(static_cast<int>(channel), x, y)) << names[channel];
    }
}

TEST(ZvioConvert, ColoursComeInTheSpaceOfTheOutput)
{
    Layers const layers;

    auto const png = layers.convert("out.png");
    auto const linear = layers.convert("linear.png", {"--color-space", "Linear"});
    auto const converted = read_picture(layers.folder.file("out.png"));
    auto const kept = read_picture(layers.folder.file("linear.png"));

    EXPECT_EQ(png.exit_code, 0);
    EXPECT_EQ(png.json()["result"]["files"][0]["color_space"], "sRGB");
    EXPECT_EQ(linear.json()["result"]["files"][0]["color_space"], "Linear");
    for (int x = 0; x < kWidth; x += 7) {
        EXPECT_NEAR(converted.at(1, x, 20), to_srgb(encoded(1, x, 20)), 1.0 / 255);
        EXPECT_NEAR(kept.at(1, x, 20), encoded(1, x, 20), 0.51 / 255);
    }
}

TEST(ZvioConvert, InputSpaceSaysWhatTheFileHolds)
{
    Layers const layers;

    layers.convert("out.exr", {"--input-space", "sRGB"});
    auto const read = read_picture(layers.folder.file("out.exr"));

    EXPECT_NEAR(to_srgb(read.at(read.spec.channelindex("G"), 30, 20)), encoded(1, 30, 20), 2e-3);
}

TEST(ZvioConvert, BytesThatStayInTheirSpaceStayAsTheyAre)
{
    TempDir const folder;
    zv_test::write_picture(folder.file("a.png"), picture_spec(47, 33, 3, OIIO::TypeDesc::UINT8));

    auto const run =
        run_zvio({"convert", folder.file("a.png"), "-o", folder.file("b.tif"), "--format", "tiff8"});

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_EQ(read_picture(folder.file("b.tif")).samples, read_picture(folder.file("a.png")).samples);
}

struct FormatCase {
    char const* format;
    char const* extension;
    OIIO::TypeDesc type;
    double step;  // of a sample
};

class ZvioConvertFormats : public testing::TestWithParam<FormatCase> {};

TEST_P(ZvioConvertFormats, HoldTheColoursInTheirDepth)
{
    auto const& [format, extension, type, step] = GetParam();
    Layers const layers;
    std::string const name = std::string("out.") + extension;

    auto const run = layers.convert(name, {"--format", format, "--color-space", "Linear"});
    auto const read = read_picture(layers.folder.file(name));

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_EQ(read.spec.format, type);
    EXPECT_EQ(read.spec.width, kWidth);
    EXPECT_EQ(read.spec.height, kHeight);
    for (int x = 0; x < kWidth; x += 13)
        EXPECT_NEAR(read.at(0, x, 33), encoded(0, x, 33), step * 0.51);
}

INSTANTIATE_TEST_SUITE_P(All, ZvioConvertFormats,
                         testing::Values(FormatCase{"exr16", "exr", OIIO::TypeDesc::FLOAT,
                                                    1e-9},  // the float layer makes it float
                                         FormatCase{"exr32", "exr", OIIO::TypeDesc::FLOAT, 1e-9},
                                         FormatCase{"jpg", "jpeg", OIIO::TypeDesc::UINT8, 1.0},  // lossy
                                         FormatCase{"bmp", "bmp", OIIO::TypeDesc::UINT8, 1.0 / 255},
                                         FormatCase{"tga", "tga", OIIO::TypeDesc::UINT8, 1.0 / 255},
                                         FormatCase{"png8", "png", OIIO::TypeDesc::UINT8, 1.0 / 255},
                                         FormatCase{"png16", "png", OIIO::TypeDesc::UINT16, 1.0 / 65535},
                                         FormatCase{"tiff8", "tif", OIIO::TypeDesc::UINT8, 1.0 / 255},
                                         FormatCase{"tiff16", "tiff", OIIO::TypeDesc::UINT16, 1.0 / 65535},
                                         FormatCase{"tiff32", "tif", OIIO::TypeDesc::FLOAT, 1e-9}),
                         [](auto const& row) { return row.param.format; });

TEST(ZvioConvert, CompressionsReachTheHeader)
{
    Layers const layers;
    std::vector<std::string> const names = {"none",  "rle", "zips", "zip",  "piz",
                                            "pxr24", "b44", "b44a", "dwaa", "dwab"};

    for (std::size_t number = 0; number < names.size(); ++number) {
        auto const run = layers.convert("out.exr", {"--compression", names[number]});

        EXPECT_EQ(run.exit_code, 0) << names[number];
        EXPECT_EQ(static_cast<std::size_t>(
                      Imf::InputFile(layers.folder.file("out.exr").c_str()).header().compression()),
                  number);
    }
}

TEST(ZvioConvert, LevelOfDwaReachesTheHeader)
{
    Layers const layers;

    layers.convert("out.exr", {"--compression", "dwaa:120"});
    Imf::InputFile const file(layers.folder.file("out.exr").c_str());

    ASSERT_NE(file.header().findTypedAttribute<Imf::FloatAttribute>("dwaCompressionLevel"), nullptr);
    EXPECT_EQ(file.header().typedAttribute<Imf::FloatAttribute>("dwaCompressionLevel").value(), 120.0f);
}

TEST(ZvioConvert, TiledFilesHaveTiles)
{
    Layers const layers;

    auto const exr = layers.convert("out.exr", {"--tiled"});
    auto const tiff = layers.convert("out.tif", {"--tiled", "--color-space", "Linear", "--format", "tiff32"});
    Imf::InputFile const file(layers.folder.file("out.exr").c_str());
    auto const read = read_picture(layers.folder.file("out.tif"));

    EXPECT_EQ(exr.exit_code, 0) << exr.error;
    ASSERT_TRUE(file.header().hasTileDescription());
    EXPECT_EQ(file.header().tileDescription().xSize, 64u);
    EXPECT_EQ(file.header().dataWindow(), Imath::Box2i({0, 0}, {127, 127}));
    EXPECT_EQ(file.header().displayWindow(), Imath::Box2i({0, 0}, {kWidth - 1, kHeight - 1}));
    EXPECT_EQ(tiff.exit_code, 0) << tiff.error;
    EXPECT_EQ(read.spec.tile_width, 64);
    EXPECT_EQ(read.at(1, 70, 66), encoded(1, 70, 66));
}

/// The tiled writer counts in the map's sample size; a picture of bytes has to be widened for it.
TEST(ZvioConvert, BytesAreWidenedForTiledTiff)
{
    TempDir const folder;
    zv_test::write_picture(folder.file("a.png"), picture_spec(kWidth, kHeight, 3, OIIO::TypeDesc::UINT8));

    auto const run = run_zvio(
        {"convert", "--tiled", "--format", "tiff8", folder.file("a.png"), "-o", folder.file("b.tif")});
    auto const plan = run_zvio(
        {"plan", "--json", "--tiled", "--format", "tiff8", folder.file("a.png"), "-o", folder.file("c.tif")});

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_EQ(plan.json()["result"]["files"][0]["widened"], true);
    EXPECT_EQ(read_picture(folder.file("b.tif")).spec.tile_width, 64);
    EXPECT_EQ(read_picture(folder.file("b.tif")).samples, read_picture(folder.file("a.png")).samples);
}

TEST(ZvioConvert, LayersGoToFilesOfTheirOwn)
{
    Layers const layers;

    auto const run = layers.convert("out.exr", {"--one-file-per-aov"});
    auto const colors = read_picture(layers.folder.file("out.exr"));
    auto const light = read_picture(layers.folder.file("out_light.exr"));
    auto const depth = read_picture(layers.folder.file("out_depth.exr"));

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_THAT(colors.spec.channelnames, ElementsAre("R", "G", "B"));
    EXPECT_EQ(light.spec.nchannels, 3);
    EXPECT_THAT(depth.spec.channelnames, ElementsAre("depth.Z"));
    EXPECT_EQ(depth.at(0, 11, 12), encoded(6, 11, 12));
    EXPECT_EQ(run.json()["result"]["files"][0]["written"].size(), 3u);
}

TEST(ZvioConvert, ColoursCanBeLeftOut)
{
    Layers const layers;

    layers.convert("one.exr", {"--aovs-only"});
    layers.convert("split.exr", {"--aovs-only", "--one-file-per-aov"});

    EXPECT_EQ(read_picture(layers.folder.file("one.exr")).spec.nchannels, 4);
    EXPECT_FALSE(layers.has("split.exr"));
    EXPECT_TRUE(layers.has("split_light.exr"));
    EXPECT_TRUE(layers.has("split_depth.exr"));
}

TEST(ZvioConvert, FormatsWithoutLayersCanWriteThemToo)
{
    Layers const layers;

    auto const run = layers.convert("out.png", {"--aovs-in-all-formats"});

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_TRUE(layers.has("out.png"));
    EXPECT_TRUE(layers.has("out_light.png"));
    EXPECT_TRUE(layers.has("out_depth.png"));
}

TEST(ZvioConvert, LayersTakeThePlaceOfTheColours)
{
    Layers const layers;

    layers.convert("out.png", {"--layers", "light.r,light.g,light.b", "--color-space", "Linear"});
    auto const read = read_picture(layers.folder.file("out.png"));

    EXPECT_NEAR(read.at(0, 40, 30), encoded(3, 40, 30), 0.51 / 255);
    EXPECT_NEAR(read.at(2, 40, 30), encoded(5, 40, 30), 0.51 / 255);
}

TEST(ZvioConvert, CropIsTheDataWindow)
{
    Layers const layers;

    auto const run = layers.convert("out.exr", {"--crop", "0.1,0.2,0.5,0.25"});
    Imf::InputFile const file(layers.folder.file("out.exr").c_str());

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_EQ(file.header().dataWindow(), Imath::Box2i({9, 14}, {9 + 45 - 1, 14 + 17 - 1}));
    EXPECT_EQ(file.header().displayWindow(), Imath::Box2i({0, 0}, {kWidth - 1, kHeight - 1}));
}

TEST(ZvioConvert, PixelAspectIsThatOfTheInputOrTheOneAskedFor)
{
    TempDir const folder;
    auto spec = picture_spec(20, 10, 3, OIIO::TypeDesc::HALF);
    spec.attribute("PixelAspectRatio", 1.5f);
    zv_test::write_picture(folder.file("a.exr"), spec);

    run_zvio({"convert", folder.file("a.exr"), "-o", folder.file("kept.exr")});
    run_zvio({"convert", "--pixel-aspect", "2", folder.file("a.exr"), "-o", folder.file("asked.exr")});

    EXPECT_EQ(Imf::InputFile(folder.file("kept.exr").c_str()).header().pixelAspectRatio(), 1.5f);
    EXPECT_EQ(Imf::InputFile(folder.file("asked.exr").c_str()).header().pixelAspectRatio(), 2.0f);
}

TEST(ZvioConvert, MetadataComesFromTextsAndFiles)
{
    Layers const layers;
    std::ofstream(layers.folder.file("notes.txt")) << "shot \"a 12\"\ncomment \"from a file\"\n";

    auto const run =
        layers.convert("out.exr", {"--metadata", "shot \"first\"", "--metadata",
                                   "@" + layers.folder.file("notes.txt"), "--metadata-prefix", "mine"});
    Imf::InputFile const file(layers.folder.file("out.exr").c_str());
    auto const& header = file.header();

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_EQ(header.typedAttribute<Imf::StringAttribute>("shot").value(), "first");
    EXPECT_EQ(header.typedAttribute<Imf::StringAttribute>("mine_shot").value(), "a 12");
    EXPECT_EQ(Imf::comments(header), "from a file");
}

TEST(ZvioConvert, MetadataFilesWithMistakesAreToldByPlace)
{
    Layers const layers;
    std::ofstream(layers.folder.file("notes.txt")) << "shot 1\nname Ann\n";

    auto const bad = layers.convert("out.exr", {"--metadata", "@" + layers.folder.file("notes.txt")});
    auto const missing = layers.convert("out.exr", {"--metadata", "@" + layers.folder.file("none.txt")});

    EXPECT_EQ(bad.exit_code, 2);
    EXPECT_THAT(bad.json()["warnings"][0]["text"].get<std::string>(),
                HasSubstr("notes.txt, line 2, column 6"));
    EXPECT_EQ(missing.exit_code, 3);
    EXPECT_FALSE(layers.has("out.exr"));
}

TEST(ZvioConvert, LoadOptionsCount)
{
    Layers const layers;

    layers.convert("out.png",
                   {"--channels", "light.r,light.g,light.b", "--force-alpha", "--color-space", "Linear"});
    auto const read = read_picture(layers.folder.file("out.png"));

    ASSERT_EQ(read.spec.nchannels, 4);
    EXPECT_NEAR(read.at(0, 40, 30), encoded(3, 40, 30), 0.51 / 255);
    EXPECT_EQ(read.at(3, 40, 30), 1.0f);
}

TEST(ZvioConvert, LuminanceFollowsTheFormat)
{
    TempDir const folder;
    zv_test::write_picture(folder.file("grey.png"), picture_spec(20, 10, 1, OIIO::TypeDesc::UINT8));

    run_zvio({"convert", folder.file("grey.png"), "-o", folder.file("half.exr")});
    run_zvio({"convert", "--format", "exr32", folder.file("grey.png"), "-o", folder.file("float.exr")});

    EXPECT_EQ(Imf::InputFile(folder.file("half.exr").c_str()).header().channels()["l"].type, Imf::HALF);
    EXPECT_EQ(Imf::InputFile(folder.file("float.exr").c_str()).header().channels()["l"].type, Imf::FLOAT);
}

TEST(ZvioConvert, TextTellsWhatWasWritten)
{
    Layers const layers;

    auto const run = run_zvio({"convert", layers.source, "-o", layers.folder.file("out.exr")});

    EXPECT_THAT(run.output, HasSubstr(layers.folder.file("out.exr") + "  90 x 70  7 channels  "));
    EXPECT_THAT(run.output, HasSubstr(" bytes  Linear  "));
}

}  // namespace
