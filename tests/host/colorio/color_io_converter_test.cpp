#include "host/colorio/color_io_converter.h"

#include <limits>
#include <thread>
#include <vector>

#include "tests/host/colorio/color_fixture.h"

namespace {

using ColorIOConverterTest = Color;

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

}  // namespace
