#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"
#include "tests/texture/texture_file.h"
#include "tests/tools/run_zvio.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using zv_test::run_zvio;
using zv_test::warning_codes;

class ZvioServices : public testing::Test {
protected:
    std::string write(std::string const& text, std::string const& name = "presets.txt")
    {
        std::ofstream(folder.file(name)) << text;
        return folder.file(name);
    }
    std::string picture(std::string const& name, int channels = 4)
    {
        zv_test::write_picture(folder.file(name),
                               zv_test::picture_spec(8, 6, channels, OIIO::TypeDesc::FLOAT));
        return folder.file(name);
    }
    std::string texture()
    {
        zv_test::write_texture(folder.file("texture.exr"), 64, 64, 4);
        return folder.file("texture.exr");
    }

    zv_test::TempDir folder;
};

// events

TEST_F(ZvioServices, EventsListsTheTable)
{
    auto const plain = run_zvio({"events"});
    auto const listed = run_zvio({"events", "list"});
    auto const document = run_zvio({"events", "list", "--json"}).json();

    EXPECT_EQ(plain.exit_code, 0);
    EXPECT_EQ(plain.output, listed.output);
    EXPECT_EQ(plain.output_lines().size(), 118u);
    EXPECT_THAT(plain.output, HasSubstr("0xDB043DA4  EVT_ID_DESTROY\n"));
    EXPECT_EQ(document["result"]["events"].size(), 118u);
    EXPECT_EQ(document["result"]["events"][0]["name"], "EVT_ID_APPLICATION_AOV_FILE_PATH_CHANGED");
}

TEST_F(ZvioServices, EventsTellsTheIdentifierOfAnyName)
{
    auto const known = run_zvio({"events", "id", "EVT_ID_DESTROY"});
    EXPECT_EQ(known.output, "0xDB043DA4\n");
    EXPECT_EQ(known.error, "");

    auto const other = run_zvio({"events", "id", "EVT_ID_MINE", "--json"}).json();
    EXPECT_EQ(other["exit_code"], 0);
    EXPECT_EQ(other["result"]["known"], false);
    EXPECT_THAT(warning_codes(other), ElementsAre("event_unknown"));
    EXPECT_EQ(run_zvio({"events", "id"}).exit_code, 2);
}

// presets

TEST_F(ZvioServices, PresetsListsTheBuiltInList)
{
    auto const run = run_zvio({"presets"});

    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.output_lines().size(), 19u) << "a heading line and 18 entries";
    EXPECT_THAT(run.output, HasSubstr("    1  [Computer]\n"));
    EXPECT_THAT(run.output, HasSubstr("   11  1080p (1920x1080)"));
    auto const document = run_zvio({"presets", "list", "--json"}).json();
    EXPECT_EQ(document["result"]["presets"][6]["name"], "NTSC  (720x486)");
    EXPECT_EQ(document["result"]["presets"][13]["group"], true);
}

TEST_F(ZvioServices, PresetsFindsASize)
{
    EXPECT_EQ(run_zvio({"presets", "find", "720x486", "--json"}).json()["result"]["preset"]["index"], 6);
    EXPECT_EQ(run_zvio({"presets", "find", "1x1", "--json"}).json()["result"]["preset"]["name"], "Custom");
    for (char const* size : {"720", "720x", "axb", "720x486x"})
        EXPECT_EQ(run_zvio({"presets", "find", size}).exit_code, 2) << size;
}

TEST_F(ZvioServices, PresetsShowsOneByItsName)
{
    auto const run = run_zvio({"presets", "show", "PAL wide (720x576)", "--json"});
    EXPECT_EQ(run.json()["result"]["preset"]["width"], 720);
    EXPECT_FLOAT_EQ(run.json()["result"]["preset"]["aspect_ratio"].get<float>(), 1.4222f);
    EXPECT_EQ(run_zvio({"presets", "show", "nothing"}).exit_code, 2);
}

TEST_F(ZvioServices, PresetsTellsTheLabelsOfTheMenu)
{
    auto const document = run_zvio({"presets", "enum", "--json"}).json();
    EXPECT_EQ(document["result"]["values"].size(), 14u);
    EXPECT_EQ(document["result"]["values"][1]["label"], "Computer|VGA (640x480)");
    EXPECT_EQ(document["result"]["values"][1]["value"], 2);
    EXPECT_THAT(run_zvio({"presets", "enum"}).output, HasSubstr("    2  Computer|VGA (640x480)\n"));
}

