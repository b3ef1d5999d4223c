#pragma once

#include <OpenImageIO/imageio.h>

#include <memory>
#include <string>
#include <vector>

#include "host/image/image_map.h"
#include "image_io/load/image_io_load.h"
#include "tests/load/loaded_picture.h"

/// The tests' way to the private operations of a load.
struct ImageIOLoadDoors {
    static bool read_data(OIIO::ImageInput* input, OIIO::ImageSpec& spec, ImageMap& map,
                          GMathVec4<int>& window, ImageLoadOptions const& options, bool accept_partial,
                          AppProgressBar* progress, ImageLoadReport& report)
    {
        return ImageIOLoad::read_data(input, spec, map, window, options, accept_partial, nullptr, progress,
                                      report);
    }
};

namespace zv_test {

/// An opened file and a map of its own, without a canvas around it.
struct OpenedPicture {
    explicit OpenedPicture(std::string const& path)
        : spec(OIIO::TypeDesc::UNKNOWN)
    {
        is_open = ImageIOLoad::load_header(path.c_str(), input, spec);
        window = GMathVec4<int>(spec.x, spec.y, spec.width, spec.height);
    }
    ~OpenedPicture()
    {
        if (input)
            input->close();
    }

    bool read_data(ImageLoadOptions const& options, bool accept_partial, AppProgressBar* progress = nullptr)
    {
        return ImageIOLoadDoors::read_data(input.get(), spec, map, window, options, accept_partial, progress,
                                           report);
    }

    std::string channel_names() const
    {
        std::string names;
        for (ImageMapChannel const* channel : map.m_channels)
            names += (names.empty() ? "" : " ") + std::string(channel->m_name.get_data());
        return names;
    }
    /// All samples of a channel as floats.
    std::vector<float> plane(std::string const& name) const
    {
        ImageMapChannel const* const channel = map.get_channel_by_name(name.c_str());
        if (!channel)
            return {};
        std::vector<float> samples(std::size_t(spec.width) * std::size_t(spec.height));
        channel->create_float_buffer(nullptr, window, samples.data());
        return samples;
    }

    bool is_open;
    OIIO::ImageSpec spec;
    std::unique_ptr<OIIO::ImageInput> input;
    GMathVec4<int> window;
    ImageMap map;
    ImageLoadReport report;
};

}  // namespace zv_test
