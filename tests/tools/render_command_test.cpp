#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ImfChannelList.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/run_zvio.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using zv_test::read_picture;
using zv_test::run_zvio;
using zv_test::TempDir;
using zv_test::warning_codes;
using zv_test::ZvioRun;
using Json = nlohmann::json;

constexpr int kKilled = 128 + SIGKILL;

/// 200 by 150 pixels: 4 by 3 tiles, of which those of the edges are cut.
ZvioRun render(std::string const& path, std::vector<std::string> options = {})
{
    options.insert(options.begin(), {"render", "--json", "--size", "200x150", "-o", path});
    return run_zvio(options);
}

bool are_same(std::string const& first, std::string const& second)
{
    return run_zvio({"compare", "--strict", first, second}).exit_code == 0;
}

TEST(ZvioRender, WritesATiledFileWithItsLayers)
{
    TempDir const folder;
    std::string const path = folder.file("a.exr");

    auto const run = render(path, {"--aovs", "5"});
    Json const result = run.json()["result"];
    Imf::InputFile const file(path.c_str());
    auto const& channels = file.header().channels();

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_EQ(result["buckets"], 12);
    EXPECT_EQ(result["buckets_written"], 12);
    EXPECT_EQ(result["verified"], true);
    EXPECT_TRUE(file.isComplete());
    EXPECT_TRUE(file.header().hasTileDescription());
    EXPECT_EQ(file.header().dataWindow(), Imath::Box2i({0, 0}, {255, 191}));
    EXPECT_EQ(file.header().displayWindow(), Imath::Box2i({0, 0}, {199, 149}));
    EXPECT_EQ(channels["R"].type, Imf::HALF);
    EXPECT_EQ(channels["diffuse.r"].type, Imf::HALF);
    EXPECT_EQ(channels["depth.Z"].type, Imf::FLOAT);
    EXPECT_EQ(channels["id"].type, Imf::FLOAT);
    EXPECT_NE(channels.findChannel("normal.x"), nullptr);
    EXPECT_NE(channels.findChannel("specular.g"), nullptr);
}

TEST(ZvioRender, HasAsManyLayersAsAskedFor)
{
    TempDir const folder;

    render(folder.file("none.exr"), {"--aovs", "0"});
    render(folder.file("many.exr"), {"--aovs", "7"});

    EXPECT_EQ(read_picture(folder.file("none.exr")).spec.nchannels, 4);
    EXPECT_EQ(read_picture(folder.file("many.exr")).spec.nchannels, 4 + 1 + 3 + 3 + 3 + 1 + 3 + 3);
}

TEST(ZvioRender, ShowsSomething)
{
    TempDir const folder;
    render(folder.file("a.exr"), {"--aovs", "5"});
    auto const picture = read_picture(folder.file("a.exr"));
    std::set<float> ids, reds;

    for (int y = 0; y < 150; ++y)
        for (int x = 0; x < 200; ++x) {
            ids.insert(picture.at(picture.spec.channelindex("id"), x, y));
            reds.insert(picture.at(picture.spec.channelindex("R"), x, y));
            EXPECT_EQ(picture.at(picture.spec.channelindex("A"), x, y) == 1.0f,
                      picture.at(picture.spec.channelindex("id"), x, y) > 0.0f);
        }

    EXPECT_GE(ids.size(), 7u);
    EXPECT_GE(reds.size(), 100u);
}

TEST(ZvioRender, OrdersAndBucketsDoNotChangeThePicture)
{
    TempDir const folder;
    render(folder.file("rows.exr"));

    for (std::vector<std::string> const& options : {std::vector<std::string>{"--order", "spiral"},
                                                    {"--order", "random"},
                                                    {"--bucket", "128x64"},
                                                    {"--bucket", "200x150"}}) {
        auto const run = render(folder.file("other.exr"), options);

        EXPECT_EQ(run.exit_code, 0) << options[1];
        EXPECT_TRUE(are_same(folder.file("rows.exr"), folder.file("other.exr"))) << options[1];
    }
}

TEST(ZvioRender, OrdersOutOfTurnAreTold)
{
    TempDir const folder;

    EXPECT_THAT(warning_codes(render(folder.file("a.exr"), {"--order", "random"}).json()),
                ElementsAre("out_of_order"));
    EXPECT_THAT(warning_codes(render(folder.file("a.exr")).json()), ElementsAre());
}

