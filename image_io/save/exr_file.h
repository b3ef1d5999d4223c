#pragma once

#include <ImathBox.h>
#include <ImfFrameBuffer.h>
#include <ImfOutputFile.h>
#include <ImfTiledOutputFile.h>

#include <memory>
#include <string>
#include <vector>

#include "image_io/frame/library_names.h"
#include "image_io/save/exr_stream.h"

namespace zv_image_io {

/// An OpenEXR output together with the stream that it writes to, and what became of both.
///
/// Errors   exceptions of Iex and std::bad_alloc. Once the library has thrown, the file has failed: it may hold what was
///          never given to it, and the library, which keeps buffers locked that it did not write, would wait for them for
///          ever. It is not asked again, and the file can only be discarded.
/// Owns     the file. One that was not finished is discarded by the destructor.
/// Threads  one at a time; OpenEXR's own threads work inside `write`
template <class Output>
class ExrOutput {
public:
    ExrOutput(std::string const& path, Imf_2_4::Header const& header, int thread_count)
        : m_stream(path)
        , m_output(std::make_unique<Output>(m_stream, header, thread_count))
        , m_thread_count(thread_count)
    {
    }
    ~ExrOutput() { discard(); }
    ExrOutput(ExrOutput const&) = delete;
    ExrOutput& operator=(ExrOutput const&) = delete;

    /// The library's object. Throws for a file that is finished, discarded or has failed.
    Output& get()
    {
        if (!m_output)
            throw Iex_2_4::ArgExc("The file is finished.");
        if (m_has_failed)
            throw Iex_2_4::ArgExc("The file failed before.");
        return *m_output;
    }

    template <class Work>
    void write(Work const& work)
    {
        Output& output = get();
        try {
            work(output);
        } catch (...) {
            m_has_failed = true;
            throw;
        }
    }

    /// Hands all that the library has let go of to the system, so that it survives the end of the process.
    void flush()
    {
        write([this](Output&) { m_stream.flush(); });
    }

    /// Writes what the library still holds, and the table of lines or tiles. Throws if any byte was refused.
    void finish()
    {
        get();
        m_output.reset();  // swallows its errors; the stream has them
        m_stream.finish();
    }

    void discard() noexcept
    {
        m_stream.discard();
        m_output.reset();
    }

    [[nodiscard]] bool is_open() const { return m_output != nullptr; }
    [[nodiscard]] bool has_failed() const { return m_has_failed || m_stream.has_failed(); }
    [[nodiscard]] int thread_count() const { return m_thread_count; }

private:
    ExrStream m_stream;  // outlives the output
    std::unique_ptr<Output> m_output;
    int m_thread_count;
    bool m_has_failed = false;
};

/// A file of scan lines, which are written from the top down, at full width.
class ExrScanlineFile {
public:
    ExrScanlineFile(std::string const& path, Imf_2_4::Header const& header, int thread_count);

    /// The first line that is not there yet; behind the last one if all are.
    int next_line();
    int end_line() const { return m_end_line; }
    /// Whether any line is there; false for a file that is finished or has failed.
    bool has_lines();
    /// Writes the next `count` lines out of a buffer that has slices for them.
    void write_lines(Imf_2_4::FrameBuffer const& buffer, int count);

    void flush() { m_output.flush(); }
    void finish() { m_output.finish(); }
    /// Finishes a file that lacks lines; it will say so.
    void finish_early() { m_output.finish(); }
    void discard() noexcept { m_output.discard(); }
    bool is_open() const { return m_output.is_open(); }
    bool has_failed() const { return m_output.has_failed(); }

private:
    ExrOutput<Imf_2_4::OutputFile> m_output;
    int m_begin_line, m_end_line;
};

/// Tiles side by side: columns [begin_column, end_column) of one row.
struct TileRun {
    int row, begin_column, end_column;
};

/// A file of tiles of one resolution, each written once, in any order.
///
/// The library writes them in rows from the top down: a tile out of turn waits in memory, and all that wait behind a gap
/// are lost when the file is closed. `finish_early` fills the gaps.
class ExrTiledFile {
public:
    ExrTiledFile(std::string const& path, Imf_2_4::Header const& header, int thread_count);

    int columns() const { return m_columns; }
    int rows() const { return m_rows; }
    /// True if the file has the tile, or waits with it. Columns and rows that the file does not have count as not there.
    bool has_tile(int column, int row) const;
    /// Whether any tile is there; false for a file that is finished or has failed.
    bool has_tiles() const;
    /// Writes tiles that are not there yet out of a buffer in pixel coordinates.
    void write_tiles(Imf_2_4::FrameBuffer const& buffer, TileRun const& run);
    /// The most tiles that a run should have: several only if there are threads to compress them side by side.
    int tiles_per_run() const;

    void flush() { m_output.flush(); }
    void finish() { m_output.finish(); }
    /// Finishes a file that lacks tiles: zeros for those in front of the last one handed over; those behind it stay
    /// missing, so that the file says that it is not complete.
    void finish_early();
    void discard() noexcept { m_output.discard(); }
    bool is_open() const { return m_output.is_open(); }
    bool has_failed() const { return m_output.has_failed(); }

private:
    std::size_t index_of(int column, int row) const;

    ExrOutput<Imf_2_4::TiledOutputFile> m_output;
    int m_columns, m_rows;
    std::vector<bool> m_is_written;  // in the order of the file
};

}  // namespace zv_image_io
