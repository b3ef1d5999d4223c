#pragma once

#include "host/core/core_vector.h"

class ImageMap;
class ImageMapChannel;
struct ImageSaveOptions;

namespace zv_image_io {

/// The channels of the main picture: the map's colour channels, or the first four of those that the options
/// name; names that the map does not know are left out.
CoreVector<ImageMapChannel*> main_channels(ImageMap const& map, ImageSaveOptions const& options);

}  // namespace zv_image_io
