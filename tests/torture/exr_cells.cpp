#include "tests/torture/exr_cells.h"

#include <ImathBox.h>
#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfTiledInputFile.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <limits>
#include <map>
#include <vector>

namespace zv_torture {

namespace {

/// Planes of all channels as floats, over the data window.
class Planes {
public:
    explicit Planes(Imf::Header const& header)
        : m_window(header.dataWindow())
    {
        for (auto channel = header.channels().begin(); channel != header.channels().end(); ++channel) {
            auto& plane = m_planes[channel.name()];
            plane.assign(std::size_t(width()) * std::size_t(height()), -1.0f);
            m_buffer.insert(channel.name(), Imf::Slice::Make(Imf::FLOAT, plane.data(), m_window));
        }
    }

    Imf::FrameBuffer const& buffer() const { return m_buffer; }
    int width() const { return m_window.max.x - m_window.min.x + 1; }
    int height() const { return m_window.max.y - m_window.min.y + 1; }
    Imath::Box2i const& window() const { return m_window; }

    bool is_same(Planes const& other, Imath::Box2i const& part) const
    {
        if (m_window != other.m_window || m_planes.size() != other.m_planes.size())
            return false;
        std::size_t const count = std::size_t(part.max.x - part.min.x + 1);
        for (auto const& [name, plane] : m_planes) {
            auto const found = other.m_planes.find(name);
            if (found == other.m_planes.end())
                return false;
            for (int y = part.min.y; y <= part.max.y; ++y) {
                std::size_t const at = std::size_t(y - m_window.min.y) * std::size_t(width()) +
                                       std::size_t(part.min.x - m_window.min.x);
                if (std::memcmp(plane.data() + at, found->second.data() + at, count * sizeof(float)) != 0)
                    return false;
            }
        }
        return true;
    }

    /// The largest of all samples, a share of those above 1; infinite for other windows or channels.
    float distance(Planes const& other) const
    {
        if (m_window != other.m_window || m_planes.size() != other.m_planes.size())
            return std::numeric_limits<float>::infinity();
        float largest = 0;
        for (auto const& [name, plane] : m_planes) {
            auto const found = other.m_planes.find(name);
            if (found == other.m_planes.end())
                return std::numeric_limits<float>::infinity();
            for (std::size_t i = 0; i < plane.size(); ++i) {
                float const wanted = found->second[i];
                largest = std::max(largest, std::abs(plane[i] - wanted) / std::max(1.0f, std::abs(wanted)));
            }
        }
        return largest;
    }

private:
    Imath::Box2i m_window;
    std::map<std::string, std::vector<float>> m_planes;
    Imf::FrameBuffer m_buffer;
};

Planes read_whole(std::string const& path)
{
    Imf::InputFile file(path.c_str());
    Planes planes(file.header());
    file.setFrameBuffer(planes.buffer());
    file.readPixels(planes.window().min.y, planes.window().max.y);
    return planes;
}

template <class Read>
bool reads(Read const& read)
{
    try {
        read();
        return true;
    } catch (std::exception const&) {
        return false;
    }
}

/// Counts a cell that was read; false at the first that was not.
template <class Read>
void count_cell(Cells& cells, bool& is_at_start, Planes const& planes, Planes const& whole,
                Imath::Box2i const& part, Read const& read)
{
    bool const is_there = reads(read);
    bool const is_right = is_there && planes.is_same(whole, part);
    is_at_start = is_at_start && is_right;
    cells.right_from_start += is_at_start;
    cells.wrong += is_there && !is_right;
}

Cells compare_lines(std::string const& path, Planes const& whole)
{
    Cells cells;
    bool is_at_start = true;
    Imf::InputFile file(path.c_str());
    Planes const planes(file.header());
    file.setFrameBuffer(planes.buffer());
    auto const window = planes.window();
    for (int y = window.min.y; y <= window.max.y; ++y)
        count_cell(cells, is_at_start, planes, whole, {{window.min.x, y}, {window.max.x, y}},
                   [&] { file.readPixels(y); });
    return cells;
}

Cells compare_tiles(std::string const& path, Planes const& whole)
{
    Cells cells;
    bool is_at_start = true;
    Imf::TiledInputFile file(path.c_str());
    Planes const planes(file.header());
    file.setFrameBuffer(planes.buffer());
    for (int row = 0; row < file.numYTiles(); ++row)
        for (int column = 0; column < file.numXTiles(); ++column)
            count_cell(cells, is_at_start, planes, whole, file.dataWindowForTile(column, row),
                       [&] { file.readTile(column, row); });
    return cells;
}

}  // namespace

Cells compare_cells(std::string const& path, std::string const& whole_path, bool is_tiled)
try {
    Planes const whole = read_whole(whole_path);
    return is_tiled ? compare_tiles(path, whole) : compare_lines(path, whole);
} catch (std::exception const& exception) {
    Cells cells;
    cells.trouble = exception.what();
    return cells;
}

std::string compare_pictures(std::string const& path, std::string const& other_path, float tolerance)
try {
    Planes const planes = read_whole(path), others = read_whole(other_path);
    if (planes.is_same(others, planes.window()))
        return "";
    float const distance = planes.distance(others);
    return tolerance > 0 && distance <= tolerance ? ""
                                                  : "samples that are " + std::to_string(distance) + " away";
} catch (std::exception const& exception) {
    return exception.what();
}

}  // namespace zv_torture
