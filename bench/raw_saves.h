#pragma once

#include <ImfCompression.h>
#include <half.h>

#include <string>
#include <vector>

namespace zv_bench {

/// A picture as OpenEXR likes it best: one plane of halves a channel. What a program costs at least that writes it with
/// OpenEXR alone, on as many threads as OpenEXR has.
class RawPlanes {
public:
    /// Reads all channels of the file.
    explicit RawPlanes(std::string const& path);

    /// One call for all lines.
    void write_lines(std::string const& path, Imf::Compression compression) const;
    /// Tiles of 64: one call each on one thread, one call a row of tiles on several.
    void write_tiles(std::string const& path, Imf::Compression compression) const;

private:
    int m_width, m_height;
    std::vector<std::string> m_names;
    std::vector<std::vector<half>> m_planes;
};

}  // namespace zv_bench