TEST_F(ZvioServices, PresetsOfAFile)
{
    std::string const path = write("Own { small { width 4; height 3; aspect_ratio 2 } }");

    EXPECT_EQ(run_zvio({"presets", "--file", path, "--json"}).json()["result"]["presets"].size(), 3u);
    EXPECT_EQ(
        run_zvio({"presets", "find", "4x3", "--file", path, "--json"}).json()["result"]["preset"]["index"],
        2);
    EXPECT_EQ(run_zvio({"presets", "--file", path, "find", "640x480", "--json"})
                  .json()["result"]["preset"]["index"],
              0);
    EXPECT_EQ(run_zvio({"presets", "--file", folder.file("missing.txt")}).exit_code, 3);
    auto const broken = run_zvio({"presets", "--file", write("A { b {", "broken.txt")});
    EXPECT_EQ(broken.exit_code, 3);
    EXPECT_THAT(broken.error, HasSubstr("broken.txt: 1:"));
}

TEST_F(ZvioServices, PresetsCheckNamesLineAndColumn)
{
    auto const run = run_zvio({"presets", "check", write("A {\n  x { width 1;; height ? }\n}\n"), "--json"});

    EXPECT_EQ(run.exit_code, 3);
    auto const result = run.json()["result"];
    EXPECT_EQ(result["usable"], false);
    ASSERT_EQ(result["problems"].size(), 1u);
    EXPECT_EQ(result["problems"][0]["line"], 2);
    EXPECT_GT(result["problems"][0]["column"], 14);
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("presets_refused"));
}

TEST_F(ZvioServices, PresetsCheckTellsWhatIsPassedOver)
{
    auto const run = run_zvio({"presets", "check",
                               write("title \"mine\"\n"
                                     "A {\n  x { width 1; height 2; aspect_ratio 1 }\n"
                                     "  x { width 0; height 2; aspect_ratio 1 }\n"
                                     "  note 5\n  y { width 3; height \"4\" }\n}\n")});

    EXPECT_EQ(run.exit_code, 0);
    EXPECT_THAT(run.output, HasSubstr("\"title\" is no group and is passed over"));
    EXPECT_THAT(run.output, HasSubstr("\"A\": \"x\" has a width that is no size in pixels"));
    EXPECT_THAT(run.output, HasSubstr("\"A\": \"note\" is no group and is passed over"));
    EXPECT_THAT(run.output, HasSubstr("\"A\": \"y\" has a height that is no size in pixels"));
    EXPECT_THAT(run.output, HasSubstr("\"A\": \"y\" has no aspect_ratio, which makes it 0"));
    EXPECT_THAT(run.output, HasSubstr("\"x\" is there already in its group"));
}

TEST_F(ZvioServices, PresetsCheckOfAGoodFileHasNothingToSay)
{
    auto const run = run_zvio({"presets", "check", write("A { x { width 1; height 2; aspect_ratio 1 } }")});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_THAT(run.output, HasSubstr("nothing to remark"));
    EXPECT_EQ(run_zvio({"presets", "check", folder.file("missing.txt")}).exit_code, 3);
    auto const lonely = run_zvio({"presets", "check", write("lonely\n")});
    EXPECT_EQ(lonely.exit_code, 3);
    EXPECT_THAT(lonely.output, HasSubstr("\"lonely\" has no value"));
}

// plates

TEST_F(ZvioServices, PlatesLoadsAndReports)
{
    std::string const path = picture("plate.exr");
    auto const run = run_zvio(
        {"plates", path, folder.path().string() + "/./plate.exr", "--requesters", "3", "--clear", "--json"});

    EXPECT_EQ(run.exit_code, 0);
    auto const result = run.json()["result"];
    EXPECT_EQ(result["plates"].size(), 2u);
    EXPECT_EQ(result["plates"][0]["width"], 8);
    EXPECT_EQ(result["plates"][0]["requesters"], 3);
    EXPECT_EQ(result["plates"][1]["requesters"], 6);
    EXPECT_EQ(result["plates"][0]["memory_bytes"], 56 + 28 + 8 * 6 * 16);
    ASSERT_EQ(result["events"].size(), 3u);
    EXPECT_EQ(result["events"][0]["name"], "EVT_ID_PLATE_IMAGE_MANAGER_PATH_ADDED");
    EXPECT_EQ(result["events"][0]["plate"], path);
    EXPECT_EQ(result["events"][2]["name"], "EVT_ID_PLATE_IMAGE_MANAGER_PATHS_CLEARED");
    EXPECT_EQ(result["report"][3], "Plate Image count = 1");
    EXPECT_EQ(result["report"][6], "    Image size      = 8 x 6");
    EXPECT_THAT(run.json()["log"], testing::IsEmpty()) << "the report is the result, not the log";
}

