#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdio>
#include <limits>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/run_zvio.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using zv_test::encoded;
using zv_test::ExrPicture;
using zv_test::picture_spec;
using zv_test::run_zvio;
using zv_test::TempDir;
using Json = nlohmann::json;

constexpr int kWidth = 130, kHeight = 70;

ExrPicture rgba_picture()
{
    ExrPicture picture;
    picture.width = kWidth;
    picture.height = kHeight;
    picture.channels = {{"R"}, {"G"}, {"B"}, {"A"}};
    return picture;
}

std::uint64_t next_hash(std::uint64_t hash, std::uint64_t word)
{
    hash = (hash ^ word) * 0x100000001B3u;
    return hash ^ (hash >> 32);
}

/// The documented hash of a channel of the encoded picture.
std::string expected_hash(int channel, int width, int height)
{
    constexpr std::uint64_t kStart = 0xCBF29CE484222325u;
    std::uint64_t hash = kStart;
    for (int y = 0; y < height; ++y) {
        std::uint64_t row_hash = kStart;
        for (int x = 0; x < width; ++x)
            row_hash = next_hash(row_hash, std::bit_cast<std::uint32_t>(encoded(channel, x, y)));
        hash = next_hash(hash, row_hash);
    }
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return text;
}

std::vector<std::string> channel_names(Json const& file)
{
    std::vector<std::string> names;
    for (auto const& channel : file["channels"])
        names.push_back(channel["name"]);
    return names;
}

TEST(ZvioLoad, TellsWhatCameOfAScanlineFile)
{
    TempDir const folder;
    zv_test::write_exr(folder.file("a.exr"), rgba_picture());

    auto const run = run_zvio({"load", "--json", "--color-space", "Linear", folder.file("a.exr")});
    Json const file = run.json()["result"]["files"][0];

    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(file["depth"], 4);
    EXPECT_EQ(file["bit_depth"], 16);
    EXPECT_EQ(file["bit_type"], "float");
    EXPECT_EQ(file["tile_size"], 64);
    EXPECT_EQ(file["tiles"], (Json{{"allocated", 24}, {"constant", 0}}));  // 3 by 2 in four channels
    EXPECT_EQ(file["color_space"], (Json{{"name", "Linear"}, {"rule", "option"}}));
    EXPECT_EQ(file["rows_asked"], kHeight);
    EXPECT_EQ(file["rows_lost"], 0);
    EXPECT_EQ(file["damaged"], false);
    EXPECT_GT(file["memory_bytes"].get<double>(), kWidth * kHeight * 4 * 2);
    EXPECT_GT(file["milliseconds"].get<double>(), 0.0);
    EXPECT_THAT(channel_names(file), ElementsAre("r", "g", "b", "a"));
    for (int channel = 0; channel < 4; ++channel) {
        double sum = 0, low = 2, high = -1;
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) {
                double const sample = encoded(channel, x, y);
                sum += sample;
                low = std::min(low, sample);
                high = std::max(high, sample);
            }
        Json const found = file["channels"][channel];
        EXPECT_EQ(found["min"].get<double>(), low);
        EXPECT_EQ(found["max"].get<double>(), high);
        EXPECT_NEAR(found["mean"].get<double>(), sum / (kWidth * kHeight), 1e-12);
        EXPECT_EQ(found["nan"], 0);
        EXPECT_EQ(found["inf"], 0);
        EXPECT_EQ(found["hash"], expected_hash(channel, kWidth, kHeight));
    }
}

TEST(ZvioLoad, TilesPlayNoPartInTheHash)
{
    TempDir const folder;
    ExrPicture picture = rgba_picture();
    picture.tile = 32;
    zv_test::write_exr(folder.file("tiled.exr"), picture);

    auto const run = run_zvio({"load", "--json", "--color-space", "Linear", folder.file("tiled.exr")});
    Json const file = run.json()["result"]["files"][0];

    EXPECT_EQ(file["tile_size"], 32);
    EXPECT_EQ(file["tiles_asked"], 5 * 3);
    EXPECT_EQ(file["channels"][2]["hash"], expected_hash(2, kWidth, kHeight));
}

TEST(ZvioLoad, CountsWhatIsNoNumberApart)
{
    TempDir const folder;
    float const nan = std::numeric_limits<float>::quiet_NaN(),
                infinity = std::numeric_limits<float>::infinity();
    zv_test::write_picture(
        folder.file("a.tif"), picture_spec(4, 2, 3, OIIO::TypeDesc::FLOAT), [&](int channel, int x, int y) {
            if (channel == 2)
                return double(nan);
            return x == 0 ? double(nan) : x == 1 ? double(y ? infinity : -infinity) : 0.25 * x;
        });

    auto const run = run_zvio({"load", "--json", "--color-space", "Linear", folder.file("a.tif")});
    Json const channels = run.json()["result"]["files"][0]["channels"];

    EXPECT_EQ(channels[0]["nan"], 2);
    EXPECT_EQ(channels[0]["inf"], 2);
    EXPECT_EQ(channels[0]["min"], 0.5);
    EXPECT_EQ(channels[0]["max"], 0.75);
    EXPECT_EQ(channels[0]["mean"], 0.625);
    EXPECT_EQ(channels[2]["nan"], 8);
    EXPECT_EQ(channels[2]["min"], nullptr);
    EXPECT_EQ(channels[2]["mean"], nullptr);
}

