#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfOutputFile.h>
#include <ImfTiledOutputFile.h>

#include <filesystem>
#include <limits>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/run_zvio.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using zv_test::ExrPicture;
using zv_test::picture_spec;
using zv_test::run_zvio;
using zv_test::TempDir;
using zv_test::warning_codes;
using Json = nlohmann::json;

ExrPicture layered_picture()
{
    ExrPicture picture;
    picture.x = -5;
    picture.y = 3;
    picture.width = 90;
    picture.height = 70;
    picture.channels = {{"R"}, {"G"}, {"depth.Z", Imf::FLOAT}, {"id", Imf::UINT}};
    return picture;
}

TEST(ZvioVerify, WholeFilesAreReadToTheirLastSample)
{
    TempDir const folder;
    zv_test::write_exr(folder.file("rows.exr"), layered_picture());
    ExrPicture tiled = layered_picture();
    tiled.tile = 32;
    zv_test::write_exr(folder.file("tiles.exr"), tiled);
    zv_test::write_picture(folder.file("tiles.tif"),
                           picture_spec(90, 70, 3, OIIO::TypeDesc::FLOAT, 0, 0, 32));
    zv_test::write_picture(folder.file("rows.png"), picture_spec(90, 70, 4, OIIO::TypeDesc::UINT16));

    auto const run = run_zvio({"verify", "--json", folder.file("rows.exr"), folder.file("tiles.exr"),
                               folder.file("tiles.tif"), folder.file("rows.png")});
    Json const files = run.json()["result"]["files"];

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_THAT(warning_codes(run.json()), ElementsAre());
    for (Json const& file : files) {
        EXPECT_EQ(file["ok"], true) << file;
        EXPECT_EQ(file["complete"], true);
        EXPECT_EQ(file["errors"], Json::array());
    }
    EXPECT_EQ(files[0]["data_window"], (Json{{"x", -5}, {"y", 3}, {"width", 90}, {"height", 70}}));
    EXPECT_EQ(files[0]["rows_asked"], 70);
    EXPECT_EQ(files[0]["tiles_asked"], 0);
    EXPECT_EQ(files[0]["channels"][3], (Json{{"name", "id"}, {"type", "uint"}, {"nan", 0}, {"inf", 0}}));
    EXPECT_EQ(files[1]["tiles_asked"], 9);
    EXPECT_EQ(files[1]["rows_asked"], 0);
    EXPECT_EQ(files[1]["tiled"], true);
    EXPECT_EQ(files[2]["tiles_asked"], 9);
    EXPECT_EQ(files[3]["rows_asked"], 70);
    EXPECT_EQ(files[3]["channels"].size(), 4u);
    EXPECT_EQ(files[3]["channels"][0]["type"], "uint16");
}

TEST(ZvioVerify, RowsThatWereNeverWrittenAreMissing)
{
    TempDir const folder;
    ExrPicture killed = layered_picture();
    killed.rows_written = 48;  // three blocks of 16 rows
    zv_test::write_exr(folder.file("a.exr"), killed);

    auto const run = run_zvio({"verify", "--json", folder.file("a.exr")});
    auto const plain = run_zvio({"verify", folder.file("a.exr")});
    Json const file = run.json()["result"]["files"][0];

    EXPECT_EQ(run.exit_code, 7);
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("incomplete"));
    EXPECT_EQ(file["ok"], false);
    EXPECT_EQ(file["complete"], false);
    EXPECT_EQ(file["rows_missing"], 22);
    EXPECT_EQ(file["missing_rows"], (Json{{{"first", 51}, {"last", 72}}}));
    EXPECT_THAT(plain.output, HasSubstr("damaged: incomplete; 22 of 70 rows missing (51 to 72)"));
}

TEST(ZvioVerify, BlocksThatDoNotUnpackAreMissing)
{
    TempDir const folder;
    std::string const path = folder.file("a.exr");
    zv_test::write_exr(path, layered_picture());
    auto bytes = zv_test::file_bytes(path);
    std::fill(bytes.end() - 64, bytes.end() - 16, '\x5a');  // inside of the last block
    zv_test::write_bytes(path, bytes);

    auto const run = run_zvio({"verify", "--json", path});
    Json const file = run.json()["result"]["files"][0];

    EXPECT_EQ(run.exit_code, 7);
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("damaged"));
    EXPECT_EQ(file["complete"], true);
    EXPECT_EQ(file["missing_rows"], (Json{{{"first", 67}, {"last", 72}}}));
    EXPECT_GE(file["errors"].size(), 1u);
}

