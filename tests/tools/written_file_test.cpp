#include "tools/written_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using zvio::differences_from_plan;
using zvio::PlannedFile;
using zvio::Verification;

PlannedFile planned_exr()
{
    return {"a.exr",
            "image",
            true,
            {0, 0, 64, 64},
            {0, 0, 50, 40},
            64,
            {{"r", "R", "half"}, {"z", "z", "float"}}};
}

Verification found_exr()
{
    Verification found;
    found.is_open = true;
    found.header.format = "openexr";
    found.header.data_window = {0, 0, 64, 64};
    found.header.display_window = {0, 0, 50, 40};
    found.header.tile_width = found.header.tile_height = 64;
    found.header.channels = {{"z", "float"}, {"r", "half"}};
    return found;
}

TEST(DifferencesFromPlan, AreNoneForTheFileThatWasPlanned)
{
    EXPECT_THAT(differences_from_plan(planned_exr(), found_exr()), IsEmpty());
}

struct DifferenceCase {
    char const* label;
    void (*change)(Verification& found);
    char const* text;
};

class DifferencesOfExr : public testing::TestWithParam<DifferenceCase> {};

TEST_P(DifferencesOfExr, AreTold)
{
    Verification found = found_exr();
    GetParam().change(found);

    EXPECT_THAT(differences_from_plan(planned_exr(), found), ElementsAre(HasSubstr(GetParam().text)));
}

INSTANTIATE_TEST_SUITE_P(
    All, DifferencesOfExr,
    testing::Values(
        DifferenceCase{"format", [](Verification& found) { found.header.format = "png"; }, "format png"},
        DifferenceCase{"data_window",
                       [](Verification& found) {
                           found.header.data_window = {1, 0, 64, 64};
                       },
                       "64 x 64 at (1, 0) instead of 64 x 64 at (0, 0)"},
        DifferenceCase{"display_window",
                       [](Verification& found) {
                           found.header.display_window = {0, 0, 64, 64};
                       },
                       "display window"},
        DifferenceCase{"missing_channel", [](Verification& found) { found.header.channels.pop_back(); },
                       "missing: r half; that were not planned: none"},
        DifferenceCase{"type", [](Verification& found) { found.header.channels[0].type = "half"; },
                       "missing: z float; that were not planned: z half"},
        DifferenceCase{"tiles", [](Verification& found) { found.header.tile_width = 0; }, "not tiled"}),
    [](auto const& row) { return row.param.label; });

TEST(DifferencesFromPlan, OfOtherFormatsAreSizeNumberAndType)
{
    PlannedFile const planned = {"a.png",
                                 "RGBA",
                                 false,
                                 {0, 0, 50, 40},
                                 {0, 0, 50, 40},
                                 0,
                                 {{"r", "R", "uint8"}, {"g", "G", "uint8"}, {"b", "B", "uint8"}}};
    Verification found;
    found.header.format = "png";
    found.header.data_window = {3, 4, 50, 40};
    found.header.channels = {{"other", "uint8"}, {"names", "uint8"}, {"count", "uint8"}};

    EXPECT_THAT(differences_from_plan(planned, found), IsEmpty());
    found.header.channels[0].type = "uint16";
    EXPECT_THAT(differences_from_plan(planned, found), ElementsAre(HasSubstr("uint16 instead of uint8")));
    found.header.channels.pop_back();
    EXPECT_THAT(differences_from_plan(planned, found), ElementsAre(HasSubstr("2 channels instead of 3")));
    found.header.data_window = {0, 0, 49, 40};
    EXPECT_EQ(differences_from_plan(planned, found).size(), 2u);
}

}  // namespace
