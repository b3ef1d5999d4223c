#include "host/gmath/gmath_vec2.h"
#include "host/gmath/gmath_vec4.h"

#include <gtest/gtest.h>

namespace {

TEST(GMathVec2, HoldsXAndY)
{
    GMathVec2<float> size(1.5f, 2.5f);
    size[1] = 3.0f;

    EXPECT_EQ(size.x, 1.5f);
    EXPECT_EQ(size.y, 3.0f);
    EXPECT_EQ(size[0], 1.5f);
    EXPECT_EQ((GMathVec2<int>()), (GMathVec2<int>(0, 0)));
    EXPECT_FALSE((GMathVec2<int>(0, 1)) == (GMathVec2<int>(1, 0)));
}

TEST(GMathVec4, IsXYWidthHeight)
{
    GMathVec4<int> rectangle{-10, 20, 1920, 1080};

    EXPECT_EQ(rectangle.x(), -10);
    EXPECT_EQ(rectangle.y(), 20);
    EXPECT_EQ(rectangle.width(), 1920);
    EXPECT_EQ(rectangle.height(), 1080);
    for (unsigned int i = 0; i < 4; ++i)
        EXPECT_EQ(rectangle[i], rectangle.m_values[i]);
    rectangle.height() = 540;
    rectangle[0] = 4;
    EXPECT_EQ(rectangle, (GMathVec4<int>{4, 20, 1920, 540}));
}

TEST(GMathVec4, ComparesAllFour)
{
    GMathVec4<int> const rectangle{1, 2, 3, 4};

    for (unsigned int i = 0; i < 4; ++i) {
        GMathVec4<int> other = rectangle;
        EXPECT_EQ(other, rectangle);
        other[i] += 1;
        EXPECT_FALSE(other == rectangle);
    }
    EXPECT_EQ((GMathVec4<float>()), (GMathVec4<float>{0, 0, 0, 0}));
}

TEST(GMathVec4, IsFourPlainValues)
{
    EXPECT_EQ(sizeof(GMathVec4<int>), 16u);
}

}  // namespace
