#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/image/image_canvas.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/image_load_options.h"
#include "image_io/load/image_load_report.h"

namespace zv_test {

/// Options that leave the pixels as the file has them: its space is the default one.
ImageLoadOptions plain_options();

/// A loaded canvas with what was lost, and its channels as dense planes of floats.
struct LoadedPicture {
    std::unique_ptr<ImageCanvas> canvas;
    ImageLoadReport report;

    explicit operator bool() const { return canvas != nullptr; }
    ImageMap const& map() const { return *canvas->get_image(); }
    /// The names of the channels in their order, joined by blanks.
    std::string channel_names() const;
    ImageMapChannel const* channel(std::string const& name) const;
    /// The samples of a channel over a window, as floats; empty if there is no such channel.
    std::vector<float> plane(std::string const& name, int x, int y, int width, int height) const;
    float at(std::string const& name, int x, int y) const { return plane(name, x, y, 1, 1).at(0); }
};

LoadedPicture load_picture(std::string const& path, ImageLoadOptions const& options = plain_options(),
                           AppProgressBar* progress = nullptr);

}  // namespace zv_test
