#include "host/image/equal_block_memo.h"

#include "host/image/image_map_channel.h"
#include "host/image/image_map_tile.h"

namespace zv_host {

void EqualBlockMemo::look(Channels const& channels, int tile_x, int tile_y, Bounds const& block)
{
    m_is_equal = true;
    m_seen = {block.width(), block.height(), {}};
    for (std::size_t slot = 0; m_is_equal && slot < kSlotCount; ++slot) {
        if (channels[slot] == nullptr)
            continue;
        ImageMapTile const* const tile =
            channels[slot]->is_lazy() ? nullptr : channels[slot]->find_tile(tile_x, tile_y);
        m_is_equal = tile != nullptr && tile->is_constant() &&
                     Bounds(channels[slot]->get_covered_part(*tile)) == block;
        if (m_is_equal)
            m_seen.bits[slot] = tile->get_constant_bits();
    }
}

void EqualBlockMemo::repeat(Channels const& channels, int tile_x, int tile_y) const
{
    for (std::size_t slot = 0; slot < kSlotCount; ++slot)
        if (channels[slot] != nullptr && m_after[slot] != m_before.bits[slot])
            channels[slot]->find_tile(tile_x, tile_y)->set_constant_bits(m_after[slot]);
}

void EqualBlockMemo::remember(Channels const& channels, int tile_x, int tile_y)
{
    if (!m_is_equal)
        return;
    m_is_valid = true;
    m_before = m_seen;
    for (std::size_t slot = 0; slot < kSlotCount; ++slot) {
        if (channels[slot] == nullptr)
            continue;
        ImageMapTile const* const tile = channels[slot]->find_tile(tile_x, tile_y);
        m_is_valid = m_is_valid && tile->is_constant();
        m_after[slot] = tile->get_constant_bits();
    }
}

}  // namespace zv_host
