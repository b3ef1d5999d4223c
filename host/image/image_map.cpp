#include "host/image/image_map.h"

#include <algorithm>
#include <memory>

#include "host/image/image_map_tile.h"

namespace {

struct ColorSlot {
    char const* name;
    int index;
    ImageMapChannel* ImageMapColorChannels::*slot;
};

// In the order of the record, which is that of a picture of luminance and alpha too.
constexpr ColorSlot kColorSlots[] = {
    {"l", ImageMapChannel::kIndexLuminance, &ImageMapColorChannels::m_luminance},
    {"r", ImageMapChannel::kIndexRed, &ImageMapColorChannels::m_red},
    {"g", ImageMapChannel::kIndexGreen, &ImageMapColorChannels::m_green},
    {"b", ImageMapChannel::kIndexBlue, &ImageMapColorChannels::m_blue},
    {"a", ImageMapChannel::kIndexAlpha, &ImageMapColorChannels::m_alpha},
};

ColorSlot const* find_color_slot(CoreString const& name)
{
    auto const* const found = std::find_if(std::begin(kColorSlots), std::end(kColorSlots),
                                           [&](ColorSlot const& slot) { return name == slot.name; });
    return found != std::end(kColorSlots) ? found : nullptr;
}

}  // namespace

ImageMap::ImageMap(ImageCanvas const* canvas)
    : m_canvas(canvas)
{
}

ImageMap::~ImageMap()
{
    remove_all_channels();
}

void ImageMap::init(ImagePixel::Depth const& depth, ImagePixel::BitDepth const& bit_depth,
                    ImagePixel::BitType const& bit_type, int const& tile_size)
{
    remove_all_channels();
    m_depth = depth;
    m_bit_depth = bit_depth;
    m_bit_type = bit_type;
    m_tile_size = tile_size < 1 ? kDefaultTileSize : tile_size;
}

void ImageMap::remove_all_channels()
{
    for (ImageMapChannel* const channel : m_channels)
        delete channel;
    m_channels.clear();
    m_color_channels = {};
    m_rgba_channels = nullptr;
}

ImageMapChannel* ImageMap::add_channel(CoreString const& name, ImagePixel::BitDepth const&,
                                       ImagePixel::BitType const&)
{
    try {
        ColorSlot const* const slot = find_color_slot(name);
        auto channel = std::make_unique<ImageMapChannel>(
            this, name, slot != nullptr ? slot->index : ImageMapChannel::kIndexExtra);
        m_channels.add(channel.get());
        if (slot != nullptr) {
            m_rgba_channels = &m_color_channels;
            if (m_color_channels.*slot->slot == nullptr)
                m_color_channels.*slot->slot = channel.get();
        }
        return channel.release();
    } catch (std::exception const&) {
        return nullptr;
    }
}

ImageMapChannel* ImageMap::get_channel_by_name(CoreString const& name) const
{
    auto const* const found =
        std::find_if(m_channels.begin(), m_channels.end(),
                     [&](ImageMapChannel const* channel) { return channel->m_name == name; });
    return found != m_channels.end() ? *found : nullptr;
}

unsigned int const& ImageMap::get_channel_count() const
{
    return m_channels.get_count();
}

void ImageMap::get_rgba_channels(CoreVector<ImageMapChannel*>* out) const
{
    out->clear();
    if (m_rgba_channels == nullptr)
        return;
    for (ColorSlot const& slot : kColorSlots)
        if (ImageMapChannel* const channel = m_rgba_channels->*slot.slot)
            out->add(channel);
}

void ImageMap::create_tiles(GMathVec4<int> const& region, bool allocate_buffers)
{
    for (ImageMapChannel* const channel : m_channels) {
        channel->create_tiles(region, nullptr, 0.0f);
        for (unsigned int i = 0; allocate_buffers && i < channel->get_tile_count(); ++i)
            // A tile without memory stays a constant one.
            channel->get_tile(i).m_tile->allocate();
    }
}

bool ImageMap::fill_rows(std::span<BandSource const> sources, GMathVec4<int> const& rows_region)
{
    zv_host::Bounds const bounds(rows_region);
    std::size_t const count = std::min<std::size_t>(sources.size(), m_channels.get_count());
    zv_host::Bounds held;
    bool filled = true;
    for (unsigned int c = 0; c < count; ++c) {
        if (sources[c].first_sample == nullptr)
            continue;
        zv_host::Bounds const& own = m_channels[c]->m_bounds;
        filled &= !own.is_empty();
        held = enclosing(held, own);
    }
    zv_host::for_each_tile_number(intersection(bounds, held), m_tile_size, [&](int tile_x, int tile_y) {
        for (unsigned int c = 0; c < count; ++c)
            if (sources[c].first_sample != nullptr)
                filled &= m_channels[c]->fill_tile(tile_x, tile_y, sources[c], bounds);
    });
    return filled;
}

std::size_t ImageMap::get_memory_size() const
{
    std::size_t bytes = sizeof(ImageMap) + m_channels.get_capacity() * sizeof(ImageMapChannel*);
    for (ImageMapChannel const* const channel : m_channels)
        bytes += channel->get_memory_size();
    return bytes;
}
