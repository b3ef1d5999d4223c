#include "image_io/save/layer_table.h"

#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"

namespace zv_image_io {

namespace {

CoreString layer_name(ImageMapChannel const& channel)
{
    CoreVector<CoreString> const pieces = channel.m_name.split(".", false);
    return pieces.is_empty() ? CoreString() : pieces[0];
}

void add_channel(LayerTable& table, CoreString const& layer, ImageMapChannel* channel)
{
    if (CoreVector<ImageMapChannel*>* const known = table.find(layer))
        known->add(channel);
    else
        table.insert(layer, {channel});
}

}  // namespace

LayerTable collect_layers(ImageMap const& map)
{
    LayerTable table;
    for (ImageMapChannel* const channel : map.m_channels) {
        if (!channel || channel->m_index != ImageMapChannel::kIndexExtra)
            continue;
        if (CoreString const layer = layer_name(*channel); !layer.is_empty())
            add_channel(table, layer, channel);
    }
    return table;
}

}  // namespace zv_image_io
