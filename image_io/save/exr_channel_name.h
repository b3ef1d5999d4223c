#pragma once

#include "host/core/core_string.h"

namespace zv_image_io {

/// True for the four colour channels: exactly "r", "g", "b" and "a".
inline bool is_rgba_name(CoreString const& name)
{
    return name == "r" || name == "g" || name == "b" || name == "a";
}

/// What a channel of the map is called in an OpenEXR file.
inline CoreString exr_channel_name(CoreString const& name)
{
    if (is_rgba_name(name))
        return name.get_upper_case();
    return name == "depth.z" ? CoreString("depth.Z") : name;
}

}  // namespace zv_image_io
