#include "bench/bench_pictures.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfOutputFile.h>
#include <ImfTiledOutputFile.h>
#include <OpenImageIO/imageio.h>
#include <half.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <vector>

namespace zv_bench {

namespace {

/// A value from 0 to 1 for a channel at a place: broad waves, and grain of an eighth of a percent as renders have it.
float sample(int channel, int x, int y)
{
    float const wave =
        0.5f + 0.25f * std::sin(0.004f * float(x + 97 * channel)) + 0.2f * std::cos(0.007f * float(y));
    std::uint32_t grain =
        std::uint32_t(x) * 2654435761u ^ std::uint32_t(y) * 2246822519u ^ std::uint32_t(channel);
    grain ^= grain >> 15;
    grain *= 2654435761u;
    return wave + (float(grain >> 8) / 16777216.0f - 0.5f) / 400.0f;
}

}  // namespace

void write_exr(std::string const& path, int channels, int tile)
{
    Imf::Header header(kWidth, kHeight);
    header.compression() = Imf::ZIP_COMPRESSION;
    static char const* const kNames[] = {"R", "G", "B", "A"};
    std::vector<std::vector<half>> planes;
    Imf::FrameBuffer buffer;
    for (int c = 0; c < channels; ++c) {
        char name[32];
        std::snprintf(name, sizeof name, "layer%02d.%c", c / 3, "rgb"[c % 3]);
        char const* const chosen = c < 4 ? kNames[c] : name;
        header.channels().insert(chosen, Imf::Channel(Imf::HALF));
        std::vector<half>& plane = planes.emplace_back(std::size_t(kWidth) * kHeight);
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x)
                plane[std::size_t(y) * kWidth + std::size_t(x)] = half(sample(c, x, y));
        buffer.insert(chosen, Imf::Slice(Imf::HALF, reinterpret_cast<char*>(plane.data()), sizeof(half),
                                         sizeof(half) * kWidth));
    }
    if (tile > 0) {
        header.setTileDescription(Imf::TileDescription(unsigned(tile), unsigned(tile)));
        Imf::TiledOutputFile file(path.c_str(), header);
        file.setFrameBuffer(buffer);
        file.writeTiles(0, file.numXTiles() - 1, 0, file.numYTiles() - 1);
    } else {
        Imf::OutputFile file(path.c_str(), header);
        file.setFrameBuffer(buffer);
        file.writePixels(kHeight);
    }
}

void write_mixed_exr(std::string const& path)
{
    Imf::Header header(kWidth, kHeight);
    header.compression() = Imf::ZIP_COMPRESSION;
    std::vector<half> colour(std::size_t(kWidth) * kHeight);
    std::vector<float> depth(colour.size());
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            std::size_t const i = std::size_t(y) * kWidth + std::size_t(x);
            depth[i] = 10 * sample(4, x, y);
            colour[i] = half(depth[i] / 10);
        }
    Imf::FrameBuffer buffer;
    for (char const* name : {"R", "G", "B", "A"}) {
        header.channels().insert(name, Imf::Channel(Imf::HALF));
        buffer.insert(name, Imf::Slice(Imf::HALF, reinterpret_cast<char*>(colour.data()), sizeof(half),
                                       sizeof(half) * kWidth));
    }
    header.channels().insert("Z", Imf::Channel(Imf::FLOAT));
    buffer.insert("Z", Imf::Slice(Imf::FLOAT, reinterpret_cast<char*>(depth.data()), sizeof(float),
                                  sizeof(float) * kWidth));
    Imf::OutputFile file(path.c_str(), header);
    file.setFrameBuffer(buffer);
    file.writePixels(kHeight);
}

void write_with_oiio(std::string const& path)
{
    bool const is_hdr = path.ends_with(".hdr");
    std::vector<float> pixels(std::size_t(kWidth) * kHeight * 3);
    std::size_t i = 0;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            for (int c = 0; c < 3; ++c)
                pixels[i++] = sample(c, x, y);
    OIIO::ImageSpec const spec(kWidth, kHeight, 3, is_hdr ? OIIO::TypeDesc::FLOAT : OIIO::TypeDesc::UINT8);
    auto const file = OIIO::ImageOutput::create(path);
    if (!file || !file->open(path, spec) || !file->write_image(OIIO::TypeDesc::FLOAT, pixels.data()) ||
        !file->close())
        throw std::runtime_error("cannot write " + path);
}

}  // namespace zv_bench
