#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/run_zvio.h"

namespace {

using testing::ElementsAre;
using zv_test::picture_spec;
using zv_test::read_picture;
using zv_test::ReadPicture;
using zv_test::run_zvio;
using zv_test::TempDir;
using zv_test::warning_codes;
using Json = nlohmann::json;

constexpr char const* kNoFont = "no such font.ttf";
constexpr int kGap = 8, kCell = 64;

/// The middle of a cell.
std::vector<float> middle(ReadPicture const& sheet, int column, int row, int label_height = 0)
{
    int const x = kGap + column * (kCell + kGap) + kCell / 2;
    int const y = kGap + row * (kCell + label_height + kGap) + kCell / 2;
    return {sheet.at(0, x, y), sheet.at(1, x, y), sheet.at(2, x, y)};
}

void write_constant(std::string const& path, std::vector<double> const& color, OIIO::TypeDesc type)
{
    zv_test::write_picture(path, picture_spec(40, 40, static_cast<int>(color.size()), type),
                           [&](int channel, int, int) { return color[channel]; });
}

TEST(ZvioSheet, FilesAreBroughtToDisplayColour)
{
    TempDir const folder;
    write_constant(folder.file("linear.exr"), {0.214, 0.0, 1.0}, OIIO::TypeDesc::FLOAT);
    write_constant(folder.file("display.png"), {0.2, 0.4, 0.6}, OIIO::TypeDesc::UINT8);
    write_constant(folder.file("grey.png"), {0.8}, OIIO::TypeDesc::UINT8);

    auto const run = run_zvio({"sheet", "--json", "--cell", "64x64", "--columns", "2", "--font", kNoFont,
                               folder.file("linear.exr"), folder.file("display.png"), folder.file("grey.png"),
                               "-o", folder.file("sheet.png")});
    Json const result = run.json()["result"];
    auto const sheet = read_picture(folder.file("sheet.png"));

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_EQ(result["cells"], Json({"linear.exr", "display.png", "grey.png"}));
    EXPECT_EQ(sheet.spec.width, result["width"]);
    EXPECT_EQ(sheet.spec.height, result["height"]);
    auto const linear = middle(sheet, 0, 0), display = middle(sheet, 1, 0), grey = middle(sheet, 0, 1);
    EXPECT_NEAR(linear[0], 0.5, 0.01);
    EXPECT_NEAR(linear[1], 0.0, 0.01);
    EXPECT_NEAR(linear[2], 1.0, 0.01);
    EXPECT_NEAR(display[0], 0.2, 0.01);
    EXPECT_NEAR(display[1], 0.4, 0.01);
    EXPECT_NEAR(display[2], 0.6, 0.01);
    for (float const sample : grey)
        EXPECT_NEAR(sample, 0.8, 0.01);
}

TEST(ZvioSheet, LayersOfOneFileAreACellEach)
{
    TempDir const folder;
    auto spec = picture_spec(40, 40, 8, OIIO::TypeDesc::FLOAT);
    spec.channelnames = {"R", "G", "B", "depth.Z", "lamp.R", "lamp.G", "lamp.B", "id"};
    zv_test::write_picture(folder.file("layers.exr"), spec, [](int channel, int x, int) -> double {
        if (channel == 3)
            return 100.0 + x * 50.0;  // a range far from 0 to 1, its middle in the middle
        return channel == 7 ? (x < 20 ? 4000000.0 : 2000000.0) : channel == 4 ? 1.0 : 0.0;
    });

    auto const run = run_zvio({"sheet", "--json", "--cell", "64x64", "--columns", "4", "--font", kNoFont,
                               folder.file("layers.exr"), "-o", folder.file("sheet.png")});
    auto const sheet = read_picture(folder.file("sheet.png"));
    Json const cells = run.json()["result"]["cells"];

    EXPECT_EQ(run.exit_code, 0);
    ASSERT_EQ(cells.size(), 4u);
    EXPECT_EQ(cells[0], "layers.exr");
    for (std::size_t cell = 1; cell < 4; ++cell) {
        auto const color = middle(sheet, static_cast<int>(cell), 0);
        int const left = kGap + static_cast<int>(cell) * (kCell + kGap) + 2, right = left + kCell - 5;
        if (cells[cell] == "depth") {
            EXPECT_NEAR(color[0], 0.5, 0.03);
            EXPECT_EQ(color[0], color[2]);
            EXPECT_LT(sheet.at(0, left, 30), 0.1f);
            EXPECT_GT(sheet.at(0, right, 30), 0.9f);
        } else if (cells[cell] == "id") {
            EXPECT_NEAR(sheet.at(1, left, 30), 1.0f, 0.01);
            EXPECT_NEAR(sheet.at(1, right, 30), 0.0f, 0.01);
        } else {
            EXPECT_EQ(cells[cell], "lamp");
            EXPECT_NEAR(color[0], 1.0, 0.01);
            EXPECT_NEAR(color[1], 0.0, 0.01);
        }
    }
}

TEST(ZvioSheet, PicturesKeepTheirShape)
{
    TempDir const folder;
    zv_test::write_picture(folder.file("wide.png"), picture_spec(80, 20, 3, OIIO::TypeDesc::UINT8),
                           [](int, int, int) { return 1.0; });

    run_zvio({"sheet", "--cell", "64x64", "--font", kNoFont, folder.file("wide.png"), "-o",
              folder.file("sheet.png")});
    auto const sheet = read_picture(folder.file("sheet.png"));

    ASSERT_EQ(sheet.spec.width, kGap + kCell + kGap);
    EXPECT_EQ(sheet.at(0, kGap + 2, kGap + 32), 1.0f);  // 64 by 16 in the middle of the cell
    EXPECT_EQ(sheet.at(0, kGap + 61, kGap + 32), 1.0f);
    EXPECT_LT(sheet.at(0, kGap + 32, kGap + 20), 0.2f);
    EXPECT_LT(sheet.at(0, kGap + 32, kGap + 44), 0.2f);
}

TEST(ZvioSheet, WithoutAFontThereAreNoLabels)
{
    TempDir const folder;
    write_constant(folder.file("a.png"), {0.0, 0.0, 0.0}, OIIO::TypeDesc::UINT8);

    auto const run = run_zvio({"sheet", "--json", "--cell", "64x64", "--font", kNoFont, folder.file("a.png"),
                               "-o", folder.file("sheet.png")});

    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.json()["result"]["labelled"], false);
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("no_font"));
}

