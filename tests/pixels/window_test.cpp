#include "image_io/pixels/window.h"

#include <gtest/gtest.h>

#include <climits>
#include <limits>

namespace {

using zv_image_io::floor_div;
using zv_image_io::size_product;
using zv_image_io::Window;
using zv_image_io::window_of;

TEST(Window, IsARectangleOfPositionAndSize)
{
    Window const window = window_of(GMathVec4<int>(-3, 5, 20, 10));

    EXPECT_EQ(window.x, -3);
    EXPECT_EQ(window.y, 5);
    EXPECT_EQ(window.width, 20);
    EXPECT_EQ(window.height, 10);
    EXPECT_EQ(window.end_x(), 17);
    EXPECT_EQ(window.end_y(), 15);
    EXPECT_EQ(window.rectangle(), GMathVec4<int>(-3, 5, 20, 10));
}

TEST(Window, EndsBeyondTheIntRangeWithoutOverflow)
{
    Window const window{INT_MAX, INT_MAX, INT_MAX, INT_MAX};

    EXPECT_EQ(window.end_x(), 2LL * INT_MAX);
    EXPECT_EQ(window.end_y(), 2LL * INT_MAX);
}

TEST(Window, IsEmptyWithoutExtent)
{
    EXPECT_TRUE((Window{}.is_empty()));
    EXPECT_TRUE((Window{1, 1, 0, 5}.is_empty()));
    EXPECT_TRUE((Window{1, 1, 5, 0}.is_empty()));
    EXPECT_TRUE((Window{1, 1, -1, 5}.is_empty()));
    EXPECT_TRUE((Window{1, 1, 5, -1}.is_empty()));
    EXPECT_FALSE((Window{-9, -9, 1, 1}.is_empty()));
}

TEST(Window, FitsIntIfItsFarEdgesDo)
{
    EXPECT_TRUE((Window{}.fits_int()));
    EXPECT_TRUE((Window{INT_MAX - 10, 0, 10, 1}.fits_int()));
    EXPECT_TRUE((Window{0, INT_MAX - 10, 1, 10}.fits_int()));
    EXPECT_TRUE((Window{INT_MIN, INT_MIN, INT_MAX, INT_MAX}.fits_int()));
    EXPECT_FALSE((Window{INT_MAX - 9, 0, 10, 1}.fits_int()));
    EXPECT_FALSE((Window{0, INT_MAX - 9, 1, 10}.fits_int()));
    EXPECT_FALSE((Window{0, 0, -1, 1}.fits_int()));
    EXPECT_FALSE((Window{0, 0, 1, -1}.fits_int()));
}

TEST(FloorDiv, RoundsDown)
{
    EXPECT_EQ(floor_div(0, 64), 0);
    EXPECT_EQ(floor_div(63, 64), 0);
    EXPECT_EQ(floor_div(64, 64), 1);
    EXPECT_EQ(floor_div(-1, 64), -1);
    EXPECT_EQ(floor_div(-64, 64), -1);
    EXPECT_EQ(floor_div(-65, 64), -2);
    EXPECT_EQ(floor_div(INT_MIN, 1), INT_MIN);
}

TEST(SizeProduct, IsTheProductOrNothingIfItDoesNotFit)
{
    std::size_t const most = std::numeric_limits<std::size_t>::max();

    EXPECT_EQ(size_product(std::size_t(3), std::size_t(4), std::size_t(5)), std::size_t(60));
    EXPECT_EQ(size_product(std::size_t(1) << 32, std::size_t(1) << 31), std::size_t(1) << 63);
    EXPECT_EQ(size_product(most, std::size_t(1)), most);
    EXPECT_EQ(size_product(most, std::size_t(2)), std::nullopt);
    EXPECT_EQ(size_product(std::size_t(1) << 32, std::size_t(1) << 32), std::nullopt);
    EXPECT_EQ(size_product(most, std::size_t(0)), std::size_t(0));
    EXPECT_EQ(size_product(), std::size_t(1));
}

}  // namespace
