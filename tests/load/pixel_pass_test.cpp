#include <gtest/gtest.h>

#include <OpenColorIO/OpenColorIO.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>

#include "host/colorio/color_io.h"
#include "host/colorio/color_io_manager.h"
#include "host/image/image_tile_factory.h"
#include "image_io/load/image_io_load.h"
#include "tests/load/loaded_picture.h"
#include "tests/load/native_samples.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/scripted_format.h"
#include "tests/support/temp_dir.h"

// The pass over all pixels at the end of a load: conversion to the default colour space, with the alpha divided out of
// it before and multiplied in after. What it should give is computed here, with OpenColorIO itself.

namespace {

using namespace zv_test;
namespace OCIO = OCIO_NAMESPACE;

constexpr int kX = -3, kY = 5, kWidth = 131, kHeight = 66;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

/// Red, green, blue, alpha, luminance of a pixel; which of them there are.
using Pixel = std::array<float, 5>;
struct Planes {
    bool colour = true, blue = true, alpha = true, luminance = false;
};

std::array<float, 3> converted(std::array<float, 3> colour, char const* from)
{
    auto const config = ColorIOManager::s_instance->get_config();
    auto const processor = config->getProcessor(from, "Linear")->getDefaultCPUProcessor();
    float rgba[] = {colour[0], colour[1], colour[2], 0.25f};
    processor->applyRGBA(rgba);
    return {rgba[0], rgba[1], rgba[2]};
}

/// What becomes of one pixel; a null space converts nothing.
Pixel expected_pixel(Pixel p, Planes const& planes, char const* from, bool premultiply)
{
    if (!premultiply && planes.alpha && std::fabs(double(p[3])) > 1e-8) {
        float const factor = 1.0f / p[3];
        for (int i : {0, 1, 2, 4})
            p[std::size_t(i)] *= factor;
    }
    if (planes.luminance) {
        p[4] = converted({p[4], 0.0f, 0.0f}, from)[0];
    } else if (planes.colour && planes.blue) {
        auto const colour = converted({p[0], p[1], p[2]}, from);
        std::copy(colour.begin(), colour.end(), p.begin());
    }
    if (planes.alpha)
        for (int i : {0, 1, 2, 4})
            p[std::size_t(i)] *= p[3];
    return p;
}

/// Alphas around all that matters, one a column.
float alpha_at(int x)
{
    float const edge = 1e-8f;  // as a double a little below 1e-8
    float const values[] = {0.0f,
                            1.0f,
                            0.5f,
                            edge,
                            std::nextafter(edge, 1.0f),
                            -edge,
                            -std::nextafter(edge, 1.0f),
                            -0.5f,
                            0.25f,
                            1e-30f,
                            3.0f,
                            1e-4f,
                            0.75f};
    return values[std::size_t(x - kX) % std::size(values)];
}

/// What is read: an alpha is limited by the scanline reader alone.
Pixel source_pixel(int x, int y, bool is_tiled)
{
    float const alpha = is_tiled ? alpha_at(x) : std::clamp(alpha_at(x), 0.0f, 1.0f);
    return {encoded(0, x, y), encoded(1, x, y), encoded(2, x, y), alpha, encoded(4, x, y)};
}

struct PassCase {
    char const* name;
    std::vector<std::string> channels;
    Planes planes;
    char const* space;
    bool premultiply;
};

int plane_of(std::string const& name)
{
    return int(std::string("RGBAL").find(name));
}

ReadScript script_of(std::vector<std::string> const& names, int tile = 0)
{
    ReadScript script;
    script.spec = picture_spec(kWidth, kHeight, int(names.size()), OIIO::TypeDesc::FLOAT, kX, kY, tile);
    script.spec.channelnames = names;
    script.sample = [names](int channel, int x, int y) {
        int const plane = plane_of(names[std::size_t(channel)]);
        return double(plane < 0 ? encoded(9, x, y) : source_pixel(x, y, true)[std::size_t(plane)]);
    };
    return script;
}

ImageLoadOptions options_of(char const* space, bool premultiply = false)
{
    ImageLoadOptions options;
    options.color_space = space;
    options.premultiply = premultiply;
    return options;
}

void expect_bits(LoadedPicture const& picture, std::string const& name, int x, int y, float wanted)
{
    float const found = std::bit_cast<float>(picture.channel(name)->get_bits(x, y));
    if (!(found == wanted || (found != found && wanted != wanted)))
        ADD_FAILURE() << name << " at (" << x << ", " << y << "): " << found << " instead of " << wanted;
}

class PixelPass : public testing::TestWithParam<PassCase> {};

void check_pass(PassCase const& pass, int tile)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of(pass.channels, tile));

    LoadedPicture const picture = load_picture(file.path(), options_of(pass.space, pass.premultiply));

    ASSERT_TRUE(picture);
    for (int y = kY; y < kY + kHeight && !testing::Test::HasFailure(); ++y)
        for (int x = kX; x < kX + kWidth; ++x) {
            Pixel const wanted =
                expected_pixel(source_pixel(x, y, tile > 0), pass.planes, pass.space, pass.premultiply);
            for (std::string const& name : pass.channels) {
                std::string const lower(1, char(std::tolower(name[0])));
                int const plane = plane_of(name);
                expect_bits(picture, lower, x, y, plane < 0 ? encoded(9, x, y) : wanted[std::size_t(plane)]);
            }
        }
}

