#pragma once

#include <string>
#include <vector>

#include "host/gmath/gmath_vec4.h"

namespace zvio {

enum class BucketOrder { ROWS, SPIRAL, RANDOM };

/// The parts of a picture at (0, 0), each of the bucket's size or what is left of it at the right and lower edge, in the
/// order in which they are rendered: from the top left, from the middle outwards, or shuffled (always in the same way).
std::vector<GMathVec4<int>> order_buckets(int width, int height, int bucket_width, int bucket_height,
                                          BucketOrder order);

}  // namespace zvio
