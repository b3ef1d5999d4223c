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
#include "tools/parallel_rows.h"

namespace zvio {

namespace {

constexpr std::uint64_t kFnvOffset = 0xCBF29CE484222325u;
constexpr std::uint64_t kFnvPrime = 0x00000100000001B3u;

/// Rows that are looked at together: a row of tiles.
constexpr int kBandRows = 64;

std::uint64_t add_to_hash(std::uint64_t hash, std::uint64_t bits)
{
    hash = (hash ^ bits) * kFnvPrime;
    return hash ^
           (hash >> 32);  // the low bits of most samples are zeros, and multiplying carries upwards alone
}

struct Totals {
    double minimum = std::numeric_limits<double>::infinity();
    double maximum = -std::numeric_limits<double>::infinity();
    double sum = 0.0;
    std::uint64_t finite_count = 0, nan_count = 0, infinity_count = 0;
    std::uint64_t hash = kFnvOffset;

    void add_row(std::span<float const> samples)
    {
        for (float const sample : samples) {
            hash = add_to_hash(hash, std::bit_cast<std::uint32_t>(sample));
            if (std::isfinite(sample)) {
                sum += sample;
                minimum = std::min(minimum, static_cast<double>(sample));
                maximum = std::max(maximum, static_cast<double>(sample));
            } else {
                ++(std::isnan(sample) ? nan_count : infinity_count);
            }
        }
        finite_count = samples.size() - nan_count - infinity_count;
    }

    void add(Totals const& row)
    {
        minimum = std::min(minimum, row.minimum);
        maximum = std::max(maximum, row.maximum);
        sum += row.sum;
        finite_count += row.finite_count;
        nan_count += row.nan_count;
        infinity_count += row.infinity_count;
        hash = add_to_hash(hash, row.hash);
    }
};

/// Totals of each row, a band at a time on all threads; the order in which they are added up later does not change with
/// the number of threads.
std::vector<Totals> measure_rows(ImageMapChannel const& channel, ImageCanvas const& canvas)
{
    GMathVec4<int> const region = channel.get_region();
    std::vector<Totals> rows(static_cast<std::size_t>(region.height()));
    int const bands = (region.height() + kBandRows - 1) / kBandRows;
    parallel_rows(bands, [&](int band) {
        ImageEvalContext context(canvas, 0);
        int const first = band * kBandRows, count = std::min(kBandRows, region.height() - first);
        std::size_t const width = static_cast<std::size_t>(region.width());
        std::vector<float> samples(width * count);
        GMathVec4<int> const part(region.x(), region.y() + first, region.width(), count);
        channel.create_float_buffer(&context, part, samples.data());
        for (int row = 0; row < count; ++row)
            rows[first + row].add_row(std::span(samples).subspan(row * width, width));
    });
    return rows;
}

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
    Totals totals;
    for (Totals const& row : measure_rows(channel, canvas))
        totals.add(row);

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
