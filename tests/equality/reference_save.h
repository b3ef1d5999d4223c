#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/gmath/gmath_vec4.h"
#include "tests/equality/plain_samples.h"

class AppProgressBar;
class ImageCanvas;
class ImageEvalContext;
class ImageMap;
class ImageMapChannel;
class OfApp;
struct ImageSaveOptions;

namespace zv_equality {

class ReferenceOutput;
using Channels = std::vector<ImageMapChannel*>;
/// 0 success, 1 nothing to save, 2 cannot write the file, 3 the write failed.
using Status = int;

/// Saves a canvas, as `ImageIO::save` does. Metadata of the canvas is appended to that of `options`.
Status reference_save(std::string const& path, ImageSaveOptions& options, ImageCanvas const& canvas,
                      OfApp* app, AppProgressBar* progress, GMathVec4<float> const* crop);

/// The planned outputs of a save that is done in steps; they close in order when the list goes.
struct ReferenceOutputs {
    ReferenceOutputs();
    ~ReferenceOutputs();
    std::vector<std::unique_ptr<ReferenceOutput>> list;
};
Status reference_build_outputs(OfApp* app, ImageSaveOptions const& options, std::string const& path,
                               ImageMap const& map, Place const& region, Place const& canvas,
                               ReferenceOutputs& outputs);
Status reference_write_all(OfApp* app, ReferenceOutputs& outputs, ImageEvalContext& context,
                           AppProgressBar* progress);
Status reference_write_region(ReferenceOutputs& outputs, ImageEvalContext& context, Place const& region,
                              AppProgressBar* progress);

/// Channels of layers, by layer, in the order in which their files are made.
struct Layer {
    std::string name;
    Channels channels;
};
std::vector<Layer> layers_of(ImageMap const& map);
/// The colour channels that the map has: luminance, red, green, blue, alpha.
Channels colour_channels(ImageMap const& map);
std::string layer_file(std::string const& path, std::string const& layer);

}  // namespace zv_equality
