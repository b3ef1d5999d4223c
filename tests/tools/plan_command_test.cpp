#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/run_zvio.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using zv_test::ExrPicture;
using zv_test::run_zvio;
using zv_test::TempDir;
using Json = nlohmann::json;

std::string write_source(TempDir const& folder)
{
    ExrPicture picture;
    picture.x = -5;
    picture.y = 7;
    picture.width = 90;
    picture.height = 70;
    picture.display_width = 100;
    picture.display_height = 80;
    picture.channels = {{"R"}, {"G"}, {"B"}, {"light.R"}, {"depth.Z", Imf::FLOAT}};
    zv_test::write_exr(folder.file("in.exr"), picture);
    return folder.file("in.exr");
}

Json plan_of(std::string const& source, std::string const& output, std::vector<std::string> options = {})
{
    options.insert(options.begin(), {"plan", "--json", source, "-o", output});
    auto const run = run_zvio(options);
    EXPECT_EQ(run.exit_code, 0) << run.error;
    return run.json()["result"]["files"][0];
}

std::vector<std::string> channels_of(Json const& file)
{
    std::vector<std::string> texts;
    for (Json const& channel : file["channels"])
        texts.push_back(channel["name"].get<std::string>() + " " + channel["type"].get<std::string>());
    return texts;
}

TEST(ZvioPlan, TellsFilesChannelsNamesAndTypesAndWritesNothing)
{
    TempDir const folder;
    std::string const source = write_source(folder);

    Json const plan = plan_of(source, folder.file("out.exr"));
    Json const file = plan["files"][0];

    EXPECT_EQ(plan["ok"], true);
    ASSERT_EQ(plan["files"].size(), 1u);
    EXPECT_EQ(file["path"], folder.file("out.exr"));
    EXPECT_EQ(file["name"], "image");
    EXPECT_EQ(file["data_window"], (Json{{"x", -5}, {"y", 7}, {"width", 90}, {"height", 70}}));
    EXPECT_EQ(file["display_window"], (Json{{"x", 0}, {"y", 0}, {"width", 100}, {"height", 80}}));
    EXPECT_EQ(file["tile_size"], 0);
    EXPECT_THAT(channels_of(file),
                testing::UnorderedElementsAre("R half", "G half", "B half", "light.r half", "depth.Z float"));
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.exr")));
}

TEST(ZvioPlan, SplitFilesAreNamedAfterTheirLayers)
{
    TempDir const folder;
    std::string const source = write_source(folder);

    Json const files = plan_of(source, folder.file("out.7.exr"), {"--one-file-per-aov"})["files"];

    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(files[0]["name"], "RGBA");
    EXPECT_EQ(files[0]["path"], folder.file("out.7.exr"));
    for (std::size_t index = 1; index < 3; ++index)
        EXPECT_EQ(files[index]["path"],
                  folder.file("out_" + files[index]["name"].get<std::string>() + ".7.exr"));
}

TEST(ZvioPlan, TiledWindowsAreSnapped)
{
    TempDir const folder;

    Json const file = plan_of(write_source(folder), folder.file("out.exr"), {"--tiled"})["files"][0];

    EXPECT_EQ(file["data_window"], (Json{{"x", -64}, {"y", 0}, {"width", 192}, {"height", 128}}));
    EXPECT_EQ(file["tile_size"], 64);
}

/// What the plan says is what convert writes: the same files, and convert holds each against it.
TEST(ZvioPlan, IsWhatConvertWrites)
{
    std::vector<std::vector<std::string>> const choices = {
        {},
        {"--tiled"},
        {"--one-file-per-aov"},
        {"--aovs-only"},
        {"--aovs-only", "--one-file-per-aov"},
        {"--aovs-in-all-formats"},
        {"--aovs-in-all-formats", "--one-file-per-aov", "--tiled"},
        {"--layers", "light.r,depth.z"},
        {"--layers", "light.r,r,g,b", "--one-file-per-aov"},
        {"--crop", "0.1,0.1,0.5,0.5"}};
    for (char const* name : {"out.exr", "out.png", "out.tif", "out.jpg", "out.bmp", "out.tga"})
        for (auto const& options : choices) {
            TempDir const folder, target;
            Json const plan = plan_of(write_source(folder), target.file(name), options);
            std::vector<std::string> arguments = {"convert", folder.file("in.exr"), "-o", target.file(name)};
            arguments.insert(arguments.end(), options.begin(), options.end());

            auto const run = run_zvio(arguments);
            std::vector<std::string> planned, written;
            for (Json const& file : plan["files"])
                planned.push_back(file["path"]);
            for (auto const& entry : std::filesystem::directory_iterator(target.path()))
                written.push_back(entry.path().string());

            EXPECT_EQ(run.exit_code, 0) << name << " " << run.error;
            EXPECT_THAT(written, testing::UnorderedElementsAreArray(planned)) << name;
        }
}

TEST(ZvioPlan, TextHasABlockAFile)
{
    TempDir const folder;

    auto const run = run_zvio({"plan", write_source(folder), "-o", folder.file("out.png")});

    EXPECT_THAT(run.output, HasSubstr(folder.file("out.png") + "\n  holds        RGBA\n"));
    EXPECT_THAT(run.output, HasSubstr("  channels     R G B uint8\n"));
}

}  // namespace
