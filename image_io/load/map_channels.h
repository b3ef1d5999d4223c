#pragma once

#include "host/core/core_string.h"
#include "host/gmath/gmath_vec4.h"
#include "image_io/load/image_load_report.h"

class ImageMap;
class ImageMapChannel;

namespace zv_image_io {

// What a load adds to its map. What there is no memory for is left out, and told in the report: a picture that lacks
// a channel or its tiles is not whole.

/// A channel of the map's sample type; null if there is no memory.
ImageMapChannel* add_channel(ImageMap& map, CoreString const& name, ImageLoadReport& report);

/// Tiles for all channels.
void create_tiles(ImageMap& map, GMathVec4<int> const& region, ImageLoadReport& report);

/// A tile got no memory for its samples.
void note_missing_tile(ImageLoadReport& report) noexcept;

/// A further channel "a" with the samples of `channel`, limited to 0 and 1.
void copy_to_alpha(ImageMap& map, ImageMapChannel const& channel, GMathVec4<int> const& region,
                   ImageLoadReport& report);

/// A further channel "a" of constant 1; false if it could not be made.
bool add_constant_alpha(ImageMap& map, GMathVec4<int> const& region, ImageLoadReport& report);

}  // namespace zv_image_io