TEST_F(ZvioServices, PlatesPrintsEventsAndReport)
{
    auto const run = run_zvio({"plates", picture("plate.exr")});

    EXPECT_THAT(run.output, HasSubstr("event  EVT_ID_PLATE_IMAGE_MANAGER_PATH_ADDED  " +
                                      folder.file("plate.exr") + "\n"));
    EXPECT_THAT(run.output, HasSubstr("* Plate Image Manager Statistics *\n"));
    EXPECT_THAT(run.output, HasSubstr("    Requester count = 1\n"));
}

TEST_F(ZvioServices, PlatesRefusesWhatIsNoPlate)
{
    auto const run = run_zvio(
        {"plates", folder.file("missing.exr"), picture("grey.exr", 1), picture("good.exr"), "--json"});

    EXPECT_EQ(run.exit_code, 3);
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("missing", "unreadable"));
    auto const plates = run.json()["result"]["plates"];
    EXPECT_EQ(plates[0]["ok"], false);
    EXPECT_EQ(plates[1]["ok"], false);
    EXPECT_EQ(plates[2]["ok"], true);
}

// share

TEST_F(ZvioServices, ShareLoadsEachFileOnce)
{
    auto const run =
        run_zvio({"share", picture("a.exr"), picture("b.exr"), "--users", "5", "--threads", "3", "--json"});

    EXPECT_EQ(run.exit_code, 0);
    auto const result = run.json()["result"];
    for (auto const& file : result["files"]) {
        EXPECT_EQ(file["requests"], 5);
        EXPECT_EQ(file["loads"], 1);
        EXPECT_EQ(file["hits"], 4);
        EXPECT_EQ(file["shared"], true);
        EXPECT_EQ(file["key"], file["path"].get<std::string>() + "#Linear#false#1#2#2");
        EXPECT_GT(file["memory_bytes"], 8 * 6 * 16);
    }
    ASSERT_EQ(result["release"].size(), 5u);
    EXPECT_EQ(result["release"][3]["memory_bytes"], result["memory_bytes"]);
    EXPECT_EQ(result["release"][4]["memory_bytes"], 49) << "the last one frees the images";
    EXPECT_FALSE(result.contains("told"));
}

TEST_F(ZvioServices, ShareTellsUsersOfTouchedFiles)
{
    auto const run = run_zvio({"share", picture("a.exr"), picture("b.exr"), "--touch", "--json"});

    auto const told = run.json()["result"]["told"];
    ASSERT_EQ(told.size(), 2u);
    EXPECT_EQ(told[0]["changes"], 2);
    EXPECT_EQ(told[1]["changes"], 2);
    EXPECT_THAT(run_zvio({"share", picture("a.exr"), "--touch"}).output,
                HasSubstr("user 1 was told of 1 changed file\n"));
}

TEST_F(ZvioServices, ShareOfAMissingFileFails)
{
    auto const run = run_zvio({"share", folder.file("missing.exr"), "--json", "--touch"});

    EXPECT_EQ(run.exit_code, 3);
    EXPECT_THAT(warning_codes(run.json()), ElementsAre("unreadable", "not_touched"));
    EXPECT_EQ(run.json()["result"]["files"][0]["loads"], 1) << "a failed load is not tried again";
}

// texture

TEST_F(ZvioServices, TextureLooksPlacesUp)
{
    auto const run =
        run_zvio({"texture", texture(), "-0.4921875,0.4921875", "--mip", "1", "--interp", "0", "--json"});

    EXPECT_EQ(run.exit_code, 0);
    auto const lookup = run.json()["result"]["lookups"][0];
    EXPECT_EQ(lookup["ok"], true);
    for (int channel = 0; channel < 4; ++channel)
        EXPECT_FLOAT_EQ(lookup["values"][std::size_t(channel)].get<float>(), zv_test::encoded(channel, 0, 0));
    EXPECT_EQ(run.json()["result"]["width"], 64);
}

