#include "tests/equality/plain_colour.h"

#include "host/colorio/color_io.h"
#include "host/colorio/color_io_manager.h"
#include "tests/equality/plain_samples.h"

namespace zv_equality {

PlainConversion::PlainConversion(std::string const& source, std::string const& target)
{
    CoreString const from = ColorIO::resolve_name(source.c_str());
    CoreString const to = ColorIO::resolve_name(target.c_str());
    if (from.is_empty() || to.is_empty())
        return;
    m_processor = ColorIOManager::s_instance->get_config()
                      ->getProcessor(from.get_data(), to.get_data())
                      ->getDefaultCPUProcessor();
}

bool PlainConversion::is_enabled() const
{
    return m_processor && !m_processor->isNoOp();
}

void PlainConversion::convert(float& red, float& green, float& blue, float alpha) const
{
    if (!is_enabled())
        return;
    float pixel[4] = {red, green, blue, alpha};
    m_processor->applyRGBA(pixel);
    red = pixel[0];
    green = pixel[1];
    blue = pixel[2];
}

void PlainConversion::convert_pixel(float* pixel, int channels) const
{
    if (channels < 3) {
        float green = pixel[0], blue = pixel[0];
        convert(pixel[0], green, blue, 0.0f);
    } else {
        convert(pixel[0], pixel[1], pixel[2], channels > 3 ? pixel[3] : 0.0f);
    }
}

std::string default_colour_space()
{
    return text_of(ColorIO::get_default_color_space_name());
}

}  // namespace zv_equality
