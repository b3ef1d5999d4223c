#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "tests/support/pictures.h"

namespace zv_test {

/// What a canvas of a test holds. All channels get their numbers in the order of the list.
struct CanvasShape {
    int x = 0, y = 0, width = 47, height = 33;  // of the data window
    std::vector<std::string> channels = {"r", "g", "b", "a"};
    int tile = 16;
    ImagePixel::BitDepth bit_depth = ImagePixel::BIT_DEPTH_32;
    /// x, y, width, height; all 0: as the data window.
    GMathVec4<int> display_window = GMathVec4<int>(0, 0, 0, 0);
};

/// A canvas in memory whose samples are told by a function: `encoded` ones, or one's own. 32-bit canvases
/// hold floats, 8 and 16-bit ones integers.
class TestCanvas {
public:
    explicit TestCanvas(CanvasShape const& shape = {}, Sample const& sample = encoded);

    ImageCanvas& canvas() const { return *m_canvas; }
    ImageMap& map() const { return *m_canvas->get_image(); }
    ImageMapChannel* channel(std::string const& name) const
    {
        return map().get_channel_by_name(name.c_str());
    }
    /// The channels of these names, null for "".
    CoreVector<ImageMapChannel*> channels(std::vector<std::string> const& names) const;
    CoreVector<ImageMapChannel*> const& all_channels() const { return map().m_channels; }
    ImageEvalContext context() const { return {*m_canvas, 0}; }
    GMathVec4<int> canvas_rectangle() const;
    GMathVec4<int> data_window() const { return *m_canvas->m_map->m_bbox; }

private:
    void fill(ImageMapChannel& channel, int number, CanvasShape const& shape, Sample const& sample);

    std::unique_ptr<ImageCanvas> m_canvas;
};

}  // namespace zv_test
