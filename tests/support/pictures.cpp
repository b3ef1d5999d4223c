#include "tests/support/pictures.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

#include <gtest/gtest.h>

namespace zv_test {

namespace {

void write_samples(std::string const& path, OIIO::ImageSpec const& spec, OIIO::TypeDesc type,
                   void const* samples)
{
    auto output = OIIO::ImageOutput::create(path, nullptr, "");
    if (!output)
        throw std::runtime_error(path + ": " + OIIO::geterror());
    if (!output->open(path, spec) || !output->write_image(type, samples) || !output->close())
        throw std::runtime_error(path + ": " + output->geterror());
}

template <class T>
void write_encoded(std::string const& path, OIIO::ImageSpec const& spec, OIIO::TypeDesc type)
{
    auto const samples = interleaved<T>(spec.x, spec.y, spec.width, spec.height, spec.nchannels);
    write_samples(path, spec, type, samples.data());
}

}  // namespace

OIIO::ImageSpec picture_spec(int width, int height, int channels, OIIO::TypeDesc type, int x, int y, int tile)
{
    OIIO::ImageSpec spec(width, height, channels, type);
    spec.x = x;
    spec.y = y;
    spec.full_x = x;
    spec.full_y = y;
    spec.tile_width = tile;
    spec.tile_height = tile;
    spec.tile_depth = 1;
    return spec;
}

void write_picture(std::string const& path, OIIO::ImageSpec const& spec)
{
    switch (spec.format.basetype) {
    case OIIO::TypeDesc::UINT8:
        return write_encoded<std::uint8_t>(path, spec, spec.format);
    case OIIO::TypeDesc::UINT16:
        return write_encoded<std::uint16_t>(path, spec, spec.format);
    case OIIO::TypeDesc::UINT32:
        return write_encoded<std::uint32_t>(path, spec, spec.format);
    case OIIO::TypeDesc::HALF:
        return write_encoded<half>(path, spec, spec.format);
    case OIIO::TypeDesc::DOUBLE:
        return write_encoded<double>(path, spec, spec.format);
    default:
        return write_encoded<float>(path, spec, OIIO::TypeDesc::FLOAT);
    }
}

void write_picture(std::string const& path, OIIO::ImageSpec const& spec, Sample const& sample)
{
    std::vector<float> samples;
    samples.reserve(std::size_t(spec.width) * spec.height * spec.nchannels);
    for (int y = spec.y; y < spec.y + spec.height; ++y)
        for (int x = spec.x; x < spec.x + spec.width; ++x)
            for (int channel = 0; channel < spec.nchannels; ++channel)
                samples.push_back(static_cast<float>(sample(channel, x, y)));
    write_samples(path, spec, OIIO::TypeDesc::FLOAT, samples.data());
}

ReadPicture read_picture(std::string const& path, bool straight_alpha)
{
    OIIO::ImageSpec configuration;
    if (straight_alpha)
        configuration["oiio:UnassociatedAlpha"] = 1;
    auto input = OIIO::ImageInput::open(path, &configuration);
    if (!input)
        throw std::runtime_error(path + ": " + OIIO::geterror());
    ReadPicture picture{input->spec(), {}};
    picture.samples.resize(picture.spec.image_pixels() * picture.spec.nchannels);
    if (!input->read_image(0, 0, 0, picture.spec.nchannels, OIIO::TypeDesc::FLOAT, picture.samples.data()))
        throw std::runtime_error(path + ": " + input->geterror());
    return picture;
}

std::vector<char> file_bytes(std::string const& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write_bytes(std::string const& path, std::vector<char> const& bytes)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

void cut_file(std::string const& path, std::size_t byte_count)
{
    std::filesystem::resize_file(path, byte_count);
}

void cut_file_to(std::string const& path, double part)
{
    cut_file(path, static_cast<std::size_t>(static_cast<double>(std::filesystem::file_size(path)) * part));
}

void expect_plane(std::string const& channel, std::vector<float> const& plane, int x, int y, int width,
                  int height, std::function<float(int x, int y)> const& expected)
{
    ASSERT_EQ(plane.size(), std::size_t(width) * height) << "channel " << channel;
    int reported = 0;
    for (int row = 0; row < height; ++row)
        for (int column = 0; column < width; ++column) {
            float const found = plane[std::size_t(row) * width + column];
            float const wanted = expected(x + column, y + row);
            if (found == wanted || (found != found && wanted != wanted))
                continue;
            ADD_FAILURE() << "channel " << channel << " at (" << x + column << ", " << y + row
                          << "): " << found << " instead of " << wanted;
            if (++reported == 5)
                return;
        }
}

}  // namespace zv_test
