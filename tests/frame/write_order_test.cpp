#include "image_io/frame/write_order.h"

#include <climits>

#include <gtest/gtest.h>

#include "tests/support/pictures.h"

namespace {

using zv_image_io::WriteOrder;
using zv_test::picture_spec;

OIIO::ImageSpec spec_at(int x, int y, int tile = 0)
{
    return picture_spec(100, 50, 3, OIIO::TypeDesc::FLOAT, x, y, tile);
}

TEST(WriteOrder, OfMostFormatsIsTheirWritersBusiness)
{
    for (char const* format : {"png", "targa", "zvscript"}) {
        WriteOrder order(format, spec_at(0, 20));
        EXPECT_EQ(order.take_rows(0, 5), "");
        EXPECT_EQ(order.take_rows(0, 500), "");
        EXPECT_EQ(order.take_tile(3, -7), "");
        EXPECT_EQ(order.take_image(), "");
        order.stop();
        EXPECT_EQ(order.take_image(), "");
    }
    EXPECT_EQ(WriteOrder().take_rows(-1, 1), "");
}

TEST(WriteOrder, OfTiffAndHeifKeepsRowsInsideTheFile)
{
    for (char const* format : {"tiff", "heif"}) {
        WriteOrder order(format, spec_at(0, 20));

        EXPECT_EQ(order.take_rows(0, 64), "rows 0 to 63 are not in the file");
        EXPECT_EQ(order.take_rows(19, 21), "rows 19 to 20 are not in the file");
        EXPECT_EQ(order.take_rows(60, 71), "rows 60 to 70 are not in the file");
        EXPECT_EQ(order.take_rows(60, 70), "");
        EXPECT_EQ(order.take_rows(20, 60), "");
        EXPECT_EQ(order.take_rows(20, 60), "");  // again
        EXPECT_EQ(order.take_image(), "");
    }
}

TEST(WriteOrder, OfOpenExrTakesTheNextRowsAlone)
{
    WriteOrder order("openexr", spec_at(0, -20));

    EXPECT_EQ(order.take_rows(-19, 0), "rows -19 to -1 are not the file's next ones");
    EXPECT_EQ(order.take_rows(-21, 0), "rows -21 to -1 are not in the file");
    EXPECT_EQ(order.take_rows(-20, 31), "rows -20 to 30 are not in the file");
    EXPECT_EQ(order.take_rows(-20, -20), "rows -20 to -21 are not in the file");
    EXPECT_EQ(order.take_rows(-20, 5), "");
    EXPECT_EQ(order.take_rows(-20, 5), "rows -20 to 4 are not the file's next ones");
    EXPECT_EQ(order.take_image(), "parts of the file were written before");
    EXPECT_EQ(order.take_rows(5, 30), "");
    EXPECT_EQ(order.take_tile(0, -20), "the file has no such tile");
}

TEST(WriteOrder, OfOpenExrTakesEachTileOnce)
{
    WriteOrder order("openexr", spec_at(10, 20, 16));

    EXPECT_EQ(order.take_tile(26, 36), "");
    EXPECT_EQ(order.take_tile(26, 36), "the tile was written before");
    EXPECT_EQ(order.take_tile(10, 20), "");
    for (auto const& [x, y] : {std::pair(11, 20), {10, 21}, {-6, 20}, {10, 4}, {122, 20}, {10, 84}})
        EXPECT_EQ(order.take_tile(x, y), "the file has no such tile") << x << " " << y;
    EXPECT_EQ(order.take_tile(106, 68), "");
    EXPECT_EQ(order.take_rows(20, 36), "the file has tiles, not rows");
    EXPECT_EQ(order.take_image(), "parts of the file were written before");
}

TEST(WriteOrder, OfOpenExrTakesTheWholeImageOnce)
{
    WriteOrder order("openexr", spec_at(0, 0));

    EXPECT_EQ(order.take_image(), "");
    EXPECT_NE(order.take_image(), "");
    EXPECT_NE(order.take_rows(0, 50), "");
}

TEST(WriteOrder, OfOpenExrEndsWithAFailure)
{
    WriteOrder lines("openexr", spec_at(0, 0)), tiles("openexr", spec_at(0, 0, 16));
    lines.stop();
    tiles.stop();

    EXPECT_EQ(lines.take_rows(0, 50), "the file failed before");
    EXPECT_EQ(tiles.take_tile(0, 0), "the file failed before");
    EXPECT_EQ(tiles.take_image(), "the file failed before");
}

}  // namespace
