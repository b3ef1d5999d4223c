#include <OpenImageIO/imageio.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/of/of_app.h"
#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"
#include "tests/save/jenkins_order.h"
#include "tests/save/test_canvas.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_format.h"

namespace {

using namespace zv_test;
using Format = ImageIOFileFormat;
using Lines = std::vector<LogLine>;
using Names = std::vector<std::string>;

char const* const kIgnoring =
    "Specified output file type does not support multiple layers. Ignoring AOVs. ( enable "
    "'Output Aovs In All Format' to force write ).\n";
char const* const kSeparate =
    "Specified output file type does not support multiple layers. Writing separate files.\n";

constexpr Format::Save kAllFormats[] = {Format::SAVE_EXR16,  Format::SAVE_EXR32,  Format::SAVE_JPEG,
                                        Format::SAVE_BMP,    Format::SAVE_TARGA,  Format::SAVE_PNG8,
                                        Format::SAVE_PNG16,  Format::SAVE_TIFF8,  Format::SAVE_TIFF16,
                                        Format::SAVE_TIFF32, Format::SAVE_UNKNOWN};

bool holds_layers(Format::Save format)
{
    return format <= Format::SAVE_EXR32 || (format >= Format::SAVE_TIFF8 && format <= Format::SAVE_TIFF32);
}

class BuildOutputs : public testing::Test {
protected:
    BuildOutputs()
    {
        options.format = Format::SAVE_TIFF8;
        options.compression = Format::COMPRESSION_NONE;
    }

    void use_channels(Names const& names)
    {
        CanvasShape shape;
        shape.width = 20;
        shape.height = 10;
        shape.channels = names;
        canvas = std::make_unique<TestCanvas>(shape);
    }
    ImageIO::SavingStatus build(std::string const& path)
    {
        return ImageIOSave::build_outputs(&app, options, path.c_str(), &canvas->map(), canvas->data_window(),
                                          canvas->canvas_rectangle(), outputs);
    }
    /// "name file: channel channel" of each output; the file without its folder, null channels as "-".
    Names planned()
    {
        Names texts;
        for (unsigned int index = 0; index < outputs.get_count(); ++index) {
            ImageIOOutput& output = outputs[index];
            std::string const file = output.get_filename().get_data();
            std::string text = output.get_name().get_data() + std::string(" ") +
                               std::filesystem::path(file).filename().string() + ":";
            for (ImageMapChannel const* channel : output.get_channels())
                text += channel ? " " + std::string(channel->m_name.get_data()) : " -";
            texts.push_back(text);
        }
        return texts;
    }
    /// The lines of levels 1 and 2, and of what this folder says at level 3 beside the outputs' own.
    static Lines plan_lines(LogCapture const& log)
    {
        Lines lines;
        for (LogLine const& line : log.lines())
            if (line.level < 3 || line.text == kSeparate)
                lines.push_back(line);
        return lines;
    }

