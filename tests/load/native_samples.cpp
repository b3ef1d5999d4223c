#include "tests/load/native_samples.h"

#include <cstring>
#include <stdexcept>

#include <gtest/gtest.h>

#include "host/image/image_map_channel.h"

namespace zv_test {

std::uint32_t NativePicture::bits(int channel, int x, int y) const
{
    std::size_t const number = (std::size_t(y - spec.y) * std::size_t(spec.width) + std::size_t(x - spec.x)) *
                                   std::size_t(spec.nchannels) +
                               std::size_t(channel);
    std::uint32_t sample = 0;
    std::memcpy(&sample, bytes.data() + number * type.size(), type.size());
    return sample;
}

int NativePicture::channel_number(std::string const& name) const
{
    for (int i = 0; i < spec.nchannels; ++i)
        if (spec.channelnames[std::size_t(i)] == name)
            return i;
    return -1;
}

NativePicture read_native_picture(std::string const& path, bool straight_alpha, OIIO::TypeDesc type)
{
    OIIO::ImageSpec configuration;
    if (straight_alpha)
        configuration["oiio:UnassociatedAlpha"] = 1;
    auto input = OIIO::ImageInput::open(path, &configuration);
    if (!input)
        throw std::runtime_error(path + ": " + OIIO::geterror());
    NativePicture picture{input->spec(), type == OIIO::TypeDesc::UNKNOWN ? input->spec().format : type, {}};
    picture.bytes.resize(std::size_t(picture.spec.image_pixels()) * std::size_t(picture.spec.nchannels) *
                         picture.type.size());
    if (!input->read_image(0, 0, 0, picture.spec.nchannels, picture.type, picture.bytes.data()))
        throw std::runtime_error(path + ": " + input->geterror());
    return picture;
}

void expect_native_samples(ImageMapChannel const* channel, NativePicture const& picture, int file_channel,
                           std::function<bool(int y)> const& is_lost)
{
    ASSERT_NE(channel, nullptr);
    OIIO::ImageSpec const& spec = picture.spec;
    int reported = 0;
    for (int y = spec.y; y < spec.y + spec.height; ++y)
        for (int x = spec.x; x < spec.x + spec.width; ++x) {
            std::uint32_t const found = channel->get_bits(x, y);
            std::uint32_t const wanted = is_lost && is_lost(y) ? 0 : picture.bits(file_channel, x, y);
            if (found == wanted)
                continue;
            ADD_FAILURE() << "channel " << channel->m_name.get_data() << " at (" << x << ", " << y
                          << "): bits " << found << " instead of " << wanted;
            if (++reported == 5)
                return;
        }
}

}  // namespace zv_test
