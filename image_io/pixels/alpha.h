#pragma once

#include <span>

namespace zv_image_io {

/// 1 / alpha where |alpha|, as a double, is greater than `threshold`, else 1: a factor for each sample instead of a
/// branch around every channel. `factor` is as long as `alpha`; both may be the same memory.
void unassociate_factors(std::span<float const> alpha, double threshold, std::span<float> factor);

/// Multiplies sample by sample; both are equally long.
void multiply_samples(std::span<float> samples, std::span<float const> factor);

}  // namespace zv_image_io
