#include "tests/load/loaded_picture.h"

#include "host/colorio/color_io.h"

namespace zv_test {

ImageLoadOptions plain_options()
{
    ImageLoadOptions options;
    options.color_space = ColorIO::get_default_color_space_name();
    return options;
}

std::string LoadedPicture::channel_names() const
{
    std::string names;
    for (ImageMapChannel const* channel : map().m_channels)
        names += (names.empty() ? "" : " ") + std::string(channel->m_name.get_data());
    return names;
}

ImageMapChannel const* LoadedPicture::channel(std::string const& name) const
{
    return map().get_channel_by_name(name.c_str());
}

std::vector<float> LoadedPicture::plane(std::string const& name, int x, int y, int width, int height) const
{
    ImageMapChannel const* const found = channel(name);
    if (!found)
        return {};
    std::vector<float> samples(std::size_t(width) * std::size_t(height));
    found->create_float_buffer(nullptr, GMathVec4<int>(x, y, width, height), samples.data());
    return samples;
}

LoadedPicture load_picture(std::string const& path, ImageLoadOptions const& options, AppProgressBar* progress)
{
    LoadedPicture picture;
    picture.canvas.reset(ImageIO::load_image(path.c_str(), options, nullptr, progress,
                                             ImagePixel::REPEAT_MODE_NONE, ImagePixel::REPEAT_MODE_NONE,
                                             picture.report));
    return picture;
}

}  // namespace zv_test
