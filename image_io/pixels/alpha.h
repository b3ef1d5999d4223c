#pragma once

#include <span>

namespace zv_image_io {

/// What alpha has to exceed before colour is divided by it: below, a division would blow up what was black to begin with.
struct AlphaThreshold {
    double least;       ///< compared as doubles
    bool of_magnitude;  ///< |alpha| counts, so that negative alphas divide as well
};

// Each road has its own, and files tell them apart. Multiplication has none: a pixel that was not divided is multiplied.
inline constexpr AlphaThreshold kLoadAlpha{1e-8, true};
inline constexpr AlphaThreshold kExrSaveAlpha{1e-6, false};
inline constexpr AlphaThreshold kOiioSaveAlpha{1e-8, true};

/// 1 / alpha where alpha exceeds the threshold, else 1: a factor for each sample instead of a branch around every channel.
/// `factor` is as long as `alpha`; both may be the same memory.
void unassociate_factors(std::span<float const> alpha, AlphaThreshold threshold, std::span<float> factor);

/// Multiplies sample by sample; both are equally long.
void multiply_samples(std::span<float> samples, std::span<float const> factor);

/// Planes of colour, each as long as `alpha`; null ones are left out.
using ColourPlanes = std::span<float* const>;

/// From associated to straight colour, as far as the threshold lets.
void divide_planes_by_alpha(ColourPlanes planes, std::span<float const> alpha, AlphaThreshold threshold);
void multiply_planes_by_alpha(ColourPlanes planes, std::span<float const> alpha);

/// Interleaved pixels of four floats with alpha in the fourth, whatever the picture is; what is left behind the last
/// whole pixel stays.
void divide_pixels_by_alpha(std::span<float> samples, AlphaThreshold threshold);
void multiply_pixels_by_alpha(std::span<float> samples);

}  // namespace zv_image_io
