#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "image_io/format/image_io_file_format.h"

namespace {

TEST(DialogFilters, ForOpeningBeginWithAllKnownExtensionsOnce)
{
    EXPECT_STREQ(ImageIOFileFormat::get_extension_file_filters_for_open_file().get_data(),
                 "Known Files\t*.{exr,sxr,jpg,jpeg,bmp,tga,png,tif,tiff,tx,txt,tex,hdr}\n"
                 "Open EXR\t*.{exr,sxr}\n"
                 "Jpeg\t*.{jpg,jpeg}\n"
                 "Bitmap\t*.{bmp}\n"
                 "Targa\t*.{tga}\n"
                 "Png\t*.{png}\n"
                 "Tiff\t*.{tif,tiff}\n"
                 "Tx\t*.{tx,txt,tex}\n"
                 "HDR\t*.{hdr}");
}

TEST(DialogFilters, ForSavingHaveALineAFormatAndNoSummary)
{
    EXPECT_STREQ(ImageIOFileFormat::get_extension_file_filters_for_save_file().get_data(),
                 "Open EXR (16bit)\t*.{exr,hdr}\n"
                 "Open EXR (32bit)\t*.{exr,hdr}\n"
                 "Jpeg\t*.{jpg,jpeg}\n"
                 "Bitmap\t*.{bmp}\n"
                 "Targa\t*.{tga}\n"
                 "Png (8bit)\t*.{png}\n"
                 "Png (16bit)\t*.{png}\n"
                 "Tiff (8bit)\t*.{tif,tiff}\n"
                 "Tiff (16bit)\t*.{tif,tiff}\n"
                 "Tiff (32bit)\t*.{tif,tiff}");
}

TEST(DialogFilters, CountNineAndTenLines)
{
    auto const lines = [](CoreString const& text) {
        return std::count(text.get_data(), text.get_data() + text.get_count(), '\n') + 1;
    };

    EXPECT_EQ(lines(ImageIOFileFormat::get_extension_file_filters_for_open_file()), 9);
    EXPECT_EQ(lines(ImageIOFileFormat::get_extension_file_filters_for_save_file()), 10);
}

}  // namespace
