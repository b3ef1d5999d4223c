#include <OpenImageIO/imageio.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/of/of_app.h"
#include "tests/save/oiio_doors.h"
#include "tests/save/test_canvas.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_format.h"

namespace {

using namespace zv_test;
using Format = ImageIOFileFormat;
using Lines = std::vector<LogLine>;
using Names = std::vector<std::string>;
using OIIO::TypeDesc;

GMathVec4<int> const kCanvas(5, -3, 60, 50), kRegion(10, 12, 20, 8);

/// Opens scripted files, whose writer notes what it was asked.
class BuildImageOutput : public testing::Test {
protected:
    BuildImageOutput()
    {
        options.format = Format::SAVE_TIFF8;
        options.color_space = "";
    }

    std::unique_ptr<OIIO::ImageOutput> build(std::string const& path, Names const& names,
                                             CoreString const& color_space = "")
    {
        CanvasShape shape;
        shape.channels.clear();
        for (std::string const& name : names)
            if (!name.empty())
                shape.channels.push_back(name);
        canvas = std::make_unique<TestCanvas>(shape);
        return ImageIOSaveDoors::build_image_output(&app, options, path.c_str(), canvas->channels(names), 16,
                                                    kCanvas, kRegion, color_space);
    }
    /// What the writer was asked to open.
    OIIO::ImageSpec built(Names const& names, CoreString const& color_space = "", bool supports_tiles = false)
    {
        WriteScript script;
        script.supports_tiles = supports_tiles;
        ScriptedFile const file(folder, script);
        auto const output = build(file.path(), names, color_space);
        EXPECT_NE(output, nullptr);
        EXPECT_TRUE(!output || output->spec().width == file.written().spec.width);
        return file.written().spec;
    }

