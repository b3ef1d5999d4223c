#include <algorithm>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/of/of_app.h"
#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"
#include "tests/save/file_size_limit.h"
#include "tests/save/test_canvas.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using namespace zv_test;
using Format = ImageIOFileFormat;
using Names = std::vector<std::string>;

constexpr auto kSuccess = ImageIO::SAVING_STATUS_SUCCESS, kFailed = ImageIO::SAVING_STATUS_WRITE_FAILED;

struct DroppedCase {
    char const* name;
    char const* extension;
    Format::Save format;
    int tiling_mode;
    std::size_t headers;  // bytes that take all headers, and of the pixels none or a few
};

void PrintTo(DroppedCase const& used, std::ostream* stream)
{
    *stream << used.name;
}

/// A save of colours and two layers, each in a file of its own.
class FilesWithoutPixels : public testing::TestWithParam<DroppedCase> {
protected:
    FilesWithoutPixels()
    {
        options.format = GetParam().format;
        options.compression = Format::COMPRESSION_NONE;
        options.color_space = "";
        app.tiling_mode = GetParam().tiling_mode;
        app.output_one_file_per_aov = app.output_aovs_in_all_formats = true;
        CanvasShape shape;
        shape.width = shape.height = 64;
        shape.channels = {"r", "g", "b", "depth", "normal.x"};
        canvas = std::make_unique<TestCanvas>(shape);
        context = canvas->context();
    }
    std::string path(std::string const& name) const { return folder.file(name + GetParam().extension); }
    ImageIO::SavingStatus save()
    {
        return ImageIO::save(path("a").c_str(), options, canvas->canvas(), &app, nullptr, nullptr);
    }
    ImageIO::SavingStatus build(ImageIOOutputs& outputs)
    {
        return ImageIOSave::build_outputs(&app, options, path("a").c_str(), &canvas->map(),
                                          canvas->data_window(), canvas->canvas_rectangle(), outputs);
    }
    Names files() const
    {
        Names found;
        for (auto const& entry : fs::directory_iterator(folder.path()))
            if (entry.is_regular_file())
                found.push_back(entry.path().stem().string());
        std::sort(found.begin(), found.end());
        return found;
    }

    TempDir folder;
    OfApp app;
    ImageSaveOptions options;
    std::unique_ptr<TestCanvas> canvas;
    ImageEvalContext context;
    LogCapture const log{0};
};

INSTANTIATE_TEST_SUITE_P(Formats, FilesWithoutPixels,
                         testing::Values(DroppedCase{"exr_lines", ".exr", Format::SAVE_EXR32, 0, 2000},
                                         DroppedCase{"exr_tiles", ".exr", Format::SAVE_EXR32, 1, 2000},
                                         DroppedCase{"tiff_strips", ".tif", Format::SAVE_TIFF32, 0, 2000},
                                         DroppedCase{"tiff_tiles", ".tif", Format::SAVE_TIFF32, 1, 2000},
                                         DroppedCase{"unknown_png", ".png", Format::SAVE_UNKNOWN, 0, 200}),
                         [](auto const& info) { return info.param.name; });

TEST_P(FilesWithoutPixels, OfOtherLayersGoAwayWithASaveThatFails)
{
    {
        FileSizeLimit const full(GetParam().headers);
        EXPECT_EQ(save(), kFailed);
    }
    EXPECT_EQ(files(), Names{});
    EXPECT_EQ(save(), kSuccess);
    EXPECT_EQ(files(), (Names{"a", "a_depth", "a_normal"}));
}

TEST_P(FilesWithoutPixels, GoAwayIfAnotherFileDoesNotOpen)
{
    fs::create_directory(path("a_normal"));
    EXPECT_EQ(save(), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);
    EXPECT_EQ(files(), Names{});
}

TEST_P(FilesWithoutPixels, StayIfTheyWereThereBefore)
{
    ASSERT_EQ(save(), kSuccess);
    {
        FileSizeLimit const full(GetParam().headers);
        EXPECT_EQ(save(), kFailed);
    }
    EXPECT_EQ(files(), (Names{"a", "a_depth", "a_normal"}));
}

TEST_P(FilesWithoutPixels, StayAfterARegionThatTheyWereGiven)
{
    {
        ImageIOOutputs outputs;
        ASSERT_EQ(build(outputs), kSuccess);
        ASSERT_EQ(ImageIOSave::save_region(&app, outputs, context, GMathVec4<int>(0, 0, 64, 16), nullptr),
                  kSuccess);
        FileSizeLimit const full(GetParam().headers);
        EXPECT_EQ(ImageIOSave::save(&app, outputs, context, nullptr), kFailed);
    }
    // Of OpenEXR's what came before the failure is kept. The main file is the one that failed.
    EXPECT_EQ(files(), (Names{"a_depth", "a_normal"}));
}

TEST_P(FilesWithoutPixels, GoAwayIfTheCallerSaysSo)
{
    {
        ImageIOOutputs outputs;
        ASSERT_EQ(build(outputs), kSuccess);
        ASSERT_EQ(outputs[0].write(context, nullptr), kSuccess);
        outputs.drop_empty_files(2);
    }
    EXPECT_EQ(files(), (Names{"a", "a_depth"}));
    {
        ImageIOOutputs outputs;
        ASSERT_EQ(build(outputs), kSuccess);
        outputs.drop_empty_files();
    }
    // They were there before.
    EXPECT_EQ(files(), (Names{"a", "a_depth"}));
}

TEST_P(FilesWithoutPixels, StayIfTheyAreWrittenAfterTheFailure)
{
    fs::create_directory(path("a_normal"));
    {
        ImageIOOutputs outputs;
        ASSERT_EQ(build(outputs), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);
        ASSERT_EQ(outputs.get_count(), 2u);
        EXPECT_EQ(outputs[0].write(context, nullptr), kSuccess);
    }
    EXPECT_EQ(files(), Names{"a"});
}

}  // namespace
