#include <ImathBox.h>
#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfOutputFile.h>
#include <ImfTileDescription.h>
#include <ImfTiledOutputFile.h>

#include "tests/support/pictures.h"

namespace zv_test {

namespace {

template <class T>
std::vector<char> plane_of(ExrPicture const& picture, int channel)
{
    std::vector<char> bytes(sizeof(T) * picture.width * picture.height);
    T* sample = reinterpret_cast<T*>(bytes.data());
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
            *sample++ = encoded_as<T>(channel, picture.x + x, picture.y + y);
    return bytes;
}

std::vector<char> plane_of(ExrPicture const& picture, int channel, Imf::PixelType type)
{
    switch (type) {
    case Imf::HALF:
        return plane_of<half>(picture, channel);
    case Imf::UINT:
        return plane_of<std::uint32_t>(picture, channel);
    default:
        return plane_of<float>(picture, channel);
    }
}

Imf::Header header_of(ExrPicture const& picture)
{
    using Imath::Box2i;
    using Imath::V2i;
    Box2i const data(V2i(picture.x, picture.y),
                     V2i(picture.x + picture.width - 1, picture.y + picture.height - 1));
    Box2i const display(
        V2i(picture.display_x, picture.display_y),
        V2i(picture.display_x + picture.display_width - 1, picture.display_y + picture.display_height - 1));
    Imf::Header header(picture.display_width ? display : data, data);
    header.compression() = picture.compression;
    for (auto const& channel : picture.channels)
        header.channels().insert(channel.name, Imf::Channel(channel.type));
    if (picture.tile)
        header.setTileDescription(
            Imf::TileDescription(picture.tile, picture.tile_height ? picture.tile_height : picture.tile));
    return header;
}

}  // namespace

void write_exr(std::string const& path, ExrPicture const& picture)
{
    std::vector<std::vector<char>> planes;
    Imf::FrameBuffer frame_buffer;
    Imath::Box2i const window(Imath::V2i(picture.x, picture.y),
                              Imath::V2i(picture.x + picture.width - 1, picture.y + picture.height - 1));
    for (std::size_t number = 0; number < picture.channels.size(); ++number) {
        auto const& channel = picture.channels[number];
        planes.push_back(plane_of(picture, static_cast<int>(number), channel.type));
        std::size_t const sample_size = channel.type == Imf::HALF ? 2 : 4;
        frame_buffer.insert(channel.name, Imf::Slice::Make(channel.type, planes.back().data(), window,
                                                           sample_size, sample_size * picture.width));
    }
    Imf::Header const header = header_of(picture);
    if (picture.tile) {
        Imf::TiledOutputFile file(path.c_str(), header);
        file.setFrameBuffer(frame_buffer);
        file.writeTiles(0, file.numXTiles() - 1, 0, file.numYTiles() - 1);
    } else {
        Imf::OutputFile file(path.c_str(), header);
        file.setFrameBuffer(frame_buffer);
        file.writePixels(picture.rows_written < 0 ? picture.height : picture.rows_written);
    }
}

}  // namespace zv_test
