#include "image_io/pixels/alpha.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

using zv_image_io::AlphaThreshold;
using zv_image_io::divide_pixels_by_alpha;
using zv_image_io::divide_planes_by_alpha;
using zv_image_io::kExrSaveAlpha;
using zv_image_io::kLoadAlpha;
using zv_image_io::kOiioSaveAlpha;
using zv_image_io::multiply_pixels_by_alpha;
using zv_image_io::multiply_planes_by_alpha;
using zv_image_io::multiply_samples;
using zv_image_io::unassociate_factors;

float factor_of(float alpha, AlphaThreshold threshold = kLoadAlpha)
{
    float factor = -1.0f;
    unassociate_factors({&alpha, 1}, threshold, {&factor, 1});
    return factor;
}

TEST(UnassociateFactors, AreOneOverAlphaAboveTheThresholdAndOneElse)
{
    EXPECT_EQ(factor_of(0.5f), 2.0f);
    EXPECT_EQ(factor_of(-0.25f), -4.0f);
    EXPECT_EQ(factor_of(3.0f), 1.0f / 3.0f);
    EXPECT_EQ(factor_of(1.0f), 1.0f);
    EXPECT_EQ(factor_of(0.0f), 1.0f);
    EXPECT_EQ(factor_of(-0.0f), 1.0f);
    EXPECT_EQ(factor_of(1e-30f), 1.0f);
    EXPECT_EQ(factor_of(std::numeric_limits<float>::denorm_min()), 1.0f);
}

TEST(UnassociateFactors, CompareWithTheThresholdAsDoubles)
{
    float const below = 1e-8f, above = std::nextafter(1e-8f, 1.0f);
    ASSERT_LT(double(below), 1e-8);
    ASSERT_GT(double(above), 1e-8);

    EXPECT_EQ(factor_of(below), 1.0f);
    EXPECT_EQ(factor_of(-below), 1.0f);
    EXPECT_EQ(factor_of(above), 1.0f / above);
    EXPECT_EQ(factor_of(-above), -1.0f / above);
}

TEST(UnassociateFactors, DoNotDivideByTheThresholdItself)
{
    EXPECT_EQ(factor_of(0.5f, {0.5, true}), 1.0f);
    EXPECT_EQ(factor_of(std::nextafter(0.5f, 1.0f), {0.5, true}), 1.0f / std::nextafter(0.5f, 1.0f));
    // A threshold whose nearest float lies above it.
    float const nearest = 0.1f;
    ASSERT_GT(double(nearest), 0.1);
    EXPECT_EQ(factor_of(nearest, {0.1, true}), 1.0f / nearest);
    EXPECT_EQ(factor_of(std::nextafter(nearest, 0.0f), {0.1, true}), 1.0f);
}

TEST(UnassociateFactors, TakeInfinityAndLeaveNaN)
{
    float const infinity = std::numeric_limits<float>::infinity();

    EXPECT_EQ(factor_of(infinity), 0.0f);
    EXPECT_EQ(factor_of(-infinity), 0.0f);
    EXPECT_EQ(factor_of(std::numeric_limits<float>::quiet_NaN()), 1.0f);
}

TEST(UnassociateFactors, MayReplaceTheAlphas)
{
    std::vector<float> samples(1027);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = i % 3 ? float(i) / 64.0f : 0.0f;
    std::vector<float> const alphas = samples;

    unassociate_factors(samples, kLoadAlpha, samples);

    for (std::size_t i = 0; i < samples.size(); ++i)
        ASSERT_EQ(samples[i], alphas[i] == 0.0f ? 1.0f : 1.0f / alphas[i]) << i;
}

TEST(MultiplySamples, MultipliesEachByItsOwnFactor)
{
    for (std::size_t const count : {0u, 1u, 3u, 8u, 1027u}) {
        std::vector<float> samples, factors, wanted;
        for (std::size_t i = 0; i < count; ++i) {
            samples.push_back(float(i) - 5.5f);
            factors.push_back(float(i % 7) / 3.0f);
            wanted.push_back(samples[i] * factors[i]);
        }
        std::vector<float> const factors_before = factors;

        multiply_samples(samples, factors);

        EXPECT_EQ(samples, wanted);
        EXPECT_EQ(factors, factors_before);
    }
}

