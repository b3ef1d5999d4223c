#include "tests/support/throwing_bar.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/load/loaded_picture.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"

// Bars are the application's: what their display throws ends a load at worst.

namespace {

using namespace zv_test;

struct ThrowingBarRow {
    char const* name;
    char const* file;
    int x, tile;
    char const* color_space;
};

class ThrowingBarsOfLoads : public testing::TestWithParam<ThrowingBarRow> {};

TEST_P(ThrowingBarsOfLoads, EndTheLoadAtWorst)
{
    ThrowingBarRow const& row = GetParam();
    TempDir const folder;
    std::string const path = folder.file(row.file);
    write_picture(path, picture_spec(100, 70, 4, OIIO::TypeDesc::FLOAT, row.x, 0, row.tile));
    ImageLoadOptions options = plain_options();
    if (row.color_space)
        options.color_space = row.color_space;
    LoadedPicture const undisturbed = load_picture(path, options);
    ASSERT_TRUE(undisturbed);
    int ended = 0, went_on = 0;
    bool has_thrown = true;
    for (int change = 0; has_thrown && change < 200; ++change) {
        int countdown = change;
        ThrowingBar progress(countdown);
        LogCapture const log(1);

        LoadedPicture const picture = load_picture(path, options, &progress);

        has_thrown = countdown < 0;
        (picture ? went_on : ended) += has_thrown;
        if (picture) {
            EXPECT_FALSE(picture.report.is_damaged()) << change;
            EXPECT_EQ(picture.plane("g", row.x, 0, 100, 70), undisturbed.plane("g", row.x, 0, 100, 70))
                << change;
        }
        std::vector<LogLine> told;
        if (!picture)
            told.push_back({1, "Failed to load image '" + path + "': no display.\n"});
        EXPECT_EQ(log.lines(), told) << change;
    }
    EXPECT_FALSE(has_thrown);
    EXPECT_GT(ended, 0);
    EXPECT_GT(went_on, 0) << "the ends of tasks";
}

INSTANTIATE_TEST_SUITE_P(Roads, ThrowingBarsOfLoads,
                         testing::Values(ThrowingBarRow{"lines", "a.exr", 0, 0, nullptr},
                                         ThrowingBarRow{"lines_in_colour", "a.exr", 0, 0, "sRGB"},
                                         ThrowingBarRow{"tiles", "a.exr", 0, 32, nullptr},
                                         ThrowingBarRow{"tiles_across", "a.exr", 5, 32, nullptr}),
                         [](auto const& row) { return row.param.name; });

TEST(ThrowingBarOfALoad, IsToldThoughNothingOfTheFileWasAskedFor)
{
    struct BarWithoutValues : AppProgressBar {
        BarWithoutValues()
            : AppProgressBar("no values")
        {
        }
        void set_value(float) override { throw std::runtime_error("no display"); }
    } progress;
    LogCapture const log(1);

    EXPECT_FALSE(load_picture("/no/such/file.exr", plain_options(), &progress));

    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{1, "Failed to load image '/no/such/file.exr': no display.\n"}}));
}

}  // namespace