    TempDir folder;
    OfApp app;
    ImageSaveOptions options;
    std::unique_ptr<TestCanvas> canvas;
};

TEST_F(BuildImageOutput, GivesAnOpenedObjectOfTheFormatsWriter)
{
    ScriptedFile const file(folder, WriteScript{});
    LogCapture const log;

    auto output = build(file.path(), {"r", "g", "b"});

    ASSERT_NE(output, nullptr);
    EXPECT_STREQ(output->format_name(), "zvscript");
    EXPECT_EQ(output->supports("tiles"), 0);
    EXPECT_EQ(output->spec().nchannels, 3);
    EXPECT_EQ(output->spec().channelnames, (Names{"R", "G", "B"}));
    EXPECT_EQ(file.written().calls, (Names{"open 60 by 50, 3 channels of uint8"}));
    EXPECT_EQ(log.lines(), Lines{});
    output.reset();
    EXPECT_EQ(file.written().calls.back(), "destroy");
}

TEST_F(BuildImageOutput, DeclaresTheSampleTypeOfTheFormat)
{
    TypeDesc::BASETYPE const types[] = {TypeDesc::HALF,   TypeDesc::FLOAT, TypeDesc::FLOAT, TypeDesc::FLOAT,
                                        TypeDesc::FLOAT,  TypeDesc::FLOAT, TypeDesc::FLOAT, TypeDesc::UINT8,
                                        TypeDesc::UINT16, TypeDesc::FLOAT, TypeDesc::FLOAT, TypeDesc::FLOAT};
    for (int format = 0; format < 12; ++format) {
        options.format = static_cast<Format::Save>(format);
        EXPECT_EQ(built({"r"}).format.basetype, types[format]) << format;
    }
}

TEST_F(BuildImageOutput, NamesChannels)
{
    std::string const long_name(300, 'n');

    EXPECT_EQ(
        built({"r", "depth.z", "depth.zz", "x.depth.z", "diffuse.r", ".x", "Z", "", long_name}).channelnames,
        (Names{"R", "depth.Z", "depth.zz", "x.depth.z", "diffuse.r", ".x", "Z", "channel7", long_name}));
}

TEST_F(BuildImageOutput, TakesAnyNumberOfChannels)
{
    for (int count : {1, 2, 4, 5, 200}) {
        Names names;
        for (int number = 0; number < count; ++number)
            names.push_back("layer" + std::to_string(number) + ".r");
        EXPECT_EQ(built(names).nchannels, count);
    }
}

TEST_F(BuildImageOutput, WithoutChannelsNeverOpensAWriter)
{
    ScriptedFile const file(folder, WriteScript{});
    LogCapture const log;

    EXPECT_EQ(build(file.path(), {}), nullptr);

    EXPECT_EQ(file.written().calls, Names{});
    EXPECT_EQ(log.lines(), (Lines{{1, "Error while opening '" + file.path() + "'.\n"},
                                  {1, "OpenImageIO error: the image has no channels\n"}}));
}

TEST_F(BuildImageOutput, TakesTheCanvasForItsWindow)
{
    OIIO::ImageSpec const spec = built({"r"}, "family|name");

    EXPECT_EQ(spec.x, 5);
    EXPECT_EQ(spec.y, -3);
    EXPECT_EQ(spec.width, 60);
    EXPECT_EQ(spec.height, 50);
    EXPECT_EQ(spec.find_attribute("ColorSpace"), nullptr);
    EXPECT_TRUE(spec.channelformats.empty());
}

TEST_F(BuildImageOutput, OpenExrTakesTheRegionForItsWindow)
{
    options.format = Format::SAVE_EXR32;

    OIIO::ImageSpec const spec = built({"r"}, "family|name");

    EXPECT_EQ(spec.x, 10);
    EXPECT_EQ(spec.y, 12);
    EXPECT_EQ(spec.width, 20);
    EXPECT_EQ(spec.height, 8);
    EXPECT_EQ(spec.get_string_attribute("ColorSpace"), "name");
    EXPECT_EQ(spec.channelformats, std::vector<TypeDesc>{TypeDesc::FLOAT});
}

TEST_F(BuildImageOutput, OpenExrWithExtraChannelsNamesNoColourSpace)
{
    options.format = Format::SAVE_EXR16;

    EXPECT_EQ(built({"r", "depth.z"}, "family|name").find_attribute("ColorSpace"), nullptr);
}

TEST_F(BuildImageOutput, OpenExrTakesSampleTypesFromTheCatalogueOfLayers)
{
    options.format = Format::SAVE_EXR16;
    OfChannelManager& layers = app.get_channel_manager();
    layers.add_layer("bytes", 1, 1);
    layers.add_layer("words", 2, 1);
    layers.add_layer("halfs", 2, 2);
    layers.add_layer("ids", 4, 1);
    layers.add_layer("floats", 4, 2);
    layers.add_layer("odd", 8, 2);

    EXPECT_EQ(built({"r", "bytes.x", "words.x", "halfs.x", "ids", "floats.x", "odd.x", "unknown.x", ""})
                  .channelformats,
              (std::vector<TypeDesc>{TypeDesc::HALF, TypeDesc::UINT8, TypeDesc::UINT16, TypeDesc::HALF,
                                     TypeDesc::UINT32, TypeDesc::FLOAT, TypeDesc::HALF, TypeDesc::HALF,
                                     TypeDesc::HALF}));
}

TEST_F(BuildImageOutput, AsksForTilesOnlyInModeOneAndOnlyAWriterThatHasThem)
{
    for (int mode : {0, 1, 2, -1})
        for (bool supports_tiles : {false, true}) {
            app.tiling_mode = mode;
            OIIO::ImageSpec const spec = built({"r"}, "", supports_tiles);
            int const expected = mode == 1 && supports_tiles ? 16 : 0;
            EXPECT_EQ(spec.tile_width, expected) << mode << supports_tiles;
            EXPECT_EQ(spec.tile_height, expected) << mode << supports_tiles;
        }
}

TEST_F(BuildImageOutput, WorksWithoutAnApplication)
{
    ScriptedFile const file(folder, WriteScript{});
    TestCanvas const some_canvas;

    EXPECT_NE(ImageIOSaveDoors::build_image_output(nullptr, options, file.path().c_str(),
                                                   some_canvas.all_channels(), 16, kCanvas, kRegion),
              nullptr);
    EXPECT_EQ(file.written().spec.tile_width, 0);
}

TEST_F(BuildImageOutput, KeepsThreeNamesOfMetadata)
{
    CoreArray<CoreVariant> matrix(20);
    for (int number = 0; number < 20; ++number)
        matrix[static_cast<unsigned int>(number)] =
            number % 2 ? CoreVariant(number) : CoreVariant(number + 0.5);
    options.meta_data = {{"worldToCamera", matrix},
                         {"comment", {CoreVariant("first"), CoreVariant("second")}},
                         {"Comment", {CoreVariant("other case")}},
                         {"", {CoreVariant("nameless")}},
                         {"artist", {CoreVariant("me")}}};

    OIIO::ImageSpec const spec = built({"r"});

    auto const* const found = spec.find_attribute("worldToCamera");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->type(), TypeDesc(TypeDesc::FLOAT, TypeDesc::MATRIX44));
    for (int number = 0; number < 16; ++number)
        EXPECT_EQ(static_cast<float const*>(found->data())[number], number % 2 ? number : number + 0.5f);
    auto const* const comment = spec.find_attribute("comment", TypeDesc::UNKNOWN, true);
    ASSERT_NE(comment, nullptr);
    EXPECT_EQ(comment->get_string(), "first");
    EXPECT_EQ(spec.extra_attribs.size(), 3u);  // these, and the pixel aspect ratio
}

