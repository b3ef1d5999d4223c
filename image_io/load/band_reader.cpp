#include "image_io/load/band_reader.h"

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <new>
#include <string_view>

#include "image_io/load/guarded_read.h"
#include "image_io/pixels/window.h"

namespace zv_image_io {

namespace {

// A few kilobytes can claim lines by the million, and each costs microseconds to be asked for in vain. Twice as many as the
// lines of any picture that formats with sizes of 16 bits can hold take seconds.
constexpr unsigned kMostFailedReads = 1 << 17;

/// Readers that decode from the first line on whenever they are asked for an earlier one or after an error.
bool starts_from_the_top(std::string_view format_name)
{
    static constexpr std::string_view kNames[] = {"png", "jpeg", "hdr", "zfile"};
    return std::find(std::begin(kNames), std::end(kNames), format_name) != std::end(kNames);
}

std::size_t checked(std::optional<std::size_t> size)
{
    if (!size)
        throw std::bad_alloc();
    return *size;
}

}  // namespace

BandReader::BandReader(OIIO::ImageInput& input, OIIO::ImageSpec const& spec, ChannelRange range,
                       ImageLoadReport& report)
    : m_input(input)
    , m_reads(input, report)
    , m_spec(spec)
    , m_range(range)
    , m_lines_per_band(zv_image_io::lines_per_band(spec, range))
    , m_sample_bytes(spec.format.size())
    , m_pixel_bytes(checked(size_product(m_sample_bytes, std::size_t(range.count()))))
    , m_row_bytes(checked(size_product(m_pixel_bytes, std::size_t(spec.width))))
    , m_keeps_channels_apart(spec.get_string_attribute("planarconfig") == "separate")
    , m_starts_from_the_top(starts_from_the_top(input.format_name()))
    , m_band(checked(size_product(m_row_bytes, std::size_t(m_lines_per_band))))
    , m_lost(checked(size_product(std::size_t(range.count()), std::size_t(m_lines_per_band))))
    , m_failures(std::size_t(range.count()))
{
}

std::byte* BandReader::samples(int line, int channel)
{
    return m_band.data() + std::size_t(line) * m_row_bytes + index(channel) * m_sample_bytes;
}

bool BandReader::is_lost(int line, int channel) const
{
    return m_lost[std::size_t(line) * m_failures.size() + index(channel)] != 0;
}

void BandReader::read(int begin_y)
{
    m_begin_y = begin_y;
    m_line_count = static_cast<int>(
        std::min<std::int64_t>(m_lines_per_band, std::int64_t(m_spec.y) + m_spec.height - begin_y));
    if (has_losses())
        std::fill(m_lost.begin(), m_lost.end(), char(0));
    m_lost_count = 0;

    if (m_is_exhausted) {
        for (int line = 0; line < m_line_count; ++line)
            lose(line, m_range, {});
        return;
    }
    ReadResult const result = ask(begin_y, m_line_count, m_range);
    if (!result.good || is_doubtful(result))
        rescue(result);
}

/// Whether a band may lack lines though the reader says that it is good: that of TIFF files passes over bad strips and
/// leaves its text behind, while it refuses their lines when they are asked for one by one.
bool BandReader::is_doubtful(ReadResult const& result) const
{
    return !result.error.is_empty() && m_line_count > 1 && !m_starts_from_the_top;
}

bool BandReader::is_hopeless() const
{
    return m_failed_reads > kMostFailedReads;
}

ReadResult BandReader::ask(int begin_y, int line_count, ChannelRange channels)
{
    std::byte* const into = samples(begin_y - m_begin_y, channels.begin);
    // A band is not asked again: its lines are, as long as they are.
    ReadResult const result = m_reads.run(line_count == 1 || is_hopeless(), [&] {
        return m_input.read_scanlines(0, 0, begin_y, begin_y + line_count, 0, channels.begin, channels.end,
                                      m_spec.format, into, OIIO::stride_t(m_pixel_bytes),
                                      OIIO::stride_t(m_row_bytes));
    });
    m_failed_reads += !result.good;
    return result;
}

void BandReader::rescue(ReadResult const& band)
{
    bool const is_given_up = is_hopeless();
    if (m_line_count == 1 && !is_given_up) {
        rescue_line(0, band.error);
    } else {
        for (int line = 0; line < m_line_count; ++line) {
            if (m_is_exhausted || is_given_up)
                lose(line, m_range, band.error);
            else if (!ask(m_begin_y + line, 1, m_range).good)
                rescue_line(line, band.error);
        }
    }
    // Nothing is missing after all, but each channel met the failed read.
    if (!band.good && !has_losses())
        for (int channel = m_range.begin; channel < m_range.end; ++channel)
            note_failure(channel, band.error);
}

void BandReader::rescue_line(int line, CoreString const& error)
{
    m_is_exhausted = m_starts_from_the_top;
    if (!m_keeps_channels_apart || m_is_exhausted || m_range.count() == 1) {
        lose(line, m_range, error);
        return;
    }
    for (int channel = m_range.begin; channel < m_range.end; ++channel) {
        if (!ask(m_begin_y + line, 1, {channel, channel + 1}).good)
            lose(line, {channel, channel + 1}, error);
    }
}

void BandReader::lose(int line, ChannelRange channels, CoreString const& error)
{
    for (int channel = channels.begin; channel < channels.end; ++channel) {
        m_lost[std::size_t(line) * m_failures.size() + index(channel)] = 1;
        ++m_lost_count;
        note_failure(channel, error);
    }
}

void BandReader::note_failure(int channel, CoreString const& error)
{
    Failure& failure = m_failures[index(channel)];
    if (failure.failed)
        return;
    failure.failed = true;
    failure.error = error;
}

}  // namespace zv_image_io
