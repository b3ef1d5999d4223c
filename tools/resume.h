#pragma once

#include <string>
#include <vector>

#include "host/gmath/gmath_vec4.h"
#include "tools/output_plan.h"

class ImageCanvas;

namespace zvio {

/// What earlier runs left of a picture, line by line, or tile by tile.
class KeptCells {
public:
    /// Nothing is kept.
    KeptCells(int width, int height, int tile_size);

    /// Reads what the planned OpenEXR files hold into the canvas. A line or tile is kept if all files have it; a tile that is
    /// zero in all channels of all files is none. Throws CommandError for a file that is not one of this plan.
    static KeptCells load(OutputPlan const& plan, ImageCanvas& canvas);

    [[nodiscard]] bool is_tiled() const { return m_tile_size != 0; }
    [[nodiscard]] int cell_count() const { return static_cast<int>(m_kept.size()); }
    [[nodiscard]] int kept_count() const;
    /// True if nothing of the region is to be rendered.
    [[nodiscard]] bool has_all(GMathVec4<int> const& region) const;
    /// The parts of a region that are to be rendered.
    [[nodiscard]] std::vector<GMathVec4<int>> missing_parts(GMathVec4<int> const& region) const;

private:
    [[nodiscard]] GMathVec4<int> cell(int index) const;

    int m_width, m_height, m_tile_size, m_columns;
    std::vector<bool> m_kept;
};

}  // namespace zvio
