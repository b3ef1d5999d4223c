#include <gtest/gtest.h>

#include <cstring>

#include "tests/load/loaded_picture.h"
#include "tests/load/native_samples.h"
#include "tests/support/pictures.h"
#include "tests/support/scripted_format.h"
#include "tests/support/temp_dir.h"

// Every sample type, size and place of a window: what is in the map is what the file holds, bit for bit.

namespace {

using namespace zv_test;
using OIIO::TypeDesc;

struct Place {
    char const* name;
    int x, y, width, height;
};

constexpr Place kSizes[] = {{"one_pixel", 0, 0, 1, 1},
                            {"odd", 0, 0, 47, 33},
                            {"one_tile", 0, 0, 64, 64},
                            {"one_past_a_tile", 0, 0, 65, 65},
                            {"several_bands", 0, 0, 131, 200}};

constexpr Place kWindows[] = {{"off_the_grid", 10, 3, 100, 70},         {"off_in_x_alone", 10, 0, 100, 70},
                              {"off_in_y_alone", 64, 1, 100, 70},       {"aligned", 64, 128, 100, 70},
                              {"aligned_negative", -128, -64, 100, 70}, {"negative", -37, -5, 100, 70},
                              {"across_the_origin", -64, -64, 129, 129}};

struct FileKind {
    char const* name;
    char const* extension;
    TypeDesc::BASETYPE type;
    int tile;
    ImagePixel::BitDepth bit_depth;
    ImagePixel::BitType bit_type;
};

constexpr FileKind kKinds[] = {
    {"uint8", "tif", TypeDesc::UINT8, 0, ImagePixel::BIT_DEPTH_8, ImagePixel::BIT_TYPE_INTEGER},
    {"int8", "tif", TypeDesc::INT8, 0, ImagePixel::BIT_DEPTH_8, ImagePixel::BIT_TYPE_INTEGER},
    {"uint16", "tif", TypeDesc::UINT16, 0, ImagePixel::BIT_DEPTH_16, ImagePixel::BIT_TYPE_INTEGER},
    {"int16", "tif", TypeDesc::INT16, 0, ImagePixel::BIT_DEPTH_16, ImagePixel::BIT_TYPE_INTEGER},
    {"uint32", "tif", TypeDesc::UINT32, 0, ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_INTEGER},
    {"int32", "tif", TypeDesc::INT32, 0, ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_INTEGER},
    {"tiff_float", "tif", TypeDesc::FLOAT, 0, ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_FLOAT},
    {"png8", "png", TypeDesc::UINT8, 0, ImagePixel::BIT_DEPTH_8, ImagePixel::BIT_TYPE_INTEGER},
    {"png16", "png", TypeDesc::UINT16, 0, ImagePixel::BIT_DEPTH_16, ImagePixel::BIT_TYPE_INTEGER},
    {"tga", "tga", TypeDesc::UINT8, 0, ImagePixel::BIT_DEPTH_8, ImagePixel::BIT_TYPE_INTEGER},
    {"bmp", "bmp", TypeDesc::UINT8, 0, ImagePixel::BIT_DEPTH_8, ImagePixel::BIT_TYPE_INTEGER},
    {"jpeg", "jpg", TypeDesc::UINT8, 0, ImagePixel::BIT_DEPTH_8, ImagePixel::BIT_TYPE_INTEGER},
    {"hdr", "hdr", TypeDesc::FLOAT, 0, ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_FLOAT},
    {"half", "exr", TypeDesc::HALF, 0, ImagePixel::BIT_DEPTH_16, ImagePixel::BIT_TYPE_FLOAT},
    {"float", "exr", TypeDesc::FLOAT, 0, ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_FLOAT},
    {"half_tiled", "exr", TypeDesc::HALF, 64, ImagePixel::BIT_DEPTH_16, ImagePixel::BIT_TYPE_FLOAT},
    {"float_tiled", "exr", TypeDesc::FLOAT, 32, ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_FLOAT},
    {"uint8_tiled", "tif", TypeDesc::UINT8, 16, ImagePixel::BIT_DEPTH_8, ImagePixel::BIT_TYPE_INTEGER},
    {"int16_tiled", "tif", TypeDesc::INT16, 32, ImagePixel::BIT_DEPTH_16, ImagePixel::BIT_TYPE_INTEGER},
    {"uint32_tiled", "tif", TypeDesc::UINT32, 64, ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_INTEGER}};

/// Writes a colour picture of that kind and place, loads it and compares all samples.
void check(FileKind const& kind, Place const& place)
{
    SCOPED_TRACE(place.name);
    TempDir folder;
    std::string const path = folder.file(std::string("a.") + kind.extension);
    write_picture(path, picture_spec(place.width, place.height, 3, kind.type, place.x, place.y, kind.tile),
                  // Below zero, too, where the type can tell.
                  [](int c, int x, int y) { return 1.5 * encoded(c, x, y) - 0.25; });
    NativePicture const native = read_native_picture(path, true);
    ASSERT_EQ(native.type, TypeDesc(kind.type));

    LoadedPicture const picture = load_picture(path);

    ASSERT_TRUE(picture);
    EXPECT_EQ(picture.map().m_bit_depth, kind.bit_depth);
    EXPECT_EQ(picture.map().m_bit_type, kind.bit_type);
    EXPECT_EQ(picture.map().m_tile_size, kind.tile ? kind.tile : 64);
    EXPECT_EQ(picture.channel_names(), "r g b");
    char const* const names[] = {"r", "g", "b"};
    for (int c = 0; c < 3; ++c)
        expect_native_samples(picture.channel(names[c]), native, c);
    EXPECT_FALSE(picture.report.is_damaged());
}

class SampleTypes : public testing::TestWithParam<FileKind> {};

TEST_P(SampleTypes, ArriveBitForBitInAllSizes)
{
    for (Place const& place : kSizes)
        check(GetParam(), place);
}

INSTANTIATE_TEST_SUITE_P(Kinds, SampleTypes, testing::ValuesIn(kKinds),
                         [](auto const& info) { return info.param.name; });

TEST(Windows, OfOpenExrFilesArriveBitForBit)
{
    for (Place const& place : kWindows)
        for (FileKind const& kind : kKinds)
            if (std::strcmp(kind.extension, "exr") == 0)
                check(kind, place);
}

TEST(Windows, OfTiffFilesWhichHoldNoNegativeOnesArriveBitForBit)
{
    for (Place const& place : kWindows)
        for (FileKind const& kind : kKinds)
            if (place.x >= 0 && std::strcmp(kind.extension, "tif") == 0)
                check(kind, place);
}

TEST(MixedChannels, OfAHalfFileWithOneFloatChannelAreAllFloat)
{
    TempDir folder;
    std::string const path = folder.file("a.exr");
    for (int const tile : {0, 32}) {
        ExrPicture exr;
        exr.width = 47, exr.height = 133, exr.tile = tile;
        exr.channels = {{"R"}, {"G"}, {"B"}, {"Z", Imf::FLOAT}};
        write_exr(path, exr);

        LoadedPicture const picture = load_picture(path);

        ASSERT_TRUE(picture);
        EXPECT_EQ(picture.map().m_bit_depth, ImagePixel::BIT_DEPTH_32);
        EXPECT_EQ(picture.map().m_bit_type, ImagePixel::BIT_TYPE_FLOAT);
        NativePicture const native = read_native_picture(path, false, TypeDesc::FLOAT);
        for (auto const& [name, own] : {std::pair("R", "r"), {"G", "g"}, {"B", "b"}, {"Z", "z"}})
            expect_native_samples(picture.channel(own), native, native.channel_number(name));
    }
}

struct MixCase {
    char const* name;
    TypeDesc format;
    std::vector<TypeDesc> channels;
    TypeDesc::BASETYPE read_as;
};

class MixedFormats : public testing::TestWithParam<MixCase> {};

TEST_P(MixedFormats, AreReadAs)
{
    TempDir folder;
    for (int const tile : {0, 32}) {
        ReadScript script;
        script.spec = picture_spec(47, 33, 3, TypeDesc::HALF, 0, 0, tile);
        script.spec.format = GetParam().format;
        script.spec.channelformats = GetParam().channels;
        ScriptedFile const file(folder, script);

        ASSERT_TRUE(load_picture(file.path()));

        ASSERT_FALSE(file.reads().empty());
        for (ReadCall const& call : file.reads())
            EXPECT_EQ(call.format, TypeDesc(GetParam().read_as));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, MixedFormats,
    testing::Values(
        MixCase{"half_alone", TypeDesc::HALF, {}, TypeDesc::HALF},
        MixCase{"all_half", TypeDesc::HALF, {TypeDesc::HALF, TypeDesc::HALF, TypeDesc::HALF}, TypeDesc::HALF},
        MixCase{"last_is_float",
                TypeDesc::HALF,
                {TypeDesc::HALF, TypeDesc::HALF, TypeDesc::FLOAT},
                TypeDesc::FLOAT},
        MixCase{"first_is_float",
                TypeDesc::HALF,
                {TypeDesc::FLOAT, TypeDesc::HALF, TypeDesc::HALF},
                TypeDesc::FLOAT},
        MixCase{
            "one_is_uint", TypeDesc::HALF, {TypeDesc::HALF, TypeDesc::UINT, TypeDesc::HALF}, TypeDesc::FLOAT},
        MixCase{"not_of_half",
                TypeDesc::UINT8,
                {TypeDesc::UINT8, TypeDesc::HALF, TypeDesc::FLOAT},
                TypeDesc::UINT8},
        MixCase{"float_stays",
                TypeDesc::FLOAT,
                {TypeDesc::HALF, TypeDesc::HALF, TypeDesc::FLOAT},
                TypeDesc::FLOAT}),
    [](auto const& info) { return info.param.name; });

/// Declared as 32-bit samples and handed on as they come: the first half of the plane's bytes fills the map.
std::uint32_t reinterpreted(NativePicture const& doubles, int channel, int x, int y)
{
    std::size_t const number = std::size_t(y) * std::size_t(doubles.spec.width) + std::size_t(x);
    std::size_t const from = (number / 2) * std::size_t(doubles.spec.nchannels) + std::size_t(channel);
    std::uint32_t sample;
    std::memcpy(&sample, doubles.bytes.data() + from * 8 + (number % 2) * 4, 4);
    return sample;
}

TEST(DoubleSamples, OfAScanlineFileComeUnconvertedIntoAMapOfFloats)
{
    TempDir folder;
    std::string const path = folder.file("a.tif");
    for (Place const& place : kSizes) {
        write_picture(path, picture_spec(place.width, place.height, 3, TypeDesc::DOUBLE));
        NativePicture const native = read_native_picture(path);
        ASSERT_EQ(native.type, TypeDesc(TypeDesc::DOUBLE));

        LoadedPicture const picture = load_picture(path);

        ASSERT_TRUE(picture);
        EXPECT_EQ(picture.map().m_bit_depth, ImagePixel::BIT_DEPTH_32);
        EXPECT_EQ(picture.map().m_bit_type, ImagePixel::BIT_TYPE_FLOAT);
        for (unsigned int c = 0; c < 3; ++c)
            for (int y = 0; y < place.height; ++y)
                for (int x = 0; x < place.width; ++x)
                    ASSERT_EQ(picture.map().m_channels[c]->get_bits(x, y),
                              reinterpreted(native, int(c), x, y))
                        << place.name << " channel " << c << " at " << x << ", " << y;
    }
}

TEST(DoubleSamples, AreAskedForInTheirOwnFormat)
{
    TempDir folder;
    ReadScript script;
    script.spec = picture_spec(47, 33, 2, TypeDesc::DOUBLE);
    ScriptedFile const file(folder, script);

    ASSERT_TRUE(load_picture(file.path()));

    for (ReadCall const& call : file.reads())
        EXPECT_EQ(call.format, TypeDesc(TypeDesc::DOUBLE));
}

}  // namespace
