#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace zv_bench {

/// Tiles of 64 with an apron for every channel of a picture, as the application keeps them; nothing more than memory.
class RawTiles {
public:
    RawTiles(int width, int height, int channels, std::size_t sample_bytes);

    /// The first sample inside the apron of a tile.
    std::byte* tile(int channel, int column, int row);
    std::size_t row_bytes() const { return std::size_t(kTile + 2) * m_sample_bytes; }
    int columns() const { return m_columns; }
    int rows() const { return m_rows; }

    /// Copies interleaved or planar lines of one channel that begin at line `y`.
    void copy_lines(int channel, int y, int line_count, std::byte const* samples, std::size_t pixel_stride,
                    std::size_t row_stride);

    static constexpr int kTile = 64;

private:
    int m_width, m_columns, m_rows;
    std::size_t m_sample_bytes;
    std::vector<std::unique_ptr<std::byte[]>> m_tiles;
};

// What a program costs at least that gets the same pixels into the same tiles with the file libraries alone.

/// OpenEXR: one call for all lines into one plane a channel, then the planes into tiles.
void read_exr_planes_then_tiles(std::string const& path);
/// OpenEXR: each tile of the file straight into the tiles of its channels.
void read_exr_tile_by_tile(std::string const& path);
/// OpenImageIO: strips of 64 lines in the file's own samples, each taken apart into tiles.
void read_strips_into_tiles(std::string const& path);

}  // namespace zv_bench
