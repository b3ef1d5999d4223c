#pragma once

#include "tests/support/file_builder.h"

namespace zv_test {

/// An icon of one bitmap: `pixels` holds its rows, which end on whole words, and `palette` four bytes a colour.
struct Icon {
    unsigned width = 16, height = 16, bits = 24;
    unsigned colours = 0;
    std::vector<char> palette = {}, pixels = {};
};
inline std::vector<char> icon_file(Icon const& icon)
{
    std::size_t const mask = icon.bits < 32 ? (icon.width + 31) / 32 * 4 * icon.height : 0;
    std::size_t const size = 40 + icon.palette.size() + icon.pixels.size() + mask;
    FileBuilder file;
    file.little(0, 2).little(1, 2).little(1, 2);
    file.little(icon.width, 1).little(icon.height, 1).little(icon.colours, 2).little(1, 2);
    file.little(icon.bits, 2).little(static_cast<std::uint32_t>(size), 4).little(22, 4);
    file.little(40, 4).little(icon.width, 4).little(icon.height * 2, 4).little(1, 2).little(icon.bits, 2);
    file.fill(24).bytes(icon.palette).bytes(icon.pixels).fill(mask);
    return file.get();
}

/// An icon that holds a PNG file.
inline std::vector<char> icon_file(std::vector<char> const& png)
{
    FileBuilder file;
    file.little(0, 2).little(1, 2).little(1, 2);
    file.little(16, 1).little(16, 1).little(0, 2).little(1, 2).little(32, 2);
    file.little(static_cast<std::uint32_t>(png.size()), 4).little(22, 4).bytes(png);
    return file.get();
}

/// An SGI file of one channel whose rows are all the same packets.
struct SgiRuns {
    unsigned width = 8, height = 3, sample_bytes = 1;
    std::vector<char> packets = {};
};
inline std::vector<char> sgi_file(SgiRuns const& runs)
{
    auto const length = static_cast<std::uint32_t>(runs.packets.size());
    FileBuilder file;
    file.big(0x01da, 2).big(1, 1).big(runs.sample_bytes, 1).big(2, 2);
    file.big(runs.width, 2).big(runs.height, 2).big(1, 2).big(0, 4).big(255, 4).fill_to(512);
    for (unsigned row = 0; row < runs.height; ++row)
        file.big(512 + runs.height * 8 + row * length, 4);
    for (unsigned row = 0; row < runs.height; ++row)
        file.big(length, 4);
    for (unsigned row = 0; row < runs.height; ++row)
        file.bytes(runs.packets);
    return file.get();
}

/// A Maya IFF file of one tile of three channels of bytes.
struct IffTile {
    unsigned width = 8, height = 8;  // the module reads square tiles
    std::vector<char> packets = {};
    std::vector<char> in_front = {};  // chunks in front of the tile
    unsigned right = 7;               // the tile's last column
};
inline std::vector<char> iff_file(IffTile const& tile)
{
    auto const size = static_cast<std::uint32_t>(tile.packets.size());
    FileBuilder file;
    file.text("FOR4").big(0, 4).text("CIMG").text("TBHD").big(24, 4);
    file.big(tile.width, 4).big(tile.height, 4).big(1, 2).big(1, 2).big(1, 4).big(0, 2).big(1, 2).big(1, 4);
    file.bytes(tile.in_front).text("FOR4").big(size + 20, 4).text("TBMP").text("RGBA").big(size + 8, 4);
    file.big(0, 2).big(0, 2).big(tile.right, 2).big(tile.height - 1, 2).bytes(tile.packets);
    return file.fill((4 - size % 4) % 4).get();
}

}  // namespace zv_test