TEST_P(PixelPass, DividesConvertsAndMultiplies)
{
    check_pass(GetParam(), 0);
}

TEST_P(PixelPass, TakesEveryAlphaOfATiledFile)
{
    check_pass(GetParam(), 32);
}

INSTANTIATE_TEST_SUITE_P(
    Maps, PixelPass,
    testing::Values(
        PassCase{"rgba", {"R", "G", "B", "A"}, {}, "sRGB", false},
        PassCase{"rgba_with_straight_alpha", {"R", "G", "B", "A"}, {}, "sRGB", true},
        PassCase{"rgb", {"R", "G", "B"}, {.alpha = false}, "sRGB", false},
        PassCase{"rgb_with_straight_alpha_told", {"R", "G", "B"}, {.alpha = false}, "sRGB", true},
        PassCase{"mixing_primaries", {"R", "G", "B", "A"}, {}, "ACEScg", false},
        PassCase{"other_channels_stay", {"R", "G", "B", "A", "Z"}, {}, "sRGB", false},
        PassCase{
            "luminance", {"L", "Z"}, {.colour = false, .alpha = false, .luminance = true}, "ACEScg", false},
        PassCase{"luminance_alpha", {"L", "A"}, {.colour = false, .luminance = true}, "sRGB", false},
        PassCase{"luminance_with_straight_alpha",
                 {"L", "A"},
                 {.colour = false, .luminance = true},
                 "ACEScg",
                 true},
        PassCase{
            "luminance_alone_is_converted", {"R", "G", "B", "A", "L"}, {.luminance = true}, "sRGB", false},
        PassCase{"no_blue_no_conversion", {"R", "G", "A"}, {.blue = false}, "sRGB", false},
        PassCase{"no_blue_straight", {"R", "G", "A"}, {.blue = false}, "sRGB", true},
        PassCase{"default_space_straight", {"R", "G", "B", "A"}, {}, "Linear", true}),
    [](auto const& info) { return info.param.name; });

TEST(PixelPassOfALoad, ZeroesColourUnderNoAlphaAndLeavesTheAlpha)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"R", "G", "B", "A"}));

    LoadedPicture const picture = load_picture(file.path(), options_of("sRGB"));

    EXPECT_EQ(picture.at("r", kX, kY), 0.0f);
    EXPECT_EQ(picture.at("a", kX, kY), 0.0f);
    EXPECT_EQ(picture.at("a", kX + 10, kY), 1.0f);  // limited when it was read
}

TEST(PixelPassOfALoad, DoesNotRunInTheDefaultSpaceWithAssociatedAlpha)
{
    TempDir folder;
    ReadScript script = script_of({"R", "G", "B", "A"});
    script.sample = [](int channel, int x, int) { return channel == 3 ? 0.0 : (x & 1) ? double(kNaN) : 7.5; };
    ScriptedFile const file(folder, script);

    LoadedPicture const picture = load_picture(file.path(), options_of("Linear"));

    ASSERT_EQ(ColorIO::get_default_color_space_name(), "Linear");
    EXPECT_EQ(picture.at("r", 0, kY), 7.5f);
    EXPECT_TRUE(std::isnan(picture.at("g", 1, kY)));
}

