#include "image_io/load/map_channels.h"

#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "image_io/load/guarded_read.h"

namespace zv_image_io {

namespace {

constexpr char kNoChannel[] = "no memory for a channel";
constexpr char kNoTile[] = "no memory for a tile";

}  // namespace

ImageMapChannel* add_channel(ImageMap& map, CoreString const& name, ImageLoadReport& report)
{
    ImageMapChannel* const channel = map.add_channel(name, map.m_bit_depth, map.m_bit_type);
    if (!channel)
        note_lack_of_memory(report, kNoChannel);
    return channel;
}

void create_tiles(ImageMap& map, GMathVec4<int> const& region, ImageLoadReport& report)
{
    map.create_tiles(region, false);
    for (ImageMapChannel const* channel : map.m_channels)
        if (channel->get_tile_count() == 0)
            note_missing_tile(report);
}

void note_missing_tile(ImageLoadReport& report) noexcept
{
    note_lack_of_memory(report, kNoTile);
}

void copy_to_alpha(ImageMap& map, ImageMapChannel const& channel, GMathVec4<int> const& region,
                   ImageLoadReport& report)
{
    ImageMapChannel* const alpha = add_channel(map, "a", report);
    if (!alpha)
        return;
    if (!alpha->copy_from(channel, nullptr, true))
        note_missing_tile(report);
    alpha->clamp_values(0.0f, 1.0f, region);
}

bool add_constant_alpha(ImageMap& map, GMathVec4<int> const& region, ImageLoadReport& report)
{
    ImageMapChannel* const alpha = add_channel(map, "a", report);
    if (!alpha)
        return false;
    alpha->create_tiles(region, nullptr, 1.0f);
    if (alpha->get_tile_count() == 0)
        note_missing_tile(report);
    return true;
}

}  // namespace zv_image_io
