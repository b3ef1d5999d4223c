#pragma once

#include <cstddef>
#include <vector>

#include "host/core/core_string.h"
#include "image_io/frame/library_names.h"
#include "image_io/load/band_plan.h"
#include "image_io/load/guarded_read.h"
#include "image_io/load/image_load_report.h"

namespace zv_image_io {

/// Reads bands of lines of all channels of a range, interleaved, and rescues what a failed band still holds.
///
///     row 0   c0 c1 c2 | c0 c1 c2 | ...   width pixels, `pixel_bytes()` apart
///     row 1   c0 c1 c2 | ...              rows `row_bytes()` apart
///
/// A band that fails is asked again line by line; a line that fails is asked channel by channel where the file keeps
/// its channels apart, or once more where its failure may be an echo of the one before it (`ReadSequence`). So each
/// sample is asked at most three times. A reader that starts again from the top of the
/// file for each call is not asked behind its first bad line, and behind 131072 failed reads a band that fails is lost with
/// all its lines.
///
/// Owns     the band's buffer; `input`, `spec` and `report` are borrowed
/// Errors   the first text that the reader gave for a channel is kept; texts of further tries go to the report alone
class BandReader {
public:
    BandReader(OIIO::ImageInput& input, OIIO::ImageSpec const& spec, ChannelRange range,
               ImageLoadReport& report);

    /// Reads the lines from `begin_y`, as many as a band has and the window still holds. Throws std::bad_alloc for a
    /// band that does not fit into memory.
    void read(int begin_y);

    int begin_y() const { return m_begin_y; }
    int line_count() const { return m_line_count; }
    int lines_per_band() const { return m_lines_per_band; }
    std::size_t sample_bytes() const { return m_sample_bytes; }
    std::size_t pixel_bytes() const { return m_pixel_bytes; }
    std::size_t row_bytes() const { return m_row_bytes; }

    /// The first sample of a file channel in a line of the band.
    std::byte* samples(int line, int channel);
    /// Whether the line arrived without that channel. Its samples are then undefined.
    bool is_lost(int line, int channel) const;
    /// Whether any line of the band lacks any channel.
    bool has_losses() const { return m_lost_count != 0; }
    /// Whether the band lacks all lines of all channels.
    bool is_lost_altogether() const { return m_lost_count == std::size_t(m_line_count) * m_failures.size(); }

    /// Whether a read of that channel failed anywhere so far, and the first text that the reader gave for it.
    bool has_failed(int channel) const { return m_failures[index(channel)].failed; }
    CoreString const& first_error(int channel) const { return m_failures[index(channel)].error; }

private:
    struct Failure {
        bool failed = false;
        CoreString error;
    };

    std::size_t index(int channel) const { return std::size_t(channel - m_range.begin); }
    bool is_hopeless() const;
    ReadResult ask(int begin_y, int line_count, ChannelRange channels);
    bool is_doubtful(ReadResult const& result) const;
    void rescue(ReadResult const& band);
    void rescue_line(int line, CoreString const& error);
    void lose(int line, ChannelRange channels, CoreString const& error);
    void note_failure(int channel, CoreString const& error);

    OIIO::ImageInput& m_input;
    ReadSequence m_reads;
    OIIO::ImageSpec const& m_spec;
    ChannelRange m_range;
    int m_lines_per_band;
    std::size_t m_sample_bytes, m_pixel_bytes, m_row_bytes;
    bool m_keeps_channels_apart, m_starts_from_the_top;
    bool m_is_exhausted = false;
    unsigned m_failed_reads = 0;

    int m_begin_y = 0, m_line_count = 0;
    std::vector<std::byte> m_band;
    std::size_t m_lost_count = 0;  // of samples' lines: one a line and channel
    std::vector<char> m_lost;      // a flag a line and channel of the band, line after line
    std::vector<Failure> m_failures;
};

}  // namespace zv_image_io
