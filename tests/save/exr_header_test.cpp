#include <ImfChannelList.h>
#include <ImfFloatAttribute.h>
#include <ImfPartType.h>
#include <ImfStandardAttributes.h>
#include <ImfTileDescription.h>

#include <climits>
#include <limits>

#include "host/image/image_map_channel.h"
#include "tests/save/exr_saves.h"

namespace {

using namespace zv_test;
using Imath::Box2i;
using Imath::V2i;

/// Channels of a map that holds nothing.
struct Names {
    explicit Names(std::vector<std::string> const& names)
    {
        map.init(ImagePixel::DEPTH_NONE, ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_FLOAT, 64);
        for (auto const& name : names)
            map.add_channel(name.c_str(), ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_FLOAT);
    }
    ImageMap map;
};

std::unique_ptr<Imf::Header> header_of(OfApp& app, ImageSaveOptions const& options,
                                       std::vector<std::string> const& names, bool write_rgba = true,
                                       int tile_size = 64)
{
    Names const channels(names);
    return ImageIOSaveDoors::header(&app, options, channels.map.m_channels, tile_size,
                                    rectangle(0, 0, 10, 10), rectangle(0, 0, 10, 10), write_rgba);
}

/// "R:half depth.Z:float" and so on, in the header's order.
std::string declared(Imf::Header const& header)
{
    std::string text;
    for (auto channel = header.channels().begin(); channel != header.channels().end(); ++channel) {
        char const* const types[] = {"uint", "half", "float"};
        text += (text.empty() ? "" : " ") + std::string(channel.name()) + ":" + types[channel.channel().type];
        EXPECT_EQ(channel.channel().xSampling, 1);
        EXPECT_EQ(channel.channel().ySampling, 1);
        EXPECT_FALSE(channel.channel().pLinear);
    }
    return text;
}

struct WindowRow {
    char const* name;
    int tiling_mode, tile_size;
    GMathVec4<int> data;
    Box2i wanted;
    bool tiled;
};

class ExrHeaderWindows : public testing::TestWithParam<WindowRow> {};

TEST_P(ExrHeaderWindows, FollowTheTable)
{
    WindowRow const& row = GetParam();
    OfApp app;
    app.tiling_mode = row.tiling_mode;
    Names const names({"r"});

    auto const header = ImageIOSaveDoors::header(&app, exr_options(), names.map.m_channels, row.tile_size,
                                                 rectangle(-3, 5, 200, 100), row.data);

    EXPECT_EQ(header->dataWindow(), row.wanted);
    EXPECT_EQ(header->displayWindow(), Box2i(V2i(-3, 5), V2i(196, 104)));
    EXPECT_EQ(header->type(), row.tiled ? "tiledimage" : "scanlineimage");
    ASSERT_EQ(header->hasTileDescription(), row.tiled);
    if (row.tiled) {
        EXPECT_EQ(header->tileDescription(),
                  Imf::TileDescription(unsigned(row.tile_size), unsigned(row.tile_size), Imf::ONE_LEVEL,
                                       Imf::ROUND_DOWN));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ExrHeaderWindows,
    testing::Values(
        WindowRow{"scanline", 0, 64, {10, 10, 100, 100}, Box2i(V2i(10, 10), V2i(109, 109)), false},
        WindowRow{"tiled", 1, 64, {10, 10, 100, 100}, Box2i(V2i(0, 0), V2i(127, 127)), true},
        WindowRow{"other_mode", 2, 64, {10, 10, 100, 100}, Box2i(V2i(10, 10), V2i(109, 109)), false},
        WindowRow{"no_tile_size", 1, 0, {10, 10, 100, 100}, Box2i(V2i(10, 10), V2i(109, 109)), false},
        WindowRow{"negative_tile_size", 1, -64, {1, 2, 3, 4}, Box2i(V2i(1, 2), V2i(3, 5)), false},
        WindowRow{"on_the_grid", 1, 64, {64, 128, 64, 64}, Box2i(V2i(64, 128), V2i(127, 191)), true},
        WindowRow{"one_past", 1, 64, {0, 0, 65, 64}, Box2i(V2i(0, 0), V2i(127, 63)), true},
        WindowRow{"minus_one", 1, 64, {-1, -1, 1, 1}, Box2i(V2i(-64, -64), V2i(-1, -1)), true},
        WindowRow{"minus_64", 1, 64, {-64, -64, 1, 1}, Box2i(V2i(-64, -64), V2i(-1, -1)), true},
        WindowRow{"minus_65", 1, 64, {-65, -65, 66, 66}, Box2i(V2i(-128, -128), V2i(63, 63)), true},
        WindowRow{"odd_tile", 1, 7, {-10, 3, 5, 12}, Box2i(V2i(-14, 0), V2i(-1, 20)), true}),
    [](auto const& row) { return row.param.name; });

TEST(ExrHeader, CarriesTheFixedFields)
{
    OfApp app;
    ImageSaveOptions options = exr_options(ImageIOFileFormat::SAVE_EXR16, ImageIOFileFormat::COMPRESSION_PIZ);
    options.pixel_aspect_ratio = 1.5f;

    auto const header = header_of(app, options, {"r"});

    EXPECT_EQ(header->pixelAspectRatio(), 1.5f);
    EXPECT_EQ(header->screenWindowCenter(), Imath::V2f(0, 0));
    EXPECT_EQ(header->screenWindowWidth(), 1.0f);
    EXPECT_EQ(header->lineOrder(), Imf::INCREASING_Y);
    EXPECT_EQ(header->compression(), Imf::PIZ_COMPRESSION);
    EXPECT_FALSE(Imf::hasChromaticities(*header));
}

TEST(ExrHeader, HasTheLevelOfDwaSavesOnly)
{
    OfApp app;
    app.dwa_compression_level = 12.25;

    for (int method = 0; method <= 11; ++method) {
        auto const options =
            exr_options(ImageIOFileFormat::SAVE_EXR16, ImageIOFileFormat::OpenExrCompressionMethod(method));
        auto const header = header_of(app, options, {"r"});
        auto const* const level = header->findTypedAttribute<Imf::FloatAttribute>("dwaCompressionLevel");
        bool const is_dwa =
            method == ImageIOFileFormat::COMPRESSION_DWAA || method == ImageIOFileFormat::COMPRESSION_DWAB;
        ASSERT_EQ(level != nullptr, is_dwa) << method;
        if (is_dwa) {
            EXPECT_EQ(level->value(), 12.25f);
        }
    }
}

struct ChannelRow {
    char const* name;
    ImageIOFileFormat::Save format;
    std::vector<std::string> names;
    bool write_rgba;
    char const* wanted;
};

class ExrHeaderChannels : public testing::TestWithParam<ChannelRow> {};

TEST_P(ExrHeaderChannels, FollowTheTable)
{
    OfApp app;
    auto& layers = app.get_channel_manager();
    layers.add_layer("byte", 1, 1);
    layers.add_layer("byte_float", 1, 2);
    layers.add_layer("short", 2, 1);
    layers.add_layer("half", 2, 2);
    layers.add_layer("int", 4, 1);
    layers.add_layer("float", 4, 2);
    layers.add_layer("odd", 8, 1);

    auto const header =
        header_of(app, exr_options(GetParam().format), GetParam().names, GetParam().write_rgba);

    EXPECT_EQ(declared(*header), GetParam().wanted);
}

constexpr auto kHalf = ImageIOFileFormat::SAVE_EXR16;
constexpr auto kFloat = ImageIOFileFormat::SAVE_EXR32;

INSTANTIATE_TEST_SUITE_P(
    Cases, ExrHeaderChannels,
    testing::Values(
        ChannelRow{"half_colour", kHalf, {"r", "g", "b", "a"}, true, "A:half B:half G:half R:half"},
        ChannelRow{"float_colour", kFloat, {"r", "g", "b", "a"}, true, "A:float B:float G:float R:float"},
        ChannelRow{"any_other_format_is_float", ImageIOFileFormat::SAVE_TIFF8, {"r"}, true, "R:float"},
        ChannelRow{"aovs_only", kHalf, {"r", "g", "b", "a", "half.x"}, false, "half.x:half"},
        ChannelRow{"luminance_is_a_layer", kHalf, {"l"}, false, "l:float"},
        ChannelRow{"upper_case_is_a_layer", kHalf, {"R"}, false, "R:float"},
        ChannelRow{"byte", kFloat, {"byte.r", "byte_float.r"}, true, "byte.r:half byte_float.r:half"},
        ChannelRow{"two_bytes", kFloat, {"short.x", "half.x"}, true, "half.x:half short.x:half"},
        ChannelRow{"four_bytes", kHalf, {"int.x", "float.x"}, true, "float.x:float int.x:uint"},
        ChannelRow{"eight_bytes", kHalf, {"odd.x"}, true, "odd.x:float"},
        ChannelRow{"unknown_layer_in_a_half_save", kHalf, {"r", "new.x"}, true, "R:half new.x:float"},
        ChannelRow{"no_dot", kHalf, {"half", "other"}, true, "half:half other:float"},
        ChannelRow{"more_dots", kHalf, {"half.x.y"}, true, "half.x.y:half"},
        ChannelRow{"depth_z", kHalf, {"depth.z"}, true, "depth.Z:float"},
        ChannelRow{"other_depths",
                   kHalf,
                   {"depth.x", "depth.zz", "a.depth.z"},
                   true,
                   "a.depth.z:float depth.x:float depth.zz:float"},
        ChannelRow{"without_a_layer", kHalf, {".x", ".", "r"}, true, "R:half"},
        ChannelRow{"without_a_name", kHalf, {"", "r"}, true, "R:half"}),
    [](auto const& row) { return row.param.name; });

TEST(ExrHeader, SkipsNullEntries)
{
    OfApp app;
    Names const names({"r", "x.y"});
    CoreVector<ImageMapChannel*> const channels = {nullptr, names.map.m_channels[0], nullptr,
                                                   names.map.m_channels[1]};

    auto const header = ImageIOSaveDoors::header(&app, exr_options(), channels, 0, rectangle(0, 0, 4, 4),
                                                 rectangle(0, 0, 4, 4));

    EXPECT_EQ(declared(*header), "R:half x.y:float");
}

TEST(ExrHeader, TakesTheMetadata)
{
    OfApp app;
    ImageSaveOptions options = exr_options();
    options.meta_data.add({"comment", {CoreVariant("hello")}});
    options.meta_data.add({"custom", {CoreVariant(1.0), CoreVariant(2.0)}});

    auto const header = header_of(app, options, {"r"});

    EXPECT_EQ(Imf::comments(*header), "hello");
    EXPECT_STREQ(header->find("custom").attribute().typeName(), "v2f");
    EXPECT_EQ(options.meta_data.get_count(), 2u);
}

TEST(ExrHeader, MetadataCalledTypeChangesNoType)
{
    for (int tiling_mode : {0, 1}) {
        OfApp app;
        app.tiling_mode = tiling_mode;
        ImageSaveOptions options = exr_options();
        options.meta_data.add({"type", {CoreVariant("deeptile")}});

        EXPECT_EQ(header_of(app, options, {"r"})->type(), tiling_mode ? "tiledimage" : "scanlineimage");
    }
}

TEST(ExrHeader, PassesTheLibrarysExceptionsOn)
{
    OfApp app;
    ImageSaveOptions options = exr_options();
    options.meta_data.add({"channels", {CoreVariant(1.0)}});

    EXPECT_THROW(header_of(app, options, {"r"}), Iex::TypeExc);
}

TEST(ExrHeader, RefusesWindowsThatTheFileCannotHold)
{
    OfApp app;
    app.tiling_mode = 1;
    Names const names({"r"});
    auto const build = [&](GMathVec4<int> const& display, GMathVec4<int> const& data) {
        return ImageIOSaveDoors::header(&app, exr_options(), names.map.m_channels, 64, display, data);
    };

    EXPECT_THROW(build(rectangle(INT_MAX - 5, 0, 10, 10), rectangle(0, 0, 1, 1)), Iex::ArgExc);
    EXPECT_THROW(build(rectangle(0, 0, 1, 1), rectangle(0, INT_MAX - 5, 10, 10)), Iex::ArgExc);
    EXPECT_THROW(build(rectangle(0, 0, 1, 1), rectangle(INT_MIN, 0, INT_MIN, 1)), Iex::ArgExc);
    EXPECT_EQ(build(rectangle(0, 0, 1, 1), rectangle(INT_MIN, 0, 1, 1))->dataWindow().min.x, INT_MIN);
}

TEST(ExrHeader, WithoutAnApplicationIsAScanlineFileOfFloats)
{
    Names const names({"r", "x.y"});

    auto const header = ImageIOSaveDoors::header(
        nullptr, exr_options(ImageIOFileFormat::SAVE_EXR16, ImageIOFileFormat::COMPRESSION_DWAA),
        names.map.m_channels, 64, rectangle(0, 0, 4, 4), rectangle(0, 0, 4, 4));

    EXPECT_EQ(header->type(), "scanlineimage");
    EXPECT_EQ(declared(*header), "R:half x.y:float");
}

}  // namespace