void write_exr_with_first_tiles(std::string const& path, int tiles)
{
    std::vector<float> const samples(64 * 64, 0.25f);
    Imf::Header header(64, 64);
    header.setTileDescription({16, 16, Imf::ONE_LEVEL});
    header.channels().insert("R", Imf::Channel(Imf::FLOAT));
    Imf::TiledOutputFile file(path.c_str(), header);
    Imf::FrameBuffer frame;
    frame.insert("R", Imf::Slice::Make(Imf::FLOAT, samples.data(), header.dataWindow()));
    file.setFrameBuffer(frame);
    for (int tile = 0; tile < tiles; ++tile)
        file.writeTile(tile % 4, tile / 4);
}

TEST(ZvioVerify, TilesThatWereNeverWrittenAreMissing)
{
    TempDir const folder;
    write_exr_with_first_tiles(folder.file("a.exr"), 11);

    auto const run = run_zvio({"verify", "--json", folder.file("a.exr")});
    Json const file = run.json()["result"]["files"][0];

    EXPECT_EQ(run.exit_code, 7);
    EXPECT_EQ(file["complete"], false);
    EXPECT_EQ(file["tiles_asked"], 16);
    EXPECT_EQ(file["tiles_missing"], 5);
}

TEST(ZvioVerify, FilesThatBreakOffAreDamaged)
{
    TempDir const folder;
    for (char const* name : {"a.png", "a.jpg", "a.tif"}) {
        std::string const path = folder.file(name);
        zv_test::write_picture(path, picture_spec(300, 200, 3, OIIO::TypeDesc::UINT8));
        zv_test::cut_file_to(path, 0.5);

        auto const run = run_zvio({"verify", "--json", path});

        EXPECT_EQ(run.exit_code, 7) << name;
        EXPECT_THAT(warning_codes(run.json()), ElementsAre("damaged")) << name;
        EXPECT_EQ(run.json()["result"]["files"][0]["ok"], false) << name;
    }
}

void write_wild_samples(std::string const& path)
{
    float const infinity = std::numeric_limits<float>::infinity();
    zv_test::write_picture(path, picture_spec(8, 4, 3, OIIO::TypeDesc::FLOAT),
                           [=](int channel, int x, int y) -> double {
                               if (channel == 1 && y == 2)
                                   return std::numeric_limits<float>::quiet_NaN();
                               return channel == 2 && x == 3 ? (y == 0 ? -infinity : infinity) : 0.5;
                           });
}

TEST(ZvioVerify, SamplesThatAreNoNumbersAreTold)
{
    TempDir const folder;
    write_wild_samples(folder.file("a.exr"));
    write_wild_samples(folder.file("a.tif"));

    for (char const* name : {"a.exr", "a.tif"}) {
        auto const run = run_zvio({"verify", "--json", folder.file(name)});
        auto const strict = run_zvio({"verify", "--json", "--strict", folder.file(name)});
        Json const file = run.json()["result"]["files"][0];

        EXPECT_EQ(run.exit_code, 0) << name;
        EXPECT_EQ(file["ok"], true);
        EXPECT_THAT(warning_codes(run.json()), ElementsAre("not_finite"));
        EXPECT_EQ(strict.exit_code, 7);
        std::uint64_t nans = 0, infinities = 0;
        for (Json const& channel : file["channels"]) {
            nans += channel["name"] == "g" ? channel["nan"].get<std::uint64_t>() : 0;
            infinities += channel["name"] == "b" ? channel["inf"].get<std::uint64_t>() : 0;
        }
        EXPECT_EQ(nans, 8u) << name;
        EXPECT_EQ(infinities, 4u) << name;
    }
}

TEST(ZvioVerify, UnreadableFilesAreInputFailures)
{
    TempDir const folder;
    zv_test::write_bytes(folder.file("text.png"), {'n', 'o', ' ', 'p', 'i', 'c', 't', 'u', 'r', 'e'});
    zv_test::write_exr(folder.file("cut.exr"), layered_picture());
    zv_test::cut_file(folder.file("cut.exr"), 60);

    auto const run = run_zvio(
        {"verify", "--json", folder.file("none.exr"), folder.file("text.png"), folder.file("cut.exr")});

    EXPECT_EQ(run.exit_code, 3);
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("missing", "unreadable", "unreadable"));
    Json const document = run.json();
    for (Json const& file : document["result"]["files"])
        EXPECT_EQ(file["ok"], false);
}

}  // namespace
