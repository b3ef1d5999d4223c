#include "tools/image_statistics.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
#include <span>

#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/image/image_map_tile.h"

namespace zvio {

namespace {

constexpr std::uint64_t kFnvOffset = 0xCBF29CE484222325u;
constexpr std::uint64_t kFnvPrime = 0x00000100000001B3u;

/// Rows that are looked at together: a row of tiles.
constexpr int kBandRows = 64;

struct Totals {
    double minimum = std::numeric_limits<double>::infinity();
    double maximum = -std::numeric_limits<double>::infinity();
    double sum = 0.0;
    std::uint64_t finite_count = 0, nan_count = 0, infinity_count = 0;
    std::uint64_t hash = kFnvOffset;

    void add(std::span<float const> samples)
    {
        for (float const sample : samples) {
            hash = (hash ^ std::bit_cast<std::uint32_t>(sample)) * kFnvPrime;
            hash ^=
                hash >> 32;  // the low bits of most samples are zeros, and multiplying carries upwards alone
            if (std::isnan(sample)) {
                ++nan_count;
            } else if (std::isinf(sample)) {
                ++infinity_count;
            } else {
                ++finite_count;
                sum += sample;
                minimum = std::min(minimum, static_cast<double>(sample));
                maximum = std::max(maximum, static_cast<double>(sample));
            }
        }
    }
};

void count_tiles(ImageMapChannel const& channel, ChannelStatistics& statistics)
{
    for (unsigned int index = 0; index < channel.get_tile_count(); ++index) {
        ImageMapTile const* const tile = channel.get_tile(index).m_tile;
        ++(tile && tile->m_pixels ? statistics.allocated_tiles : statistics.constant_tiles);
    }
}

}  // namespace

ChannelStatistics measure_channel(ImageMapChannel const& channel, ImageCanvas const& canvas)
{
    GMathVec4<int> const region = channel.get_region();
    ImageEvalContext context(canvas, 0);
    Totals totals;
    std::vector<float> band;
    for (int row = 0; row < region.height(); row += kBandRows) {
        int const rows = std::min(kBandRows, region.height() - row);
        band.resize(std::size_t(region.width()) * rows);
        GMathVec4<int> const part(region.x(), region.y() + row, region.width(), rows);
        channel.create_float_buffer(&context, part, band.data());
        totals.add(band);
    }

    ChannelStatistics statistics;
    statistics.name = channel.m_name.get_data();
    statistics.nan_count = totals.nan_count;
    statistics.infinity_count = totals.infinity_count;
    statistics.hash = totals.hash;
    if (totals.finite_count) {
        statistics.minimum = totals.minimum;
        statistics.maximum = totals.maximum;
        statistics.mean = totals.sum / static_cast<double>(totals.finite_count);
    }
    count_tiles(channel, statistics);
    return statistics;
}

std::vector<ChannelStatistics> measure_channels(ImageCanvas const& canvas)
{
    std::vector<ChannelStatistics> all;
    for (ImageMapChannel const* channel : canvas.get_map()->m_channels)
        all.push_back(measure_channel(*channel, canvas));
    return all;
}

std::string hash_text(std::uint64_t hash)
{
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return text;
}

}  // namespace zvio