TEST(ZvioRender, LinesAreWrittenFromTheTop)
{
    TempDir const folder;
    render(folder.file("tiles.exr"));

    auto const run = render(folder.file("lines.exr"), {"--scanline", "--bucket", "200x17"});
    Imf::InputFile const file(folder.file("lines.exr").c_str());

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_FALSE(file.header().hasTileDescription());
    EXPECT_EQ(file.header().dataWindow(), Imath::Box2i({0, 0}, {199, 149}));
    EXPECT_EQ(run_zvio({"compare", folder.file("tiles.exr"), folder.file("lines.exr")}).exit_code, 0);
}

TEST(ZvioRender, TiffTakesRegionsToo)
{
    TempDir const folder;
    render(folder.file("a.exr"), {"--aovs", "0", "--format", "exr32"});

    auto const tiles =
        render(folder.file("tiles.tif"), {"--aovs", "0", "--format", "tiff32", "--color-space", "Linear"});
    auto const lines = render(folder.file("lines.tif"),
                              {"--aovs", "0", "--format", "tiff32", "--color-space", "Linear", "--scanline"});

    EXPECT_EQ(tiles.exit_code, 0) << tiles.error;
    EXPECT_EQ(lines.exit_code, 0) << lines.error;
    EXPECT_EQ(read_picture(folder.file("tiles.tif")).spec.tile_width, 64);
    EXPECT_EQ(read_picture(folder.file("lines.tif")).spec.tile_width, 0);
    EXPECT_EQ(run_zvio({"compare", folder.file("a.exr"), folder.file("tiles.tif")}).exit_code, 0);
    EXPECT_EQ(run_zvio({"compare", folder.file("a.exr"), folder.file("lines.tif")}).exit_code, 0);
}

TEST(ZvioRender, WriteOptionsCount)
{
    TempDir const folder;

    auto const run = render(folder.file("a.exr"), {"--compression", "piz", "--one-file-per-aov", "--aovs",
                                                   "2", "--pixel-aspect", "2", "--metadata", "a true"});

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("metadata_dropped"));
    EXPECT_EQ(Imf::InputFile(folder.file("a.exr").c_str()).header().compression(), Imf::PIZ_COMPRESSION);
    EXPECT_EQ(Imf::InputFile(folder.file("a.exr").c_str()).header().pixelAspectRatio(), 2.0f);
    EXPECT_TRUE(std::filesystem::exists(folder.file("a_depth.exr")));
    EXPECT_TRUE(std::filesystem::exists(folder.file("a_diffuse.exr")));
}

TEST(ZvioRender, KilledRendersLeaveWhatWasFinished)
{
    TempDir const folder;
    for (int count : {1, 5, 11}) {
        auto const run = render(folder.file("a.exr"), {"--kill-after", std::to_string(count)});
        Json const file = run_zvio({"verify", "--json", folder.file("a.exr")}).json()["result"]["files"][0];

        EXPECT_EQ(run.exit_code, kKilled) << count;
        EXPECT_EQ(file["complete"], false) << count;
        EXPECT_EQ(file["tiles_missing"], 12 - count);
    }
}

struct ResumeCase {
    char const* label;
    std::vector<std::string> options;
    int kill_after;
    int kept, rendered_buckets;
};

class ZvioResume : public testing::TestWithParam<ResumeCase> {};

TEST_P(ZvioResume, KeepsWhatIsThereAndRendersTheRest)
{
    auto const& [label, options, kill_after, kept, rendered] = GetParam();
    TempDir const folder;
    std::string const whole = folder.file("whole.exr"), path = folder.file("a.exr");
    auto killing = options, resuming = options;
    killing.insert(killing.end(), {"--kill-after", std::to_string(kill_after)});
    resuming.push_back("--resume");

    render(whole, options);
    EXPECT_EQ(render(path, killing).exit_code, kKilled);
    auto const run = render(path, resuming);
    Json const result = run.json()["result"];

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_EQ(result["kept"]["count"], kept);
    EXPECT_EQ(result["buckets_rendered"], rendered);
    EXPECT_TRUE(are_same(whole, path));
    EXPECT_EQ(run_zvio({"verify", path}).exit_code, 0);
    EXPECT_FALSE(std::filesystem::exists(folder.file("resumed_a.exr")));
}

