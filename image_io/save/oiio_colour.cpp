#include "image_io/save/oiio_colour.h"

#include <algorithm>

#include "host/colorio/color_io.h"
#include "image_io/pixels/alpha.h"

namespace zv_image_io {

OiioColour::OiioColour(CoreString const& color_space)
{
    // The result plays no part: without a conversion the pixels are written as they are.
    if (!color_space.is_empty())
        m_converter.configure(ColorIO::get_default_color_space_name(), color_space);
}

void OiioColour::convert(std::span<float> samples, unsigned int width, unsigned int height,
                         unsigned int channels, bool associated) const
{
    // One step for each pixel, and four floats a step whatever the pixels' length: of pixels that are longer
    // the pass reaches the first part alone, at the wrong places, and of shorter ones the buffer ends before
    // it does.
    std::size_t const reach = std::min(samples.size(), std::size_t(width) * height * 4);
    std::span<float> const touched = samples.first(reach);
    if (associated)
        divide_pixels_by_alpha(touched, kOiioSaveAlpha);
    m_converter.convert_buffer(samples.data(), width, height, channels);
    if (associated)
        multiply_pixels_by_alpha(touched);
}

}  // namespace zv_image_io
