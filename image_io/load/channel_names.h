#pragma once

#include <vector>

#include "host/core/core_string.h"
#include "host/core/core_vector.h"
#include "image_io/frame/library_names.h"
#include "image_io/load/image_load_options.h"

namespace zv_image_io {

/// The name of a channel of the file, in lower case; empty if the header names fewer channels than it has.
CoreString file_channel_name(OIIO::ImageSpec const& spec, int channel);

/// Whether the options make one of the luminance and alpha channels of a file of exactly one channel.
bool is_single_channel_load(OIIO::ImageSpec const& spec, ImageLoadOptions const& options);

/// What such a channel is called: "a" for mode 2, else "l".
CoreString single_channel_name(ImageLoadOptions const& options);

/// A position of `ImageLoadOptions::channels`: what the map calls it, and the file's first channel of the wanted name,
/// or -1.
struct NamedChannel {
    CoreString destination;
    int file_channel;
};

/// The first four names of the list, which become "r", "g", "b", "a".
std::vector<NamedChannel> find_named_channels(OIIO::ImageSpec const& spec,
                                              CoreVector<CoreString> const& names);

}  // namespace zv_image_io
