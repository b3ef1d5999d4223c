#include "host/image/image_map_pyramid.h"

#include "host/image/image_map.h"

void ImageMapPyramid::set_repeat_mode(ImagePixel::RepeatMode const& u, ImagePixel::RepeatMode const& v)
{
    if (m_repeat_u == u && m_repeat_v == v)
        return;
    m_repeat_u = u;
    m_repeat_v = v;
    if (m_image != nullptr)
        for (ImageMapChannel* const channel : m_image->m_channels)
            channel->forget_aprons();
}
