#pragma once

#include <cstddef>

#include "image_io/frame/library_names.h"

namespace zv_image_io {

/// The channels of the file that one pass over it reads together: `begin` to `end`, without a gap.
struct ChannelRange {
    int begin = 0, end = 0;

    int count() const { return end - begin; }
};

/// How many lines should be asked for together because the file compresses them so, as far as the header tells; at least 1.
int lines_per_block(OIIO::ImageSpec const& spec);

/// How many lines of all channels of `range` one call asks for.
///
/// As much memory as one plane of one channel, but at least one compressed block of lines. Whole blocks, so that none
/// is decoded twice, and no more than stays in the cache until it is taken apart into tiles.
int lines_per_band(OIIO::ImageSpec const& spec, ChannelRange range);

}  // namespace zv_image_io
