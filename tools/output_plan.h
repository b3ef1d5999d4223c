#pragma once

#include <string>
#include <vector>

#include "host/gmath/gmath_vec4.h"
#include "image_io/frame/image_io.h"

class ImageCanvas;
class ImageMap;
class OfApp;
struct ImageSaveOptions;

namespace zvio {

struct PlannedChannel {
    std::string source;  // the map's channel; empty for one that is filled with zeros
    std::string name;    // in the file
    std::string type;    // of its samples, as OpenImageIO names it
};

struct PlannedFile {
    std::string path;
    std::string name;  // "image", "RGBA" or the layer
    bool is_exr = false;
    GMathVec4<int> data_window, display_window;
    int tile_size = 0;  // 0: scanlines
    std::vector<PlannedChannel> channels;
};

/// What a save would do. The module decides by itself when it saves; this says the same beforehand, and what was written is
/// held against it.
struct OutputPlan {
    ImageIO::SavingStatus status = ImageIO::SAVING_STATUS_SUCCESS;  ///< what is known to fail
    std::vector<PlannedFile> files;
    std::vector<std::string> left_out;  ///< channels of the map that go into no file
};

/// `region` is what holds data: the crop, or the canvas's data window.
OutputPlan plan_outputs(std::string const& path, ImageSaveOptions const& options, ImageCanvas const& canvas,
                        GMathVec4<int> const& region, OfApp const& app);

/// The region of a save: fractions of the canvas's size, or its data window without a crop.
GMathVec4<int> region_of(ImageCanvas const& canvas, GMathVec4<float> const* crop);

/// True for the formats that hold the colours alone: JPEG, BMP, TGA, PNG.
bool is_simple_format(ImageSaveOptions const& options);

}  // namespace zvio