TEST_F(ZvioServices, TextureTakesChannelsWrapsBlurAndDerivatives)
{
    auto const values = [&](std::vector<std::string> more) {
        std::vector<std::string> arguments = {"texture", texture(), "0.7,0.1", "--json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        auto const run = run_zvio(arguments);
        EXPECT_EQ(run.exit_code, 0) << run.error;
        return run.json()["result"]["lookups"][0]["values"];
    };
    auto const plain = values({});
    EXPECT_EQ(plain.size(), 4u);
    EXPECT_EQ(values({"--channels", "2"}), nlohmann::json::array({plain[2]}));
    EXPECT_EQ(values({"--channels", "3,1"}), nlohmann::json::array({plain[3], plain[1]}));
    auto const places_behind =
        run_zvio({"texture", texture(), "--channels", "2", "0.7,0.1", "--json"}).json();
    EXPECT_EQ(places_behind["result"]["lookups"][0]["values"], nlohmann::json::array({plain[2]}));
    EXPECT_EQ(values({"--wrap", "black"})[0], 0.0);
    EXPECT_EQ(values({"--wrap", "3,3"}), plain);
    EXPECT_NE(values({"--wrap", "clamp,periodic"}), plain);
    EXPECT_NE(values({"--blur", "0.3"}), plain);
    EXPECT_NE(values({"--derivatives", "0.2,0,0,0.2"}), plain);
}

TEST_F(ZvioServices, TextureRendersAGrid)
{
    std::string const out = folder.file("grid.tif");
    auto const run = run_zvio({"texture", texture(), "--grid", "64x64", "-o", out, "--interp", "0", "--mip",
                               "1", "--channels", "0,1,2"});

    ASSERT_EQ(run.exit_code, 0) << run.error;
    auto const grid = zv_test::read_picture(out);
    EXPECT_EQ(grid.spec.width, 64);
    EXPECT_EQ(grid.spec.nchannels, 3);
    auto const told = run_zvio({"texture", texture(), "--grid", "4x2", "-o", out, "--json"}).json()["result"];
    EXPECT_EQ(told["grid"],
              (nlohmann::json{{"output", out}, {"ok", true}, {"width", 4}, {"height", 2}, {"failures", 0}}));
    for (int y = 0; y < 64; y += 9)
        for (int x = 0; x < 64; x += 7)
            EXPECT_EQ(grid.at(1, x, y), zv_test::encoded(1, x, y)) << x << ", " << y;
}

TEST_F(ZvioServices, TextureMeasuresAndTellsStatistics)
{
    auto const result = run_zvio({"texture", texture(), "--bench", "0.05", "--threads", "2", "--cache", "64",
                                  "--stats", "1", "--json"})
                            .json()["result"];

    EXPECT_GT(result["bench"]["lookups"], 0);
    EXPECT_EQ(result["bench"]["failures"], 0);
    EXPECT_EQ(result["bench"]["threads"], 2);
    EXPECT_EQ(result["cache"]["limit_megabytes"], 64.0);
    EXPECT_THAT(result["statistics"].get<std::string>(), HasSubstr("Peak cache memory : "));
}

TEST_F(ZvioServices, TextureRefusesWhatMakesNoSense)
{
    std::string const path = texture();
    EXPECT_EQ(run_zvio({"texture", folder.file("missing.exr"), "0,0"}).exit_code, 3);
    EXPECT_EQ(run_zvio({"texture", path, "here"}).exit_code, 2);
    EXPECT_EQ(run_zvio({"texture", path, "0,0", "--wrap", "sideways"}).exit_code, 2);
    EXPECT_EQ(run_zvio({"texture", path, "0,0", "--mip", "9"}).exit_code, 2);
    EXPECT_EQ(run_zvio({"texture", path, "0,0", "--derivatives", "1,2"}).exit_code, 2);
    EXPECT_EQ(run_zvio({"texture", path, "--grid", "4x4"}).exit_code, 2);
    EXPECT_EQ(run_zvio({"texture", path, "--grid", "0x4", "-o", folder.file("x.png")}).exit_code, 2);
    EXPECT_EQ(run_zvio({"texture", path, "--grid", "4x4", "-o", folder.file("no/x.png")}).exit_code, 5);
    auto const refused = run_zvio({"texture", path, "0,0", "--channels", "-1", "--json"});
    EXPECT_EQ(refused.exit_code, 3);
    EXPECT_THAT(warning_codes(refused.json()), ElementsAre("lookup_failed"));
}

// doctor

TEST_F(ZvioServices, DoctorTellsWhatThereIs)
{
    auto const result = run_zvio({"doctor", "--threads", "1", "--json"}).json()["result"];

    ASSERT_EQ(result["versions"].size(), 5u);
    for (auto const& library : result["versions"])
        EXPECT_EQ(library["built"], library["found"]) << library["name"];
    EXPECT_EQ(result["limits"]["openimageio_threads"], 1);
    EXPECT_EQ(result["colour"]["working_space"], "Linear");
    EXPECT_THAT(result["reads"], testing::Contains("openexr"));
    EXPECT_THAT(result["writes"], testing::Contains("targa"));
    EXPECT_THAT(run_zvio({"doctor"}).output, HasSubstr("OpenColorIO"));
}

TEST_F(ZvioServices, LogLevelThreeShowsTheModulesOwnLines)
{
    auto const quiet = run_zvio({"convert", picture("a.exr"), "-o", folder.file("b.exr")});
    auto const talkative =
        run_zvio({"convert", picture("a.exr"), "-o", folder.file("c.exr"), "--log-level", "3"});

    EXPECT_EQ(quiet.error.find("Opened '"), std::string::npos);
    EXPECT_THAT(talkative.error, HasSubstr("Opened '"));
}

}  // namespace
