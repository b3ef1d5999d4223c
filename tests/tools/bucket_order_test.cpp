#include "tools/bucket_order.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using zvio::BucketOrder;
using zvio::order_buckets;

class BucketOrders : public testing::TestWithParam<BucketOrder> {};

TEST_P(BucketOrders, CoverEveryPixelOnce)
{
    std::vector<int> count(150 * 70, 0);

    for (auto const& bucket : order_buckets(150, 70, 64, 32, GetParam()))
        for (int y = bucket.y(); y < bucket.y() + bucket.height(); ++y)
            for (int x = bucket.x(); x < bucket.x() + bucket.width(); ++x)
                ++count.at(static_cast<std::size_t>(y * 150 + x));

    EXPECT_EQ(std::set<int>(count.begin(), count.end()), std::set<int>{1});
}

INSTANTIATE_TEST_SUITE_P(All, BucketOrders,
                         testing::Values(BucketOrder::ROWS, BucketOrder::SPIRAL, BucketOrder::RANDOM));

TEST(BucketOrder, RowsGoFromTheTopLeft)
{
    auto const buckets = order_buckets(100, 100, 64, 64, BucketOrder::ROWS);

    ASSERT_EQ(buckets.size(), 4u);
    EXPECT_EQ(buckets[0], GMathVec4<int>(0, 0, 64, 64));
    EXPECT_EQ(buckets[1], GMathVec4<int>(64, 0, 36, 64));
    EXPECT_EQ(buckets[3], GMathVec4<int>(64, 64, 36, 36));
}

TEST(BucketOrder, SpiralGoesFromTheMiddleOutwards)
{
    auto const buckets = order_buckets(320, 320, 64, 64, BucketOrder::SPIRAL);

    EXPECT_EQ(buckets.front(), GMathVec4<int>(128, 128, 64, 64));
    for (std::size_t index = 1; index < 9; ++index) {
        EXPECT_LE(std::abs(buckets[index].x() - 128), 64);
        EXPECT_LE(std::abs(buckets[index].y() - 128), 64);
    }
}

TEST(BucketOrder, RandomIsShuffledAndAlwaysTheSame)
{
    auto const rows = order_buckets(640, 640, 64, 64, BucketOrder::ROWS);
    auto const first = order_buckets(640, 640, 64, 64, BucketOrder::RANDOM);
    auto const second = order_buckets(640, 640, 64, 64, BucketOrder::RANDOM);

    EXPECT_EQ(first, second);
    EXPECT_NE(first, rows);
}

}  // namespace