TEST(ZvioLoad, ConstantTilesAreCounted)
{
    TempDir const folder;
    zv_test::write_picture(folder.file("a.tif"), picture_spec(128, 64, 1, OIIO::TypeDesc::FLOAT),
                           [](int, int x, int y) { return x < 64 ? 0.5 : double(encoded(0, x, y)); });

    auto const run = run_zvio({"load", "--json", "--color-space", "Linear", folder.file("a.tif")});

    EXPECT_EQ(run.json()["result"]["files"][0]["tiles"], (Json{{"allocated", 1}, {"constant", 1}}));
}

TEST(ZvioLoad, OptionsReachTheLoader)
{
    TempDir const folder;
    zv_test::write_exr(folder.file("rgba.exr"), rgba_picture());
    zv_test::write_picture(folder.file("grey.tif"), picture_spec(5, 4, 1, OIIO::TypeDesc::UINT8));
    zv_test::write_picture(folder.file("rgb.tif"), picture_spec(5, 4, 3, OIIO::TypeDesc::UINT8));
    auto const names = [&](std::vector<std::string> arguments, std::string const& file) {
        arguments.insert(arguments.begin(), {"load", "--json", "--color-space", "Linear", folder.file(file)});
        return channel_names(run_zvio(arguments).json()["result"]["files"][0]);
    };

    EXPECT_THAT(names({"--channels", "B,g"}, "rgba.exr"), ElementsAre("r", "g"));
    EXPECT_THAT(names({"--single-channel", "0"}, "grey.tif"), ElementsAre("y"));
    EXPECT_THAT(names({}, "grey.tif"), ElementsAre("l"));
    EXPECT_THAT(names({"--single-channel", "2"}, "grey.tif"), ElementsAre("a"));
    EXPECT_THAT(names({"--single-channel", "3"}, "grey.tif"), ElementsAre("l", "a"));
    EXPECT_THAT(names({}, "rgb.tif"), ElementsAre("r", "g", "b"));
    EXPECT_THAT(names({"--force-alpha", "--repeat", "mirror,3"}, "rgb.tif"), ElementsAre("r", "g", "b", "a"));
}

TEST(ZvioLoad, PremultiplyMultipliesByAlpha)
{
    TempDir const folder;
    zv_test::write_picture(folder.file("a.tif"), picture_spec(4, 4, 4, OIIO::TypeDesc::FLOAT),
                           [](int channel, int, int) { return channel == 3 ? 0.5 : 0.75; });

    auto const run =
        run_zvio({"load", "--json", "--color-space", "Linear", "--premultiply", folder.file("a.tif")});

    EXPECT_EQ(run.json()["result"]["files"][0]["channels"][0]["max"], 0.375);
}

TEST(ZvioLoad, WarnsOfChannelsThatAreNotThere)
{
    TempDir const folder;
    zv_test::write_exr(folder.file("a.exr"), rgba_picture());

    auto const run = run_zvio({"load", "--json", "--channels", "r,velocity,b,a,g", folder.file("a.exr")});

    EXPECT_EQ(run.exit_code, 0);
    EXPECT_THAT(zv_test::warning_codes(run.json()), ElementsAre("channels_ignored", "channel_missing"));
}

TEST(ZvioLoad, TellsWhichRuleGaveTheColourSpace)
{
    TempDir const folder;
    zv_test::write_picture(folder.file("tagged.png"), picture_spec(5, 4, 3, OIIO::TypeDesc::UINT8));
    zv_test::write_picture(folder.file("shot_ACEScg.tif"), picture_spec(5, 4, 3, OIIO::TypeDesc::FLOAT));
    zv_test::write_picture(folder.file("plain.tga"), picture_spec(5, 4, 3, OIIO::TypeDesc::UINT8));

    auto const run = run_zvio({"load", "--json", folder.file("tagged.png"), folder.file("shot_ACEScg.tif"),
                               folder.file("plain.tga")});
    Json const files = run.json()["result"]["files"];

    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(files[0]["color_space"], (Json{{"name", "sRGB"}, {"rule", "tag"}}));
    EXPECT_EQ(files[1]["color_space"]["rule"], "path");
    EXPECT_EQ(files[2]["color_space"]["rule"], "extension");
}

