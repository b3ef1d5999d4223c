#include "image_io/load/pixel_pass.h"

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

/// What the two user words of the pass hold.
enum PassWord { PASS_WORD_HAS_STRAIGHT_ALPHA = 0, PASS_WORD_CONVERTER = 1 };

std::array<float*, 4> colour_planes(ImageProcess::Block const& block)
{
    return {block.m_red, block.m_green, block.m_blue, block.m_luminance};
}

std::span<float const> alpha_plane(ImageProcess::Block const& block)
{
    return {block.m_alpha, std::size_t(block.m_width) * block.m_height};
}

/// Luminance is converted as the red of a colour whose green and blue do not matter.
void convert(ImageProcess::Block const& block, ColorIOConverter const& converter)
{
    if (block.m_luminance) {
        std::vector<float> other(std::size_t(block.m_width) * block.m_height, 0.0f);
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
            divide_planes_by_alpha(colour_planes(*block), alpha_plane(*block), kLoadAlpha);
    }
    convert(*block, converter);
    if (block->m_alpha)
        multiply_planes_by_alpha(colour_planes(*block), alpha_plane(*block));
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
