#include "host/colorio/color_io.h"

#include <array>
#include <vector>

#include <gmock/gmock.h>

#include "host/colorio/color_io_auto_detection.h"
#include "host/colorio/color_io_converter.h"
#include "tests/host/colorio/color_fixture.h"
#include "tests/support/log_capture.h"

namespace {

using ColorIOTest = Color;
using ColorIOManagerTest = Color;
using ColorIOAutoDetectionTest = Color;

TEST_F(ColorIOManagerTest, BuiltInConfigurationIsValidAndStrict)
{
    OCIO::ConstConfigRcPtr const config = ColorIOManager::s_instance->get_config();

    EXPECT_NO_THROW(config->validate());
    EXPECT_TRUE(config->isStrictParsingEnabled());
    EXPECT_STREQ(config->getColorSpace("default")->getName(), "Linear");
    EXPECT_STREQ(config->getColorSpace("scene_linear")->getName(), "Linear");
    EXPECT_TRUE(config->getColorSpace("raw")->isData());
    EXPECT_TRUE(ColorIOManager::s_instance->get_config_file().is_empty());
}

/// OpenColorIO's own conversion, independent of the configuration's matrices.
OCIO::ConstCPUProcessorRcPtr built_in_processor(bool from_aces)
{
    auto group = OCIO::GroupTransform::Create();
    if (from_aces) {
        auto to_working = OCIO::BuiltinTransform::Create();
        to_working->setStyle("ACEScg_to_ACES2065-1");
        to_working->setDirection(OCIO::TRANSFORM_DIR_INVERSE);
        group->appendTransform(to_working);
    }
    auto to_linear = OCIO::BuiltinTransform::Create();
    to_linear->setStyle("UTILITY - ACES-AP1_to_LINEAR-REC709_BFD");
    group->appendTransform(to_linear);
    return OCIO::Config::CreateRaw()->getProcessor(group)->getDefaultCPUProcessor();
}

TEST_F(ColorIOManagerTest, MatricesAreThoseOfThePublishedPrimaries)
{
    for (bool const aces : {false, true}) {
        OCIO::ConstCPUProcessorRcPtr const processor = built_in_processor(aces);
        ColorIOConverter converter;
        ASSERT_TRUE(converter.configure(aces ? "ACES2065-1" : "ACEScg", "Linear"));
        for (auto const& pixel :
             {std::array{1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {0.0f, 0.0f, 1.0f}, {0.2f, 0.7f, 1.5f}}) {
            std::array expected = pixel;
            std::array converted = pixel;

            processor->applyRGB(expected.data());
            EXPECT_TRUE(converter.convert_buffer(converted.data(), 1, 1, 3));

            for (unsigned int c = 0; c < 3; ++c)
                EXPECT_NEAR(converted[c], expected[c], 5e-6f);
        }
    }
}

TEST_F(ColorIOManagerTest, CurvesAreThoseOfTheStandards)
{
    for (float value : {0.0f, 0.02f, 0.04f, 0.1f, 0.5f, 0.9f, 1.0f}) {
        float srgb[3] = {value, value, value};
        float camera[3] = {value, value, value};

        EXPECT_TRUE(ColorIO::convert_buffer(srgb, 1, 1, 3, "Linear", "sRGB"));
        EXPECT_TRUE(ColorIO::convert_buffer(camera, 1, 1, 3, "Linear", "Rec.709"));

        double const rec709 = value < 0.081 ? value / 4.5 : std::pow((value + 0.099) / 1.099, 1.0 / 0.45);
        EXPECT_NEAR(srgb[0], srgb_to_linear(value), 1e-5f);
        EXPECT_NEAR(camera[0], rec709, 2e-4);
    }
}

TEST_F(ColorIOManagerTest, NamesInsideAPathAreFound)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    OCIO::ConstConfigRcPtr const config = ColorIOManager::s_instance->get_config();
    EXPECT_STREQ(config->parseColorSpaceFromString("/plates/shot_ACEScg_v2.exr"), "ACEScg");
    EXPECT_STREQ(config->parseColorSpaceFromString("/plates/shot_v2.exr"), "");
#pragma GCC diagnostic pop
}

TEST_F(ColorIOManagerTest, TakesTheFileOfTheEnvironment)
{
    CoreString const path = write_config(kOtherConfig);
    setenv("OCIO", path.get_data(), 1);

    ColorIOManager::s_instance->reload();

    EXPECT_EQ(ColorIOManager::s_instance->get_config_file(), path);
    EXPECT_EQ(ColorIO::get_default_color_space_name(), "ACEScg");
}

TEST_F(ColorIOManagerTest, UnusableFileOfTheEnvironmentIsLoggedAndLeavesTheBuiltInOne)
{
    setenv("OCIO", "/nowhere/config.ocio", 1);
    zv_test::LogCapture log;

    ColorIOManager::s_instance->reload();

    EXPECT_TRUE(ColorIOManager::s_instance->get_config_file().is_empty());
    EXPECT_EQ(ColorIO::get_default_color_space_name(), "Linear");
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].level, 1);
    EXPECT_THAT(log.lines()[0].text,
                testing::StartsWith("Colour configuration '/nowhere/config.ocio' cannot be used: "));
    EXPECT_THAT(log.lines()[0].text, testing::EndsWith("\n"));
}

