#include <OpenImageIO/imageio.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"
#include "tests/save/recording_app.h"
#include "tests/save/test_canvas.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_format.h"

namespace {

using namespace zv_test;
using Format = ImageIOFileFormat;
using Lines = std::vector<LogLine>;
using Names = std::vector<std::string>;
using Rectangle = GMathVec4<int>;

/// Three files, "a.zvs", "a_depth.zvs" and "a_normal.zvs", each with a script.
class SaveOutputs : public testing::Test {
protected:
    SaveOutputs()
        : whole("whole", app.log)
    {
        options.format = Format::SAVE_TIFF32;
        options.color_space = "";
        app.output_one_file_per_aov = true;
        CanvasShape shape;
        shape.channels = {"r", "g", "b", "depth", "normal.x"};
        canvas = std::make_unique<TestCanvas>(shape);
        context = canvas->context();
    }
    void make_files(WriteScript const& main_script = {}, WriteScript const& depth_script = {},
                    WriteScript const& normal_script = {})
    {
        main_file = std::make_unique<ScriptedFile>(folder, main_script, "a.zvs");
        depth_file = std::make_unique<ScriptedFile>(folder, depth_script, "a_depth.zvs");
        normal_file = std::make_unique<ScriptedFile>(folder, normal_script, "a_normal.zvs");
    }
    ImageIO::SavingStatus save_advanced(AppProgressBar* progress = nullptr)
    {
        return ImageIOSave::save_advanced(context, main_file->path().c_str(), options, &canvas->map(),
                                          canvas->canvas_rectangle(), canvas->data_window(), &app, progress);
    }
    ImageIO::SavingStatus build(ImageIOOutputs& outputs)
    {
        return ImageIOSave::build_outputs(&app, options, main_file->path().c_str(), &canvas->map(),
                                          canvas->data_window(), canvas->canvas_rectangle(), outputs);
    }
    static Names bars_of(Names const& log)
    {
        Names found;
        for (std::string const& line : log)
            if (line.rfind("new bar", 0) == 0 || line.find("finish") != std::string::npos ||
                line.rfind("whole: ", 0) == 0)
                found.push_back(line);
        return found;
    }