TEST(ZvioLoad, DamageIsAWarningAndUnderStrictAFailure)
{
    TempDir const folder;
    ExrPicture picture = rgba_picture();
    picture.compression = Imf::ZIPS_COMPRESSION;
    zv_test::write_exr(folder.file("cut.exr"), picture);
    zv_test::cut_file_to(folder.file("cut.exr"), 0.5);
    zv_test::write_exr(folder.file("whole.exr"), rgba_picture());

    auto const lenient = run_zvio({"load", "--json", folder.file("cut.exr"), folder.file("whole.exr")});
    auto const strict = run_zvio({"load", "--strict", "--json", folder.file("missing.exr"),
                                  folder.file("cut.exr"), folder.file("whole.exr")});
    auto const text = run_zvio({"load", folder.file("cut.exr")});

    Json const file = lenient.json()["result"]["files"][0];
    EXPECT_EQ(lenient.exit_code, 0);
    EXPECT_EQ(file["damaged"], true);
    EXPECT_GT(file["rows_lost"].get<int>(), 0);
    EXPECT_LT(file["rows_lost"].get<int>(), kHeight);
    EXPECT_GE(file["errors"].size(), 1u);
    EXPECT_EQ(lenient.json()["result"]["files"][1]["damaged"], false);
    EXPECT_THAT(zv_test::warning_codes(lenient.json()), ElementsAre("damaged"));
    EXPECT_EQ(strict.exit_code, 7);
    EXPECT_THAT(zv_test::warning_codes(strict.json()), ElementsAre("missing", "damaged"));
    EXPECT_EQ(strict.json()["result"]["files"].size(), 3u);
    EXPECT_EQ(text.exit_code, 0);
    EXPECT_THAT(text.error, HasSubstr("damaged: " + file["rows_lost"].dump() + " of 70 rows lost\n"));
    EXPECT_THAT(text.output, HasSubstr("lost          " + file["rows_lost"].dump() + " of 70 rows\n"));
}

TEST(ZvioLoad, FilesThatAreNoneAreInputFailures)
{
    TempDir const folder;
    zv_test::write_bytes(folder.file("empty.png"), {});
    zv_test::write_bytes(folder.file("foreign.exr"), {'f', 'o', 'r', 'e', 'i', 'g', 'n'});

    auto const run = run_zvio({"load", "--json", folder.file("missing.png"), folder.file("empty.png"),
                               folder.file("foreign.exr"), folder.path().string()});

    EXPECT_EQ(run.exit_code, 3);
    EXPECT_THAT(zv_test::warning_codes(run.json()),
                ElementsAre("missing", "unreadable", "unreadable", "unreadable"));
    Json const files = run.json()["result"]["files"];
    ASSERT_EQ(files.size(), 4u);
    for (Json const& file : files)
        EXPECT_EQ(file["ok"], false);
}

TEST(ZvioLoad, PicturesAboveHalfTheMemoryAreRefused)
{
    TempDir const folder;
    std::string const header = "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 1000000 +X 1000000\n";
    zv_test::write_bytes(folder.file("huge.hdr"), {header.begin(), header.end()});

    auto const run = run_zvio({"load", "--json", folder.file("huge.hdr")});

    EXPECT_EQ(run.exit_code, 3);
    EXPECT_THAT(zv_test::warning_codes(run.json()), ElementsAre("unreadable"));
    EXPECT_THAT(run.error, HasSubstr("its pixels are above the limit of "));
}

TEST(ZvioLoad, ResultIsTheSameWithOneThread)
{
    TempDir const folder;
    zv_test::write_picture(folder.file("a.png"), picture_spec(kWidth, kHeight, 4, OIIO::TypeDesc::UINT8));

    auto const one = run_zvio({"load", "--json", "--threads", "1", folder.file("a.png")});
    auto const many = run_zvio({"load", "--json", "--threads", "8", folder.file("a.png")});

    EXPECT_EQ(one.exit_code, 0);
    EXPECT_EQ(one.json()["result"]["files"][0]["channels"], many.json()["result"]["files"][0]["channels"]);
}

TEST(ZvioLoad, ReadsAsAlignedText)
{
    TempDir const folder;
    std::string const path = folder.file("a.tif");
    zv_test::write_picture(path, picture_spec(3, 2, 1, OIIO::TypeDesc::FLOAT),
                           [](int, int x, int) { return 0.25 * x; });

    auto const lines = run_zvio({"load", "--color-space", "Linear", path}).output_lines();

    EXPECT_THAT(
        lines, ElementsAre(path, "  data window   3 x 2 at (0, 0)", "  depth         1 (luminance)",
                           "  samples       32 bit float", "  tiles         64 x 64, 1 allocated, 0 constant",
                           "  colour space  Linear (by option)", testing::StartsWith("  memory        "),
                           testing::MatchesRegex("  time          .* ms"), "",
                           testing::MatchesRegex("  channel  min  max  mean  nan  inf  hash"),
                           testing::MatchesRegex("  l          0  0\\.5  0\\.25    0    0  [0-9a-f]*")));
}

}  // namespace
