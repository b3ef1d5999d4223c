#pragma once

#include "host/image/image_pixel.h"

class ImageMap;

/// What a canvas shows its readers: the map at full resolution and how it goes on past its edges. The levels
/// below the top are the renderer's to build; loading and saving know the top alone.
class ImageMapPyramid {
public:
    explicit ImageMapPyramid(ImageMap* image)
        : m_image(image)
    {
    }

    void set_repeat_mode(ImagePixel::RepeatMode const& u, ImagePixel::RepeatMode const& v);
    [[nodiscard]] ImagePixel::RepeatMode get_repeat_mode_u() const { return m_repeat_u; }
    [[nodiscard]] ImagePixel::RepeatMode get_repeat_mode_v() const { return m_repeat_v; }

    [[nodiscard]] ImageMap* get_image() const { return m_image; }

private:
    ImageMap* m_image;
    ImagePixel::RepeatMode m_repeat_u = ImagePixel::REPEAT_MODE_NONE;
    ImagePixel::RepeatMode m_repeat_v = ImagePixel::REPEAT_MODE_NONE;
};
