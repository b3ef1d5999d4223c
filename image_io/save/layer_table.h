#pragma once

#include "host/core/core_hash_table.h"
#include "host/core/core_string.h"
#include "host/core/core_vector.h"

class ImageMap;
class ImageMapChannel;

namespace zv_image_io {

/// The extra channels of a map by layer: "diffuse.r" and "diffuse.g" are the layer "diffuse", a name without
/// a dot is a layer of its own, one that begins with a dot is in none. The channels are borrowed.
///
/// Order  of a walk, and so of the files: as layers appear in the map up to 256 of them, that of the hash
///        above
using LayerTable = CoreHashTable<CoreString, CoreVector<ImageMapChannel*>>;

LayerTable collect_layers(ImageMap const& map);

}  // namespace zv_image_io
