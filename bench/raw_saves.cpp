#include "bench/raw_saves.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfOutputFile.h>
#include <ImfThreading.h>
#include <ImfTiledOutputFile.h>

namespace zv_bench {

namespace {

constexpr unsigned int kTile = 64;

Imf::Header header_of(int width, int height, std::vector<std::string> const& names,
                      Imf::Compression compression)
{
    Imf::Header header(width, height);
    header.compression() = compression;
    for (auto const& name : names)
        header.channels().insert(name, Imf::Channel(Imf::HALF));
    return header;
}

Imf::FrameBuffer buffer_of(int width, std::vector<std::string> const& names,
                           std::vector<std::vector<half>> const& planes)
{
    Imf::FrameBuffer buffer;
    for (std::size_t i = 0; i < names.size(); ++i)
        buffer.insert(names[i],
                      Imf::Slice(Imf::HALF, reinterpret_cast<char*>(const_cast<half*>(planes[i].data())),
                                 sizeof(half), sizeof(half) * std::size_t(width)));
    return buffer;
}

}  // namespace

RawPlanes::RawPlanes(std::string const& path)
{
    Imf::InputFile file(path.c_str());
    auto const window = file.header().dataWindow();
    m_width = window.max.x + 1;
    m_height = window.max.y + 1;
    for (auto channel = file.header().channels().begin(); channel != file.header().channels().end();
         ++channel) {
        m_names.push_back(channel.name());
        m_planes.emplace_back(std::size_t(m_width) * std::size_t(m_height));
    }
    file.setFrameBuffer(buffer_of(m_width, m_names, m_planes));
    file.readPixels(0, m_height - 1);
}

void RawPlanes::write_lines(std::string const& path, Imf::Compression compression) const
{
    Imf::OutputFile file(path.c_str(), header_of(m_width, m_height, m_names, compression));
    file.setFrameBuffer(buffer_of(m_width, m_names, m_planes));
    file.writePixels(m_height);
}

void RawPlanes::write_tiles(std::string const& path, Imf::Compression compression) const
{
    Imf::Header header = header_of(m_width, m_height, m_names, compression);
    header.setTileDescription(Imf::TileDescription(kTile, kTile));
    Imf::TiledOutputFile file(path.c_str(), header);
    file.setFrameBuffer(buffer_of(m_width, m_names, m_planes));
    for (int row = 0; row < file.numYTiles(); ++row) {
        if (Imf::globalThreadCount() > 0)
            file.writeTiles(0, file.numXTiles() - 1, row, row);
        else
            for (int column = 0; column < file.numXTiles(); ++column)
                file.writeTile(column, row);
    }
}

}  // namespace zv_bench
