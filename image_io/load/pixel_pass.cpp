#include "image_io/load/pixel_pass.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "host/colorio/color_io.h"
#include "host/colorio/color_io_converter.h"
#include "host/image/image_map.h"
#include "host/image/image_process.h"
#include "host/of/of_app.h"
#include "image_io/pixels/alpha.h"

namespace zv_image_io {

namespace {

// Below it a division would blow up what was black to begin with.
constexpr double kLeastAlpha = 1e-8;

/// What the two user words of the pass hold.
enum PassWord { PASS_WORD_HAS_STRAIGHT_ALPHA = 0, PASS_WORD_CONVERTER = 1 };

std::array<float*, 4> colour_planes(ImageProcess::Block const& block)
{
    return {block.m_red, block.m_green, block.m_blue, block.m_luminance};
}

std::size_t sample_count(ImageProcess::Block const& block)
{
    return std::size_t(block.m_width) * block.m_height;
}

void multiply_planes(ImageProcess::Block const& block, std::size_t first, std::span<float const> factor)
{
    for (float* const plane : colour_planes(block))
        if (plane)
            multiply_samples({plane + first, factor.size()}, factor);
}

void divide_by_alpha(ImageProcess::Block const& block)
{
    std::array<float, 1024> factor;
    std::size_t const count = sample_count(block);
    for (std::size_t first = 0; first < count; first += factor.size()) {
        std::size_t const piece = std::min(factor.size(), count - first);
        unassociate_factors({block.m_alpha + first, piece}, kLeastAlpha, {factor.data(), piece});
        multiply_planes(block, first, {factor.data(), piece});
    }
}

void multiply_by_alpha(ImageProcess::Block const& block)
{
    multiply_planes(block, 0, {block.m_alpha, sample_count(block)});
}

/// Luminance is converted as the red of a colour whose green and blue do not matter.
void convert(ImageProcess::Block const& block, ColorIOConverter const& converter)
{
    if (block.m_luminance) {
        std::vector<float> other(sample_count(block), 0.0f);
        converter.convert_buffers(block.m_luminance, other.data(), other.data(), block.m_alpha, block.m_width,
                                  block.m_height);
    } else if (block.m_red && block.m_green && block.m_blue) {
        converter.convert_buffers(block.m_red, block.m_green, block.m_blue, block.m_alpha, block.m_width,
                                  block.m_height);
    }
}

bool process_block(ImageProcess::Block* block, std::uintptr_t* user_words)
{
    auto const& converter = *reinterpret_cast<ColorIOConverter const*>(user_words[PASS_WORD_CONVERTER]);
    if (!user_words[PASS_WORD_HAS_STRAIGHT_ALPHA]) {
        if (!converter.is_enabled())
            return false;
        if (block->m_alpha)
            divide_by_alpha(*block);
    }
    convert(*block, converter);
    if (block->m_alpha)
        multiply_by_alpha(*block);
    return true;
}

}  // namespace

bool run_pixel_pass(ImageMap& map, Window const& window, CoreString const& color_space,
                    bool has_straight_alpha, OfApp* app)
{
    ColorIOConverter converter;
    // An unknown space converts nothing: the result plays no part.
    converter.configure(color_space, ColorIO::get_default_color_space_name());
    ImageProcess::InPlaceProcessParameters parameters{};
    parameters.m_region = window.rectangle();
    parameters.m_callback = process_block;
    parameters.m_user_words[PASS_WORD_HAS_STRAIGHT_ALPHA] = has_straight_alpha;
    parameters.m_user_words[PASS_WORD_CONVERTER] = reinterpret_cast<std::uintptr_t>(&converter);
    return ImageProcess::apply(map, parameters, false, app);
}

}  // namespace zv_image_io
