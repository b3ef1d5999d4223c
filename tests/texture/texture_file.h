#pragma once

#include <OpenImageIO/imagebufalgo.h>
#include <OpenImageIO/texture.h>

#include <stdexcept>
#include <string>

#include "tests/support/pictures.h"

namespace zv_test {

/// Writes a tiled, mipmapped texture of `encoded` samples with OpenImageIO's own maker.
inline void write_texture(std::string const& path, int width, int height, int channels,
                          OIIO::TypeDesc type = OIIO::TypeDesc::FLOAT)
{
    OIIO::ImageSpec spec(width, height, channels, type);
    spec.tile_width = spec.tile_height = 64;
    OIIO::ImageBuf picture(OIIO::ImageSpec(width, height, channels, OIIO::TypeDesc::FLOAT));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            picture.setpixel(x, y, 0, interleaved<float>(x, y, 1, 1, channels).data());
    if (!OIIO::ImageBufAlgo::make_texture(OIIO::ImageBufAlgo::MakeTxTexture, picture, path, spec))
        throw std::runtime_error(OIIO::geterror());
}

}  // namespace zv_test
