#pragma once

#include "host/core/core_string.h"
#include "host/image/image_pixel.h"
#include "image_io/load/image_load_options.h"

namespace zv_image_io {

/// What tells two requests for shared images apart; other options do not count.
inline CoreString texture_key(CoreString const& path, ImageLoadOptions const& options,
                              ImagePixel::RepeatMode u, ImagePixel::RepeatMode v)
{
    CoreString key = path;
    key += "#";
    key += options.color_space;
    key += "#";
    key += options.premultiply;
    key += "#";
    key += options.single_channel_mode;
    key += "#";
    key += static_cast<int>(u);
    key += "#";
    key += static_cast<int>(v);
    return key;
}

}  // namespace zv_image_io
