#pragma once

#include <OpenImageIO/imageio.h>

#include <cstdint>
#include <set>
#include <string>
#include <utility>

namespace zv_image_io {

/// Which rows or tiles of a file its writer may be given next.
///
/// OpenEXR's library writes the file's next lines wherever the caller's rows lie, out of memory in front of them or behind
/// them, and waits for ever after a tile that it refused. TIFF's forgets its strips at a row in front of the file, and ends
/// the process at the next one. HEIF's writes wherever in memory the row would be. Writers of other formats refuse such calls
/// by themselves.
///
/// Errors   a reason in words, empty for a call that the writer may see; std::bad_alloc
/// Threads  one at a time
class WriteOrder {
public:
    /// Anything goes, until a file begins whose writer needs an order.
    WriteOrder() = default;
    WriteOrder(std::string const& format, OIIO::ImageSpec const& spec);

    /// Rows [begin, end), which count as written from now on.
    std::string take_rows(int begin, int end);
    /// The tile with this corner.
    std::string take_tile(int x, int y);
    /// Everything at once.
    std::string take_image();
    /// The writer failed: it is given nothing more.
    void stop() { m_is_stopped = true; }

private:
    enum Rule { ANYTHING, INSIDE, IN_TURN };

    std::string find_obstacle() const;

    Rule m_rule = ANYTHING;
    bool m_is_stopped = false;
    int m_x = 0, m_y = 0, m_tile_width = 0, m_tile_height = 0;
    std::int64_t m_end_x = 0, m_end_y = 0, m_next_row = 0;
    std::set<std::pair<int, int>> m_tiles;  // rows, columns of those that were taken, in pixels
};

}  // namespace zv_image_io
