#include "image_io/load/channel_names.h"

#include <OpenImageIO/imageio.h>

namespace zv_image_io {

CoreString file_channel_name(OIIO::ImageSpec const& spec, int channel)
{
    CoreString name;
    if (std::size_t(channel) < spec.channelnames.size())
        name = CoreString(std::string_view(spec.channelnames[std::size_t(channel)]));
    name.lower_case();
    return name;
}

bool is_single_channel_load(OIIO::ImageSpec const& spec, ImageLoadOptions const& options)
{
    return spec.nchannels == 1 && (options.single_channel_mode > 0 || options.channels);
}

CoreString single_channel_name(ImageLoadOptions const& options)
{
    return options.single_channel_mode == 2 ? "a" : "l";
}

std::vector<NamedChannel> find_named_channels(OIIO::ImageSpec const& spec,
                                              CoreVector<CoreString> const& names)
{
    static constexpr char const* kDestinations[] = {"r", "g", "b", "a"};
    std::vector<NamedChannel> named;
    for (unsigned int k = 0; k < names.get_count() && k < std::size(kDestinations); ++k) {
        NamedChannel each{kDestinations[k], -1};
        for (int i = 0; i < spec.nchannels && each.file_channel < 0; ++i)
            if (file_channel_name(spec, i) == names[k])
                each.file_channel = i;
        named.push_back(each);
    }
    return named;
}

}  // namespace zv_image_io
