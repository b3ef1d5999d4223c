#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

ExrPicture layered_picture()
{
    ExrPicture picture;
    picture.x = -5;
    picture.y = 7;
    picture.width = 47;
    picture.height = 33;
    picture.display_width = 64;
    picture.display_height = 48;
    picture.channels = {{"R", Imf::HALF},         {"G", Imf::HALF},         {"B", Imf::HALF},
                        {"A", Imf::HALF},         {"Z", Imf::FLOAT},        {"diffuse.R", Imf::HALF},
                        {"diffuse.G", Imf::HALF}, {"diffuse.B", Imf::HALF}, {"ids.object.X", Imf::UINT}};
    return picture;
}

TEST(ZvioProbe, TellsWindowsLayersTypesAndColourSpace)
{
    TempDir const folder;
    zv_test::write_exr(folder.file("layers.exr"), layered_picture());

    auto const run = run_zvio({"probe", "--json", folder.file("layers.exr")});
    Json const file = run.json()["result"]["files"][0];

    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(file["ok"], true);
    EXPECT_EQ(file["data_window"], (Json{{"x", -5}, {"y", 7}, {"width", 47}, {"height", 33}}));
    EXPECT_EQ(file["display_window"], (Json{{"x", 0}, {"y", 0}, {"width", 64}, {"height", 48}}));
    EXPECT_EQ(file["channel_count"], 9);
    EXPECT_EQ(file["tiled"], false);
    EXPECT_EQ(file["tiles"], nullptr);
    EXPECT_EQ(file["compression"], "zip");
    EXPECT_EQ(file["color_space"]["rule"], "tag");
    Json const expected = Json::parse(R"([
        {"name": "", "channels": [{"name": "r", "type": "half"}, {"name": "g", "type": "half"},
                                  {"name": "b", "type": "half"}, {"name": "a", "type": "half"},
                                  {"name": "z", "type": "float"}]},
        {"name": "diffuse", "channels": [{"name": "diffuse.r", "type": "half"}, {"name": "diffuse.g", "type": "half"},
                                         {"name": "diffuse.b", "type": "half"}]},
        {"name": "ids", "channels": [{"name": "ids.object.x", "type": "uint"}]}])");
    EXPECT_EQ(file["layers"], expected);
}

TEST(ZvioProbe, TellsTilesAndGoesOnAfterFailures)
{
    TempDir const folder;
    ExrPicture tiled = layered_picture();
    tiled.tile = 16;
    zv_test::write_exr(folder.file("tiled.exr"), tiled);
    auto spec = zv_test::picture_spec(8, 6, 1, OIIO::TypeDesc::UINT16);
    spec["Comment"] = "a remark";
    zv_test::write_picture(folder.file("grey.png"), spec);

    auto const run = run_zvio(
        {"probe", "--json", folder.file("missing.exr"), folder.file("tiled.exr"), folder.file("grey.png")});
    Json const files = run.json()["result"]["files"];

    EXPECT_EQ(run.exit_code, 3);
    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(files[0], (Json{{"path", folder.file("missing.exr")}, {"ok", false}}));
    EXPECT_EQ(files[1]["tiled"], true);
    EXPECT_EQ(files[1]["tiles"], (Json{{"width", 16}, {"height", 16}}));
    EXPECT_EQ(files[2]["comment"], "a remark");
    EXPECT_EQ(files[2]["color_space"]["name"], "sRGB");
    EXPECT_EQ(files[2]["layers"][0]["channels"][0]["type"], "uint16");
    EXPECT_THAT(zv_test::warning_codes(run.json()), ElementsAre("missing"));
}

TEST(ZvioProbe, ReadsAsAlignedText)
{
    TempDir const folder;
    std::string const path = folder.file("layers.exr");
    zv_test::write_exr(path, layered_picture());

    auto const run = run_zvio({"probe", path});

    EXPECT_THAT(run.output_lines(),
                ElementsAre(path, "  data window     47 x 33 at (-5, 7)",
                            "  display window  64 x 48 at (0, 0)", "  storage         scanlines",
                            "  compression     zip", testing::StartsWith("  colour space    "),
                            "  channels        r g b a half, z float", "  layer diffuse   r g b half",
                            "  layer ids       object.x uint"));
    EXPECT_EQ(run.error, "");
}

TEST(ZvioProbe, ForeignFilesAreUnreadable)
{
    TempDir const folder;
    zv_test::write_bytes(folder.file("empty.exr"), {});
    zv_test::write_bytes(folder.file("text.png"), {'h', 'i'});

    auto const run = run_zvio(
        {"probe", "--json", folder.file("empty.exr"), folder.file("text.png"), folder.path().string()});

    EXPECT_EQ(run.exit_code, 3);
    EXPECT_THAT(zv_test::warning_codes(run.json()), ElementsAre("unreadable", "unreadable", "unreadable"));
    EXPECT_THAT(run.error, HasSubstr("could not create image input"));
}

}  // namespace
