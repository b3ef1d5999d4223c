#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/gmath/gmath_vec4.h"
#include "image_io/load/image_load_options.h"
#include "image_io/save/image_save_options.h"
#include "tests/equality/plain_samples.h"

class ImageCanvas;
class OfApp;

namespace zv_equality {

/// What differs between the module and the plain road, a line each; empty where nothing does. Many of one kind are cut
/// short.
using Differences = std::vector<std::string>;

/// All pools of the file libraries and the host to so many threads, for as long as it lives.
class ThreadCount {
public:
    explicit ThreadCount(int count);
    ~ThreadCount();
    ThreadCount(ThreadCount const&) = delete;
    ThreadCount& operator=(ThreadCount const&) = delete;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// Loads the file both ways: samples (bit for bit), windows, depth, names, log lines, progress calls, report.
///
/// Not compared: which texts a reader leaves behind a good read, since it depends on how it is asked; the progress
/// increment of a map without channels; which NaN is left of a colour and an alpha that are both NaN.
Differences compare_load(std::string const& path, ImageLoadOptions const& options);

/// What a save is asked for.
struct SaveOrder {
    std::string name;            // for the reader of a report
    std::string file = "a.exr";  // without a folder
    ImageIOFileFormat::Save format = ImageIOFileFormat::SAVE_EXR16;
    ImageIOFileFormat::OpenExrCompressionMethod compression = ImageIOFileFormat::COMPRESSION_ZIP;
    std::string color_space;  // empty: no conversion
    float pixel_aspect_ratio = 1.0f;
    std::string metadata;  // in the text syntax
    std::vector<std::string> layers;
    bool has_layers = false;
    bool has_crop = false;
    GMathVec4<float> crop = GMathVec4<float>(0.0f, 0.0f, 1.0f, 1.0f);
    /// Sets the output settings and the catalogue of layers.
    std::function<void(OfApp&)> settings = {};
    /// Regions that are handed over before the whole; with one of them the save goes in steps.
    std::vector<Place> regions = {};
};

/// Saves the canvas both ways, into `folder`, which has to be empty and is so again afterwards: names and bytes of
/// all files, status, log lines, progress calls. Of a save in steps the progress of the last step is not compared, of tiled
/// TIFF files from maps of 8 and 16 bits with converted colours only the names, of OpenEXR files with such colours not the
/// signs of NaNs.
Differences compare_save(ImageCanvas const& canvas, SaveOrder const& order, std::string const& folder,
                         std::size_t* file_count = nullptr);

/// A canvas of the module from the file; null where it has none.
std::unique_ptr<ImageCanvas> load_canvas(std::string const& path, ImageLoadOptions const& options);

/// Joins them to lines.
std::string report(Differences const& differences);

}  // namespace zv_equality
