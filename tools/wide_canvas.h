#pragma once

#include <memory>

class ImageCanvas;
class OfApp;
struct ImageSaveOptions;

namespace zvio {

/// True where the writer takes the size of the map's samples for that of its own: tiled files by OpenImageIO, from maps of
/// less than 32 bits.
bool needs_wide_samples(ImageCanvas const& canvas, ImageSaveOptions const& options, OfApp const& app);

/// The same picture in 32-bit floats.
std::unique_ptr<ImageCanvas> widen_samples(ImageCanvas const& canvas);

}  // namespace zvio
