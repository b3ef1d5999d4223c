#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "image_io/format/image_io_file_format.h"

namespace {

using Format = ImageIOFileFormat;

std::vector<std::string> texts(CoreVector<CoreString> const& strings)
{
    std::vector<std::string> result;
    for (CoreString const& string : strings)
        result.emplace_back(string.view());
    return result;
}

struct LoadCase {
    char const* label;
    int value;
    char const* name;
    std::vector<std::string> extensions;
};

class LoadFormats : public testing::TestWithParam<LoadCase> {};

TEST_P(LoadFormats, HaveTheirNameAndExtensions)
{
    auto const format = static_cast<Format::Load>(GetParam().value);

    EXPECT_STREQ(Format::get_load_name(format), GetParam().name);
    EXPECT_EQ(texts(Format::get_load_extensions(format)), GetParam().extensions);
}

std::vector<std::string> const kUnknown = {"unknown_format"};

INSTANTIATE_TEST_SUITE_P(Table, LoadFormats,
                         testing::Values(LoadCase{"exr", Format::LOAD_EXR, "Open EXR", {"exr", "sxr"}},
                                         LoadCase{"jpeg", Format::LOAD_JPEG, "Jpeg", {"jpg", "jpeg"}},
                                         LoadCase{"bmp", Format::LOAD_BMP, "Bitmap", {"bmp"}},
                                         LoadCase{"targa", Format::LOAD_TARGA, "Targa", {"tga"}},
                                         LoadCase{"png", Format::LOAD_PNG, "Png", {"png"}},
                                         LoadCase{"tiff", Format::LOAD_TIFF, "Tiff", {"tif", "tiff"}},
                                         LoadCase{"tx", Format::LOAD_TX, "Tx", {"tx", "txt", "tex"}},
                                         LoadCase{"hdr", Format::LOAD_HDR, "HDR", {"hdr"}},
                                         LoadCase{"past_the_end", 8, "unknown_format", kUnknown},
                                         LoadCase{"below_zero", -1, "unknown_format", kUnknown}),
                         [](auto const& row) { return row.param.label; });

TEST(LoadFormats, HaveTheNumbersThatCallersStore)
{
    EXPECT_EQ((std::vector<int>{Format::LOAD_EXR, Format::LOAD_JPEG, Format::LOAD_BMP, Format::LOAD_TARGA,
                                Format::LOAD_PNG, Format::LOAD_TIFF, Format::LOAD_TX, Format::LOAD_HDR}),
              (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

struct SaveCase {
    char const* label;
    int value;
    char const* name;
    char const* short_name;
    std::vector<std::string> accepted;  // by get_save_from_short_name
    std::vector<std::string> extensions;
    unsigned int bytes;
};

class SaveFormats : public testing::TestWithParam<SaveCase> {};

TEST_P(SaveFormats, HaveTheirNamesExtensionsAndSampleSize)
{
    auto const format = static_cast<Format::Save>(GetParam().value);

    EXPECT_STREQ(Format::get_save_name(format), GetParam().name);
    EXPECT_STREQ(Format::get_short_name(format), GetParam().short_name);
    EXPECT_EQ(texts(Format::get_save_extensions(format)), GetParam().extensions);
    EXPECT_EQ(Format::get_bytes_per_channel(format), GetParam().bytes);
}

TEST_P(SaveFormats, AreFoundByTheirShortNamesInAnyCase)
{
    for (std::string const& name : GetParam().accepted) {
        CoreString upper(name.c_str());
        upper.upper_case();

        EXPECT_EQ(Format::get_save_from_short_name(name.c_str()), GetParam().value) << name;
        EXPECT_EQ(Format::get_save_from_short_name(upper), GetParam().value) << upper.get_data();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, SaveFormats,
    testing::Values(SaveCase{"exr16", 0, "Open EXR (16bit)", "exr16", {"exr16"}, {"exr", "hdr"}, 2},
                    SaveCase{"exr32", 1, "Open EXR (32bit)", "exr32", {"exr32"}, {"exr", "hdr"}, 4},
                    SaveCase{"jpeg", 2, "Jpeg", "jpg", {"jpg", "jpeg"}, {"jpg", "jpeg"}, 1},
                    SaveCase{"bmp", 3, "Bitmap", "bmp", {"bmp"}, {"bmp"}, 1},
                    SaveCase{"targa", 4, "Targa", "tga", {"tga"}, {"tga"}, 1},
                    SaveCase{"png8", 5, "Png (8bit)", "png8", {"png8"}, {"png"}, 1},
                    SaveCase{"png16", 6, "Png (16bit)", "png16", {"png16"}, {"png"}, 2},
                    SaveCase{"tiff8", 7, "Tiff (8bit)", "tiff8", {"tiff8", "tif8"}, {"tif", "tiff"}, 1},
                    SaveCase{"tiff16", 8, "Tiff (16bit)", "tiff16", {"tiff16", "tif16"}, {"tif", "tiff"}, 2},
                    SaveCase{"tiff32", 9, "Tiff (32bit)", "tiff32", {"tiff32", "tif32"}, {"tif", "tiff"}, 4},
                    SaveCase{"unknown",
                             10,
                             "unknown_format",
                             "unknown_format",
                             {"unknown_format", "", "png", "exr "},
                             kUnknown,
                             0},
                    SaveCase{"past_the_end", 11, "unknown_format", "unknown_format", {}, kUnknown, 0},
                    SaveCase{"below_zero", -1, "unknown_format", "unknown_format", {}, kUnknown, 0}),
    [](auto const& row) { return row.param.label; });

TEST(SaveFormats, HaveTheNumbersThatCallersStore)
{
    EXPECT_EQ((std::vector<int>{Format::SAVE_EXR16, Format::SAVE_EXR32, Format::SAVE_JPEG, Format::SAVE_BMP,
                                Format::SAVE_TARGA, Format::SAVE_PNG8, Format::SAVE_PNG16, Format::SAVE_TIFF8,
                                Format::SAVE_TIFF16, Format::SAVE_TIFF32, Format::SAVE_UNKNOWN}),
              (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
}

struct LookupCase {
    char const* label;
    char const* text;
    int value;
};

auto const kLookupLabel = [](auto const& row) { return row.param.label; };

class SaveFromExtension : public testing::TestWithParam<LookupCase> {};

TEST_P(SaveFromExtension, GivesTheFirstFormatThatHasIt)
{
    EXPECT_EQ(Format::get_save_from_extension(GetParam().text), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Table, SaveFromExtension,
    testing::Values(LookupCase{"exr", "exr", 0}, LookupCase{"hdr_is_openexr", "hdr", 0},
                    LookupCase{"jpg", "jpg", 2}, LookupCase{"jpeg", "jpeg", 2}, LookupCase{"bmp", "bmp", 3},
                    LookupCase{"tga", "tga", 4}, LookupCase{"png_is_8_bit", "png", 5},
                    LookupCase{"tif_is_8_bit", "tif", 7}, LookupCase{"tiff_is_8_bit", "tiff", 7},
                    LookupCase{"case_counts", "EXR", 10}, LookupCase{"no_dot", ".exr", 10},
                    LookupCase{"empty", "", 10}, LookupCase{"load_only", "sxr", 10},
                    LookupCase{"short_name", "png8", 10},
                    LookupCase{"the_no_match_text", "unknown_format", 10}),
    kLookupLabel);

struct CompressionCase {
    char const* label;
    int value;
    char const* name;
    char const* short_name;
};

class Compressions : public testing::TestWithParam<CompressionCase> {};

TEST_P(Compressions, HaveTheirNames)
{
    auto const method = static_cast<Format::OpenExrCompressionMethod>(GetParam().value);

    EXPECT_STREQ(Format::get_compression_name(method), GetParam().name);
    EXPECT_STREQ(Format::get_short_name(method), GetParam().short_name);
}

INSTANTIATE_TEST_SUITE_P(
    Table, Compressions,
    testing::Values(CompressionCase{"project", 0, "Use project preferences", "default"},
                    CompressionCase{"none", 1, "No Compression", "none"},
                    CompressionCase{"rle", 2, "RLE Compression", "rle"},
                    CompressionCase{"zips", 3, "ZIPS Compression", "zips"},
                    CompressionCase{"zip", 4, "ZIP Compression", "zip"},
                    CompressionCase{"piz", 5, "PIZ Compression", "piz"},
                    CompressionCase{"pxr24", 6, "PXR24 Compression", "pxr24"},
                    CompressionCase{"b44", 7, "B44 Compression", "b44"},
                    CompressionCase{"b44a", 8, "B44A Compression", "b44a"},
                    CompressionCase{"dwaa", 9, "DWAA Compression", "dwaa"},
                    CompressionCase{"dwab", 10, "DWAB Compression", "dwab"},
                    CompressionCase{"unknown", 11, "unknown_format", "unknown_format"},
                    CompressionCase{"past_the_end", 12, "unknown_format", "unknown_format"},
                    CompressionCase{"below_zero", -1, "unknown_format", "unknown_format"}),
    [](auto const& row) { return row.param.label; });

TEST(Compressions, HaveTheNumbersThatCallersStore)
{
    EXPECT_EQ(
        (std::vector<int>{Format::COMPRESSION_DEFAULT, Format::COMPRESSION_NONE, Format::COMPRESSION_RLE,
                          Format::COMPRESSION_ZIPS, Format::COMPRESSION_ZIP, Format::COMPRESSION_PIZ,
                          Format::COMPRESSION_PXR24, Format::COMPRESSION_B44, Format::COMPRESSION_B44A,
                          Format::COMPRESSION_DWAA, Format::COMPRESSION_DWAB, Format::COMPRESSION_UNKNOWN}),
        (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
}

class CompressionFromShortName : public testing::TestWithParam<LookupCase> {};

TEST_P(CompressionFromShortName, LooksAtTheFirstWordInAnyCase)
{
    EXPECT_EQ(Format::get_compression_from_short_name(GetParam().text), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Table, CompressionFromShortName,
    testing::Values(LookupCase{"project", "default", 0},
                    LookupCase{"project_display_name", "Use project preferences", 11},
                    LookupCase{"none", "none", 1}, LookupCase{"no", "no", 1},
                    LookupCase{"none_display_name", "No Compression", 1}, LookupCase{"rle", "rle", 2},
                    LookupCase{"rle_display_name", "RLE Compression", 2}, LookupCase{"zips", "zips", 3},
                    LookupCase{"zips_display_name", "ZIPS Compression", 3}, LookupCase{"zip", "zip", 4},
                    LookupCase{"zip_display_name", "ZIP Compression", 4}, LookupCase{"piz", "piz", 5},
                    LookupCase{"piz_display_name", "PIZ Compression", 5}, LookupCase{"pxr24", "pxr24", 6},
                    LookupCase{"pxr24_display_name", "PXR24 Compression", 6}, LookupCase{"b44", "b44", 7},
                    LookupCase{"b44_display_name", "B44 Compression", 7}, LookupCase{"b44a", "b44a", 8},
                    LookupCase{"b44a_display_name", "B44A Compression", 8}, LookupCase{"dwaa", "dwaa", 9},
                    LookupCase{"dwaa_display_name", "DWAA Compression", 9}, LookupCase{"dwab", "dwab", 10},
                    LookupCase{"dwab_display_name", "DWAB Compression", 10},
                    LookupCase{"upper_case", "PXR24", 6}, LookupCase{"empty", "", 11},
                    LookupCase{"blank_first", " zip", 11}, LookupCase{"other", "lzw", 11},
                    LookupCase{"the_no_match_text", "unknown_format", 11}),
    kLookupLabel);

TEST(ImageIOFileFormat, RegistersOneClassRecord)
{
    CoreClassInfo const& record = Format::class_info();

    EXPECT_EQ(record.get_name(), "ImageIOFileFormat");
    EXPECT_EQ(record.get_base(), &CoreBaseType::class_info());
    EXPECT_EQ(&Format().get_class_info(), &record);
    EXPECT_EQ(&Format::class_info(), &record);
}

TEST(ImageIOFileFormat, FreesObjectsWhateverTheFlag)
{
    EXPECT_TRUE(Format::___class_destructor__(new Format, true));
    EXPECT_TRUE(Format::___class_destructor__(new Format, false));
    EXPECT_TRUE(Format::class_info().destroy(new Format, false));
}

TEST(ImageIOFileFormat, AssignmentGivesTheTarget)
{
    Format target, source;

    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(&(target = Format()), &target);
}

}  // namespace
