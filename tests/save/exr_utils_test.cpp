#include "image_io/save/image_io_exr_utils.h"

#include <ImfAttribute.h>
#include <ImfDoubleAttribute.h>
#include <ImfHeader.h>
#include <ImfMatrixAttribute.h>
#include <ImfStandardAttributes.h>
#include <ImfStringAttribute.h>
#include <ImfVecAttribute.h>
#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

#include "tests/support/log_capture.h"

namespace {

using MetaData = ImageSaveOptions::MetaData;
using Values = CoreArray<CoreVariant>;

Imf::Header header_with(char const* name, Values const& values)
{
    Imf::Header header(4, 4);
    CoreArray<MetaData> items;
    items.add({name, values});
    ImageIOExrUtils::add_metadata_to_header(&header, items);
    return header;
}

/// The attribute's type, or "" if there is none.
std::string type_of(char const* name, Values const& values)
{
    Imf::Header const header = header_with(name, values);
    auto const found = header.find(name);
    return found == header.end() ? "" : found.attribute().typeName();
}

Values numbers(unsigned int count)
{
    Values values(count);
    for (unsigned int i = 0; i < count; ++i)
        values[i] = CoreVariant(double(i) + 0.5);
    return values;
}

template <class Matrix>
void expect_row_by_row(Matrix const& matrix, int edge)
{
    for (int i = 0; i < edge * edge; ++i)
        EXPECT_EQ(matrix[i / edge][i % edge], float(i) + 0.5f) << i;
}

struct MethodRow {
    int method;
    Imf::Compression compression;
    char const* description;
};

class ExrCompressions : public testing::TestWithParam<MethodRow> {};

TEST_P(ExrCompressions, FollowTheTable)
{
    EXPECT_EQ(ImageIOExrUtils::get_compression_type(GetParam().method), GetParam().compression);
    EXPECT_STREQ(ImageIOExrUtils::get_compression_description(GetParam().compression),
                 GetParam().description);
}

INSTANTIATE_TEST_SUITE_P(
    Methods, ExrCompressions,
    testing::Values(MethodRow{-1, Imf::NO_COMPRESSION, "none"}, MethodRow{0, Imf::NO_COMPRESSION, "none"},
                    MethodRow{1, Imf::NO_COMPRESSION, "none"},
                    MethodRow{2, Imf::RLE_COMPRESSION, "run-length encoding"},
                    MethodRow{3, Imf::ZIPS_COMPRESSION, "zip, individual scanlines"},
                    MethodRow{4, Imf::ZIP_COMPRESSION, "zip, multi-scanline blocks"},
                    MethodRow{5, Imf::PIZ_COMPRESSION, "piz"}, MethodRow{6, Imf::PXR24_COMPRESSION, "pxr24"},
                    MethodRow{7, Imf::B44_COMPRESSION, "b44"}, MethodRow{8, Imf::B44A_COMPRESSION, "b44a"},
                    MethodRow{9, Imf::DWAA_COMPRESSION, "dwa, small scanline blocks"},
                    MethodRow{10, Imf::DWAB_COMPRESSION, "dwa, medium scanline blocks"},
                    MethodRow{11, Imf::NO_COMPRESSION, "none"},
                    MethodRow{1000, Imf::NO_COMPRESSION, "none"}));

TEST(ExrCompressions, HaveTheNumbersOfTheFileFormat)
{
    for (int method = 1; method <= 10; ++method)
        EXPECT_EQ(int(ImageIOExrUtils::get_compression_type(method)), method - 1);
}

TEST(ExrCompressions, UnknownOnesHaveNoDescription)
{
    EXPECT_STREQ(ImageIOExrUtils::get_compression_description(Imf::NUM_COMPRESSION_METHODS), "");
    EXPECT_STREQ(ImageIOExrUtils::get_compression_description(Imf::Compression(-1)), "");
}

TEST(ExrMetadata, CountOfNumbersMakesTheType)
{
    std::vector<std::string> const wanted = {"",     "double", "v2f", "v3f", "", "", "", "",    "",
                                             "m33f", "",       "",    "",    "", "", "", "m44f"};
    for (unsigned int count = 1; count < wanted.size(); ++count)
        EXPECT_EQ(type_of("custom", numbers(count)), wanted[count]) << count;
    EXPECT_EQ(type_of("custom", numbers(17)), "");
}

TEST(ExrMetadata, OneNumberIsADoubleNotNarrowed)
{
    Imf::Header const header = header_with("custom", {CoreVariant(1.0 / 3.0)});

    EXPECT_EQ(header.typedAttribute<Imf::DoubleAttribute>("custom").value(), 1.0 / 3.0);
}

TEST(ExrMetadata, AnIntegerBecomesADouble)
{
    Imf::Header const header = header_with("custom", {CoreVariant(7)});

    EXPECT_EQ(header.typedAttribute<Imf::DoubleAttribute>("custom").value(), 7.0);
}

TEST(ExrMetadata, VectorsAndMatricesKeepTheOrder)
{
    EXPECT_EQ(header_with("v", numbers(2)).typedAttribute<Imf::V2fAttribute>("v").value(),
              Imath::V2f(0.5f, 1.5f));
    EXPECT_EQ(header_with("v", numbers(3)).typedAttribute<Imf::V3fAttribute>("v").value(),
              Imath::V3f(0.5f, 1.5f, 2.5f));
    expect_row_by_row(header_with("m", numbers(9)).typedAttribute<Imf::M33fAttribute>("m").value(), 3);
    expect_row_by_row(header_with("m", numbers(16)).typedAttribute<Imf::M44fAttribute>("m").value(), 4);
}

TEST(ExrMetadata, OnlyTheFirstTagCounts)
{
    Imf::Header const header = header_with("custom", {CoreVariant(1), CoreVariant("2.5"), CoreVariant(true)});

    EXPECT_EQ(header.typedAttribute<Imf::V3fAttribute>("custom").value(), Imath::V3f(1, 2.5f, 1));
}

TEST(ExrMetadata, ATextIsTheFirstValueAlone)
{
    Imf::Header const header = header_with("custom", {CoreVariant("first"), CoreVariant("second")});

    EXPECT_EQ(header.typedAttribute<Imf::StringAttribute>("custom").value(), "first");
}

TEST(ExrMetadata, OtherFirstValuesAreDroppedInSilence)
{
    zv_test::LogCapture const log;

    EXPECT_EQ(type_of("custom", {CoreVariant(true)}), "");
    EXPECT_EQ(type_of("custom", {CoreVariant(true), CoreVariant(2.0)}), "");
    EXPECT_EQ(type_of("custom", {CoreVariant()}), "");
    EXPECT_EQ(type_of("custom", numbers(4)), "");

    EXPECT_TRUE(log.lines().empty());
}

TEST(ExrMetadata, ItemsWithoutValuesAreToldOneByOne)
{
    using zv_test::LogLine;
    CoreArray<MetaData> items(2);
    Imf::Header header(4, 4);
    {
        zv_test::LogCapture const log(3);
        ImageIOExrUtils::add_metadata_to_header(&header, items);
        EXPECT_EQ(log.lines(),
                  (std::vector<LogLine>{{3, "No custom metadata\n"}, {3, "No custom metadata\n"}}));
    }
    zv_test::LogCapture const log(2);
    ImageIOExrUtils::add_metadata_to_header(&header, items);
    EXPECT_TRUE(log.lines().empty());
}

TEST(ExrMetadata, CamerasBecomeStandardAttributes)
{
    Imf::Header const header = header_with("worldToCamera", numbers(16));
    ASSERT_TRUE(Imf::hasWorldToCamera(header));
    expect_row_by_row(Imf::worldToCamera(header), 4);

    Imf::Header const screen = header_with("worldToNDC", numbers(18));
    ASSERT_TRUE(Imf::hasWorldToNDC(screen));
    expect_row_by_row(Imf::worldToNDC(screen), 4);
}

TEST(ExrMetadata, CamerasOfTextsAreReadAsNumbers)
{
    Values values(16);
    for (unsigned int i = 0; i < 16; ++i)
        values[i] = CoreVariant(CoreString(std::to_string(i) + ".5"));

    expect_row_by_row(Imf::worldToCamera(header_with("worldToCamera", values)), 4);
}

TEST(ExrMetadata, MatricesThatAreTooShortArePassedOver)
{
    zv_test::LogCapture const log;

    for (char const* name : {"worldToCamera", "worldToNDC"})
        for (unsigned int count : {0u, 1u, 2u, 9u, 15u})
            EXPECT_EQ(type_of(name, numbers(count)), "") << name << count;

    EXPECT_TRUE(log.lines().empty());
}

TEST(ExrMetadata, ACommentIsTheStandardOne)
{
    Imf::Header const header = header_with("comment", {CoreVariant("hello"), CoreVariant("more")});

    EXPECT_EQ(Imf::comments(header), "hello");
    EXPECT_EQ(Imf::comments(header_with("comment", {CoreVariant(2.5)})), "2.5");
}

TEST(ExrMetadata, ACommentWithoutAValueIsPassedOver)
{
    zv_test::LogCapture const log;

    EXPECT_FALSE(Imf::hasComments(header_with("comment", {})));
    EXPECT_TRUE(log.lines().empty());
}

TEST(ExrMetadata, NamesCompareExactly)
{
    EXPECT_EQ(type_of("Comment", {CoreVariant("hello")}), "string");
    EXPECT_FALSE(Imf::hasComments(header_with("Comment", {CoreVariant("hello")})));
    EXPECT_EQ(type_of("WorldToCamera", numbers(1)), "double");
}

TEST(ExrMetadata, LaterItemsOfTheSameNameAndTypeWin)
{
    Imf::Header header(4, 4);
    CoreArray<MetaData> items;
    items.add({"custom", {CoreVariant(1.0)}});
    items.add({"custom", {CoreVariant(2.0)}});

    ImageIOExrUtils::add_metadata_to_header(&header, items);

    EXPECT_EQ(header.typedAttribute<Imf::DoubleAttribute>("custom").value(), 2.0);
}

TEST(ExrMetadata, ATypeClashIsTheLibrarysException)
{
    EXPECT_THROW(header_with("channels", {CoreVariant(1.0)}), Iex::TypeExc);
    EXPECT_THROW(header_with("compression", {CoreVariant("zip")}), Iex::TypeExc);
    EXPECT_THROW(header_with("", {CoreVariant(1.0)}), Iex::ArgExc);
}

TEST(ExrMetadata, AttributesOfTheseTypesRefuseOtherValues)
{
    Imf::DoubleAttribute number(1.0);
    Imf::StringAttribute const text("text");

    try {
        number.copyValueFrom(text);
        FAIL();
    } catch (Iex::TypeExc const& error) {
        EXPECT_STREQ(error.what(), "Unexpected attribute type.");
    }
}

TEST(ExrUtils, AssignmentGivesTheObject)
{
    ImageIOExrUtils first, second;

    EXPECT_EQ(&(first = second), &first);
    EXPECT_EQ(&(first = ImageIOExrUtils()), &first);
}

}  // namespace
