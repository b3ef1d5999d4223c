#include "image_io/save/main_channels.h"

#include <algorithm>

#include "host/image/image_map.h"
#include "image_io/save/image_save_options.h"

namespace zv_image_io {

CoreVector<ImageMapChannel*> main_channels(ImageMap const& map, ImageSaveOptions const& options)
{
    constexpr unsigned int kMostNames = 4;
    CoreVector<ImageMapChannel*> channels;
    if (!options.layers) {
        map.get_rgba_channels(&channels);
        return channels;
    }
    unsigned int const count = std::min(kMostNames, options.layers->get_count());
    for (unsigned int index = 0; index < count; ++index)
        if (ImageMapChannel* const channel = map.get_channel_by_name((*options.layers)[index]))
            channels.add(channel);
    return channels;
}

}  // namespace zv_image_io
