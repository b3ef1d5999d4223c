#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ImfChannelList.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>

#include <filesystem>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/run_zvio.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using zv_test::ExrPicture;
using zv_test::picture_spec;
using zv_test::run_zvio;
using zv_test::TempDir;
using zv_test::warning_codes;
using Json = nlohmann::json;

std::string write_source(TempDir const& folder, std::vector<zv_test::ExrChannel> const& channels)
{
    ExrPicture picture;
    picture.width = 20;
    picture.height = 10;
    picture.channels = channels;
    zv_test::write_exr(folder.file("in.exr"), picture);
    return folder.file("in.exr");
}

/// Colours and the layers that every case may want.
std::vector<zv_test::ExrChannel> const kLayered = {{"R"}, {"G"}, {"B"}, {"light.R"}, {"depth.Z", Imf::FLOAT}};

struct WarningCase {
    char const* label;
    std::vector<zv_test::ExrChannel> channels;
    std::vector<std::string> options;
    char const* output;
    std::vector<std::string> codes;
    char const* text;  // of the first one
};

class ZvioSaveWarnings : public testing::TestWithParam<WarningCase> {};

TEST_P(ZvioSaveWarnings, AreTheSameForPlanAndConvert)
{
    auto const& [label, channels, options, output, codes, text] = GetParam();
    TempDir const folder;
    std::vector<std::string> arguments = {"plan", "--json", write_source(folder, channels), "-o",
                                          folder.file(output)};
    arguments.insert(arguments.end(), options.begin(), options.end());

    auto const plan = run_zvio(arguments);
    arguments[0] = "convert";
    auto const convert = run_zvio(arguments);

    EXPECT_EQ(plan.exit_code, 0) << plan.error;
    EXPECT_EQ(convert.exit_code, 0) << convert.error;
    EXPECT_EQ(warning_codes(plan.json()), codes);
    EXPECT_EQ(warning_codes(convert.json()), codes);
    if (!codes.empty()) {
        EXPECT_THAT(plan.json()["warnings"][0]["text"].get<std::string>(), HasSubstr(text));
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, ZvioSaveWarnings,
    testing::Values(
        WarningCase{"none_for_exr", kLayered, {}, "a.exr", {}, ""},
        WarningCase{"none_for_all_files", kLayered, {"--aovs-in-all-formats"}, "a.png", {}, ""},
        WarningCase{"aovs_dropped", kLayered, {}, "a.png", {"aovs_dropped"}, "depth.z, light.r"},
        WarningCase{"aovs_dropped_by_layers",
                    {{"R"}, {"G"}, {"B"}, {"x.R"}},
                    {"--layers", "x.r"},
                    "a.png",
                    {"aovs_dropped"},
                    "r, g, b"},
        WarningCase{"channel_dropped", {{"R"}, {".x"}}, {}, "a.exr", {"channel_dropped"}, ".x"},
        WarningCase{
            "crop_png", {{"R"}, {"G"}, {"B"}}, {"--crop", "0,0,.5,1"}, "a.png", {"crop_ignored"}, "OpenEXR"},
        WarningCase{
            "crop_tiff", {{"R"}, {"G"}, {"B"}}, {"--crop", "0,0,.5,1"}, "a.tif", {"crop_ignored"}, "OpenEXR"},
        WarningCase{"metadata_png",
                    {{"R"}, {"G"}, {"B"}},
                    {"--metadata", "comment \"x\""},
                    "a.png",
                    {"metadata_unsupported"},
                    "comment"},
        WarningCase{"metadata_tiff",
                    {{"R"}, {"G"}, {"B"}},
                    {"--metadata", "comment \"x\"\nworldToCamera 1,0,0,0, 0,1,0,0, 0,0,1,0, 0,0,0,1"},
                    "a.tif",
                    {"metadata_unsupported"},
                    "hold: comment"},
        WarningCase{"metadata_four",
                    {{"R"}},
                    {"--metadata", "window 1,2,3,4\nscale 2"},
                    "a.exr",
                    {"metadata_dropped"},
                    ": window"},
        WarningCase{"metadata_bool",
                    {{"R"}},
                    {"--metadata", "approved true"},
                    "a.exr",
                    {"metadata_dropped"},
                    ": approved"},
        WarningCase{"metadata_short_matrix",
                    {{"R"}},
                    {"--metadata", "worldToNDC 1,2,3"},
                    "a.exr",
                    {"metadata_dropped"},
                    "worldToNDC"},
        WarningCase{"metadata_fits",
                    {{"R"}},
                    {"--metadata", "a 1\nb 1,2\nc 1,2,3\nd \"x\"\ne 1,2,3,4,5,6,7,8,9"},
                    "a.exr",
                    {},
                    ""},
        WarningCase{
            "integers", {{"R"}, {"object", Imf::UINT}}, {}, "a.exr", {"integer_layer_scaled"}, "object"},
        WarningCase{"integers_kept",
                    {{"R"}, {"object", Imf::UINT}},
                    {"--keep-integers"},
                    "a.exr",
                    {"integer_layer_zeros"},
                    "object"},
        WarningCase{"depth_dwaa", kLayered, {"--compression", "dwaa"}, "a.exr", {"lossy_data"}, "depth.z"},
        WarningCase{"depth_pxr24", kLayered, {"--compression", "pxr24"}, "a.exr", {"lossy_data"}, "depth.z"},
        WarningCase{"depth_piz", kLayered, {"--compression", "piz"}, "a.exr", {}, ""},
        WarningCase{"object_id_b44",
                    {{"R"}, {"objectid", Imf::FLOAT}},
                    {"--compression", "b44"},
                    "a.exr",
                    {"lossy_data"},
                    "objectid"},
        WarningCase{"depth_jpg", kLayered, {"--aovs-in-all-formats"}, "a.jpg", {"lossy_data"}, "depth.z"},
        WarningCase{"normals_are_no_depth",
                    {{"R"}, {"normal.X"}, {"normal.Y"}, {"normal.Z"}},
                    {"--compression", "b44"},
                    "a.exr",
                    {},
                    ""},
        WarningCase{"color_over_layers", kLayered, {}, "a.tif", {"color_over_layers"}, "--one-file-per-aov"},
        WarningCase{"no_color_over_layers", kLayered, {"--color-space", "Linear"}, "a.tif", {}, ""},
        WarningCase{
            "layers_ignored", kLayered, {"--layers", "light.r"}, "b.exr", {"layers_ignored"}, "no effect"},
        WarningCase{"five_layers",
                    {{"R"}, {"G"}, {"B"}, {"A"}},
                    {"--layers", "r,g,b,a,r"},
                    "a.png",
                    {"layers_ignored"},
                    "first four"},
        WarningCase{"layer_missing",
                    {{"R"}, {"G"}, {"B"}},
                    {"--layers", "r,g,b,none"},
                    "a.png",
                    {"layer_missing"},
                    "\"none\""},
        WarningCase{"ignored_by_png",
                    {{"R"}, {"G"}, {"B"}},
                    {"--compression", "piz", "--tiled", "--pixel-aspect", "2", "--one-file-per-aov"},
                    "a.png",
                    {"option_ignored"},
                    "--compression, --tiled, --pixel-aspect, --one-file-per-aov"},
        WarningCase{"ignored_by_exr",
                    kLayered,
                    {"--aovs-in-all-formats"},
                    "a.exr",
                    {"option_ignored"},
                    "--aovs-in-all-formats"}),
    [](auto const& row) { return row.param.label; });

TEST(ZvioSaveWarnings, SixtyFourBitsAreTold)
{
    TempDir const folder;
    zv_test::write_picture(folder.file("in.tif"), picture_spec(20, 10, 3, OIIO::TypeDesc::DOUBLE));

    auto const run = run_zvio(
        {"plan", "--json", "--input-space", "Linear", folder.file("in.tif"), "-o", folder.file("a.exr")});

    EXPECT_THAT(warning_codes(run.json()), Contains("double_input"));
}

TEST(ZvioSaveWarnings, KeptIntegersAreDeclaredAndHoldZeros)
{
    TempDir const folder;
    std::string const source = write_source(folder, {{"R"}, {"object", Imf::UINT}});

    run_zvio({"convert", "--keep-integers", source, "-o", folder.file("kept.exr")});
    run_zvio({"convert", source, "-o", folder.file("float.exr")});
    auto const kept = zv_test::read_picture(folder.file("kept.exr"));

    EXPECT_EQ(Imf::InputFile(folder.file("kept.exr").c_str()).header().channels()["object"].type, Imf::UINT);
    EXPECT_EQ(Imf::InputFile(folder.file("float.exr").c_str()).header().channels()["object"].type,
              Imf::FLOAT);
    for (int x = 0; x < 20; ++x)
        EXPECT_EQ(kept.at(kept.spec.channelindex("object"), x, 5), 0.0f);
}

TEST(ZvioSaveWarnings, ComeBeforeAFailingSave)
{
    TempDir const folder;
    std::string const source = write_source(folder, kLayered);

    auto const run = run_zvio({"convert", "--json", source, "-o", folder.file("no such folder/a.png")});

    EXPECT_THAT(warning_codes(run.json()), ElementsAre("aovs_dropped", "cannot_write"));
}

TEST(ZvioConvert, RefusesADisplayWindowThatNoMachineHolds)
{
    TempDir const folder;
    ExrPicture picture;
    picture.width = picture.height = 8;
    picture.display_x = picture.display_y = -13619152;
    picture.display_width = picture.display_height = 822083585;
    picture.channels = {{"R"}, {"G"}, {"B"}};
    zv_test::write_exr(folder.file("hostile.exr"), picture);

    auto const refused =
        run_zvio({"convert", folder.file("hostile.exr"), "-o", folder.file("out.tif"), "--tiled", "--json"});
    auto const small = run_zvio({"convert", folder.file("hostile.exr"), "-o", folder.file("out.exr")});

    EXPECT_EQ(refused.exit_code, 5);
    EXPECT_THAT(warning_codes(refused.json()), Contains("too_large"));
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.tif")));
    EXPECT_EQ(small.exit_code, 0) << "OpenEXR stores the data window alone: " << small.error;
}

}  // namespace
