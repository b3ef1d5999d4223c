#include "image_io/frame/write_order.h"

namespace zv_image_io {

WriteOrder::WriteOrder(std::string const& format, OIIO::ImageSpec const& spec)
    : m_rule(format == "openexr"                    ? IN_TURN
             : format == "tiff" || format == "heif" ? INSIDE
                                                    : ANYTHING)
    , m_x(spec.x)
    , m_y(spec.y)
    , m_tile_width(spec.tile_width)
    , m_tile_height(spec.tile_height)
    , m_end_x(std::int64_t(spec.x) + spec.width)
    , m_end_y(std::int64_t(spec.y) + spec.height)
    , m_next_row(spec.y)
{
}

std::string WriteOrder::find_obstacle() const
{
    return m_is_stopped ? "the file failed before" : "";
}

std::string WriteOrder::take_rows(int begin, int end)
{
    if (m_rule == ANYTHING)
        return {};
    auto const rows = [&] {
        return "rows " + std::to_string(begin) + " to " + std::to_string(std::int64_t(end) - 1);
    };
    if (begin < m_y || end <= begin || end > m_end_y)
        return rows() + " are not in the file";
    if (m_rule == INSIDE)
        return {};
    if (std::string obstacle = find_obstacle(); !obstacle.empty())
        return obstacle;
    if (m_tile_width > 0)
        return "the file has tiles, not rows";
    if (begin != m_next_row)
        return rows() + " are not the file's next ones";
    m_next_row = end;
    return {};
}

std::string WriteOrder::take_tile(int x, int y)
{
    if (m_rule != IN_TURN)
        return {};
    if (std::string obstacle = find_obstacle(); !obstacle.empty())
        return obstacle;
    bool const is_inside =
        m_tile_width > 0 && m_tile_height > 0 && x >= m_x && y >= m_y && x < m_end_x && y < m_end_y;
    if (!is_inside || (std::int64_t(x) - m_x) % m_tile_width != 0 ||
        (std::int64_t(y) - m_y) % m_tile_height != 0)
        return "the file has no such tile";
    return m_tiles.emplace(y, x).second ? "" : "the tile was written before";
}

std::string WriteOrder::take_image()
{
    if (m_rule != IN_TURN)
        return {};
    if (std::string obstacle = find_obstacle(); !obstacle.empty())
        return obstacle;
    if (m_next_row != m_y || !m_tiles.empty())
        return "parts of the file were written before";
    m_is_stopped = true;  // there is nothing left to write
    return {};
}

}  // namespace zv_image_io
