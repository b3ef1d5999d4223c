#pragma once

#include <ImfCompression.h>
#include <ImfPixelType.h>
#include <OpenImageIO/imageio.h>
#include <half.h>

#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

namespace zv_test {

/// A number from 0 to 2038 that tells channel, x and y apart from their neighbours. Negative positions are
/// welcome.
inline unsigned encoded_number(int channel, int x, int y)
{
    long long const mixed = 977LL * channel + 59LL * y + 13LL * x;
    long long const remainder = mixed % 2039;
    return static_cast<unsigned>(remainder < 0 ? remainder + 2039 : remainder);
}

/// The same as a number from 0 to below 1 that half and float hold exactly.
inline float encoded(int channel, int x, int y)
{
    return static_cast<float>(encoded_number(channel, x, y)) / 2048.0f;
}

/// The same in a file's own sample type.
template <class T>
T encoded_as(int channel, int x, int y)
{
    unsigned const number = encoded_number(channel, x, y);
    if constexpr (std::is_same_v<T, std::uint8_t>)
        return static_cast<T>(number % 251);
    else if constexpr (std::is_same_v<T, std::uint16_t>)
        return static_cast<T>(number * 31);
    else if constexpr (std::is_same_v<T, std::uint32_t>)
        return static_cast<T>(number * 2000003u);
    else
        return static_cast<T>(encoded(channel, x, y));
}

/// What stands in a picture at a channel's number and a position of the data window.
using Sample = std::function<double(int channel, int x, int y)>;

/// Samples of a whole data window as they lie in memory: rows, then pixels, then channels.
template <class T>
std::vector<T> interleaved(int x, int y, int width, int height, int channels)
{
    std::vector<T> samples;
    samples.reserve(std::size_t(width) * height * channels);
    for (int row = y; row < y + height; ++row)
        for (int column = x; column < x + width; ++column)
            for (int channel = 0; channel < channels; ++channel)
                samples.push_back(encoded_as<T>(channel, column, row));
    return samples;
}

/// A description for `write_picture`: `channels` of one type at an origin, in tiles where `tile` is not 0.
OIIO::ImageSpec picture_spec(int width, int height, int channels, OIIO::TypeDesc type, int x = 0, int y = 0,
                             int tile = 0);

/// Writes a file through OpenImageIO's own writer, `encoded_as` the type of the description in every sample.
/// Throws std::runtime_error with the writer's text when it refuses.
void write_picture(std::string const& path, OIIO::ImageSpec const& spec);
/// The same with samples of one's own, handed over as floats.
void write_picture(std::string const& path, OIIO::ImageSpec const& spec, Sample const& sample);

struct ExrChannel {
    std::string name;
    Imf::PixelType type = Imf::HALF;
};

/// An OpenEXR file written through OpenEXR's own classes. Channels get their numbers in the order of the
/// list; samples are `encoded` (unsigned ones: `encoded_as<uint32_t>`).
struct ExrPicture {
    int x = 0, y = 0, width = 0, height = 0;
    int display_x = 0, display_y = 0, display_width = 0, display_height = 0;  // all 0: as the data window
    std::vector<ExrChannel> channels;
    int tile = 0;
    int tile_height = 0;  // 0: as `tile`
    Imf::Compression compression = Imf::ZIP_COMPRESSION;
    int rows_written = -1;  // fewer than height: a file whose writer was killed; scanline files only
};
void write_exr(std::string const& path, ExrPicture const& picture);

/// A file as OpenImageIO's own reader gives it, all samples as float, interleaved.
struct ReadPicture {
    OIIO::ImageSpec spec;
    std::vector<float> samples;

    float at(int channel, int x, int y) const
    {
        return samples[(std::size_t(y - spec.y) * spec.width + (x - spec.x)) * spec.nchannels + channel];
    }
};
/// Throws std::runtime_error with the reader's text when the file does not read. `straight_alpha` asks for
/// the samples as they stand in the file.
ReadPicture read_picture(std::string const& path, bool straight_alpha = false);

std::vector<char> file_bytes(std::string const& path);
void write_bytes(std::string const& path, std::vector<char> const& bytes);
/// Cuts a file after the first `byte_count` bytes.
void cut_file(std::string const& path, std::size_t byte_count);
/// Cuts a file to a part of its length, from 0 to 1.
void cut_file_to(std::string const& path, double part);

/// Compares a dense plane with what `expected` says, naming channel, place and both values of the first
/// differences.
void expect_plane(std::string const& channel, std::vector<float> const& plane, int x, int y, int width,
                  int height, std::function<float(int x, int y)> const& expected);

}  // namespace zv_test
