#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/run_zvio.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using zv_test::ExrPicture;
using zv_test::picture_spec;
using zv_test::read_picture;
using zv_test::run_zvio;
using zv_test::TempDir;
using zv_test::warning_codes;
using Json = nlohmann::json;

constexpr int kWidth = 70, kHeight = 66;

/// 0.25 everywhere, and in green at (60, 65) `other`.
void write_grey(std::string const& path, double other = 0.25)
{
    zv_test::write_picture(
        path, picture_spec(kWidth, kHeight, 3, OIIO::TypeDesc::FLOAT),
        [other](int channel, int x, int y) { return channel == 1 && x == 60 && y == 65 ? other : 0.25; });
}

Json channel(Json const& result, std::string const& name)
{
    for (Json const& found : result["channels"])
        if (found["name"] == name)
            return found;
    return {};
}

TEST(ZvioCompare, EqualFilesAreTheSame)
{
    TempDir const folder;
    ExrPicture picture;
    picture.width = 90;
    picture.height = 70;
    picture.channels = {{"R"}, {"depth.Z", Imf::FLOAT}, {"id", Imf::UINT}};
    zv_test::write_exr(folder.file("rows.exr"), picture);
    picture.tile = 32;
    picture.compression = Imf::PIZ_COMPRESSION;
    zv_test::write_exr(folder.file("tiles.exr"), picture);

    auto const run = run_zvio({"compare", "--json", folder.file("rows.exr"), folder.file("tiles.exr")});
    Json const result = run.json()["result"];

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_EQ(result["same"], true);
    EXPECT_EQ(result["failed_pixels"], 0);
    ASSERT_EQ(result["channels"].size(), 3u);
    for (Json const& found : result["channels"]) {
        EXPECT_EQ(found["max"], 0.0);
        EXPECT_EQ(found["mean"], 0.0);
        EXPECT_TRUE(found["psnr"].is_null());
    }
}

TEST(ZvioCompare, DifferencesAreMeasuredAChannel)
{
    TempDir const folder;
    write_grey(folder.file("a.exr"));
    write_grey(folder.file("b.exr"), 0.75);

    auto const run = run_zvio({"compare", "--json", folder.file("a.exr"), folder.file("b.exr")});
    Json const result = run.json()["result"], green = channel(result, "g");
    double const pixels = kWidth * kHeight;

    EXPECT_EQ(run.exit_code, 8);
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("differences"));
    EXPECT_EQ(result["same"], false);
    EXPECT_EQ(result["failed_pixels"], 1);
    EXPECT_EQ(green["max"], 0.5);
    EXPECT_EQ(green["max_x"], 60);
    EXPECT_EQ(green["max_y"], 65);
    EXPECT_EQ(green["failed_pixels"], 1);
    EXPECT_NEAR(green["mean"], 0.5 / pixels, 1e-12);
    EXPECT_NEAR(green["psnr"], 10 * std::log10(pixels / 0.25), 1e-9);
    EXPECT_EQ(channel(result, "r")["max"], 0.0);
    EXPECT_EQ(channel(result, "r")["failed_pixels"], 0);
}

TEST(ZvioCompare, TolerancesDecideWhatIsAFailure)
{
    TempDir const folder;
    write_grey(folder.file("a.exr"));
    write_grey(folder.file("b.exr"), 0.75);
    auto const run = [&](std::vector<std::string> const& options) {
        std::vector<std::string> arguments = {"compare", "--json", folder.file("a.exr"),
                                              folder.file("b.exr")};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return run_zvio(arguments);
    };

    auto const below = run({"--fail", "0.49"});
    auto const at = run({"--fail", "0.5"});
    auto const told = run({"--fail", "0.6", "--warn", "0.4"});

    EXPECT_EQ(below.exit_code, 8);
    EXPECT_EQ(at.exit_code, 0);
    EXPECT_THAT(warning_codes(at.json()), ElementsAre());
    EXPECT_EQ(told.exit_code, 0);
    EXPECT_THAT(warning_codes(told.json()), ElementsAre("differences_tolerated"));
    EXPECT_EQ(told.json()["result"]["warned_pixels"], 1);
    EXPECT_EQ(told.json()["result"]["failed_pixels"], 0);
}

TEST(ZvioCompare, NaNEqualsNaNAndNothingElse)
{
    TempDir const folder;
    double const nan = std::numeric_limits<double>::quiet_NaN();
    write_grey(folder.file("number.exr"));
    write_grey(folder.file("nan.exr"), nan);
    write_grey(folder.file("nan_too.exr"), nan);

    auto const same = run_zvio({"compare", folder.file("nan.exr"), folder.file("nan_too.exr")});
    auto const other =
        run_zvio({"compare", "--json", "--fail", "1000", folder.file("number.exr"), folder.file("nan.exr")});

    EXPECT_EQ(same.exit_code, 0);
    EXPECT_EQ(other.exit_code, 8);
    EXPECT_TRUE(channel(other.json()["result"], "g")["max"].is_null());
    EXPECT_EQ(other.json()["result"]["failed_pixels"], 1);
}

TEST(ZvioCompare, ChannelsAreMatchedByName)
{
    TempDir const folder;
    ExrPicture picture;
    picture.width = 20;
    picture.height = 10;
    picture.channels = {{"R"}, {"G"}, {"only.one"}};
    zv_test::write_exr(folder.file("a.exr"), picture);
    picture.channels = {{"R"}, {"G"}, {"other"}};  // the numbers of R and G are the same
    zv_test::write_exr(folder.file("b.exr"), picture);

    auto const run = run_zvio({"compare", "--json", folder.file("a.exr"), folder.file("b.exr")});
    auto const strict = run_zvio({"compare", "--strict", folder.file("a.exr"), folder.file("b.exr")});
    Json const result = run.json()["result"];

    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(result["channels"].size(), 2u);
    EXPECT_EQ(result["only_in_first"], Json({"only.one"}));
    EXPECT_EQ(result["only_in_second"], Json({"other"}));
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("channels_differ", "channels_differ"));
    EXPECT_EQ(strict.exit_code, 8);
}

