#include "image_io/save/exr_channel_buffers.h"

#include <ImfChannelList.h>
#include <ImfHeader.h>

#include <span>
#include <string>

#include "host/colorio/color_io.h"
#include "host/image/image_map_channel.h"
#include "image_io/frame/log_line.h"
#include "image_io/pixels/alpha.h"
#include "image_io/save/exr_channel_name.h"

namespace zv_image_io {

namespace {

void configure(ExrChannelBuffer& entry, Imf_2_4::Header const& header, CoreString const& channel_name,
               std::size_t block_pixels)
{
    entry.is_rgba = is_rgba_name(channel_name);
    entry.name = exr_channel_name(channel_name);
    Imf_2_4::Channel const* const declared = header.channels().findChannel(entry.name.get_data());
    if (!declared) {
        // Despite its wording it ends nothing: the channel is left out.
        log_line(kLogError, "OpenExr save: fatal error during channel configuration.\n");
        return;
    }
    entry.type = declared->type;
    if (entry.type == Imf_2_4::HALF)
        entry.half_buffer = allocate_plane<std::uint16_t>(block_pixels);
    entry.float_buffer = allocate_plane<float>(block_pixels);
}

}  // namespace

ExrChannelBuffers::ExrChannelBuffers(Imf_2_4::Header const& header,
                                     CoreBasicArray<ImageMapChannel*> const& channels,
                                     std::size_t block_pixels, bool is_conversion_on)
    : entries(std::make_unique<ExrChannelBuffer[]>(channels.get_count()))
    , count(channels.get_count())
{
    for (unsigned int i = 0; i < count; ++i) {
        if (!channels[i])
            continue;
        ExrChannelBuffer& entry = entries[i];
        configure(entry, header, channels[i]->m_name, block_pixels);
        if (!entry.is_rgba || !is_conversion_on)
            continue;
        float*& plane = entry.name == "R"   ? red
                        : entry.name == "G" ? green
                        : entry.name == "B" ? blue
                                            : alpha;
        plane = entry.float_buffer.get();
    }
    convert = red || green || blue || alpha;
}

void ExrChannelBuffers::convert_colour(ColorIOConverter const& converter, unsigned int width,
                                       unsigned int height)
{
    if (!convert)
        return;
    float* const colour[] = {red, green, blue};
    std::span<float const> const alphas(alpha, alpha ? std::size_t(width) * height : 0);
    divide_planes_by_alpha(colour, alphas, kExrSaveAlpha);
    // The result plays no part: a conversion that fails leaves the pixels as they are.
    converter.convert_buffers(red, green, blue, alpha, width, height);
    multiply_planes_by_alpha(colour, alphas);
}

ColorIOConverter make_save_converter(CoreString const& color_space)
{
    ColorIOConverter converter;
    if (!color_space.is_empty())
        converter.configure(ColorIO::get_default_color_space_name(), color_space);
    return converter;
}

}  // namespace zv_image_io
