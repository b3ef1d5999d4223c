#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class ImageCanvas;
class ImageMapChannel;

namespace zvio {

/// What can be said of the samples of one channel, read as floats (integer samples as 0 to 1).
struct ChannelStatistics {
    std::string name;
    /// Over the finite samples; nothing where there are none.
    std::optional<double> minimum, maximum, mean;
    std::uint64_t nan_count = 0;
    std::uint64_t infinity_count = 0;
    /// Over the bit patterns of the floats; tiles play no part in it. A hash begins as 0xCBF29CE484222325; a word makes it
    /// (hash ^ word) * 0x100000001B3, and then hash ^ (hash >> 32). The words of a row's hash are its samples from left to
    /// right, those of the channel's hash are the hashes of its rows from top to bottom.
    std::uint64_t hash = 0;
    unsigned int allocated_tiles = 0;
    unsigned int constant_tiles = 0;
};

/// Looks at one channel over its region.
ChannelStatistics measure_channel(ImageMapChannel const& channel, ImageCanvas const& canvas);
/// All channels, in their order.
std::vector<ChannelStatistics> measure_channels(ImageCanvas const& canvas);

/// Sixteen hexadecimal digits.
std::string hash_text(std::uint64_t hash);

}  // namespace zvio