TEST(ZvioCompare, OnlyPixelsOfBothWindowsCount)
{
    TempDir const folder;
    ExrPicture picture;
    picture.width = 40;
    picture.height = 30;
    picture.channels = {{"R"}};
    zv_test::write_exr(folder.file("a.exr"), picture);
    picture.x = 10;
    picture.y = -5;  // samples follow their absolute place
    zv_test::write_exr(folder.file("b.exr"), picture);
    picture.x = 1000;
    zv_test::write_exr(folder.file("c.exr"), picture);

    auto const run = run_zvio({"compare", "--json", folder.file("a.exr"), folder.file("b.exr")});
    auto const apart = run_zvio({"compare", "--json", folder.file("a.exr"), folder.file("c.exr")});

    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.json()["result"]["window"], (Json{{"x", 10}, {"y", 0}, {"width", 30}, {"height", 25}}));
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("windows_differ", "windows_differ"));
    EXPECT_EQ(apart.exit_code, 8);
    EXPECT_EQ(warning_codes(apart.json()).back(), "nothing_in_common");
}

TEST(ZvioCompare, IntegersOfOpenExrKeepTheirNumbers)
{
    TempDir const folder;
    ExrPicture picture;
    picture.width = 40;
    picture.height = 30;
    picture.channels = {{"id", Imf::UINT}};
    zv_test::write_exr(folder.file("a.exr"), picture);
    picture.channels = {{"ab"}, {"id", Imf::UINT}};  // the second one has other numbers
    zv_test::write_exr(folder.file("b.exr"), picture);

    auto const run = run_zvio({"compare", "--json", folder.file("a.exr"), folder.file("b.exr")});

    EXPECT_EQ(run.exit_code, 8);
    EXPECT_GE(channel(run.json()["result"], "id")["max"].get<double>(), 977.0 * 2000003.0);
}

TEST(ZvioCompare, DifferencesBecomeAPicture)
{
    TempDir const folder;
    write_grey(folder.file("a.exr"));
    write_grey(folder.file("b.exr"), 0.75);

    auto const exr = run_zvio(
        {"compare", folder.file("a.exr"), folder.file("b.exr"), "-o", folder.file("difference.exr")});
    auto const png = run_zvio(
        {"compare", folder.file("a.exr"), folder.file("b.exr"), "-o", folder.file("difference.png")});
    auto const floats = read_picture(folder.file("difference.exr"));
    auto const bytes = read_picture(folder.file("difference.png"));

    EXPECT_EQ(exr.exit_code, 8);
    EXPECT_EQ(png.exit_code, 8);
    ASSERT_EQ(floats.spec.nchannels, 3);
    int const green = floats.spec.channelindex("g");
    ASSERT_GE(green, 0);
    EXPECT_EQ(floats.at(green, 60, 65), 0.5f);
    EXPECT_EQ(floats.at(green, 59, 65), 0.0f);
    EXPECT_NEAR(bytes.at(1, 60, 65), 0.5f, 0.01);
    EXPECT_EQ(bytes.at(0, 60, 65), 0.0f);
}

TEST(ZvioCompare, FailuresHaveTheirCodes)
{
    TempDir const folder;
    write_grey(folder.file("a.exr"));
    zv_test::write_bytes(folder.file("text.exr"), {'n', 'o'});
    ExrPicture killed;
    killed.width = kWidth;
    killed.height = kHeight;
    killed.channels = {{"R"}};
    killed.rows_written = 16;
    zv_test::write_exr(folder.file("killed.exr"), killed);

    auto const missing = run_zvio({"compare", "--json", folder.file("a.exr"), folder.file("none.exr")});
    auto const unreadable = run_zvio({"compare", "--json", folder.file("text.exr"), folder.file("a.exr")});
    auto const damaged =
        run_zvio({"compare", "--json", folder.file("killed.exr"), folder.file("killed.exr")});
    auto const unwritable = run_zvio({"compare", "--json", folder.file("a.exr"), folder.file("a.exr"), "-o",
                                      folder.file("no such folder/d.exr")});

    EXPECT_EQ(missing.exit_code, 3);
    EXPECT_THAT(warning_codes(missing.json()), ElementsAre("missing"));
    EXPECT_EQ(unreadable.exit_code, 3);
    EXPECT_THAT(warning_codes(unreadable.json()), ElementsAre("unreadable"));
    EXPECT_EQ(damaged.exit_code, 7);
    EXPECT_THAT(warning_codes(damaged.json()), ElementsAre("damaged", "damaged"));
    EXPECT_EQ(unwritable.exit_code, 1);
    EXPECT_THAT(warning_codes(unwritable.json()), ElementsAre("not_written"));
}

TEST(ZvioCompare, TextTellsTheSame)
{
    TempDir const folder;
    write_grey(folder.file("a.exr"));
    write_grey(folder.file("b.exr"), 0.75);

    auto const run = run_zvio({"compare", folder.file("a.exr"), folder.file("b.exr")});

    EXPECT_THAT(run.output, HasSubstr("0.5"));
    EXPECT_THAT(run.output, HasSubstr("(60, 65)"));
    EXPECT_THAT(run.error, HasSubstr("1 pixel above 0"));
}

}  // namespace
