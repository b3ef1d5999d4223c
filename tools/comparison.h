#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/stored_picture.h"

namespace zvio {

struct Tolerance {
    double fail = 0.0;  ///< differences above it are failures
    double warn = 0.0;  ///< differences above it are told
};

/// How far two channels of one name are apart, over the pixels that both pictures have. Equal samples, infinite ones and
/// NaN included, differ by 0; a sample that only one side cannot count with (NaN, infinity) by infinity.
struct ChannelDifference {
    std::string name;
    std::uint64_t pixels = 0;
    double maximum = 0.0;
    int maximum_x = 0, maximum_y = 0;    ///< where it is, first of all such places; 0, 0 without a difference
    double sum = 0.0, square_sum = 0.0;  ///< of the finite differences
    double peak = 1.0;                   ///< the largest sample of either side, at least 1
    std::uint64_t failed_pixels = 0, warned_pixels = 0;

    [[nodiscard]] double mean() const { return pixels ? sum / static_cast<double>(pixels) : 0.0; }
    /// In decibels; nothing for equal channels.
    [[nodiscard]] std::optional<double> psnr() const;
};

struct Comparison {
    GMathVec4<int> window;  ///< the pixels that both have; no width: there are none
    std::vector<ChannelDifference> channels;
    std::vector<std::string> only_in_first, only_in_second;
    std::uint64_t failed_pixels = 0,
                  warned_pixels = 0;  ///< pixels of which any channel fails, or is worth a warning
    std::string first_trouble,
        second_trouble;  ///< what a reader said whose rows are lost; those count as zeros
};

/// Rows of differences as they come: a plane a channel of the comparison.
using DifferenceRows = std::function<void(int y, int rows, std::vector<float> const& planes)>;

/// Compares what two files hold, channels matched by name. `take_rows` may be null.
Comparison compare(StoredPicture& first, StoredPicture& second, Tolerance const& tolerance,
                   DifferenceRows const& take_rows);

/// The pixels that both windows have; width and height 0 without any.
GMathVec4<int> common_window(GMathVec4<int> const& first, GMathVec4<int> const& second);

}  // namespace zvio