/// The tests' machine may have no font; then the sheet says so, and there is nothing to look at.
TEST(ZvioSheet, LabelsStandBelowThePictures)
{
    TempDir const folder;
    write_constant(folder.file("a picture with a name that is longer than its cell.png"), {0.0, 0.0, 0.0},
                   OIIO::TypeDesc::UINT8);

    auto const run = run_zvio({"sheet", "--json", "--cell", "64x64",
                               folder.file("a picture with a name that is longer than its cell.png"), "-o",
                               folder.file("sheet.png")});
    auto const sheet = read_picture(folder.file("sheet.png"));
    bool const is_labelled = run.json()["result"]["labelled"];
    float brightest = 0.0f;
    for (int y = kGap + kCell; y < sheet.spec.height; ++y)
        for (int x = 0; x < sheet.spec.width; ++x)
            brightest = std::max(brightest, sheet.at(0, x, y));

    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(brightest > 0.5f, is_labelled);
    EXPECT_EQ(warning_codes(run.json()).empty(), is_labelled);
}

TEST(ZvioSheet, FilesThatCannotBeLoadedLeaveAnEmptyCell)
{
    TempDir const folder;
    write_constant(folder.file("a.png"), {1.0, 1.0, 1.0}, OIIO::TypeDesc::UINT8);

    auto const run =
        run_zvio({"sheet", "--json", "--cell", "64x64", "--columns", "2", "--font", kNoFont,
                  folder.file("none.png"), folder.file("a.png"), "-o", folder.file("sheet.png")});
    auto const sheet = read_picture(folder.file("sheet.png"));

    EXPECT_EQ(run.exit_code, 3);
    EXPECT_EQ(run.json()["result"]["cells"], Json({"none.png", "a.png"}));
    EXPECT_LT(middle(sheet, 0, 0)[0], 0.2f);
    EXPECT_EQ(middle(sheet, 1, 0)[0], 1.0f);
}

TEST(ZvioSheet, NothingToShowWritesNothing)
{
    TempDir const folder;

    auto const run = run_zvio({"sheet", "--json", folder.file("none.png"), "-o", folder.file("sheet.png")});

    EXPECT_EQ(run.exit_code, 3);
    EXPECT_FALSE(std::filesystem::exists(folder.file("sheet.png")));
}

TEST(ZvioSheet, UnwritableSheetIsAFailure)
{
    TempDir const folder;
    write_constant(folder.file("a.png"), {1.0, 1.0, 1.0}, OIIO::TypeDesc::UINT8);

    auto const run = run_zvio({"sheet", "--json", "--log-level", "0", "--font", kNoFont, folder.file("a.png"),
                               "-o", folder.file("no such folder/sheet.png")});

    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("no_font", "not_written"));
}

}  // namespace
