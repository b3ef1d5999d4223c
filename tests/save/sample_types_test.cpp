#include "image_io/save/sample_types.h"

#include <gtest/gtest.h>

namespace {

using Format = ImageIOFileFormat;
using OIIO::TypeDesc;
using zv_image_io::buffered_sample_type;
using zv_image_io::streamed_sample_type;

struct TypeCase {
    char const* label;
    int format;
    char const* name;
    TypeDesc::BASETYPE streamed, buffered;
};

class SampleTypes : public testing::TestWithParam<TypeCase> {};

TEST_P(SampleTypes, DependOnTheFormatAndTheRoad)
{
    auto const format = static_cast<Format::Save>(GetParam().format);

    EXPECT_EQ(streamed_sample_type(format, GetParam().name).basetype, GetParam().streamed);
    EXPECT_EQ(buffered_sample_type(format, GetParam().name).basetype, GetParam().buffered);
}

INSTANTIATE_TEST_SUITE_P(
    Table, SampleTypes,
    testing::Values(TypeCase{"exr16", 0, "a.exr", TypeDesc::HALF, TypeDesc::HALF},
                    TypeCase{"exr32", 1, "a.exr", TypeDesc::FLOAT, TypeDesc::FLOAT},
                    TypeCase{"jpeg", 2, "a.jpg", TypeDesc::FLOAT, TypeDesc::FLOAT},
                    TypeCase{"bmp", 3, "a.bmp", TypeDesc::FLOAT, TypeDesc::UINT8},
                    TypeCase{"targa", 4, "a.tga", TypeDesc::FLOAT, TypeDesc::UINT8},
                    TypeCase{"png8", 5, "a.png", TypeDesc::FLOAT, TypeDesc::UINT8},
                    TypeCase{"png16", 6, "a.png", TypeDesc::FLOAT, TypeDesc::UINT16},
                    TypeCase{"tiff8", 7, "a.tif", TypeDesc::UINT8, TypeDesc::UINT8},
                    TypeCase{"tiff16", 8, "a.tif", TypeDesc::UINT16, TypeDesc::UINT16},
                    TypeCase{"tiff32", 9, "a.tif", TypeDesc::FLOAT, TypeDesc::FLOAT},
                    TypeCase{"unknown", 10, "a.hdr", TypeDesc::FLOAT, TypeDesc::FLOAT},
                    TypeCase{"unknown_tif", 10, "a.tif", TypeDesc::UINT8, TypeDesc::UINT8},
                    TypeCase{"unknown_tiff", 10, "/b/a.tiff", TypeDesc::UINT8, TypeDesc::UINT8},
                    TypeCase{"unknown_upper_case", 10, "a.TIF", TypeDesc::FLOAT, TypeDesc::FLOAT},
                    TypeCase{"unknown_tif_inside", 10, "a.tif.hdr", TypeDesc::FLOAT, TypeDesc::FLOAT},
                    TypeCase{"unknown_two_tifs", 10, "a.tif.tif", TypeDesc::UINT8, TypeDesc::UINT8},
                    TypeCase{"unknown_one_short", 10, "a.tx", TypeDesc::UINT8, TypeDesc::UINT8},
                    TypeCase{"past_the_end", 11, "a.tif", TypeDesc::FLOAT, TypeDesc::FLOAT},
                    TypeCase{"negative", -1, "a.tif", TypeDesc::FLOAT, TypeDesc::FLOAT}),
    [](auto const& row) { return row.param.label; });

}  // namespace