TEST_F(ColorIOManagerTest, ALogSinkMayAskForColors)
{
    setenv("OCIO", "/nowhere/config.ocio", 1);
    CoreString name;
    CoreLogHandler::Sink before = CoreLogHandler::set_sink(
        [&](int, CoreString const&) { name = ColorIO::get_default_color_space_name(); });

    ColorIOManager::s_instance->reload();
    CoreLogHandler::set_sink(std::move(before));

    EXPECT_EQ(name, "Linear");
}

TEST_F(ColorIOManagerTest, RefusedFileKeepsTheCurrentOneAndTellsWhy)
{
    use_other_config();
    CoreString const current = ColorIOManager::s_instance->get_config_file();
    CoreString error;

    EXPECT_FALSE(ColorIOManager::s_instance->set_config_file("/nowhere/config.ocio", &error));
    EXPECT_FALSE(error.is_empty());
    std::string const broken = (m_folder.path() / "broken.ocio").string();
    std::ofstream(broken) << "ocio_profile_version: 2\nroles: [";
    EXPECT_FALSE(ColorIOManager::s_instance->set_config_file(broken.c_str()));

    EXPECT_EQ(ColorIOManager::s_instance->get_config_file(), current);
    EXPECT_EQ(ColorIO::get_default_color_space_name(), "ACEScg");
}

TEST_F(ColorIOManagerTest, ConverterKeepsItsConfiguration)
{
    ColorIOConverter converter;
    ASSERT_TRUE(converter.configure("sRGB", "Linear"));
    use_other_config();
    float pixel[3] = {0.5f, 0.5f, 0.5f};

    EXPECT_TRUE(converter.convert_buffer(pixel, 1, 1, 3));

    EXPECT_NEAR(pixel[0], srgb_to_linear(0.5), 1e-5f);
}

TEST_F(ColorIOTest, DefaultNameCarriesNoFamily)
{
    EXPECT_EQ(ColorIO::get_default_color_space_name(), "Linear");
    use_other_config();
    EXPECT_EQ(ColorIO::get_default_color_space_name(), "ACEScg");
    EXPECT_EQ(ColorIO::resolve_name(ColorIO::get_default_color_space_name()), "ACES - ACEScg");
}

TEST_F(ColorIOTest, TagsAreTheAttributesOfFiles)
{
    ColorIO* const colors = ColorIO::get_instance();
    ASSERT_NE(colors, nullptr);
    ASSERT_EQ(colors->get_color_space_tag_count(), 2u);
    EXPECT_EQ(colors->get_color_space_tag(0), "oiio:ColorSpace");
    EXPECT_EQ(colors->get_color_space_tag(1), "ColorSpace");
    EXPECT_EQ(colors->get_color_space_tag(2), "");
    EXPECT_EQ(ColorIO::get_instance(), colors);
}

TEST_F(ColorIOTest, ListsNamesAndLabels)
{
    CoreVector<CoreString> const names = ColorIO::get_color_space_names();
    CoreVector<CoreString> const labels = ColorIO::get_color_space_labels();

    EXPECT_THAT(std::vector<CoreString>(names.begin(), names.end()),
                testing::ElementsAre("Linear", "sRGB", "Rec.709", "ACEScg", "ACES2065-1", "raw"));
    EXPECT_THAT(std::vector<CoreString>(labels.begin(), labels.end()),
                testing::ElementsAre("Scene|Linear", "Texture|sRGB", "Texture|Rec.709", "Scene|ACEScg",
                                     "Scene|ACES2065-1", "Data|raw"));
    EXPECT_EQ(ColorIOManager::s_instance->get_color_space_enum_separator(), '|');
}

struct NameCase {
    char const* given;
    char const* resolved;
};

class BuiltInNames : public testing::TestWithParam<NameCase> {};

TEST_P(BuiltInNames, Resolve)
{
    unsetenv("OCIO");
    ColorIOManager::s_instance->reload();
    EXPECT_EQ(ColorIO::resolve_name(GetParam().given), GetParam().resolved) << GetParam().given;
}

