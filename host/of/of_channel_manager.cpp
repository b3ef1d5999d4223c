#include "host/of/of_channel_manager.h"

#include <limits>

short OfChannelManager::add_layer(CoreString const& name, unsigned int bit_depth, unsigned int bit_type)
{
    if (name.is_empty())
        return INVALID_INDEX;
    short index = get_layer_index(name);
    if (index == INVALID_INDEX) {
        if (m_layers.get_count() == static_cast<unsigned int>(std::numeric_limits<short>::max()))
            return INVALID_INDEX;
        index = static_cast<short>(m_layers.get_count());
        m_layers.add({.name = name});
    }
    Layer& layer = m_layers[static_cast<unsigned int>(index)];
    layer.bit_depth = bit_depth;
    layer.bit_type = bit_type;
    return index;
}

short OfChannelManager::get_layer_index(CoreString const& name) const noexcept
{
    for (unsigned int i = 0; i < m_layers.get_count(); ++i)
        if (m_layers[i].name == name)
            return static_cast<short>(i);
    return INVALID_INDEX;
}

short OfChannelManager::get_layer_index_from_channel_name(CoreString const& name) const
{
    return get_layer_index(name.sub_string(0, name.find('.')));
}

unsigned int OfChannelManager::get_bit_depth(short layer) const noexcept
{
    return is_layer(layer) ? m_layers[static_cast<unsigned int>(layer)].bit_depth : 0;
}

unsigned int OfChannelManager::get_bit_type(short layer) const noexcept
{
    return is_layer(layer) ? m_layers[static_cast<unsigned int>(layer)].bit_type : 0;
}

bool OfChannelManager::is_layer(short layer) const noexcept
{
    return layer >= 0 && static_cast<unsigned int>(layer) < m_layers.get_count();
}
