#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/run_zvio.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using zv_test::run_zvio;
using zv_test::TempDir;
using Json = nlohmann::json;

std::vector<std::string> keys(Json const& object)
{
    std::vector<std::string> names;
    for (auto const& item : object.items())
        names.push_back(item.key());
    return names;  // in alphabetical order
}

TEST(ZvioCommandLine, HelpAndVersionGoToStandardOutput)
{
    for (std::vector<std::string> const& arguments : {std::vector<std::string>{"--help"},
                                                      {"probe", "--help"},
                                                      {"load", "--help"},
                                                      {"pixels", "--help"},
                                                      {"convert", "--help"},
                                                      {"plan", "--help"},
                                                      {"render", "--help"},
                                                      {"compare", "--help"},
                                                      {"verify", "--help"},
                                                      {"sheet", "--help"},
                                                      {"name", "--help"},
                                                      {"name", "layer", "--help"},
                                                      {"formats", "--help"},
                                                      {"texture", "--help"},
                                                      {"share", "--help"},
                                                      {"plates", "--help"},
                                                      {"presets", "--help"},
                                                      {"presets", "check", "--help"},
                                                      {"events", "--help"},
                                                      {"events", "id", "--help"},
                                                      {"doctor", "--help"}}) {
        auto const run = run_zvio(arguments);

        EXPECT_EQ(run.exit_code, 0) << arguments[0];
        EXPECT_THAT(run.output, HasSubstr("Usage: zvio")) << arguments[0];
        EXPECT_EQ(run.error, "") << arguments[0];
    }

    auto const version = run_zvio({"--version"});
    EXPECT_EQ(version.exit_code, 0);
    EXPECT_EQ(version.output.rfind("zvio ", 0), 0u);
}

TEST(ZvioCommandLine, EveryCommandTakesTheCommonOptions)
{
    for (char const* command :
         {"probe", "load", "pixels", "convert", "plan", "render", "compare", "verify", "sheet", "name",
          "formats", "texture", "share", "plates", "presets", "events", "doctor"}) {
        auto const help = run_zvio({command, "--help"});

        for (char const* option :
             {"--json", "--log-level", "--progress", "--ocio", "--threads", "--max-image-mb", "--strict", "--help"})
            EXPECT_THAT(help.output, HasSubstr(option)) << command;
    }
}

TEST(ZvioCommandLine, HelpListsAllCommandsAndExitCodes)
{
    std::string const help = run_zvio({"--help"}).output;

    for (char const* command :
         {"probe", "load", "pixels", "convert", "plan", "render", "compare", "verify", "sheet", "name",
          "formats", "texture", "share", "plates", "presets", "events", "doctor"})
        EXPECT_THAT(help, HasSubstr(std::string("\n  ") + command + " ")) << command;
    EXPECT_THAT(help, HasSubstr("Exit codes: 0 success, 1 failure, 2 usage, 3 input missing"));
}

TEST(ZvioCommandLine, HelpShowsOptionsAsTheyAreWritten)
{
    for (char const* command : {"convert", "plan", "render"}) {
        std::string const help = run_zvio({command, "--help"}).output;
        EXPECT_THAT(help, HasSubstr("--no-verify ")) << command;
        EXPECT_THAT(help, Not(HasSubstr("{"))) << command;
    }
}

TEST(ZvioCommandLine, ListsTakeOneArgument)
{
    TempDir const folder;
    zv_test::write_picture(folder.file("a.png"), zv_test::picture_spec(5, 4, 3, OIIO::TypeDesc::UINT8));

    auto const run = run_zvio({"load", "--json", "--channels", "r,g,b", folder.file("a.png")});

    EXPECT_EQ(run.exit_code, 0) << run.error;
    EXPECT_EQ(run.json()["result"]["files"].size(), 1u);
}

struct MistakeCase {
    char const* label;
    std::vector<std::string> arguments;
    char const* text;
};

class ZvioMistakes : public testing::TestWithParam<MistakeCase> {};

