#include "image_io/load/channel_pass.h"

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "host/image/band_source.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "image_io/load/guarded_read.h"
#include "image_io/load/map_channels.h"

namespace zv_image_io {

namespace {

ChannelRange range_of(std::vector<WantedChannel> const& wanted)
{
    ChannelRange range{wanted.front().file_channel, wanted.front().file_channel + 1};
    for (WantedChannel const& each : wanted) {
        range.begin = std::min(range.begin, each.file_channel);
        range.end = std::max(range.end, each.file_channel + 1);
    }
    return range;
}

/// Where a plane of samples wider than the map's (64-bit floats in a map of 32 bits) goes: its bytes are taken as
/// samples of the map one after the other, and those that fill the window count.
///
///     file line n    d d d d d          `ratio` lines of the map, beginning at line n * ratio
///     map  lines     f f f f f
///                    f f f f f
struct Reinterpretation {
    int ratio;
    std::ptrdiff_t sample_bytes;
    Window window;

    Window lines_of(int file_line) const
    {
        std::int64_t const first = std::int64_t(file_line) * ratio;
        std::int64_t const count = std::clamp<std::int64_t>(window.height - first, 0, ratio);
        return {window.x, static_cast<int>(window.y + std::min<std::int64_t>(first, window.height)),
                window.width, static_cast<int>(count)};
    }

    /// Hands one packed line of the file over; false if a tile got no memory.
    bool fill(ImageMapChannel& channel, std::byte const* line, int file_line) const
    {
        Window const lines = lines_of(file_line);
        return lines.is_empty() ||
               channel.fill_rows(line, sample_bytes, sample_bytes * window.width, lines.rectangle());
    }
};

}  // namespace

ChannelPass::ChannelPass(ScanlineSource const& source, std::vector<WantedChannel> wanted)
    : m_source(source)
    , m_wanted(std::move(wanted))
    , m_reader(source.input, source.spec, range_of(m_wanted), source.report)
{
}

void ChannelPass::run(std::function<void(int)> const& advanced)
{
    Window const& window = m_source.window;
    create_tiles(m_source.map, window.rectangle(), m_source.report);
    m_source.report.rows_asked += unsigned(window.height);
    for (std::int64_t y = window.y; y < window.end_y(); y += m_reader.line_count()) {
        m_reader.read(static_cast<int>(y));
        fill_band();
        advanced(static_cast<int>(y - window.y) + m_reader.line_count());
    }
    if (!m_has_all_memory)
        note_missing_tile(m_source.report);
}

void ChannelPass::fill_band()
{
    if (m_reader.is_lost_altogether()) {
        // The tiles are zero already, and a header may declare far more lines than there are.
        m_source.report.rows_lost += unsigned(m_reader.line_count());
        return;
    }
    if (m_reader.sample_bytes() != std::size_t(m_source.map.m_bit_depth))
        fill_reinterpreted_band();
    else if (m_reader.has_losses())
        fill_patched_band();
    else
        fill_intact_band();
    if (m_reader.has_losses())
        count_lost_lines();
}

void ChannelPass::fill_intact_band()
{
    std::vector<BandSource> sources;
    for (WantedChannel const& wanted : m_wanted)
        sources.push_back({m_reader.samples(0, wanted.file_channel), std::ptrdiff_t(m_reader.pixel_bytes()),
                           std::ptrdiff_t(m_reader.row_bytes())});
    Window const& window = m_source.window;
    GMathVec4<int> const lines(window.x, m_reader.begin_y(), window.width, m_reader.line_count());
    m_has_all_memory &= m_source.map.fill_rows(sources, lines);
}

void ChannelPass::fill_patched_band()
{
    Window const& window = m_source.window;
    GMathVec4<int> const lines(window.x, m_reader.begin_y(), window.width, m_reader.line_count());
    for (std::size_t k = 0; k < m_wanted.size(); ++k) {
        patch(k);
        m_has_all_memory &= m_wanted[k].channel->fill_rows(m_reader.samples(0, m_wanted[k].file_channel),
                                                           std::ptrdiff_t(m_reader.pixel_bytes()),
                                                           std::ptrdiff_t(m_reader.row_bytes()), lines);
    }
}

void ChannelPass::fill_reinterpreted_band()
{
    std::size_t const sample_bytes = m_reader.sample_bytes();
    std::size_t const map_bytes = m_source.map.m_bit_depth;
    Reinterpretation const target{static_cast<int>(sample_bytes / map_bytes), std::ptrdiff_t(map_bytes),
                                  m_source.window};
    std::vector<std::byte> packed(sample_bytes * std::size_t(m_source.window.width));
    for (std::size_t k = 0; k < m_wanted.size(); ++k) {
        patch(k);
        for (int line = 0; line < m_reader.line_count(); ++line) {
            std::byte const* from = m_reader.samples(line, m_wanted[k].file_channel);
            for (std::size_t i = 0; i < packed.size(); i += sample_bytes, from += m_reader.pixel_bytes())
                std::memcpy(packed.data() + i, from, sample_bytes);
            m_has_all_memory &= target.fill(*m_wanted[k].channel, packed.data(),
                                            m_reader.begin_y() - m_source.window.y + line);
        }
    }
}

/// Gives the lines that channel `k` lacks in the band what the channel before it has there.
void ChannelPass::patch(std::size_t k)
{
    if (!m_reader.has_losses())
        return;
    for (int line = 0; line < m_reader.line_count(); ++line) {
        if (!m_reader.is_lost(line, m_wanted[k].file_channel))
            continue;
        std::byte* const into = m_reader.samples(line, m_wanted[k].file_channel);
        std::byte const* const from = k == 0 ? nullptr : m_reader.samples(line, m_wanted[k - 1].file_channel);
        if (from == into)
            continue;
        for (std::size_t at = 0; at < m_reader.row_bytes(); at += m_reader.pixel_bytes()) {
            if (from)
                std::memcpy(into + at, from + at, m_reader.sample_bytes());
            else
                std::memset(into + at, 0, m_reader.sample_bytes());
        }
    }
}

void ChannelPass::count_lost_lines()
{
    for (int line = 0; line < m_reader.line_count(); ++line)
        m_source.report.rows_lost +=
            std::any_of(m_wanted.begin(), m_wanted.end(), [&](WantedChannel const& wanted) {
                return m_reader.is_lost(line, wanted.file_channel);
            });
}

bool read_whole_plane(ScanlineSource const& source, WantedChannel const& wanted, CoreString& error)
{
    Window const& window = source.window;
    std::size_t const sample_bytes = source.spec.format.size();
    auto const byte_count = size_product(sample_bytes, std::size_t(window.width), std::size_t(window.height));
    if (!byte_count)
        throw std::bad_alloc();
    std::vector<unsigned char> plane(*byte_count);
    ReadResult const result = guarded_read(source.input, source.report, [&] {
        return source.input.read_scanlines(0, 0, window.y, static_cast<int>(window.end_y()), 0,
                                           wanted.file_channel, wanted.file_channel + 1, source.spec.format,
                                           plane.data());
    });
    source.report.rows_asked += unsigned(window.height);
    if (result.good)
        wanted.channel->fill_tiles(plane.data(), window.rectangle(), true);
    else
        error = result.error;
    return result.good;
}

}  // namespace zv_image_io
