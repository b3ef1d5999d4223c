#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>

#include "host/of/of_app.h"
#include "image_io/frame/image_io.h"
#include "image_io/save/image_save_options.h"
#include "tests/save/test_canvas.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace {

std::atomic<int> g_releases = 0;  // saves release from their own threads

}  // namespace

/// In the place of the C library's own: the host asks it for nothing else.
extern "C" int malloc_trim(std::size_t) noexcept
{
    ++g_releases;
    return 0;
}

namespace {

using namespace zv_test;
using Format = ImageIOFileFormat;

struct ReleaseCase {
    char const* label;
    char const* name;
    Format::Save format;
    bool is_empty_crop;
    ImageIO::SavingStatus status;
    int releases;
};

class MemoryOfASave : public testing::TestWithParam<ReleaseCase> {};

TEST_P(MemoryOfASave, GoesBackToTheSystemAtItsEnd)
{
    TempDir const folder;
    TestCanvas const canvas;
    OfApp app;
    ImageSaveOptions options;
    options.format = GetParam().format;
    options.compression = Format::COMPRESSION_NONE;
    options.color_space = "";
    GMathVec4<float> const nothing(0, 0, 0, 0);
    LogCapture const log(0);
    g_releases = 0;

    EXPECT_EQ(ImageIO::save(folder.file(GetParam().name).c_str(), options, canvas.canvas(), &app, nullptr,
                            GetParam().is_empty_crop ? &nothing : nullptr),
              GetParam().status);

    EXPECT_EQ(g_releases, GetParam().releases);
}

INSTANTIATE_TEST_SUITE_P(Cases, MemoryOfASave,
                         testing::Values(ReleaseCase{"success", "a.exr", Format::SAVE_EXR16, false,
                                                     ImageIO::SAVING_STATUS_SUCCESS, 1},
                                         ReleaseCase{"simple", "a.png", Format::SAVE_PNG8, false,
                                                     ImageIO::SAVING_STATUS_SUCCESS, 1},
                                         ReleaseCase{"failure", "none/a.exr", Format::SAVE_EXR16, false,
                                                     ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE, 1},
                                         ReleaseCase{"nothing", "a.exr", Format::SAVE_EXR16, true,
                                                     ImageIO::SAVING_STATUS_NOTHING_TO_SAVE, 0}),
                         [](auto const& row) { return row.param.label; });

}  // namespace