TEST_P(ZvioMistakes, EndWithTwoAndAReason)
{
    auto const run = run_zvio(GetParam().arguments);

    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error, HasSubstr(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, ZvioMistakes,
    testing::Values(
        MistakeCase{"no_command", {}, "subcommand"}, MistakeCase{"unknown_command", {"fly"}, "fly"},
        MistakeCase{"unknown_option", {"probe", "--fly", "a.png"}, "--fly"},
        MistakeCase{"no_file", {"load"}, "FILE"}, MistakeCase{"no_output", {"pixels", "a.png"}, "--output"},
        MistakeCase{"log_level", {"load", "--log-level", "4", "a.png"}, "--log-level"},
        MistakeCase{"progress", {"load", "--progress", "maybe", "a.png"}, "--progress"},
        MistakeCase{"threads", {"load", "--threads", "0", "a.png"}, "--threads"},
        MistakeCase{"max_image_mb", {"load", "--max-image-mb", "0", "a.png"}, "--max-image-mb"},
        MistakeCase{"single_channel", {"load", "--single-channel", "4", "a.png"}, "--single-channel"},
        MistakeCase{"repeat", {"load", "--repeat", "wrap,none", "a.png"}, "wrap"},
        MistakeCase{"nothing_to_convert", {"convert", "-o", "b.png"}, "IN"},
        MistakeCase{"convert_to_nothing", {"convert", "a.png"}, "--output"},
        MistakeCase{"unknown_format", {"convert", "--format", "gif", "a.png", "-o", "b.gif"}, "\"gif\""},
        MistakeCase{"name_without_format", {"convert", "a.png", "-o", "b.dat"}, "tells no format"},
        MistakeCase{"format_against_name", {"convert", "--format", "png16", "a.exr", "-o", "b.exr"}, "png16"},
        MistakeCase{"compression", {"convert", "--compression", "lzw", "a.exr", "-o", "b.exr"}, "\"lzw\""},
        MistakeCase{"level_of_zip", {"convert", "--compression", "zip:4", "a.exr", "-o", "b.exr"}, "zip:4"},
        MistakeCase{"level", {"convert", "--compression", "dwaa:x", "a.exr", "-o", "b.exr"}, "dwaa:x"},
        MistakeCase{
            "negative_level", {"convert", "--compression", "dwaa:-1", "a.exr", "-o", "b.exr"}, "dwaa:-1"},
        MistakeCase{
            "target_space", {"convert", "--color-space", "none such", "a.exr", "-o", "b.exr"}, "none such"},
        MistakeCase{
            "input_space", {"convert", "--input-space", "none such", "a.exr", "-o", "b.exr"}, "none such"},
        MistakeCase{"crop", {"convert", "--crop", "0,0,1", "a.exr", "-o", "b.exr"}, "\"0,0,1\""},
        MistakeCase{"crop_words", {"convert", "--crop", "0,0,a,b", "a.exr", "-o", "b.exr"}, "0,0,a,b"},
        MistakeCase{"aspect", {"convert", "--pixel-aspect", "0", "a.exr", "-o", "b.exr"}, "--pixel-aspect"},
        MistakeCase{
            "metadata", {"convert", "--metadata", "a 1\nb x", "a.exr", "-o", "b.exr"}, "line 2, column 3"},
        MistakeCase{"frames", {"convert", "--frames", "4-1", "a.####.exr", "-o", "b.####.exr"}, "4-1"},
        MistakeCase{
            "frame_step", {"convert", "--frames", "1-4x0", "a.####.exr", "-o", "b.####.exr"}, "1-4x0"},
        MistakeCase{"frames_of_no_sequence",
                    {"convert", "--frames", "1-4", "a.exr", "-o", "b.exr"},
                    "takes a numbered input"},
        MistakeCase{"planned_frames_of_no_sequence",
                    {"plan", "--frames", "1-4", "a.exr", "-o", "b.exr"},
                    "takes a numbered input"},
        MistakeCase{"two_into_one", {"convert", "a.exr", "b.exr", "-o", "c.exr"}, "more than one file"},
        MistakeCase{
            "no_such_sequence", {"convert", "nothing.####.exr", "-o", "c.####.exr"}, "nothing.####.exr"},
        MistakeCase{"no_such_pattern", {"convert", "nothing*.exr", "-o", "c.exr"}, "nothing*.exr"},
        MistakeCase{"no_frame_number", {"convert", "a.exr", "-o", "c.####.exr"}, "no frame number"},
        MistakeCase{"plan_format", {"plan", "a.png", "-o", "b.dat"}, "tells no format"},
        MistakeCase{"render_size", {"render", "--size", "10x", "-o", "b.exr"}, "--size"},
        MistakeCase{"render_no_size", {"render", "--size", "0", "-o", "b.exr"}, "--size"},
        MistakeCase{"render_bucket", {"render", "--bucket", "big", "-o", "b.exr"}, "--bucket"},
        MistakeCase{"render_order", {"render", "--order", "zigzag", "-o", "b.exr"}, "--order"},
        MistakeCase{"render_aovs", {"render", "--aovs", "-1", "-o", "b.exr"}, "--aovs"},
        MistakeCase{"render_simple_format", {"render", "-o", "b.png"}, "OpenEXR or TIFF"},
        MistakeCase{"lines_out_of_order",
                    {"render", "--scanline", "--order", "spiral", "-o", "b.exr"},
                    "--order rows"},
        MistakeCase{
            "narrow_bucket", {"render", "--scanline", "--bucket", "64", "-o", "b.exr"}, "at least 640"},
        MistakeCase{"half_tiles", {"render", "--bucket", "96x64", "-o", "b.exr"}, "whole tiles"},
        MistakeCase{"half_tiles_down", {"render", "--bucket", "64x32", "-o", "b.exr"}, "whole tiles"},
        MistakeCase{"narrow_tiff", {"render", "--bucket", "64", "-o", "b.tif"}, "at least 640"},
        MistakeCase{
            "half_strips", {"render", "--scanline", "--bucket", "640x32", "-o", "b.tif"}, "whole strips"},
        MistakeCase{"resumed_tiff", {"render", "--resume", "-o", "b.tif"}, "only OpenEXR"},
        MistakeCase{
            "resumed_space", {"render", "--resume", "--color-space", "sRGB", "-o", "b.exr"}, "working space"},
        MistakeCase{"one_file_to_compare", {"compare", "a.png"}, "B"},
        MistakeCase{"negative_tolerance", {"compare", "--fail", "-1", "a.png", "b.png"}, "--fail"},
        MistakeCase{"nothing_to_verify", {"verify"}, "FILE"},
        MistakeCase{"sheet_without_output", {"sheet", "a.png"}, "--output"},
        MistakeCase{"cell_size", {"sheet", "--cell", "big", "a.png", "-o", "b.png"}, "\"big\""},
        MistakeCase{"columns", {"sheet", "--columns", "0", "a.png", "-o", "b.png"}, "--columns"},
        MistakeCase{"name_of_nothing", {"name"}, "subcommand"},
        MistakeCase{"tile_without_numbers", {"name", "tile", "render."}, "A"},
        MistakeCase{"no_file_name", {"name", "layer", "", "z"}, "no file name"},
        MistakeCase{"topic", {"formats", "colours"}, "colours"},
        MistakeCase{"no_texture", {"texture"}, "FILE"},
        MistakeCase{"grid_without_output", {"texture", "a.exr", "--grid", "4x4"}, "--output"},
        MistakeCase{"output_without_grid", {"texture", "a.exr", "-o", "b.png"}, "--grid"},
        MistakeCase{"cache_of_nothing", {"texture", "a.exr", "--cache", "0"}, "--cache"},
        MistakeCase{"statistics_level", {"texture", "a.exr", "--stats", "6"}, "--stats"},
        MistakeCase{"interp", {"texture", "a.exr", "--interp", "4"}, "--interp"},
        MistakeCase{"bench_of_no_time", {"texture", "a.exr", "--bench", "0"}, "--bench"},
        MistakeCase{"nothing_to_share", {"share"}, "FILE"},
        MistakeCase{"no_users", {"share", "--users", "0", "a.exr"}, "--users"},
        MistakeCase{"no_plates", {"plates"}, "PATH"},
        MistakeCase{"no_requesters", {"plates", "--requesters", "0", "a.exr"}, "--requesters"},
        MistakeCase{"unknown_presets", {"presets", "bogus"}, "bogus"},
        MistakeCase{"no_size_to_find", {"presets", "find"}, "SIZE"},
        MistakeCase{"no_file_to_check", {"presets", "check"}, "FILE"},
        MistakeCase{"unknown_events", {"events", "bogus"}, "bogus"},
        MistakeCase{"nothing_to_examine", {"doctor", "bogus"}, "bogus"},
        MistakeCase{"colour_space", {"load", "--color-space", "no such space", "a.png"}, "\"no such space\""},
        MistakeCase{"output_space",
                    {"pixels", "--output-space", "no such space", "a.png", "-o", "b.png"},
                    "\"no such space\""}),
    [](auto const& row) { return row.param.label; });

TEST(ZvioCommandLine, PicturesAboveTheLimitAreRefused)
{
    TempDir const folder;
    zv_test::write_picture(folder.file("a.tif"), zv_test::picture_spec(640, 640, 4, OIIO::TypeDesc::UINT8));

    auto const refused = run_zvio({"load", "--json", "--max-image-mb", "1", folder.file("a.tif")});
    auto const taken = run_zvio({"load", "--json", "--max-image-mb", "2", folder.file("a.tif")});

    EXPECT_EQ(refused.exit_code, 3);
    EXPECT_EQ(taken.exit_code, 0);
}

TEST(ZvioCommandLine, MistakesGiveADocumentToo)
{
    auto const run = run_zvio({"load", "--json", "--threads", "none", "a.png"});
    Json const document = run.json();

    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(document["exit_code"], 2);
    EXPECT_EQ(document["ok"], false);
    EXPECT_EQ(document["command"], "load");
    EXPECT_THAT(zv_test::warning_codes(document), ElementsAre("usage"));
}

TEST(ZvioCommandLine, DocumentsHaveTheSameKeysWhateverHappens)
{
    TempDir const folder;
    zv_test::write_picture(folder.file("a.png"), zv_test::picture_spec(5, 4, 3, OIIO::TypeDesc::UINT8));

    for (std::vector<std::string> const& arguments :
         {std::vector<std::string>{"probe", "--json", folder.file("a.png")},
          {"load", "--json", folder.file("a.png")},
          {"load", "--json", folder.file("missing.png")},
          {"pixels", "--json", folder.file("a.png"), "-o", folder.file("b.png")},
          {"formats", "--json"},
          {"events", "id", "EVT_ID_DESTROY", "--json"},
          {"presets", "--json"},
          {"plates", "--json", folder.file("a.png")},
          {"share", "--json", folder.file("a.png")},
          {"texture", "--json", folder.file("a.png"), "0,0"},
          {"texture", "--json", folder.file("missing.png")},
          {"doctor", "--json"},
          {"load", "--json"}}) {
        Json const document = run_zvio(arguments).json();

        EXPECT_THAT(keys(document), ElementsAre("command", "elapsed_ms", "exit_code", "log", "ok", "result",
                                                "schema", "warnings"))
            << arguments[0];
        EXPECT_EQ(document["schema"], "zvio/1");
        EXPECT_EQ(document["command"], arguments[0]);
        EXPECT_EQ(document["ok"], document["exit_code"] == 0);
        EXPECT_GE(document["elapsed_ms"].get<double>(), 0.0);
    }
}

TEST(ZvioCommandLine, LogLinesGoToStandardErrorAndIntoTheDocument)
{
    TempDir const folder;
    std::string const path = folder.file("foreign.png");
    zv_test::write_bytes(path, {'n', 'o', ' ', 'p', 'i', 'c', 't', 'u', 'r', 'e'});
    std::string const line = "Failed to load image '" + path + "': could not create image input.";

    auto const run = run_zvio({"load", "--json", path});
    auto const quiet = run_zvio({"load", "--json", "--log-level", "1", path});

    EXPECT_EQ(run.exit_code, 3);
    ASSERT_GE(run.json()["log"].size(), 1u);
    EXPECT_EQ(run.json()["log"][0], (Json{{"level", 2}, {"text", line}}));
    EXPECT_THAT(run.error, HasSubstr(line + "\n"));
    EXPECT_EQ(quiet.exit_code, 3);
    EXPECT_EQ(quiet.json()["log"].size(), 0u);
    EXPECT_THAT(quiet.error, Not(HasSubstr(line)));
}

TEST(ZvioCommandLine, BarsAreDrawnWhereWanted)
{
    TempDir const folder;
    zv_test::write_picture(folder.file("a.png"), zv_test::picture_spec(47, 33, 3, OIIO::TypeDesc::UINT8));

    auto const without_terminal = run_zvio({"load", folder.file("a.png")});
    auto const never = run_zvio({"load", "--progress", "never", folder.file("a.png")});
    auto const always = run_zvio({"load", "--progress", "always", folder.file("a.png")});

    EXPECT_EQ(without_terminal.error, "");
    EXPECT_EQ(never.error, "");
    EXPECT_THAT(always.error, HasSubstr("] 100 %  a.png"));
    EXPECT_EQ(always.error.substr(always.error.size() - 4), "\r\033[K");
    EXPECT_EQ(always.exit_code, 0);
}

TEST(ZvioCommandLine, UnusableColourConfigurationIsAnInputFailure)
{
    TempDir const folder;
    zv_test::write_bytes(folder.file("bad.ocio"), {'n', 'o'});
    zv_test::write_picture(folder.file("a.png"), zv_test::picture_spec(5, 4, 3, OIIO::TypeDesc::UINT8));

    for (char const* name : {"bad.ocio", "missing.ocio"}) {
        auto const run = run_zvio({"load", "--ocio", folder.file(name), folder.file("a.png")});

        EXPECT_EQ(run.exit_code, 3) << name;
        EXPECT_EQ(run.output, "") << name;
        EXPECT_THAT(run.error, HasSubstr(folder.file(name))) << name;
    }
}

TEST(ZvioCommandLine, ColourConfigurationOfTheUserCounts)
{
    TempDir const folder;
    std::string const text =
        "ocio_profile_version: 1\nstrictparsing: true\nroles:\n  default: flat\n  scene_linear: flat\n"
        "displays:\n  d:\n    - !<View> {name: v, colorspace: flat}\n"
        "colorspaces:\n  - !<ColorSpace>\n    name: flat\n";
    zv_test::write_bytes(folder.file("own.ocio"), {text.begin(), text.end()});
    zv_test::write_picture(folder.file("a.png"), zv_test::picture_spec(5, 4, 3, OIIO::TypeDesc::UINT8));

    auto const known = run_zvio(
        {"load", "--json", "--ocio", folder.file("own.ocio"), "--color-space", "flat", folder.file("a.png")});
    auto const unknown = run_zvio(
        {"load", "--ocio", folder.file("own.ocio"), "--color-space", "ACEScg", folder.file("a.png")});

    EXPECT_EQ(known.exit_code, 0);
    EXPECT_EQ(known.json()["result"]["files"][0]["color_space"],
              (Json{{"name", "flat"}, {"rule", "option"}}));
    EXPECT_EQ(unknown.exit_code, 2);
    EXPECT_THAT(unknown.error, HasSubstr("the configuration has flat"));
}

}  // namespace