TEST(UnassociateFactors, OfOpenExrSavesLookAtTheSignAndAtAHigherThreshold)
{
    float const limit = 1e-6f, above = std::nextafter(1e-6f, 1.0f);
    ASSERT_LE(double(limit), 1e-6);
    ASSERT_GT(double(above), 1e-6);

    EXPECT_EQ(factor_of(limit, kExrSaveAlpha), 1.0f);
    EXPECT_EQ(factor_of(above, kExrSaveAlpha), 1.0f / above);
    EXPECT_EQ(factor_of(-0.25f, kExrSaveAlpha), 1.0f);
    EXPECT_EQ(factor_of(0.5f, kExrSaveAlpha), 2.0f);
    EXPECT_EQ(factor_of(std::numeric_limits<float>::quiet_NaN(), kExrSaveAlpha), 1.0f);
}

TEST(UnassociateFactors, OfOpenImageIoSavesLookAtTheMagnitude)
{
    EXPECT_EQ(factor_of(1e-8f, kOiioSaveAlpha), 1.0f);
    EXPECT_EQ(factor_of(-0.25f, kOiioSaveAlpha), -4.0f);
    EXPECT_EQ(factor_of(1e-7f, kOiioSaveAlpha), 1.0f / 1e-7f);
}

TEST(AlphaOfPlanes, DividesAndMultipliesThePlanesThatExist)
{
    std::vector<float> red(2050), blue(2050), alpha(2050);
    for (std::size_t i = 0; i < red.size(); ++i) {
        red[i] = float(i);
        blue[i] = -float(i);
        alpha[i] = i % 4 ? float(i % 4) / 4 : 0.0f;
    }
    float* const planes[] = {red.data(), nullptr, blue.data()};
    auto const factor = [&](std::size_t i) { return alpha[i] > 0 ? 1 / alpha[i] : 1.0f; };

    divide_planes_by_alpha(planes, alpha, kExrSaveAlpha);
    for (std::size_t i = 0; i < red.size(); ++i) {
        ASSERT_EQ(red[i], float(i) * factor(i)) << i;
        ASSERT_EQ(blue[i], -float(i) * factor(i)) << i;
    }

    multiply_planes_by_alpha(planes, alpha);
    for (std::size_t i = 0; i < red.size(); ++i) {
        ASSERT_EQ(red[i], float(i) * factor(i) * alpha[i]) << i;
        ASSERT_EQ(blue[i], -float(i) * factor(i) * alpha[i]) << i;
    }
}

TEST(AlphaOfPixels, DividesWhereTheMagnitudeExceedsTheThreshold)
{
    float const limit = 1e-8f, above = std::nextafter(1e-8f, 1.0f);
    ASSERT_LE(double(limit), 1e-8);
    ASSERT_GT(double(above), 1e-8);
    std::vector<float> samples{1, 2, 3, 0.5f, 1, 2, 3, -0.25f, 1, 2, 3, 0, 1, 2, 3, limit, 1, 2, 3, above};

    divide_pixels_by_alpha(samples, kOiioSaveAlpha);

    float const factor = 1.0f / above;
    EXPECT_EQ(samples, (std::vector<float>{2, 4, 6, 0.5f, -4, -8,    -12,    -0.25f,     1,          2,
                                           3, 0, 1, 2,    3,  limit, factor, 2 * factor, 3 * factor, above}));
}

TEST(AlphaOfPixels, LooksAtTheSignWhereTheThresholdSaysSo)
{
    std::vector<float> samples{1, 2, 3, -0.5f, 1, 2, 3, 0.5f};

    divide_pixels_by_alpha(samples, kExrSaveAlpha);

    EXPECT_EQ(samples, (std::vector<float>{1, 2, 3, -0.5f, 2, 4, 6, 0.5f}));
}

TEST(AlphaOfPixels, MultipliesEveryPixelWithoutAThreshold)
{
    std::vector<float> samples{1, 2, 3, 0.5f, 1, 2, 3, 0, 1, 2, 3, 1e-9f};

    multiply_pixels_by_alpha(samples);

    EXPECT_EQ(samples,
              (std::vector<float>{0.5f, 1, 1.5f, 0.5f, 0, 0, 0, 0, 1e-9f, 2 * 1e-9f, 3 * 1e-9f, 1e-9f}));
}

TEST(AlphaOfPixels, LeavesWhatIsBehindTheLastWholePixel)
{
    for (std::size_t count = 0; count < 4; ++count) {
        std::vector<float> samples(count, 0.5f);

        divide_pixels_by_alpha(samples, kOiioSaveAlpha);
        multiply_pixels_by_alpha(samples);

        EXPECT_EQ(samples, std::vector<float>(count, 0.5f));
    }
    std::vector<float> seven{1, 1, 1, 0.5f, 1, 1, 1};
    divide_pixels_by_alpha(seven, kOiioSaveAlpha);
    EXPECT_EQ(seven, (std::vector<float>{2, 2, 2, 0.5f, 1, 1, 1}));
}

}  // namespace