TEST_F(BuildImageOutput, ConvertsTheFirstValueOfACommentAndTheMatrixToTheOtherSpace)
{
    CoreArray<CoreVariant> matrix(16);
    matrix[15] = CoreVariant("2.5");
    options.meta_data = {{"worldToNDC", matrix}, {"comment", {CoreVariant(42)}}};

    OIIO::ImageSpec const spec = built({"r"});

    auto const* const found = spec.find_attribute("worldToNDC");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->type(), TypeDesc(TypeDesc::FLOAT, TypeDesc::MATRIX44));
    EXPECT_EQ(static_cast<float const*>(found->data())[0], 0.0f);
    EXPECT_EQ(static_cast<float const*>(found->data())[15], 2.5f);
    EXPECT_EQ(spec.get_string_attribute("comment"), "42");
}

TEST_F(BuildImageOutput, PassesOverShortMatricesAndEmptyComments)
{
    options.meta_data = {{"worldToCamera", CoreArray<CoreVariant>(15)},
                         {"worldToNDC", CoreArray<CoreVariant>()},
                         {"comment", CoreArray<CoreVariant>()}};

    EXPECT_EQ(built({"r"}).extra_attribs.size(), 1u);
}

TEST_F(BuildImageOutput, TellsThePixelAspectRatio)
{
    options.pixel_aspect_ratio = 2.5f;

    EXPECT_EQ(built({"r"}).get_float_attribute("PixelAspectRatio"), 2.5f);
}

TEST_F(BuildImageOutput, WithoutAWriterIsNullWithoutALine)
{
    LogCapture const log;

    EXPECT_EQ(build(folder.file("a.zzz"), {"r"}), nullptr);
    EXPECT_EQ(build("", {"r"}), nullptr);

    EXPECT_EQ(log.lines(), Lines{});
    EXPECT_EQ(OIIO::geterror(), "");
}

TEST_F(BuildImageOutput, FailedOpenIsLoggedWithTheLibrarysText)
{
    WriteScript script;
    script.open = WriteScript::REFUSE;
    script.open_error = "no room";
    ScriptedFile const file(folder, script);
    LogCapture const log;

    EXPECT_EQ(build(file.path(), {"r"}), nullptr);

    EXPECT_EQ(log.lines(), (Lines{{1, "Error while opening '" + file.path() + "'.\n"},
                                  {1, "OpenImageIO error: no room\n"}}));
    EXPECT_EQ(file.written().calls, (Names{"open 60 by 50, 1 channels of uint8", "destroy"}));
}

TEST_F(BuildImageOutput, FailedOpenWithoutATextIsOneLine)
{
    WriteScript script;
    script.open = WriteScript::REFUSE;
    script.open_error = "";
    ScriptedFile const file(folder, script);
    LogCapture const log;

    EXPECT_EQ(build(file.path(), {"r"}), nullptr);

    EXPECT_EQ(log.lines(), (Lines{{1, "Error while opening '" + file.path() + "'.\n"}}));
}

TEST_F(BuildImageOutput, AThrowingWriterIsAFailedOpen)
{
    WriteScript script;
    script.open = WriteScript::THROW;
    script.open_error = "thrown";
    ScriptedFile const file(folder, script);
    LogCapture const log;

    EXPECT_EQ(build(file.path(), {"r"}), nullptr);

    EXPECT_EQ(log.lines(), (Lines{{1, "Error while opening '" + file.path() + "'.\n"},
                                  {1, "OpenImageIO error: thrown\n"}}));
}

TEST_F(BuildImageOutput, PathsThatCannotBeWrittenAreAFailedOpen)
{
    std::filesystem::create_directory(folder.file("folder.tif"));
    for (std::string const& path : {folder.file("none/a.tif"), folder.file("folder.tif")}) {
        LogCapture const log;

        EXPECT_EQ(build(path, {"r"}), nullptr);

        EXPECT_EQ(log.lines(), (Lines{{1, "Error while opening '" + path + "'.\n"},
                                      {1, "OpenImageIO error: Could not open file \"" + path + "\"\n"}}));
    }
    EXPECT_TRUE(std::filesystem::is_directory(folder.file("folder.tif")));
}

TEST_F(BuildImageOutput, FormatsThatAreWrittenAtOnceAreAFailedOpen)
{
    for (char const* name : {"a.iff", "a.jp2"}) {
        std::string const path = folder.file(name);
        LogCapture const log;

        EXPECT_EQ(build(path, {"r", "g", "b"}), nullptr);

        EXPECT_EQ(log.lines(), (Lines{{1, "Error while opening '" + path + "'.\n"},
                                      {1, "OpenImageIO error: files of this format are written at once\n"}}));
        EXPECT_FALSE(std::filesystem::exists(path));
    }
}

TEST_F(BuildImageOutput, RefusedShapesLeaveNoFile)
{
    LogCapture const log;

    EXPECT_EQ(build(folder.file("a.hdr"), {"r", "g"}), nullptr);  // three channels alone

    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_FALSE(std::filesystem::exists(folder.file("a.hdr")));
}

}  // namespace
