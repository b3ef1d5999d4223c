#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/run_zvio.h"

namespace {

using testing::ElementsAre;
using testing::Gt;
using testing::HasSubstr;
using zv_test::picture_spec;
using zv_test::run_zvio;
using zv_test::TempDir;
using zv_test::warning_codes;
using Json = nlohmann::json;

std::string write_source(TempDir const& folder, int edge = 20)
{
    zv_test::write_picture(folder.file("in.exr"), picture_spec(edge, edge, 3, OIIO::TypeDesc::HALF));
    return folder.file("in.exr");
}

TEST(ZvioConvertFailures, NothingToSaveIsFour)
{
    TempDir const folder;

    auto const run = run_zvio(
        {"convert", "--json", "--crop", "0,0,0,0", write_source(folder), "-o", folder.file("a.exr")});
    auto const plan =
        run_zvio({"plan", "--json", "--crop", "0,0,0,0", write_source(folder), "-o", folder.file("a.exr")});

    EXPECT_EQ(run.exit_code, 4);
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("nothing_to_save"));
    EXPECT_EQ(run.json()["result"]["files"][0]["status"], 1);
    EXPECT_EQ(plan.exit_code, 4);
    EXPECT_FALSE(std::filesystem::exists(folder.file("a.exr")));
}

TEST(ZvioConvertFailures, FilesThatCannotBeCreatedAreFive)
{
    TempDir const folder;
    std::string const source = write_source(folder);
    for (char const* name : {"no such folder/a.exr", "no such folder/a.png", "no such folder/a.tif"}) {
        auto const run = run_zvio({"convert", "--json", source, "-o", folder.file(name)});

        EXPECT_EQ(run.exit_code, 5) << name;
        EXPECT_THAT(warning_codes(run.json()), ElementsAre("cannot_write")) << name;
        EXPECT_EQ(run.json()["result"]["files"][0]["status"], 2) << name;
        EXPECT_EQ(run.json()["result"]["files"][0]["ok"], false) << name;
        EXPECT_THAT(run.error, HasSubstr(folder.file(name)));
    }
}

/// A device that takes no byte stands for a full disk.
TEST(ZvioConvertFailures, RefusedBytesAreNeverSuccess)
{
    TempDir const folder;
    std::string const source = write_source(folder, 300);
    for (char const* name : {"a.exr", "a.png", "a.jpg", "a.tga", "a.bmp", "a.tif"}) {
        std::filesystem::create_symlink("/dev/full", folder.file(name));

        auto const run = run_zvio({"convert", "--json", source, "-o", folder.file(name)});

        EXPECT_TRUE(run.exit_code == 5 || run.exit_code == 6) << name << " " << run.exit_code;
        EXPECT_EQ(run.json()["result"]["files"][0]["ok"], false) << name;
        EXPECT_TRUE(std::filesystem::is_symlink(folder.file(name))) << name;
    }
}

TEST(ZvioConvertFailures, FailedWritesAreSix)
{
    TempDir const folder;
    std::filesystem::create_symlink("/dev/full", folder.file("a.exr"));

    auto const run = run_zvio({"convert", "--json", write_source(folder, 300), "-o", folder.file("a.exr")});

    EXPECT_EQ(run.exit_code, 6) << run.error;
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("write_failed"));
}

/// Every byte is taken, and none is there afterwards.
TEST(ZvioConvertFailures, FilesThatCannotBeReadBackAreSeven)
{
    TempDir const folder;
    std::string const source = write_source(folder);
    std::filesystem::create_symlink("/dev/null", folder.file("a.exr"));

    auto const run = run_zvio({"convert", "--json", source, "-o", folder.file("a.exr")});
    auto const unverified =
        run_zvio({"convert", "--json", "--no-verify", source, "-o", folder.file("a.exr")});

    EXPECT_EQ(run.exit_code, 7);
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("not_whole"));
    EXPECT_EQ(unverified.exit_code, 0);
    EXPECT_EQ(unverified.json()["result"]["files"][0]["verified"], false);
}

TEST(ZvioConvertFailures, InputsThatDoNotLoadAreThreeAndDoNotStopTheOthers)
{
    TempDir const folder, target;
    write_source(folder);
    zv_test::write_bytes(folder.file("bad.png"), {'n', 'o'});

    auto const run = run_zvio({"convert", "--json", "--format", "png8", folder.file("bad.png"),
                               folder.file("in.exr"), folder.file("none.exr"), "-o", target.path().string()});

    EXPECT_EQ(run.exit_code, 3);
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("unreadable", "missing"));
    EXPECT_TRUE(std::filesystem::exists(target.file("in.png")));
}

TEST(ZvioConvertFailures, DamagedInputsAreConvertedAsFarAsTheyGo)
{
    TempDir const folder;
    zv_test::ExrPicture killed;
    killed.width = 40;
    killed.height = 64;
    killed.channels = {{"R"}};
    killed.rows_written = 32;
    zv_test::write_exr(folder.file("in.exr"), killed);

    auto const run = run_zvio({"convert", "--json", folder.file("in.exr"), "-o", folder.file("a.exr")});
    auto const strict =
        run_zvio({"convert", "--json", "--strict", folder.file("in.exr"), "-o", folder.file("a.exr")});

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("damaged"));
    EXPECT_EQ(run.json()["result"]["files"][0]["damaged"], true);
    EXPECT_EQ(strict.exit_code, 7);
}

TEST(ZvioConvertFailures, InterruptEndsBetweenFiles)
{
    TempDir const folder;
    zv_test::write_picture(folder.file("in.0001.exr"), picture_spec(1024, 1024, 3, OIIO::TypeDesc::HALF));
    for (int frame = 2; frame <= 60; ++frame) {
        std::string const digits = std::to_string(10000 + frame).substr(1);
        std::filesystem::create_hard_link(folder.file("in.0001.exr"), folder.file("in." + digits + ".exr"));
    }

    auto const run =
        run_zvio({"convert", "--json", folder.file("in.####.exr"), "-o", folder.file("out.####.exr")},
                 [&](int process) {
                     while (!std::filesystem::exists(folder.file("out.0002.exr")))
                         std::this_thread::sleep_for(std::chrono::milliseconds(2));
                     kill(process, SIGINT);
                 });
    Json const result = run.json()["result"];
    std::size_t const count = result["files"].size();

    EXPECT_EQ(run.exit_code, 130);
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("interrupted"));
    EXPECT_GE(count, 2u);
    EXPECT_LT(count, 60u);
    EXPECT_EQ(result["files_asked"], 60);
    for (Json const& file : result["files"])
        EXPECT_EQ(file["ok"], true);
    std::string const last = std::to_string(10000 + count).substr(1);
    EXPECT_EQ(run_zvio({"verify", folder.file("out." + last + ".exr")}).exit_code, 0);
}

}  // namespace
