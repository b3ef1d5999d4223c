// What other people's programs say of our files.

#include "tests/save/exr_saves.h"

namespace {

using namespace zv_test;
using testing::Test;

/// One file of each kind, with layers, metadata and windows that differ.
std::string saved(TempDir const& folder, int tiling_mode)
{
    OfApp app;
    app.tiling_mode = tiling_mode;
    app.get_channel_manager().add_layer("id", 4, 1);
    app.get_channel_manager().add_layer("normal", 2, 2);
    SavePicture::Shape shape;
    shape.x = 10;
    shape.y = 20;
    shape.width = 100;
    shape.height = 80;
    shape.names = {"r", "g", "b", "a", "depth.z", "normal.x", "id.x"};
    shape.tile = 32;
    SavePicture picture(shape);
    ImageSaveOptions options = exr_options(ImageIOFileFormat::SAVE_EXR16, ImageIOFileFormat::COMPRESSION_ZIP);
    options.pixel_aspect_ratio = 2.0f;
    options.meta_data.add({"comment", {CoreVariant("made by a test")}});
    options.meta_data.add({"exposure", {CoreVariant(2.5)}});
    options.meta_data.add({"shift", {CoreVariant(1), CoreVariant(2)}});
    options.meta_data.add({"artist", {CoreVariant("somebody")}});
    auto output = picture.output(folder.file("a.exr"));
    EXPECT_TRUE(output->open(&app, options, picture.window, rectangle(-5, -6, 200, 150), 32));
    EXPECT_EQ(output->write(picture.context, nullptr), ImageIO::SAVING_STATUS_SUCCESS);
    return folder.file("a.exr");
}

void expect_all(std::string const& text, std::vector<std::string> const& pieces)
{
    for (auto const& piece : pieces)
        EXPECT_NE(text.find(piece), std::string::npos) << piece << "\nis not in\n" << text;
}

TEST(ExrPrograms, ExrheaderReadsAScanlineFile)
{
    TempDir const folder;
    expect_all(
        output_of("exrheader " + saved(folder, 0)),
        {"type (type string): \"scanlineimage\"",
         "compression (type compression): zip, multi-scanline blocks",
         "dataWindow (type box2i): (10 20) - (109 99)", "displayWindow (type box2i): (-5 -6) - (194 143)",
         "lineOrder (type lineOrder): increasing y", "pixelAspectRatio (type float): 2",
         "comments (type string): \"made by a test\"", "exposure (type double): 2.5",
         "shift (type v2f): (1 2)", "artist (type string): \"somebody\"", "R, 16-bit floating-point",
         "depth.Z, 32-bit floating-point", "normal.x, 16-bit floating-point", "id.x, 32-bit unsigned integer",
         "screenWindowWidth (type float): 1", "screenWindowCenter (type v2f): (0 0)"});
}

TEST(ExrPrograms, ExrheaderReadsATiledFile)
{
    TempDir const folder;
    expect_all(output_of("exrheader " + saved(folder, 1)),
               {"type (type string): \"tiledimage\"", "dataWindow (type box2i): (0 0) - (127 127)",
                "displayWindow (type box2i): (-5 -6) - (194 143)", "single level",
                "tile size 32 by 32 pixels"});
}

TEST(ExrPrograms, ExrinfoFindsNoFault)
{
    TempDir const folder;
    for (int tiling_mode : {0, 1})
        expect_all(output_of("exrinfo -v " + saved(folder, tiling_mode)),
                   {"'R': half", "'depth.Z': float", "'id.x': uint"});
}

TEST(ExrPrograms, IinfoAndOiiotoolReadEverything)
{
    TempDir const folder;
    for (int tiling_mode : {0, 1}) {
        std::string const path = saved(folder, tiling_mode);
        expect_all(output_of("iinfo -v " + path), {"depth.Z", "compression: \"zip\"", "exposure: 2.5",
                                                   "ImageDescription: \"made by a test\""});
        expect_all(output_of("oiiotool --stats " + path), {"Stats Max:", "NanCount: 0"});
    }
}

}  // namespace
