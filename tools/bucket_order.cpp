#include "tools/bucket_order.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace zvio {

namespace {

/// Rings around the middle, each walked around.
std::pair<double, double> spiral_place(GMathVec4<int> const& bucket, int width, int height, int bucket_width,
                                       int bucket_height)
{
    double const x = (bucket.x() + 0.5 * bucket_width - 0.5 * width) / bucket_width;
    double const y = (bucket.y() + 0.5 * bucket_height - 0.5 * height) / bucket_height;
    return {std::floor(std::max(std::abs(x), std::abs(y)) + 0.5), std::atan2(y, x)};
}

}  // namespace

std::vector<GMathVec4<int>> order_buckets(int width, int height, int bucket_width, int bucket_height,
                                          BucketOrder order)
{
    std::vector<GMathVec4<int>> buckets;
    for (int y = 0; y < height; y += bucket_height)
        for (int x = 0; x < width; x += bucket_width)
            buckets.emplace_back(x, y, std::min(bucket_width, width - x),
                                 std::min(bucket_height, height - y));
    if (order == BucketOrder::RANDOM) {
        std::mt19937 generator(20240217);
        // std::shuffle may differ from library to library; the walk of Fisher and Yates by hand does not.
        for (std::size_t index = buckets.size(); index > 1; --index)
            std::swap(buckets[index - 1], buckets[generator() % index]);
    } else if (order == BucketOrder::SPIRAL) {
        std::stable_sort(buckets.begin(), buckets.end(), [&](auto const& a, auto const& b) {
            return spiral_place(a, width, height, bucket_width, bucket_height) <
                   spiral_place(b, width, height, bucket_width, bucket_height);
        });
    }
    return buckets;
}

}  // namespace zvio
