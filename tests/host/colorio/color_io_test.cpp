#include "host/colorio/color_io.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <thread>
#include <vector>

#include <OpenColorIO/OpenColorIO.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/colorio/color_io_auto_detection.h"
#include "host/colorio/color_io_converter.h"
#include "host/colorio/color_io_manager.h"
#include "tests/support/temp_dir.h"

namespace {

namespace OCIO = OCIO_NAMESPACE;

/// A configuration in the manner of the first ACES ones: families in front of the names, no built-in name in it.
char const* const kOtherConfig = R"ocio(ocio_profile_version: 2
strictparsing: true
roles:
  default: Utility - Raw
  scene_linear: ACES - ACEScg
file_rules:
  - !<Rule> {name: Default, colorspace: default}
displays:
  sRGB:
    - !<View> {name: Raw, colorspace: Utility - Raw}
colorspaces:
  - !<ColorSpace>
    name: ACES - ACEScg
    family: ACES
    aliases: [working]
  - !<ColorSpace>
    name: Utility - sRGB - Texture
    family: Utility
    to_scene_reference: !<ExponentWithLinearTransform> {gamma: 2.4, offset: 0.055}
  - !<ColorSpace>
    name: Input - Twice
    family: Input
    to_scene_reference: !<MatrixTransform> {matrix: [2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1]}
  - !<ColorSpace>
    name: Output - Twice
    family: Output
    to_scene_reference: !<MatrixTransform> {matrix: [4, 0, 0, 0, 0, 4, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1]}
  - !<ColorSpace>
    name: Mixer
    to_scene_reference: !<MatrixTransform> {matrix: [1, 0, 0, 1, 0, 1, 0, 0, 0, 0, 1, 0, 0.5, 0, 0, 0.25]}
  - !<ColorSpace>
    name: Utility - Raw
    family: Utility
    isdata: true
)ocio";

/// Puts the built-in configuration back when a test is done.
class Color : public testing::Test {
protected:
    Color()
    {
        unsetenv("OCIO");
        ColorIOManager::s_instance->reload();
    }
    ~Color() override
    {
        unsetenv("OCIO");
        ColorIOManager::s_instance->reload();
    }

    CoreString write_config(char const* text)
    {
        std::string const path = (m_folder.path() / "config.ocio").string();
        std::ofstream(path) << text;
        return path.c_str();
    }

    void use_other_config()
    {
        ASSERT_TRUE(ColorIOManager::s_instance->set_config_file(write_config(kOtherConfig)));
    }

    zv_test::TempDir m_folder;
};

float srgb_to_linear(double value)
{
    return static_cast<float>(value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4));
}

using ColorIOTest = Color;
using ColorIOConverterTest = Color;
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

