#include "image_io/pixels/alpha.h"

#include <algorithm>
#include <array>
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

constexpr std::size_t kPixelFloats = 4;

void scale_colour(float* pixel, float factor)
{
    pixel[0] *= factor;
    pixel[1] *= factor;
    pixel[2] *= factor;
}

float reciprocal(float value, bool divides)
{
    return 1.0f / (divides ? value : 1.0f);
}

}  // namespace

void unassociate_factors(std::span<float const> alpha, AlphaThreshold threshold, std::span<float> factor)
{
    float const limit = float_threshold(threshold.least);
    if (threshold.of_magnitude)
        for (std::size_t i = 0; i < alpha.size(); ++i)
            factor[i] = reciprocal(alpha[i], std::fabs(alpha[i]) > limit);
    else
        for (std::size_t i = 0; i < alpha.size(); ++i)
            factor[i] = reciprocal(alpha[i], alpha[i] > limit);
}

void multiply_samples(std::span<float> samples, std::span<float const> factor)
{
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] *= factor[i];
}

void divide_planes_by_alpha(ColourPlanes planes, std::span<float const> alpha, AlphaThreshold threshold)
{
    std::array<float, 1024> factor;
    for (std::size_t first = 0; first < alpha.size(); first += factor.size()) {
        std::size_t const count = std::min(factor.size(), alpha.size() - first);
        unassociate_factors(alpha.subspan(first, count), threshold, {factor.data(), count});
        for (float* const plane : planes)
            if (plane)
                multiply_samples({plane + first, count}, {factor.data(), count});
    }
}

void multiply_planes_by_alpha(ColourPlanes planes, std::span<float const> alpha)
{
    for (float* const plane : planes)
        if (plane)
            multiply_samples({plane, alpha.size()}, alpha);
}

void divide_pixels_by_alpha(std::span<float> samples, AlphaThreshold threshold)
{
    float const limit = float_threshold(threshold.least);
    for (std::size_t first = 0; first + kPixelFloats <= samples.size(); first += kPixelFloats) {
        float* const pixel = samples.data() + first;
        float const alpha = pixel[3];
        float const factor = reciprocal(alpha, (threshold.of_magnitude ? std::fabs(alpha) : alpha) > limit);
        scale_colour(pixel, factor);
    }
}

void multiply_pixels_by_alpha(std::span<float> samples)
{
    for (std::size_t first = 0; first + kPixelFloats <= samples.size(); first += kPixelFloats)
        scale_colour(samples.data() + first, samples[first + 3]);
}

}  // namespace zv_image_io