INSTANTIATE_TEST_SUITE_P(
    Names, BuiltInNames,
    testing::Values(NameCase{"Linear", "Linear"}, NameCase{"linear", "Linear"}, NameCase{"sRGB", "sRGB"},
                    NameCase{"SRGB", "sRGB"}, NameCase{"Rec.709", "Rec.709"}, NameCase{"ACEScg", "ACEScg"},
                    NameCase{"ACES2065-1", "ACES2065-1"}, NameCase{"raw", "raw"},
                    NameCase{"lin_rec709", "Linear"}, NameCase{"srgb_texture", "sRGB"},
                    NameCase{"scene_linear", "Linear"}, NameCase{"default", "Linear"},
                    NameCase{"color_picking", "sRGB"}, NameCase{"data", "raw"},
                    NameCase{"Scene|Linear", "Linear"}, NameCase{"texture|srgb", "sRGB"},
                    NameCase{"Scene|sRGB", ""}, NameCase{"|sRGB", ""}, NameCase{"Rec709", "Rec.709"},
                    NameCase{"BT.709", "Rec.709"}, NameCase{"Gamma2.2", "sRGB"},
                    NameCase{"sRGB IEC61966-2.1", "sRGB"}, NameCase{"ACES", "ACES2065-1"},
                    NameCase{"lin_ap1", "ACEScg"}, NameCase{"Non-Color", "raw"}, NameCase{"", ""},
                    NameCase{"nonsense", ""}, NameCase{"sRGB ", ""}, NameCase{"Linear2", ""}));

TEST_F(ColorIOTest, OtherConfigurationsResolveToo)
{
    use_other_config();
    for (NameCase const& name :
         {NameCase{"ACES - ACEScg", "ACES - ACEScg"},
          {"ACEScg", "ACES - ACEScg"},
          {"working", "ACES - ACEScg"},
          {"ACES|ACES - ACEScg", "ACES - ACEScg"},
          {"sRGB - Texture", "Utility - sRGB - Texture"},
          {"sRGB", "Utility - sRGB - Texture"},
          {"raw", "Utility - Raw"},
          // In this configuration the scene's linear space stands in for the plain name.
          {"Linear", "ACES - ACEScg"},
          // Two spaces would fit.
          {"Twice", ""},
          {"Rec709", ""}})
        EXPECT_EQ(ColorIO::resolve_name(name.given), name.resolved) << name.given;
}

TEST_F(ColorIOTest, ConvertBufferTakesTheTargetFirst)
{
    float to_linear[3] = {0.5f, 0.25f, 1.0f};
    float to_srgb[3] = {0.5f, 0.25f, 1.0f};

    EXPECT_TRUE(ColorIO::convert_buffer(to_linear, 1, 1, 3, "Linear", "sRGB"));
    EXPECT_TRUE(ColorIO::convert_buffer(to_srgb, 1, 1, 3, "sRGB", "Linear"));

    EXPECT_NEAR(to_linear[0], 0.2140411f, 1e-5f);
    EXPECT_NEAR(to_srgb[0], 0.7353570f, 1e-5f);
}

TEST_F(ColorIOTest, UnknownNamesConvertNothing)
{
    for (char const* const name : {"", "nonsense"}) {
        float pixel[3] = {0.5f, 0.25f, 1.0f};

        EXPECT_FALSE(ColorIO::convert_buffer(pixel, 1, 1, 3, name, "sRGB"));
        EXPECT_FALSE(ColorIO::convert_buffer(pixel, 1, 1, 3, "sRGB", name));

        EXPECT_EQ(pixel[0], 0.5f);
    }
}

TEST_F(ColorIOAutoDetectionTest, ExtensionsHaveTheirSpaces)
{
    ColorIOAutoDetection const& detection = *ColorIOAutoDetection::s_instance;
    for (char const* const extension :
         {"exr", "sxr", "mxr", "hdr", "rgbe", "pfm", "tx", "txt", "tex", "vdb", "EXR"})
        EXPECT_EQ(detection.get_default_color_space_from_extension(extension), "Linear") << extension;
    for (char const* const extension :
         {"png", "jpg",  "jpeg", "jpe", "jif", "jfif", "jfi",  "bmp",  "dib",  "tga",  "tpic", "tif", "tiff",
          "gif", "webp", "jp2",  "j2k", "j2c", "psd",  "pdd",  "heic", "heif", "avif", "ico",  "ppm", "pgm",
          "pbm", "pnm",  "iff",  "z",   "sgi", "rgb",  "rgba", "bw",   "int",  "inta", "pic",  "PNG", "JpG"})
        EXPECT_EQ(detection.get_default_color_space_from_extension(extension), "sRGB") << extension;
    for (char const* const extension : {"", "xyz", ".png", "dpx", "cin", "/folder/file"})
        EXPECT_EQ(detection.get_default_color_space_from_extension(extension), "") << extension;
}

TEST_F(ColorIOAutoDetectionTest, SpacesCarryTheNamesOfTheConfiguration)
{
    use_other_config();
    EXPECT_EQ(ColorIOAutoDetection::s_instance->get_default_color_space_from_extension("png"),
              "sRGB - Texture");
    EXPECT_EQ(ColorIOAutoDetection::s_instance->get_default_color_space_from_extension("exr"), "ACEScg");
}

}  // namespace
