#include <OpenImageIO/imageio.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"
#include "tests/save/jenkins_order.h"
#include "tests/save/recording_app.h"
#include "tests/save/test_canvas.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_format.h"

namespace {

using namespace zv_test;
using Format = ImageIOFileFormat;
using Lines = std::vector<LogLine>;
using Names = std::vector<std::string>;

class SaveBasic : public testing::Test {
protected:
    SaveBasic()
        : whole("whole", app.log)
    {
        options.format = Format::SAVE_PNG8;
        options.color_space = "";
        shape.width = 6;
        shape.height = 5;
        shape.channels = {"r", "g", "b", "a", "diffuse.r", "depth", "diffuse.g"};
    }
    ImageIO::SavingStatus save(std::string const& path, AppProgressBar* progress = nullptr)
    {
        TestCanvas const canvas(shape);
        return ImageIOSave::save_basic(canvas.context(), path.c_str(), options, &canvas.map(),
                                       canvas.canvas_rectangle(), &app, progress);
    }

    TempDir folder;
    RecordingApp app;
    SharedProgress whole;
    ImageSaveOptions options;
    CanvasShape shape;
};

TEST_F(SaveBasic, WritesTheMainFileAlone)
{
    EXPECT_EQ(save(folder.file("a.png")), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(read_picture(folder.file("a.png")).spec.nchannels, 4);
    EXPECT_FALSE(std::filesystem::exists(folder.file("a_diffuse.png")));
    EXPECT_EQ(app.log, Names{});
}

TEST_F(SaveBasic, WritesAFileForEachLayerBesideIt)
{
    app.output_aovs_in_all_formats = true;

    EXPECT_EQ(save(folder.file("a.0001.png")), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(read_picture(folder.file("a.0001.png")).spec.nchannels, 4);
    auto const diffuse = read_picture(folder.file("a_diffuse.0001.png")),
               depth = read_picture(folder.file("a_depth.0001.png"));
    EXPECT_EQ(diffuse.spec.nchannels, 3);
    EXPECT_NEAR(diffuse.at(0, 2, 3), encoded(4, 2, 3), 0.51 / 255);
    EXPECT_NEAR(diffuse.at(1, 2, 3), encoded(6, 2, 3), 0.51 / 255);
    EXPECT_EQ(diffuse.at(2, 2, 3), 0.0f);
    EXPECT_NEAR(depth.at(0, 2, 3), encoded(5, 2, 3), 0.51 / 255);
    EXPECT_EQ(depth.at(1, 2, 3), 0.0f);
}

TEST_F(SaveBasic, TakesTheFirstFourNamedChannels)
{
    shape.channels = {"r", "g", "b", "a", "depth"};
    CoreVector<CoreString> const layers{"depth", "no such", "b", "g", "r"};
    options.layers = &layers;
    ScriptedFile const file(folder, WriteScript{});

    EXPECT_EQ(save(file.path()), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(file.written().spec.nchannels, 3);
    EXPECT_EQ(file.written().samples[0], encoded(4, 0, 0));
    EXPECT_EQ(file.written().samples[1], encoded(2, 0, 0));
    EXPECT_EQ(file.written().samples[2], encoded(1, 0, 0));
}

TEST_F(SaveBasic, AMapWithoutColoursMakesABlackMainFile)
{
    shape.channels = {"depth"};
    ScriptedFile const file(folder, WriteScript{});

    EXPECT_EQ(save(file.path()), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(file.written().samples, std::vector<float>(6 * 5 * 3));
}

TEST_F(SaveBasic, TellsTheBarEachFile)
{
    app.output_aovs_in_all_formats = true;

    EXPECT_EQ(save(folder.file("a.png"), &whole), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(app.log,
              (Names{"whole: set_value 0", "whole: set_step_count 3", "new bar 'whole (RGB) '",
                     "whole (RGB) : set_value 0", "whole (RGB) : set_value 1", "whole (RGB) : finish",
                     "whole: step 1", "new bar 'whole (diffuse) '", "whole (diffuse) : set_value 0",
                     "whole (diffuse) : set_value 1", "whole (diffuse) : finish", "whole: step 2",
                     "new bar 'whole (depth) '", "whole (depth) : set_value 0", "whole (depth) : set_value 1",
                     "whole (depth) : finish", "whole: step 3"}));
    EXPECT_TRUE(app.bars.back()->m_finished);
}

TEST_F(SaveBasic, CountsLayersAsStepsEvenIfTheyAreNotWritten)
{
    EXPECT_EQ(save(folder.file("a.png"), &whole), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(app.log.at(1), "whole: set_step_count 3");
    EXPECT_EQ(app.log.back(), "whole: step 1");
}

TEST_F(SaveBasic, AFailureStopsNothingAndTheWorstStatusWins)
{
    app.output_aovs_in_all_formats = true;
    WriteScript bad;
    bad.write = WriteScript::REFUSE;
    bad.write_error = "torn";
    ScriptedFile const main_file(folder, bad, "a.zvs"), first(folder, bad, "a_diffuse.zvs"),
        second(folder, WriteScript{}, "a_depth.zvs");
    LogCapture const log;

    EXPECT_EQ(save(main_file.path(), &whole), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    EXPECT_EQ(second.written().calls.size(), 4u);
    EXPECT_EQ(log.lines(), (Lines{{1, "Could not write " + main_file.path() + ", error = torn\n"},
                                  {1, "Could not write " + first.path() + ", error = torn\n"}}));
    for (AppProgressBar const* bar : {app.bars.back()})
        EXPECT_TRUE(bar->m_finished);
    EXPECT_EQ(app.log.back(), "whole: step 3");
}

TEST_F(SaveBasic, ALayerThatFailsSpoilsAGoodMainFilesStatus)
{
    app.output_aovs_in_all_formats = true;
    WriteScript bad;
    bad.open = WriteScript::REFUSE;
    ScriptedFile const main_file(folder, WriteScript{}, "a.zvs"), first(folder, bad, "a_diffuse.zvs"),
        second(folder, WriteScript{}, "a_depth.zvs");
    LogCapture const log;

    EXPECT_EQ(save(main_file.path()), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);
}

TEST_F(SaveBasic, WithoutAnApplicationThereAreNoOtherBarsAndNoLayers)
{
    TestCanvas const canvas(shape);

    EXPECT_EQ(ImageIOSave::save_basic(canvas.context(), folder.file("a.png").c_str(), options, &canvas.map(),
                                      canvas.canvas_rectangle(), nullptr, &whole),
              ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(app.log, (Names{"whole: set_value 0", "whole: set_step_count 3", "whole: step 1"}));
}

TEST_F(SaveBasic, WritesLayersInTheOrderOfTheTable)
{
    app.output_aovs_in_all_formats = true;
    shape.width = shape.height = 1;
    shape.channels.clear();
    Names layers, bars;
    for (int number = 0; number < 300; ++number)
        layers.push_back("n" + std::to_string(number));
    shape.channels = layers;
    for (std::string const& layer : hash_order(layers))
        bars.push_back("new bar 'whole (" + layer + ") '");

    EXPECT_EQ(save(folder.file("a.bmp"), &whole), ImageIO::SAVING_STATUS_SUCCESS);

    Names found;
    for (std::string const& line : app.log)
        if (line.rfind("new bar 'whole (n", 0) == 0)
            found.push_back(line);
    EXPECT_EQ(found, bars);
    EXPECT_EQ(app.log.back(), "whole: step 301");
}

}  // namespace
