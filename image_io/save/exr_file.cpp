#include "image_io/save/exr_file.h"

#include <ImfHeader.h>

#include <algorithm>

#include "image_io/pixels/window.h"

namespace zv_image_io {

namespace {

// As many as the library's own buffers for tiles: more would wait for them.
constexpr int kTilesPerThread = 2;

std::size_t tile_count(int columns, int rows)
{
    auto const count = size_product(columns, rows);
    if (!count)
        throw Iex_2_4::ArgExc("There are more tiles than memory can count.");
    return *count;
}

}  // namespace

ExrScanlineFile::ExrScanlineFile(std::string const& path, Imf_2_4::Header const& header, int thread_count)
    : m_output(path, header, thread_count)
    , m_begin_line(header.dataWindow().min.y)
    , m_end_line(header.dataWindow().max.y + 1)
{
}

int ExrScanlineFile::next_line()
{
    return m_output.get().currentScanLine();
}

bool ExrScanlineFile::has_lines()
{
    return is_open() && !has_failed() && next_line() != m_begin_line;
}

void ExrScanlineFile::write_lines(Imf_2_4::FrameBuffer const& buffer, int count)
{
    m_output.write([&](Imf_2_4::OutputFile& output) {
        output.setFrameBuffer(buffer);
        output.writePixels(count);
    });
}

ExrTiledFile::ExrTiledFile(std::string const& path, Imf_2_4::Header const& header, int thread_count)
    : m_output(path, header, thread_count)
    , m_columns(m_output.get().numXTiles())
    , m_rows(m_output.get().numYTiles())
    , m_is_written(tile_count(m_columns, m_rows))
{
}

std::size_t ExrTiledFile::index_of(int column, int row) const
{
    return std::size_t(row) * std::size_t(m_columns) + std::size_t(column);
}

bool ExrTiledFile::has_tile(int column, int row) const
{
    bool const exists = column >= 0 && row >= 0 && column < m_columns && row < m_rows;
    return exists && m_is_written[index_of(column, row)];
}

bool ExrTiledFile::has_tiles() const
{
    return is_open() && !has_failed() &&
           std::find(m_is_written.begin(), m_is_written.end(), true) != m_is_written.end();
}

int ExrTiledFile::tiles_per_run() const
{
    return std::max(1, kTilesPerThread * m_output.thread_count());
}

void ExrTiledFile::write_tiles(Imf_2_4::FrameBuffer const& buffer, TileRun const& run)
{
    m_output.write([&](Imf_2_4::TiledOutputFile& output) {
        output.setFrameBuffer(buffer);
        output.writeTiles(run.begin_column, run.end_column - 1, run.row, run.row, 0);
    });
    for (int column = run.begin_column; column < run.end_column; ++column)
        m_is_written[index_of(column, run.row)] = true;
}

void ExrTiledFile::finish_early()
{
    auto const last = std::find(m_is_written.rbegin(), m_is_written.rend(), true);
    auto const end = static_cast<std::size_t>(m_is_written.rend() - last);
    Imf_2_4::FrameBuffer const nothing;  // what has no slice becomes zeros
    for (std::size_t index = 0; index < end; ++index)
        if (!m_is_written[index]) {
            int const column = int(index % std::size_t(m_columns)), row = int(index / std::size_t(m_columns));
            write_tiles(nothing, {row, column, column + 1});
        }
    finish();
}

}  // namespace zv_image_io
