#include <stdexcept>

#include <gtest/gtest.h>

#include "host/app_base/app_progress_bar.h"
#include "host/of/of_app.h"
#include "image_io/frame/image_io.h"
#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"
#include "tests/save/test_canvas.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"
#include "tests/support/throwing_bar.h"

// Bars are the application's: what their display throws ends a save at worst.

namespace {

using namespace zv_test;
using Format = ImageIOFileFormat;
using Lines = std::vector<LogLine>;

struct ThrowingApp : OfApp {
    int countdown = 0;
    std::vector<AppProgressBar const*> bars;

protected:
    std::unique_ptr<AppProgressBar> make_progress_bar(CoreString const&, bool, bool) override
    {
        auto bar = std::make_unique<ThrowingBar>(countdown);
        bars.push_back(bar.get());
        return bar;
    }
};

class ThrowingBars : public testing::TestWithParam<std::tuple<Format::Save, int>> {};

INSTANTIATE_TEST_SUITE_P(Roads, ThrowingBars,
                         testing::Combine(testing::Values(Format::SAVE_EXR16, Format::SAVE_TIFF8,
                                                          Format::SAVE_PNG8),
                                          testing::Values(0, 1)));

TEST_P(ThrowingBars, EndASaveAtWorst)
{
    auto const [format, tiling_mode] = GetParam();
    int ended = 0, went_on = 0;
    for (int change = 0; change < 24; ++change) {
        TempDir const folder;
        ThrowingApp app;
        app.tiling_mode = tiling_mode;
        app.countdown = change;
        ThrowingBar whole(app.countdown);
        TestCanvas const canvas;
        ImageSaveOptions options;
        options.format = format;
        options.color_space = "";
        options.compression = Format::COMPRESSION_NONE;
        LogCapture const log(1);
        char const* const name = format == Format::SAVE_EXR16   ? "a.exr"
                                 : format == Format::SAVE_TIFF8 ? "a.tif"
                                                                : "a.png";

        auto const status =
            ImageIO::save(folder.file(name).c_str(), options, canvas.canvas(), &app, &whole, nullptr);

        (status == ImageIO::SAVING_STATUS_SUCCESS ? went_on : ended) += 1;
        if (status == ImageIO::SAVING_STATUS_SUCCESS) {
            EXPECT_GE(read_picture(folder.file(name)).spec.width, 47);  // tiles are whole
        }
        EXPECT_EQ(log.lines().empty(), status == ImageIO::SAVING_STATUS_SUCCESS) << change;
        for (AppProgressBar const* bar : app.bars)
            EXPECT_TRUE(bar->m_finished) << change;
    }
    EXPECT_GT(ended, 0);
    EXPECT_GT(went_on, 0);
}

TEST(ThrowingBar, EndTheGenericSaveItself)
{
    int countdown = 0;
    ThrowingBar bar(countdown);
    bar.set_step_count(2);
    TestCanvas const canvas;
    ImageSaveOptions options;
    options.format = static_cast<Format::Save>(77);
    LogCapture const log(1);
    bool const throws_by_itself = [&] {
        try {
            bar.set_value(1.0f);
        } catch (std::runtime_error const&) {
            return true;
        }
        return false;
    }();
    ASSERT_TRUE(throws_by_itself);
    countdown = 0;

    EXPECT_EQ(ImageIOSave::save_generic(canvas.context(), "/no/such/folder/a.tif", options, &canvas.map(),
                                        canvas.canvas_rectangle(), canvas.data_window(), nullptr, &bar),
              ImageIO::SAVING_STATUS_WRITE_FAILED);
    EXPECT_EQ(log.lines(), (Lines{{1, "Could not write /no/such/folder/a.tif, error = no display\n"}}));
}

/// Throws where a save tells how many steps there will be.
struct BarWithoutSteps : AppProgressBar {
    BarWithoutSteps()
        : AppProgressBar("no steps")
    {
    }
    void set_step_count(unsigned int) override { throw std::runtime_error("no display"); }
};

TEST(ThrowingBar, IsToldByEachOperationThatItEnds)
{
    TempDir const folder;
    std::string const name = folder.file("a.tif");
    BarWithoutSteps bar;
    TestCanvas const canvas;
    ImageSaveOptions options;
    options.format = Format::SAVE_TIFF8;
    options.color_space = "";
    LogCapture const log(1);

    EXPECT_EQ(ImageIOSave::save_advanced(canvas.context(), name.c_str(), options, &canvas.map(),
                                         canvas.canvas_rectangle(), canvas.data_window(), nullptr, &bar),
              ImageIO::SAVING_STATUS_WRITE_FAILED);
    EXPECT_EQ(ImageIOSave::save_basic(canvas.context(), name.c_str(), options, &canvas.map(),
                                      canvas.canvas_rectangle(), nullptr, &bar),
              ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);
    ImageIOOutputs outputs;
    ImageEvalContext context = canvas.context();
    EXPECT_EQ(ImageIOSave::save(nullptr, outputs, context, &bar), ImageIO::SAVING_STATUS_WRITE_FAILED);

    LogLine const with_file{1, "Could not write " + name + ", error = no display\n"};
    EXPECT_EQ(log.lines(),
              (Lines{with_file, with_file, {1, "Could not write the image, error = no display\n"}}));
}

TEST(ThrowingApplication, EndsASaveThatSaysSo)
{
    struct AppWithoutBars : OfApp {
        std::unique_ptr<AppProgressBar> make_progress_bar(CoreString const&, bool, bool) override
        {
            throw std::runtime_error("no bars");
        }
    } app;
    TempDir const folder;
    std::string const name = folder.file("a.exr");
    AppProgressBar bar("whole");
    TestCanvas const canvas;
    ImageSaveOptions options;
    options.format = Format::SAVE_EXR16;
    LogCapture const log(1);

    EXPECT_EQ(ImageIO::save(name.c_str(), options, canvas.canvas(), &app, &bar, nullptr),
              ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    EXPECT_EQ(log.lines(), (Lines{{1, "Could not write " + name + ", error = no bars\n"}}));
}

}  // namespace