    TempDir folder;
    RecordingApp app;
    SharedProgress whole;
    ImageSaveOptions options;
    std::unique_ptr<TestCanvas> canvas;
    ImageEvalContext context;
    std::unique_ptr<ScriptedFile> main_file, depth_file, normal_file;
};

TEST_F(SaveOutputs, AdvancedWritesEveryPlannedFileAndClosesIt)
{
    make_files();
    LogCapture const log;

    EXPECT_EQ(save_advanced(&whole), ImageIO::SAVING_STATUS_SUCCESS);

    for (ScriptedFile const* file : {main_file.get(), depth_file.get(), normal_file.get()})
        EXPECT_EQ(file->written().calls.back(), "destroy");
    EXPECT_EQ(depth_file->written().samples[48], encoded(3, 1, 1));
    EXPECT_EQ(
        bars_of(app.log),
        (Names{"whole: set_value 0", "whole: set_step_count 3", "new bar 'whole (RGBA)'",
               "whole (RGBA): finish", "whole: step 0", "new bar 'whole (depth)'", "whole (depth): finish",
               "whole: step 1", "new bar 'whole (normal)'", "whole (normal): finish", "whole: step 2"}));
    std::string const m = "'" + main_file->path() + "'", d = "'" + depth_file->path() + "'",
                      n = "'" + normal_file->path() + "'";
    EXPECT_EQ(log.lines(), (Lines{{3, "Opened " + m + " for writing.\n"},
                                  {3, "Opened " + d + " for writing.\n"},
                                  {3, "Opened " + n + " for writing.\n"},
                                  {3, "Writing " + m + " ...\n"},
                                  {3, "Writing " + d + " ...\n"},
                                  {3, "Writing " + n + " ...\n"},
                                  {3, "Closed " + m + ".\n"},
                                  {3, "Closed " + d + ".\n"},
                                  {3, "Closed " + n + ".\n"}}));
}

TEST_F(SaveOutputs, AdvancedStopsAtTheFirstFailureAndClosesAll)
{
    WriteScript bad;
    bad.close = WriteScript::REFUSE;
    bad.close_error = "still wet";
    make_files({}, bad);
    LogCapture const log(1);

    EXPECT_EQ(save_advanced(&whole), ImageIO::SAVING_STATUS_WRITE_FAILED);

    Names const untouched = normal_file->written().calls;
    EXPECT_EQ(untouched, (Names{"open 47 by 33, 1 channels of float", "close", "destroy"}));
    EXPECT_EQ(app.log.back(), "whole: step 1");
    EXPECT_TRUE(app.bars.back()->m_finished);
    ASSERT_GE(log.lines().size(), 2u);
    EXPECT_EQ(log.lines()[0], (LogLine{1, "OpenImageIO error: still wet\n"}));
    EXPECT_EQ(log.lines()[1], (LogLine{1, "Failed to write '" + depth_file->path() + "'.\n"}));
}

TEST_F(SaveOutputs, AdvancedReturnsTheStatusOfThePlan)
{
    WriteScript bad;
    bad.open = WriteScript::REFUSE;
    make_files({}, {}, bad);
    LogCapture const log;

    EXPECT_EQ(save_advanced(&whole), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    EXPECT_EQ(app.log, Names{"whole: set_value 0"});
    EXPECT_EQ(main_file->written().calls, (Names{"open 47 by 33, 3 channels of float", "close", "destroy"}));
}

TEST_F(SaveOutputs, SaveWritesAPlannedListAndLeavesItWithTheCaller)
{
    make_files();
    ImageIOOutputs outputs;
    ASSERT_EQ(build(outputs), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(ImageIOSave::save(&app, outputs, context, &whole), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(app.log.at(0), "whole: set_step_count 3");
    EXPECT_EQ(app.log.back(), "whole: step 2");
    EXPECT_EQ(outputs.get_count(), 3u);
    EXPECT_EQ(main_file->written().calls.back(), "close");
}

TEST_F(SaveOutputs, SaveStopsAtTheFirstFailure)
{
    WriteScript bad;
    bad.close = WriteScript::THROW;
    make_files(bad);
    ImageIOOutputs outputs;
    ASSERT_EQ(build(outputs), ImageIO::SAVING_STATUS_SUCCESS);
    LogCapture const log(0);

    EXPECT_EQ(ImageIOSave::save(&app, outputs, context, &whole), ImageIO::SAVING_STATUS_WRITE_FAILED);

    EXPECT_EQ(depth_file->written().calls.size(), 1u);
    EXPECT_EQ(app.log.back(), "whole: step 0");
}

TEST_F(SaveOutputs, AnEmptyListIsASuccess)
{
    ImageIOOutputs outputs;

    EXPECT_EQ(ImageIOSave::save(&app, outputs, context, &whole), ImageIO::SAVING_STATUS_SUCCESS);
    EXPECT_EQ(ImageIOSave::save_region(&app, outputs, context, Rectangle(0, 0, 1, 1), &whole),
              ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(app.log, Names{"whole: set_step_count 0"});
}

TEST_F(SaveOutputs, SaveRegionGivesEachOutputTheRegionAndTheBar)
{
    make_files();
    ImageIOOutputs outputs;
    ASSERT_EQ(build(outputs), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(ImageIOSave::save_region(nullptr, outputs, context, Rectangle(0, 16, 47, 16), &whole),
              ImageIO::SAVING_STATUS_SUCCESS);

    for (ScriptedFile const* file : {main_file.get(), depth_file.get(), normal_file.get()})
        EXPECT_EQ(file->written().calls.back(), "write_scanlines 16 32, z 1, float");
    EXPECT_EQ(std::count(app.log.begin(), app.log.end(), "whole: set_value 1"), 3);
    for (std::string const& line : app.log)
        EXPECT_TRUE(line.rfind("new bar", 0) != 0 && line.find("step") == std::string::npos) << line;
}

TEST_F(SaveOutputs, SaveRegionStopsAtTheFirstFailure)
{
    make_files();
    ImageIOOutputs outputs;
    ASSERT_EQ(build(outputs), ImageIO::SAVING_STATUS_SUCCESS);
    outputs[1].get_channels().clear();  // what the file was opened for is gone
    LogCapture const log(1);

    EXPECT_EQ(ImageIOSave::save_region(&app, outputs, context, Rectangle(0, 0, 47, 16), nullptr),
              ImageIO::SAVING_STATUS_WRITE_FAILED);

    EXPECT_EQ(normal_file->written().calls.size(), 1u);
    EXPECT_EQ(log.lines(), (Lines{{1, "Failed to write '" + depth_file->path() + "'.\n"}}));
}

TEST_F(SaveOutputs, RegionsAndTheWholeMakeTheSamePicture)
{
    app.output_one_file_per_aov = false;
    for (char const* name : {"a.tif", "a.png", "a.tga"}) {
        bool const is_tiff = std::string(name) == "a.tif";
        options.format = is_tiff ? Format::SAVE_TIFF32 : Format::SAVE_PNG8;
        auto const build_file = [&](std::string const& path, ImageIOOutputs& outputs) {
            return ImageIOSave::build_outputs(&app, options, path.c_str(), &canvas->map(),
                                              canvas->data_window(), canvas->canvas_rectangle(), outputs);
        };
        std::string const whole_path = folder.file(std::string("whole_") + name),
                          parts_path = folder.file(std::string("parts_") + name);
        {
            ImageIOOutputs whole_file, parts;
            ASSERT_EQ(build_file(whole_path, whole_file), ImageIO::SAVING_STATUS_SUCCESS);
            ASSERT_EQ(build_file(parts_path, parts), ImageIO::SAVING_STATUS_SUCCESS);
            EXPECT_EQ(ImageIOSave::save(&app, whole_file, context, nullptr), ImageIO::SAVING_STATUS_SUCCESS);
            for (int y = 0; y < 33; y += 16)
                EXPECT_EQ(ImageIOSave::save_region(&app, parts, context, Rectangle(0, y, 47, 16), nullptr),
                          ImageIO::SAVING_STATUS_SUCCESS);
        }
        EXPECT_EQ(read_picture(parts_path).samples, read_picture(whole_path).samples) << name;
    }
}

// Which road a format takes

TEST_F(SaveOutputs, GenericSendsTheSimpleFormatsThroughOneBuffer)
{
    app.output_one_file_per_aov = false;
    CanvasShape shape;
    TestCanvas const small(shape);
    for (int format = 0; format <= 11; ++format) {
        ScriptedFile const file(folder, WriteScript{});
        options.format = static_cast<Format::Save>(format);
        if (options.is_file_exr())
            continue;  // does not ask OpenImageIO

        EXPECT_EQ(ImageIOSave::save_generic(small.context(), file.path().c_str(), options, &small.map(),
                                            small.canvas_rectangle(), small.data_window(), &app, nullptr),
                  ImageIO::SAVING_STATUS_SUCCESS);

        bool const is_simple = format >= 2 && format <= 6;
        EXPECT_EQ(file.written().calls.at(1),
                  is_simple ? "write_image float" : "write_scanlines 0 16, z 1, float");
    }
}

TEST_F(SaveOutputs, GenericFillsTheBarBeforeAndAfterWhateverTheStatus)
{
    make_files();
    options.format = Format::SAVE_PNG8;
    LogCapture const log(0);

    EXPECT_EQ(ImageIOSave::save_generic(context, folder.file("a.zzz").c_str(), options, &canvas->map(),
                                        canvas->canvas_rectangle(), canvas->data_window(), &app, &whole),
              ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    EXPECT_EQ(app.log.front(), "whole: set_value 0");
    EXPECT_EQ(app.log.back(), "whole: set_value 1");
}

TEST(ImageIOSaveClass, RegistersOneClassRecord)
{
    CoreClassInfo const& record = ImageIOSave::class_info();
    ImageIOSave target, source;

    EXPECT_EQ(record.get_name(), "ImageIOSave");
    EXPECT_EQ(record.get_base(), &CoreBaseType::class_info());
    EXPECT_EQ(&ImageIOSave().get_class_info(), &record);
    EXPECT_TRUE(ImageIOSave::___class_destructor__(new ImageIOSave, true));
    EXPECT_TRUE(ImageIOSave::___class_destructor__(new ImageIOSave, false));
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(&(target = ImageIOSave()), &target);
}

}  // namespace
