#pragma once

#include "host/core/core_array.h"
#include "host/core/core_string.h"
#include "host/gmath/gmath_vec4.h"
#include "image_io/frame/export.h"

/// What the header of an image file says.
///
/// Shape    windows are x, y, width, height, never two corners; one name a channel, in lower case
/// Owns     its array and strings; copies are deep, a moved-from record has an empty array
/// Unset    `channel_count` and `is_tiled` carry a value only after a successful `ImageIO::get_image_specs`
struct ZV_IMAGE_IO_EXPORT ImageHeader {
    ImageHeader();

    GMathVec4<int> display_window;
    GMathVec4<int> data_window;
    int channel_count;
    CoreArray<CoreString> channel_names;
    bool is_tiled;
    CoreString color_space;
    CoreString comment;
    CoreString compression;
};
