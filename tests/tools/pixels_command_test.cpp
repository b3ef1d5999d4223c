#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/run_zvio.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using zv_test::picture_spec;
using zv_test::read_picture;
using zv_test::run_zvio;
using zv_test::TempDir;

TEST(ZvioPixels, BytesComeBackAsTheyWere)
{
    TempDir const folder;
    std::string const source = folder.file("a.png"), target = folder.file("b.png");
    zv_test::write_picture(source, picture_spec(47, 33, 3, OIIO::TypeDesc::UINT8));

    auto const run = run_zvio({"pixels", source, "-o", target});
    auto const before = read_picture(source), after = read_picture(target);

    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.output, target + "  47 x 33, 3 channels of uint8, sRGB\n");
    EXPECT_EQ(after.spec.format, OIIO::TypeDesc::UINT8);
    EXPECT_EQ(after.samples, before.samples);
}

TEST(ZvioPixels, FloatsAreTheLoadedSamples)
{
    TempDir const folder;
    std::string const source = folder.file("a.exr"), target = folder.file("b.exr");
    zv_test::ExrPicture picture;
    picture.x = 3;
    picture.y = -4;
    picture.width = 65;
    picture.height = 70;
    picture.tile = 32;
    picture.channels = {
        {"A", Imf::HALF}, {"B", Imf::HALF}, {"G", Imf::HALF}, {"R", Imf::HALF}, {"depth.Z", Imf::HALF}};
    zv_test::write_exr(source, picture);

    auto const run =
        run_zvio({"pixels", "--json", "--float", "--color-space", "Linear", source, "-o", target});
    auto const after = read_picture(target);

    EXPECT_EQ(run.exit_code, 0);
    EXPECT_THAT(run.json()["result"]["channels"].get<std::vector<std::string>>(),
                ElementsAre("r", "g", "b", "a"));
    EXPECT_EQ(run.json()["result"]["type"], "float");
    EXPECT_EQ(after.spec.format, OIIO::TypeDesc::FLOAT);
    ASSERT_EQ(after.spec.nchannels, 4);
    ASSERT_EQ(after.spec.width, 65);
    ASSERT_EQ(after.spec.height, 70);
    // The output begins at 0; channel numbers are those of the list above.
    int const numbers[] = {3, 2, 1, 0};
    for (int y = 0; y < 70; ++y)
        for (int x = 0; x < 65; ++x)
            for (int channel = 0; channel < 4; ++channel)
                ASSERT_EQ(after.at(channel, x, y), zv_test::encoded(numbers[channel], x + 3, y - 4))
                    << channel << " " << x << " " << y;
}

TEST(ZvioPixels, ColoursGoToTheSpaceThatIsAsked)
{
    TempDir const folder;
    std::string const source = folder.file("a.exr"), target = folder.file("b.exr");
    zv_test::ExrPicture picture;
    picture.width = picture.height = 8;
    picture.channels = {{"R"}, {"G"}, {"B"}};
    zv_test::write_exr(source, picture);

    auto const run = run_zvio(
        {"pixels", "--float", "--color-space", "Linear", "--output-space", "sRGB", source, "-o", target});
    auto const after = read_picture(target);

    EXPECT_EQ(run.exit_code, 0);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            double const linear = zv_test::encoded(0, x, y);
            double const expected =
                linear <= 0.0031308 ? linear * 12.92 : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
            ASSERT_NEAR(after.at(0, x, y), expected, 2e-3) << x << " " << y;
        }
}

TEST(ZvioPixels, GreyFilesStayGrey)
{
    TempDir const folder;
    std::string const source = folder.file("a.tif"), target = folder.file("b.tif");
    zv_test::write_picture(source, picture_spec(9, 5, 1, OIIO::TypeDesc::FLOAT));

    auto const one = run_zvio({"pixels", "--float", "--color-space", "Linear", source, "-o", target});
    auto const one_channel = read_picture(target);
    auto const two = run_zvio(
        {"pixels", "--float", "--color-space", "Linear", "--single-channel", "3", source, "-o", target});
    auto const two_channels = read_picture(target);

    EXPECT_EQ(one.exit_code, 0);
    EXPECT_EQ(one_channel.spec.nchannels, 1);
    EXPECT_EQ(one_channel.at(0, 3, 2), zv_test::encoded(0, 3, 2));
    EXPECT_EQ(two.exit_code, 0);
    EXPECT_EQ(two_channels.spec.nchannels, 2);
}

TEST(ZvioPixels, WhatCannotBeWrittenIsAFailure)
{
    TempDir const folder;
    std::string const source = folder.file("a.png");
    zv_test::write_picture(source, picture_spec(5, 4, 3, OIIO::TypeDesc::UINT8));
    std::filesystem::create_symlink("/dev/full", folder.file("full.png"));

    auto const unknown = run_zvio({"pixels", "--json", source, "-o", folder.file("b.zzz")});
    auto const full = run_zvio({"pixels", "--json", source, "-o", folder.file("full.png")});
    auto const missing =
        run_zvio({"pixels", "--json", folder.file("missing.png"), "-o", folder.file("b.png")});

    EXPECT_EQ(unknown.exit_code, 1);
    EXPECT_THAT(zv_test::warning_codes(unknown.json()), ElementsAre("not_written"));
    EXPECT_EQ(full.exit_code, 1);
    EXPECT_THAT(full.error, HasSubstr("Could not write " + folder.file("full.png") +
                                      ", error = No space left on device\n"));
    EXPECT_EQ(missing.exit_code, 3);
    EXPECT_FALSE(std::filesystem::exists(folder.file("b.png")));
}

}  // namespace
