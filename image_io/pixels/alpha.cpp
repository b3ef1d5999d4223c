#include "image_io/pixels/alpha.h"

#include <cmath>
#include <cstddef>
#include <limits>

namespace zv_image_io {

namespace {

/// The largest float whose double is not above `threshold`: comparing floats with it decides as comparing doubles would.
float float_threshold(double threshold)
{
    float const nearest = static_cast<float>(threshold);
    return double(nearest) > threshold ? std::nextafter(nearest, -std::numeric_limits<float>::infinity())
                                       : nearest;
}

}  // namespace

void unassociate_factors(std::span<float const> alpha, double threshold, std::span<float> factor)
{
    float const limit = float_threshold(threshold);
    for (std::size_t i = 0; i < alpha.size(); ++i) {
        float const divisor = std::fabs(alpha[i]) > limit ? alpha[i] : 1.0f;
        factor[i] = 1.0f / divisor;
    }
}

void multiply_samples(std::span<float> samples, std::span<float const> factor)
{
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] *= factor[i];
}

}  // namespace zv_image_io
