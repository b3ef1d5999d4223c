#include "bench/raw_floors.h"

#include <ImathBox.h>
#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfTiledInputFile.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace zv_bench {

namespace {

constexpr std::size_t kHalf = 2;

template <class Sample>
void copy_row(std::byte const* from, std::size_t stride, std::byte* into, int count)
{
    if (stride == sizeof(Sample)) {
        std::memcpy(into, from, sizeof(Sample) * std::size_t(count));
        return;
    }
    for (int x = 0; x < count; ++x)
        std::memcpy(into + std::size_t(x) * sizeof(Sample), from + std::size_t(x) * stride, sizeof(Sample));
}

void copy_row(std::byte const* from, std::size_t stride, std::byte* into, int count, std::size_t sample_bytes)
{
    if (sample_bytes == 1)
        copy_row<std::uint8_t>(from, stride, into, count);
    else if (sample_bytes == 2)
        copy_row<std::uint16_t>(from, stride, into, count);
    else
        copy_row<std::uint32_t>(from, stride, into, count);
}

}  // namespace

RawTiles::RawTiles(int width, int height, int channels, std::size_t sample_bytes)
    : m_width(width)
    , m_columns((width + kTile - 1) / kTile)
    , m_rows((height + kTile - 1) / kTile)
    , m_sample_bytes(sample_bytes)
{
    std::size_t const count = std::size_t(m_columns) * std::size_t(m_rows) * std::size_t(channels);
    m_tiles.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        m_tiles.emplace_back(new std::byte[row_bytes() * (kTile + 2)]);
}

std::byte* RawTiles::tile(int channel, int column, int row)
{
    auto const& buffer =
        m_tiles[(std::size_t(channel) * std::size_t(m_rows) + std::size_t(row)) * std::size_t(m_columns) +
                std::size_t(column)];
    return buffer.get() + row_bytes() + m_sample_bytes;
}

void RawTiles::copy_lines(int channel, int y, int line_count, std::byte const* samples,
                          std::size_t pixel_stride, std::size_t row_stride)
{
    for (int line = 0; line < line_count; ++line) {
        int const row = (y + line) / kTile, inside = (y + line) % kTile;
        for (int column = 0; column < m_columns; ++column) {
            int const x = column * kTile;
            copy_row(samples + std::size_t(line) * row_stride + std::size_t(x) * pixel_stride, pixel_stride,
                     tile(channel, column, row) + std::size_t(inside) * row_bytes(),
                     std::min(kTile, m_width - x), m_sample_bytes);
        }
    }
}

void read_exr_planes_then_tiles(std::string const& path)
{
    Imf::InputFile file(path.c_str());
    Imath::Box2i const box = file.header().dataWindow();
    int const width = box.max.x + 1, height = box.max.y + 1;
    std::vector<std::unique_ptr<std::byte[]>> planes;
    Imf::FrameBuffer buffer;
    std::size_t const row_bytes = kHalf * std::size_t(width);
    for (auto channel = file.header().channels().begin(); channel != file.header().channels().end();
         ++channel) {
        planes.emplace_back(new std::byte[row_bytes * std::size_t(height)]);
        buffer.insert(channel.name(),
                      Imf::Slice(Imf::HALF, reinterpret_cast<char*>(planes.back().get()), kHalf, row_bytes));
    }
    file.setFrameBuffer(buffer);
    file.readPixels(0, height - 1);

    RawTiles tiles(width, height, int(planes.size()), kHalf);
    for (std::size_t c = 0; c < planes.size(); ++c)
        tiles.copy_lines(int(c), 0, height, planes[c].get(), kHalf, row_bytes);
}

void read_exr_tile_by_tile(std::string const& path)
{
    Imf::TiledInputFile file(path.c_str());
    Imath::Box2i const box = file.header().dataWindow();
    Imf::ChannelList const& channels = file.header().channels();
    int count = 0;
    for (auto channel = channels.begin(); channel != channels.end(); ++channel)
        ++count;
    RawTiles tiles(box.max.x + 1, box.max.y + 1, count, kHalf);
    for (int row = 0; row < tiles.rows(); ++row) {
        for (int column = 0; column < tiles.columns(); ++column) {
            Imf::FrameBuffer buffer;
            int c = 0;
            for (auto channel = channels.begin(); channel != channels.end(); ++channel, ++c)
                buffer.insert(channel.name(),
                              Imf::Slice(Imf::HALF, reinterpret_cast<char*>(tiles.tile(c, column, row)),
                                         kHalf, tiles.row_bytes(), 1, 1, 0.0, true, true));
            file.setFrameBuffer(buffer);
            file.readTile(column, row);
        }
    }
}

void read_strips_into_tiles(std::string const& path)
{
    auto const input = OIIO::ImageInput::open(path);
    if (!input)
        throw std::runtime_error("cannot read " + path);
    OIIO::ImageSpec const spec = input->spec();
    std::size_t const sample_bytes = spec.format.size(),
                      pixel_bytes = sample_bytes * std::size_t(spec.nchannels);
    std::size_t const row_bytes = pixel_bytes * std::size_t(spec.width);
    std::unique_ptr<std::byte[]> const strip(new std::byte[row_bytes * RawTiles::kTile]);
    RawTiles tiles(spec.width, spec.height, spec.nchannels, sample_bytes);
    for (int y = 0; y < spec.height; y += RawTiles::kTile) {
        int const lines = std::min(RawTiles::kTile, spec.height - y);
        if (!input->read_scanlines(0, 0, y, y + lines, 0, 0, spec.nchannels, spec.format, strip.get()))
            throw std::runtime_error(input->geterror());
        for (int c = 0; c < spec.nchannels; ++c)
            tiles.copy_lines(c, y, lines, strip.get() + std::size_t(c) * sample_bytes, pixel_bytes,
                             row_bytes);
    }
    input->close();
}

}  // namespace zv_bench
