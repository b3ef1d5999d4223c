#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/equality/comparison.h"

namespace zv_equality {

/// A canvas of a name, whose samples are rough ones.
struct NamedCanvas {
    std::string name;
    std::unique_ptr<ImageCanvas> canvas;
};

struct CanvasOrder {
    int x = 0, y = 0, width = 75, height = 67;  // of the data window
    Place display_window = {};                  // nothing: as the data window
    std::vector<std::string> channels = {"r", "g", "b", "a"};
    int tile = 64;
    SampleType type = {};
    std::map<std::string, Place> parts = {};  // of channels that have samples and tiles only there
};
std::unique_ptr<ImageCanvas> make_canvas(CanvasOrder const& order);
/// All sample types, numbers of channels and places of windows.
std::vector<NamedCanvas> save_canvases();

/// Whole files of OpenEXR: every compression, lines and tiles, conversions.
std::vector<SaveOrder> exr_orders();
/// Output settings, layers, crops, metadata.
std::vector<SaveOrder> planning_orders();
/// TIFF in strips and tiles, and what a format of no name becomes.
std::vector<SaveOrder> oiio_orders();
/// The formats that are written from a whole buffer.
std::vector<SaveOrder> simple_orders();

}  // namespace zv_equality
