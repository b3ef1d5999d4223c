#include "tools/resume.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfTiledInputFile.h>

#include <algorithm>
#include <functional>
#include <optional>

#include "host/image/image_canvas.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "tools/comparison.h"
#include "tools/settings.h"
#include "tools/verification.h"
#include "tools/written_file.h"

namespace zvio {

namespace {

/// The samples of one cell of one file, a plane a channel of its plan.
using Planes = std::vector<std::vector<float>>;

/// One half-written file.
class HalfWrittenFile {
public:
    explicit HalfWrittenFile(PlannedFile const& planned)
        : m_planned(planned)
    {
        if (planned.tile_size)
            m_tiles = std::make_unique<Imf::TiledInputFile>(planned.path.c_str());
        else
            m_lines = std::make_unique<Imf::InputFile>(planned.path.c_str());
    }

    /// False if the file does not have it.
    bool read(GMathVec4<int> const& cell, Planes& planes)
    {
        // A call behind a failed one can get that one's exception: two tries.
        return try_to_read(cell, planes) || try_to_read(cell, planes);
    }

private:
    bool try_to_read(GMathVec4<int> const& cell, Planes& planes)
    try {
        // A file's tile is whole, also where the picture ends inside it.
        int const tile = m_planned.tile_size;
        int const width = tile ? tile : m_planned.data_window.width(), height = tile ? tile : cell.height();
        Imath::Box2i const box({cell.x(), cell.y()}, {cell.x() + width - 1, cell.y() + height - 1});
        Imf::FrameBuffer frame;
        planes.assign(m_planned.channels.size(), std::vector<float>(std::size_t(width) * height));
        for (std::size_t index = 0; index < planes.size(); ++index)
            frame.insert(m_planned.channels[index].name,
                         Imf::Slice::Make(Imf::FLOAT, planes[index].data(), box, sizeof(float),
                                          sizeof(float) * std::size_t(width)));
        if (m_tiles) {
            m_tiles->setFrameBuffer(frame);
            m_tiles->readTile((cell.x() - m_planned.data_window.x()) / tile,
                              (cell.y() - m_planned.data_window.y()) / tile);
        } else {
            m_lines->setFrameBuffer(frame);
            m_lines->readPixels(box.min.y, box.max.y);
        }
        return true;
    } catch (std::exception const&) {
        return false;
    }

    PlannedFile const& m_planned;
    std::unique_ptr<Imf::InputFile> m_lines;
    std::unique_ptr<Imf::TiledInputFile> m_tiles;
};

/// Throws unless the header is the one that a render of this plan writes.
void check_header(PlannedFile const& planned)
{
    std::string trouble;
    auto const picture = StoredPicture::open(planned.path, trouble);
    if (!picture)
        throw CommandError(EXIT_CODE_INPUT, "\"" + planned.path + "\" cannot be resumed: " + trouble);
    Verification found;
    found.header = picture->header();
    auto const differences = differences_from_plan(planned, found);
    if (!differences.empty())
        throw CommandError(EXIT_CODE_INPUT,
                           "\"" + planned.path + "\" is another picture: " + differences.front());
}

bool is_all_zero(std::vector<Planes> const& files)
{
    for (Planes const& planes : files)
        for (auto const& plane : planes)
            if (std::any_of(plane.begin(), plane.end(), [](float sample) { return sample != 0.0f; }))
                return false;
    return true;
}

void fill_canvas(PlannedFile const& planned, Planes const& planes, GMathVec4<int> const& cell, ImageMap& map)
{
    std::ptrdiff_t const row_bytes = static_cast<std::ptrdiff_t>(
        sizeof(float) * std::size_t(planned.tile_size ? planned.tile_size : planned.data_window.width()));
    for (std::size_t index = 0; index < planes.size(); ++index)
        if (auto* const channel = map.get_channel_by_name(planned.channels[index].source.c_str()))
            channel->fill_rows(planes[index].data(), sizeof(float), row_bytes, cell);
}

}  // namespace

KeptCells::KeptCells(int width, int height, int tile_size)
    : m_width(width)
    , m_height(height)
    , m_tile_size(tile_size)
    , m_columns(tile_size ? (width + tile_size - 1) / tile_size : 1)
    , m_kept(tile_size ? std::size_t(m_columns) * ((height + tile_size - 1) / tile_size)
                       : std::size_t(height))
{
}

KeptCells KeptCells::load(OutputPlan const& plan, ImageCanvas& canvas)
{
    KeptCells kept(canvas.get_width(), canvas.get_height(), plan.files.front().tile_size);
    std::vector<HalfWrittenFile> files;
    for (PlannedFile const& planned : plan.files) {
        check_header(planned);
        files.emplace_back(planned);
    }
    std::vector<Planes> planes(files.size());
    for (int index = 0; index < kept.cell_count(); ++index) {
        GMathVec4<int> const cell = kept.cell(index);
        bool is_there = true;
        for (std::size_t file = 0; file < files.size() && is_there; ++file)
            is_there = files[file].read(cell, planes[file]);
        if (!is_there || (kept.is_tiled() && is_all_zero(planes)))
            continue;
        for (std::size_t file = 0; file < files.size(); ++file)
            fill_canvas(plan.files[file], planes[file], cell, *canvas.get_image());
        kept.m_kept[static_cast<std::size_t>(index)] = true;
    }
    return kept;
}

int KeptCells::kept_count() const
{
    return static_cast<int>(std::count(m_kept.begin(), m_kept.end(), true));
}

GMathVec4<int> KeptCells::cell(int index) const
{
    if (!is_tiled())
        return {0, index, m_width, 1};
    int const x = index % m_columns * m_tile_size, y = index / m_columns * m_tile_size;
    return {x, y, std::min(m_tile_size, m_width - x), std::min(m_tile_size, m_height - y)};
}

bool KeptCells::has_all(GMathVec4<int> const& region) const
{
    return missing_parts(region).empty();
}

std::vector<GMathVec4<int>> KeptCells::missing_parts(GMathVec4<int> const& region) const
{
    std::vector<GMathVec4<int>> parts;
    for (int index = 0; index < cell_count(); ++index) {
        GMathVec4<int> const part = common_window(cell(index), region);
        if (part.width() > 0 && !m_kept[static_cast<std::size_t>(index)])
            parts.push_back(part);
    }
    // A region without any cell that is kept is one part.
    std::size_t const area = std::size_t(region.width()) * region.height();
    std::size_t missing = 0;
    for (GMathVec4<int> const& part : parts)
        missing += std::size_t(part.width()) * part.height();
    if (missing == area)
        return {region};
    return parts;
}

}  // namespace zvio
