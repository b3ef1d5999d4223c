#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "host/image/region.h"

class ImageMapChannel;

namespace zv_host {

/// Remembers what a pass made of the last block whose channels were all constant tiles.
///
/// A callback learns a block's samples and size, not where it lies: the same block again gets the same
/// answer, and its tiles their new constants at once. Flat backgrounds, and pictures of which a damaged
/// file holds little, have thousands of such blocks.
///
/// Threads  one a thread
class EqualBlockMemo {
public:
    static constexpr std::size_t kSlotCount = 5;
    using Channels = std::array<ImageMapChannel*, kSlotCount>;

    /// Looks at the block: whether it is all of a constant tile in each channel.
    void look(Channels const& channels, int tile_x, int tile_y, Bounds const& block);
    /// Whether the block looked at is the remembered one.
    [[nodiscard]] bool is_known() const { return m_is_equal && m_is_valid && m_seen == m_before; }
    /// Gives the tiles of a known block what was made of the one before.
    void repeat(Channels const& channels, int tile_x, int tile_y) const;
    /// Remembers what the tiles of the block looked at hold now, unless any of them is no longer constant.
    void remember(Channels const& channels, int tile_x, int tile_y);

private:
    struct State {
        std::int64_t width = 0, height = 0;
        std::array<std::uint32_t, kSlotCount> bits{};

        bool operator==(State const&) const = default;
    };

    bool m_is_equal = false, m_is_valid = false;
    State m_seen, m_before;
    std::array<std::uint32_t, kSlotCount> m_after{};
};

}  // namespace zv_host