TEST(PixelPassOfALoad, LeavesTheSamplesOfASpaceThatIsTheSameOrUnknown)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"R", "G", "B", "A"}));
    for (char const* const space : {"lin_rec709", "scene_linear", "raw", "no such space", ""}) {
        LoadedPicture const picture = load_picture(file.path(), options_of(space));

        ASSERT_TRUE(picture) << space;
        for (int x = kX; x < kX + kWidth; ++x)
            expect_bits(picture, "g", x, kY, encoded(1, x, kY));
    }
}

TEST(PixelPassOfALoad, MultipliesStraightAlphaInASpaceThatIsUnknown)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"R", "G", "B", "A"}));

    LoadedPicture const picture = load_picture(file.path(), options_of("no such space", true));

    ASSERT_TRUE(picture);
    for (int x = kX; x < kX + kWidth; ++x)
        expect_bits(picture, "g", x, kY,
                    encoded(1, x, kY) * std::bit_cast<float>(picture.channel("a")->get_bits(x, kY)));
}

TEST(PixelPassOfALoad, RoundsIntegerSamplesToTheNearestStep)
{
    TempDir folder;
    std::string const path = folder.file("a.png");
    write_picture(path, picture_spec(70, 40, 3, OIIO::TypeDesc::UINT8));
    NativePicture const native = read_native_picture(path);

    LoadedPicture const picture = load_picture(path, options_of("sRGB"));

    ASSERT_TRUE(picture);
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 70; ++x) {
            auto const wanted =
                converted({float(native.bits(0, x, y)) / 255.0f, float(native.bits(1, x, y)) / 255.0f,
                           float(native.bits(2, x, y)) / 255.0f},
                          "sRGB");
            for (int c = 0; c < 3; ++c)
                ASSERT_NEAR(double(picture.map().m_channels[unsigned(c)]->get_bits(x, y)),
                            double(wanted[std::size_t(c)]) * 255.0, 0.5001);
        }
}

TEST(PixelPassOfALoad, GivesAForcedAlphaItsPart)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"R", "G", "B"}));
    ImageLoadOptions options = options_of("sRGB");
    options.force_alpha = true;

    LoadedPicture const picture = load_picture(file.path(), options);

    ASSERT_TRUE(picture);
    auto const wanted = converted({encoded(0, 9, 9), encoded(1, 9, 9), encoded(2, 9, 9)}, "sRGB");
    EXPECT_EQ(picture.at("r", 9, 9), wanted[0]);
    EXPECT_EQ(picture.at("a", 9, 9), 1.0f);
}

TEST(PixelPassOfALoad, FailsTheLoadIfItFailsWithTheCanvasFinalized)
{
    // Red and green are black and need no memory until the conversion gives them their part of the blue.
    TempDir folder;
    ReadScript script;
    script.spec = picture_spec(64, 64, 3, OIIO::TypeDesc::FLOAT);
    script.sample = [](int channel, int x, int) { return channel == 2 ? x / 64.0 : 0.0; };
    ScriptedFile const file(folder, script);
    struct Limit {
        explicit Limit(std::size_t bytes) { ImageTileFactory::get().set_memory_limit(bytes); }
        ~Limit() { ImageTileFactory::get().set_memory_limit(0); }
    };
    ImageCanvas canvas(false);
    LogCapture const log;
    {
        Limit const limit(ImageTileFactory::get().get_statistics().bytes_in_use + 66 * 66 * 4);

        EXPECT_FALSE(
            ImageIOLoad::load_image(file.path().c_str(), canvas, options_of("ACEScg"), nullptr, nullptr));
    }

    EXPECT_TRUE(log.lines().empty());
    EXPECT_TRUE(canvas.is_finalized());
    EXPECT_EQ(canvas.get_width(), 64);
    EXPECT_EQ(file.closes(), 1);
    EXPECT_TRUE(load_picture(file.path(), options_of("ACEScg")));
}

}  // namespace