    TempDir folder;
    OfApp app;
    ImageSaveOptions options;
    std::unique_ptr<TestCanvas> canvas;
    ImageIOOutputs outputs;
};

Names const kColoursAndLayers{"r", "g", "b", "a", "diffuse.r", "depth", "diffuse.g"};

/// Of a writer that takes two channels, for all simple formats: the extension chooses the writer, not the
/// format.
std::string extension_of(Format::Save format)
{
    if (!holds_layers(format))
        return "tga";
    return format <= Format::SAVE_EXR32 ? "exr" : "tif";
}

TEST_F(BuildOutputs, EveryFormatAndSettingMakesTheFilesOfTheTable)
{
    use_channels(kColoursAndLayers);
    for (Format::Save const format : kAllFormats)
        for (int settings = 0; settings < 8; ++settings) {
            bool const one_file_per_aov = settings & 1, in_all_formats = settings & 2,
                       aovs_only = settings & 4;
            app.output_one_file_per_aov = one_file_per_aov;
            app.output_aovs_in_all_formats = in_all_formats;
            app.output_aovs_only = aovs_only;
            options.format = format;
            std::string const end = "." + extension_of(format);
            Names const layers{"diffuse a_diffuse" + end + ": diffuse.r diffuse.g",
                               "depth a_depth" + end + ": depth"};
            Names expected;
            Lines lines;
            if (one_file_per_aov || (!holds_layers(format) && in_all_formats)) {
                if (!aovs_only)
                    expected.push_back("RGBA a" + end + ": r g b a");
                expected.insert(expected.end(), layers.begin(), layers.end());
                if (!one_file_per_aov)
                    lines.push_back({3, kSeparate});
            } else if (!holds_layers(format)) {
                expected = {"image a" + end + ": r g b a"};
                lines.push_back({2, kIgnoring});
            } else if (aovs_only) {
                expected = {"image a" + end + ": diffuse.r depth diffuse.g"};
            } else {
                expected = {"image a" + end + ": r g b a diffuse.r depth diffuse.g"};
            }
            SCOPED_TRACE("format " + std::to_string(format) + ", settings " + std::to_string(settings));
            LogCapture const log;
            outputs = ImageIOOutputs();

            EXPECT_EQ(build(folder.file("a" + end)), ImageIO::SAVING_STATUS_SUCCESS);

            EXPECT_EQ(planned(), expected);
            EXPECT_EQ(plan_lines(log), lines);
        }
}

TEST_F(BuildOutputs, FourChannelsOrFewerMakeOneFileWithoutALine)
{
    use_channels({"r", "g", "b", "a"});
    for (bool const in_all_formats : {false, true}) {
        app.output_aovs_in_all_formats = in_all_formats;
        options.format = Format::SAVE_PNG8;
        LogCapture const log;
        outputs = ImageIOOutputs();

        EXPECT_EQ(build(folder.file("a.png")), ImageIO::SAVING_STATUS_SUCCESS);

        EXPECT_EQ(planned(), Names{"image a.png: r g b a"});
        EXPECT_EQ(plan_lines(log), Lines{});
    }
}

TEST_F(BuildOutputs, WithFewChannelsTheSettingForAllFormatsKeepsLayersInTheOneFile)
{
    use_channels({"r", "depth"});
    app.output_aovs_in_all_formats = true;
    options.format = Format::SAVE_PNG8;

    EXPECT_EQ(build(folder.file("a.png")), ImageIO::SAVING_STATUS_SUCCESS);
    EXPECT_EQ(planned(), Names{"image a.png: r depth"});

    outputs = ImageIOOutputs();
    app.output_aovs_only = true;
    EXPECT_EQ(build(folder.file("a.png")), ImageIO::SAVING_STATUS_SUCCESS);
    EXPECT_EQ(planned(), Names{"image a.png: depth"});

    outputs = ImageIOOutputs();
    app.output_aovs_in_all_formats = false;
    EXPECT_EQ(build(folder.file("a.png")), ImageIO::SAVING_STATUS_SUCCESS);
    EXPECT_EQ(planned(), Names{"image a.png: r"});
}

TEST_F(BuildOutputs, TheNumberOfChannelsCountsNotThatOfLayers)
{
    use_channels({"r", "g", "b", "a", "l"});  // five channels, and no layer
    options.format = Format::SAVE_TARGA;
    LogCapture const log;

    EXPECT_EQ(build(folder.file("a.tga")), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(plan_lines(log), (Lines{{2, kIgnoring}}));
    EXPECT_EQ(planned(), Names{"image a.tga: r g b a"});  // luminance is no colour here
}

TEST_F(BuildOutputs, ColoursAreFoundByNameInTheMapsOrder)
{
    use_channels({"depth", "a", "r", "r"});
    options.format = Format::SAVE_PNG8;

    EXPECT_EQ(build(folder.file("a.png")), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(planned(), Names{"image a.png: a r r"});
}

TEST_F(BuildOutputs, NullEntriesStayOnlyWhereAllChannelsGo)
{
    use_channels({"r", "g", "depth"});
    canvas->map().m_channels.add(nullptr);
    auto const file_of = [&](Format::Save format, bool aovs_only) {
        options.format = format;
        app.output_aovs_only = aovs_only;
        outputs = ImageIOOutputs();
        EXPECT_EQ(build(folder.file("a." + extension_of(format))), ImageIO::SAVING_STATUS_SUCCESS);
        return planned().at(0);
    };

    EXPECT_EQ(file_of(Format::SAVE_TIFF8, false), "image a.tif: r g depth -");
    EXPECT_EQ(file_of(Format::SAVE_TIFF8, true), "image a.tif: depth");
    EXPECT_EQ(file_of(Format::SAVE_BMP, false), "image a.tga: r g");
}

TEST_F(BuildOutputs, NothingToSaveWithoutColours)
{
    use_channels({"depth", "l"});
    options.format = Format::SAVE_PNG8;
    std::string const path = folder.file("a.png");
    LogCapture const log;

    EXPECT_EQ(build(path), ImageIO::SAVING_STATUS_NOTHING_TO_SAVE);

    EXPECT_EQ(outputs.get_count(), 0u);
    EXPECT_EQ(log.lines(), (Lines{{3, "Closed '" + path + "'.\n"}}));  // the output that was being prepared
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(BuildOutputs, NothingToSaveWithoutLayers)
{
    use_channels({"r", "g", "b", "a"});
    app.output_aovs_only = true;
    LogCapture const log(2);

    EXPECT_EQ(build(folder.file("a.tif")), ImageIO::SAVING_STATUS_NOTHING_TO_SAVE);
    app.output_one_file_per_aov = true;
    EXPECT_EQ(build(folder.file("a.tif")), ImageIO::SAVING_STATUS_NOTHING_TO_SAVE);

    EXPECT_EQ(outputs.get_count(), 0u);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(BuildOutputs, AMapWithoutColoursMatchesNothingAsAColour)
{
    use_channels({"depth", "", "x.r"});
    ASSERT_EQ(canvas->map().m_rgba_channels, nullptr);
    app.output_aovs_only = true;

    EXPECT_EQ(build(folder.file("a.tif")), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(planned(), Names{"image a.tif: depth  x.r"});
}

TEST_F(BuildOutputs, LayersThatBeginWithADotGetNoFile)
{
    use_channels({"r", "g", "b", "a", ".x", "z"});
    app.output_one_file_per_aov = true;

    EXPECT_EQ(build(folder.file("a.tif")), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(planned(), (Names{"RGBA a.tif: r g b a", "z a_z.tif: z"}));
}

TEST_F(BuildOutputs, NamedChannelsMakeTheMainFileOnly)
{
    use_channels(kColoursAndLayers);
    CoreVector<CoreString> const layers{"depth", "no such", "g", "r", "b"};
    options.layers = &layers;

    EXPECT_EQ(build(folder.file("a.tif")), ImageIO::SAVING_STATUS_SUCCESS);
    EXPECT_EQ(planned(), Names{"image a.tif: r g b a diffuse.r depth diffuse.g"});

    app.output_one_file_per_aov = true;
    outputs = ImageIOOutputs();
    EXPECT_EQ(build(folder.file("a.tif")), ImageIO::SAVING_STATUS_SUCCESS);
    EXPECT_EQ(planned().at(0), "RGBA a.tif: depth g r");  // the first four names
}

TEST_F(BuildOutputs, LayerNamesGoInFrontOfTheFrameNumber)
{
    use_channels({"r", "depth"});
    app.output_one_file_per_aov = true;

    EXPECT_EQ(build(folder.file("a.0007.tif")), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(planned(), (Names{"RGBA a.0007.tif: r", "depth a_depth.0007.tif: depth"}));
}

TEST_F(BuildOutputs, MetadataGoesToTheMainFileAlone)
{
    use_channels({"r", "g", "b", "depth"});
    app.output_one_file_per_aov = true;
    options.meta_data = {{"comment", {CoreVariant("hello")}}};
    ScriptedFile const main_file(folder, WriteScript{}, "a.zvs"),
        layer_file(folder, WriteScript{}, "a_depth.zvs");

    EXPECT_EQ(build(main_file.path()), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(main_file.written().spec.get_string_attribute("comment"), "hello");
    EXPECT_EQ(layer_file.written().spec.get_string_attribute("comment"), "");
    EXPECT_EQ(options.meta_data.get_count(), 1u);

    app.output_one_file_per_aov = false;
    outputs = ImageIOOutputs();
    ScriptedFile const single(folder, WriteScript{}, "b.zvs");
    EXPECT_EQ(build(single.path()), ImageIO::SAVING_STATUS_SUCCESS);
    EXPECT_EQ(single.written().spec.get_string_attribute("comment"), "hello");
}

TEST_F(BuildOutputs, FilesThatDoNotOpenEndIt)
{
    use_channels({"r", "g", "b", "depth", "normal.x"});
    app.output_one_file_per_aov = true;
    WriteScript bad;
    bad.open = WriteScript::REFUSE;
    bad.open_error = "no room";
    ScriptedFile const main_file(folder, WriteScript{}, "a.zvs"), second(folder, bad, "a_depth.zvs"),
        third(folder, WriteScript{}, "a_normal.zvs");
    LogCapture const log;

    EXPECT_EQ(build(main_file.path()), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    EXPECT_EQ(planned(), Names{"RGBA a.zvs: r g b"});  // still open
    EXPECT_EQ(main_file.written().calls.size(), 1u);
    EXPECT_EQ(third.written().calls, Names{});
    EXPECT_EQ(log.lines(), (Lines{{3, "Opened '" + main_file.path() + "' for writing.\n"},
                                  {1, "Error while opening '" + second.path() + "'.\n"},
                                  {1, "OpenImageIO error: no room\n"},
                                  {1, "Failed to open '" + second.path() + "' for writing.\n"},
                                  {3, "Closed '" + second.path() + "'.\n"}}));
}

TEST_F(BuildOutputs, AFolderOfThatNameCannotBeWritten)
{
    use_channels({"r", "g", "b"});
    for (char const* name : {"f.tif", "f.exr", "f.png"}) {
        std::filesystem::create_directory(folder.file(name));
        options.format = std::string(name) == "f.exr" ? Format::SAVE_EXR16 : Format::SAVE_TIFF8;
        LogCapture const log;

        EXPECT_EQ(build(folder.file(name)), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE) << name;

        EXPECT_TRUE(std::filesystem::is_directory(folder.file(name))) << name;
        EXPECT_EQ(outputs.get_count(), 0u);
    }
}

TEST_F(BuildOutputs, AMainFileWithoutChannelsCannotBeWritten)
{
    use_channels({"depth"});
    app.output_one_file_per_aov = true;
    for (auto const format : {Format::SAVE_TIFF8, Format::SAVE_EXR16}) {
        options.format = format;
        std::string const path = folder.file("a." + extension_of(format));
        LogCapture const log;

        EXPECT_EQ(build(path), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

        EXPECT_FALSE(std::filesystem::exists(path)) << path;
    }
}

TEST_F(BuildOutputs, WorksWithoutAnApplicationAsWithItsDefaults)
{
    use_channels({"r", "g", "b", "depth"});

    EXPECT_EQ(ImageIOSave::build_outputs(nullptr, options, folder.file("a.tif").c_str(), &canvas->map(),
                                         canvas->data_window(), canvas->canvas_rectangle(), outputs),
              ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(planned(), Names{"image a.tif: r g b depth"});
}

TEST_F(BuildOutputs, WithoutAMapThereIsNothingToSave)
{
    EXPECT_EQ(ImageIOSave::build_outputs(&app, options, folder.file("a.tif").c_str(), nullptr, {0, 0, 1, 1},
                                         {0, 0, 1, 1}, outputs),
              ImageIO::SAVING_STATUS_NOTHING_TO_SAVE);
}

TEST_F(BuildOutputs, OrdersLayerFilesAsTheTableOfLayersWalks)
{
    app.output_one_file_per_aov = true;
    app.output_aovs_only = true;
    for (int count : {256, 300}) {
        Names layers, files;
        for (int number = count; number > 0; --number)
            layers.push_back("n" + std::to_string(number));
        use_channels(layers);
        Names const order = count > 256 ? hash_order(layers) : layers;
        for (std::string const& layer : order)
            files.push_back(layer + " a_" + layer + ".tif: " + layer);
        outputs = ImageIOOutputs();
        LogCapture const log(2);

        EXPECT_EQ(build(folder.file("a.tif")), ImageIO::SAVING_STATUS_SUCCESS);

        EXPECT_EQ(planned(), files) << count;
        EXPECT_EQ(order != layers, count > 256);
    }
}

}  // namespace