INSTANTIATE_TEST_SUITE_P(
    All, ZvioResume,
    testing::Values(ResumeCase{"tiles", {}, 5, 5, 7},
                    ResumeCase{"nothing_left", {"--bucket", "200x150"}, 1, 12, 0},
                    ResumeCase{"lines", {"--scanline", "--bucket", "200x32"}, 2, 64, 3},
                    // 16 lines make a block: of the 50 lines that were handed over, 48 are there.
                    ResumeCase{"part_of_a_bucket", {"--scanline", "--bucket", "200x50"}, 1, 48, 3},
                    ResumeCase{"layers", {"--one-file-per-aov"}, 4, 4, 8}),
    [](auto const& row) { return row.param.label; });

TEST(ZvioRenderResume, KeepsTheSamplesOfTheFileAndNotThoseOfTheScene)
{
    TempDir const folder;
    std::string const path = folder.file("a.exr");
    render(path, {"--aovs", "0"});
    // Another picture of the same kind: one that only the file can know.
    auto spec = zv_test::picture_spec(256, 192, 4, OIIO::TypeDesc::HALF, 0, 0, 64);
    spec.full_width = 200;
    spec.full_height = 150;
    zv_test::write_picture(path, spec, [](int, int x, int y) { return x < 64 && y < 64 ? 0.0 : 0.625; });

    auto const run = render(path, {"--aovs", "0", "--resume"});
    auto const read = read_picture(path);

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_EQ(run.json()["result"]["kept"]["count"], 11);  // the tile of zeros is none
    EXPECT_EQ(run.json()["result"]["buckets_rendered"], 1);
    EXPECT_EQ(read.at(0, 100, 100), 0.625f);
    EXPECT_EQ(read.at(3, 199, 149), 0.625f);
}

TEST(ZvioRenderResume, OtherPicturesAreRefused)
{
    TempDir const folder;
    std::string const path = folder.file("a.exr");
    render(path, {"--aovs", "2", "--kill-after", "3"});
    auto const before = zv_test::file_bytes(path);

    auto const other_layers = render(path, {"--aovs", "3", "--resume"});
    auto const other_storage = render(path, {"--aovs", "2", "--scanline", "--resume"});
    auto const other_size = run_zvio({"render", "--size", "300x150", "--aovs", "2", "--resume", "-o", path});
    auto const missing = render(folder.file("none.exr"), {"--resume"});

    EXPECT_EQ(other_layers.exit_code, 3);
    EXPECT_THAT(other_layers.json()["warnings"][0]["text"].get<std::string>(), HasSubstr("another picture"));
    EXPECT_EQ(other_storage.exit_code, 3);
    EXPECT_EQ(other_size.exit_code, 3);
    EXPECT_EQ(missing.exit_code, 3);
    EXPECT_EQ(zv_test::file_bytes(path), before);
}

TEST(ZvioRender, FailuresHaveTheirCodes)
{
    TempDir const folder;
    std::filesystem::create_symlink("/dev/full", folder.file("full.exr"));
    std::filesystem::create_symlink("/dev/null", folder.file("null.exr"));

    EXPECT_EQ(render(folder.file("no such folder/a.exr")).exit_code, 5);
    EXPECT_EQ(render(folder.file("full.exr")).exit_code, 6);
    EXPECT_EQ(render(folder.file("null.exr")).exit_code, 7);
    EXPECT_EQ(render(folder.file("null.exr"), {"--no-verify"}).exit_code, 0);
    EXPECT_EQ(render(folder.file("a.exr"), {"--aovs", "0", "--aovs-only"}).exit_code, 4);
}

TEST(ZvioRender, InterruptClosesTheFileAndTellsWhatIsInIt)
{
    TempDir const folder;
    std::string const path = folder.file("a.exr");

    auto const run =
        run_zvio({"render", "--json", "--size", "4096", "--aovs", "12", "-o", path}, [&](int process) {
            std::error_code error;
            while (!std::filesystem::exists(path) || std::filesystem::file_size(path, error) < 100000)
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            kill(process, SIGINT);
        });
    Json const result = run.json()["result"];
    Json const file = run_zvio({"verify", "--json", path}).json()["result"]["files"][0];

    EXPECT_EQ(run.exit_code, 130);
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("interrupted"));
    EXPECT_GT(result["buckets_written"], 0);
    EXPECT_LT(result["buckets_written"], 4096);
    EXPECT_EQ(file["complete"], false);
    EXPECT_EQ(file["tiles_asked"].get<int>() - file["tiles_missing"].get<int>(), result["buckets_written"]);
}

}  // namespace
