#pragma once

#include "host/core/core_string.h"
#include "host/core/core_vector.h"
#include "image_io/frame/export.h"

/// How a file is to be loaded. Copies share `channels`, which stays the caller's and must outlive the load.
struct ZV_IMAGE_IO_EXPORT ImageLoadOptions {
    /// The colour space in which the pixels of the file are to be taken.
    CoreString color_space = "sRGB";
    /// The pixels have straight alpha: they are not divided by it before the colour conversion, only multiplied after it.
    bool premultiply = false;
    /// What a file of one channel becomes: 0 or less its own name (if `channels` is null too), 1 "l", 2 "a",
    /// 3 "l" and a copy of it as "a", clamped to 0 and 1. All above counts as 1.
    int single_channel_mode = 1;
    /// A map without alpha gets one, of constant 1.
    bool force_alpha = false;
    /// The file's channels to load as "r", "g", "b", "a", by position, in lower case; null loads all under their own
    /// names. Names past the fourth are ignored. Borrowed.
    CoreVector<CoreString> const* channels = nullptr;
};