TEST_F(ColorIOManagerTest, UnusableFileOfTheEnvironmentLeavesTheBuiltInOne)
{
    setenv("OCIO", "/nowhere/config.ocio", 1);

    ColorIOManager::s_instance->reload();

    EXPECT_TRUE(ColorIOManager::s_instance->get_config_file().is_empty());
    EXPECT_EQ(ColorIO::get_default_color_space_name(), "Linear");
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

TEST_F(ColorIOConverterTest, IsDisabledBeforeAndAfterAFailedConfigure)
{
    ColorIOConverter converter;
    float pixel[3] = {0.5f, 0.5f, 0.5f};
    EXPECT_FALSE(converter.is_enabled());
    EXPECT_FALSE(converter.convert_buffer(pixel, 1, 1, 3));
    EXPECT_FALSE(converter.convert_buffers(pixel, pixel + 1, pixel + 2, nullptr, 1, 1));

    EXPECT_TRUE(converter.configure("sRGB", "Linear"));
    EXPECT_TRUE(converter.is_enabled());
    EXPECT_FALSE(converter.configure("nonsense", "Linear"));

    EXPECT_FALSE(converter.is_enabled());
    EXPECT_FALSE(converter.convert_buffer(pixel, 1, 1, 3));
    EXPECT_EQ(pixel[0], 0.5f);
    EXPECT_FALSE(converter.configure("sRGB", ""));
    EXPECT_FALSE(converter.is_enabled());
}

TEST_F(ColorIOConverterTest, IdentityIsNotEnabledAndChangesNothing)
{
    for (auto const& [source, target] :
         {std::pair{"Linear", "linear"}, {"sRGB", "sRGB"}, {"raw", "sRGB"}, {"Linear", "raw"}}) {
        ColorIOConverter converter;
        float pixel[4] = {-0.5f, 1e30f, std::numeric_limits<float>::infinity(), 0.5f};

        EXPECT_TRUE(converter.configure(source, target));

        EXPECT_FALSE(converter.is_enabled()) << source << " to " << target;
        EXPECT_TRUE(converter.convert_buffer(pixel, 1, 1, 4));
        EXPECT_EQ(pixel[0], -0.5f);
    }
}

TEST_F(ColorIOConverterTest, EveryChannelCountConvertsColorsAlone)
{
    ColorIOConverter converter;
    ASSERT_TRUE(converter.configure("sRGB", "Linear"));
    for (unsigned int channels = 1; channels < 9; ++channels)
        for (unsigned int width : {1u, 5u, 1024u, 1500u}) {
            unsigned int const height = 3;
            std::vector<float> data(std::size_t{width} * height * channels);
            for (std::size_t i = 0; i < data.size(); ++i)
                data[i] = static_cast<float>(i % 101) / 100.0f;
            std::vector<float> const before = data;

            EXPECT_TRUE(converter.convert_buffer(data.data(), width, height, channels));

            unsigned int const colors = channels < 3 ? 1 : 3;
            for (std::size_t i = 0; i < data.size(); ++i) {
                if (i % channels < colors)
                    ASSERT_NEAR(data[i], srgb_to_linear(before[i]), 1e-5f) << channels << " channels, " << i;
                else
                    ASSERT_EQ(data[i], before[i]) << channels << " channels, " << i;
            }
        }
    float nothing = 0.0f;
    EXPECT_FALSE(converter.convert_buffer(&nothing, 1, 1, 0));
    EXPECT_FALSE(converter.convert_buffer(nullptr, 1, 1, 3));
    EXPECT_TRUE(converter.convert_buffer(&nothing, 0, 5, 3));
}

TEST_F(ColorIOConverterTest, PlanesGiveWhatInterleavedPixelsGive)
{
    ColorIOConverter converter;
    ASSERT_TRUE(converter.configure("ACEScg", "sRGB"));
    for (unsigned int count : {1u, 3u, 4u, 7u, 1024u, 1027u, 5000u}) {
        std::vector<float> red(count), green(count), blue(count), alpha(count), pixels(4 * count);
        for (unsigned int i = 0; i < count; ++i) {
            pixels[4 * i] = red[i] = static_cast<float>(i % 17) / 16.0f;
            pixels[4 * i + 1] = green[i] = static_cast<float>(i % 13) / 12.0f;
            pixels[4 * i + 2] = blue[i] = static_cast<float>(i % 7) / 6.0f;
            pixels[4 * i + 3] = alpha[i] = static_cast<float>(i % 5);
        }
        std::vector<float> const alpha_before = alpha;

        EXPECT_TRUE(converter.convert_buffers(red.data(), green.data(), blue.data(), alpha.data(), count, 1));
        EXPECT_TRUE(converter.convert_buffer(pixels.data(), 1, count, 4));

        EXPECT_EQ(alpha, alpha_before);
        for (unsigned int i = 0; i < count; ++i) {
            ASSERT_EQ(red[i], pixels[4 * i]);
            ASSERT_EQ(green[i], pixels[4 * i + 1]);
            ASSERT_EQ(blue[i], pixels[4 * i + 2]);
        }
    }
}

TEST_F(ColorIOConverterTest, NullPlanesCountAsZeros)
{
    ColorIOConverter converter;
    ASSERT_TRUE(converter.configure("ACEScg", "Linear"));
    std::vector<float> green(10, 0.5f);
    float pixel[3] = {0.0f, 0.5f, 0.0f};

    EXPECT_TRUE(converter.convert_buffers(nullptr, green.data(), nullptr, nullptr, 10, 1));
    converter.convert_buffer(pixel, 1, 1, 3);

    EXPECT_EQ(green, std::vector<float>(10, pixel[1]));
    EXPECT_TRUE(converter.convert_buffers(nullptr, nullptr, nullptr, nullptr, 10, 1));
}

TEST_F(ColorIOConverterTest, OnePlaneMayStandForTwo)
{
    ColorIOConverter converter;
    ASSERT_TRUE(converter.configure("sRGB", "Linear"));
    std::vector<float> luminance(100, 0.5f), scratch(100, 0.0f), alpha(100, 0.3f);

    EXPECT_TRUE(
        converter.convert_buffers(luminance.data(), scratch.data(), scratch.data(), alpha.data(), 10, 10));

    EXPECT_NEAR(luminance[99], srgb_to_linear(0.5), 1e-5f);
    EXPECT_EQ(alpha[99], 0.3f);
}

TEST_F(ColorIOConverterTest, AlphaNeverChangesWhateverTheTransformDoesToIt)
{
    use_other_config();
    ColorIOConverter converter;
    ASSERT_TRUE(converter.configure("Mixer", "ACEScg"));
    float pixel[5] = {0.5f, 0.25f, 0.125f, 0.75f, 9.0f};
    float red = 0.5f, green = 0.25f, blue = 0.125f, alpha = 0.75f;

    EXPECT_TRUE(converter.convert_buffer(pixel, 1, 1, 5));
    EXPECT_TRUE(converter.convert_buffers(&red, &green, &blue, &alpha, 1, 1));

    EXPECT_EQ(pixel[3], 0.75f);
    EXPECT_EQ(pixel[4], 9.0f);
    EXPECT_EQ(alpha, 0.75f);
    EXPECT_EQ(red, pixel[0]);
}

TEST_F(ColorIOConverterTest, ManyThreadsConfigureAndConvert)
{
    std::vector<std::jthread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([number] {
            for (int round = 0; round < 20; ++round) {
                ColorIOConverter converter;
                EXPECT_TRUE(converter.configure(number % 2 ? "sRGB" : "Rec.709", "Linear"));
                std::vector<float> data(300, 0.0f);
                data[0] = 1.0f;
                EXPECT_TRUE(converter.convert_buffer(data.data(), 100, 1, 3));
                EXPECT_NEAR(data[0], 1.0f, 1e-5f);
                EXPECT_EQ(ColorIO::get_default_color_space_name(), "Linear");
            }
        });
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
