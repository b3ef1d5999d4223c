#pragma once

#include <functional>
#include <vector>

#include "image_io/frame/library_names.h"
#include "image_io/load/band_reader.h"
#include "image_io/load/image_load_report.h"
#include "image_io/pixels/window.h"

class ImageMap;
class ImageMapChannel;

namespace zv_image_io {

/// What a scanline read works on. All borrowed.
struct ScanlineSource {
    OIIO::ImageInput& input;
    OIIO::ImageSpec const& spec;
    ImageMap& map;
    Window window;
    ImageLoadReport& report;
};

/// A channel of the file and the map's channel that takes its samples.
struct WantedChannel {
    int file_channel;
    ImageMapChannel* channel;
};

/// One pass over a scanline file: reads bands of all wanted channels and takes them apart into the map's tiles.
///
/// The result is that of reading the wanted channels one after the other through one plane that starts as zeros and is
/// never cleared: a line that a channel lacks shows what the channel before it has there, the first one zeros.
class ChannelPass {
public:
    /// `wanted` stands in the order of reading, which is that of the map's channels, and is not empty.
    ChannelPass(ScanlineSource const& source, std::vector<WantedChannel> wanted);

    /// Reads all lines; calls `advanced(lines)` with the number of lines that are through after each band.
    void run(std::function<void(int)> const& advanced);

    bool has_failed(std::size_t k) const { return m_reader.has_failed(m_wanted[k].file_channel); }
    CoreString const& first_error(std::size_t k) const
    {
        return m_reader.first_error(m_wanted[k].file_channel);
    }

private:
    void fill_band();
    void fill_intact_band();
    void fill_patched_band();
    void fill_reinterpreted_band();
    void patch(std::size_t k);
    void count_lost_lines();

    ScanlineSource m_source;
    std::vector<WantedChannel> m_wanted;
    BandReader m_reader;
    bool m_has_all_memory = true;
};

/// Reads one channel's whole plane with a single call, into the map's tiles if that succeeds.
///
/// Returns  whether the read succeeded; `error` then stays, else it holds the reader's text
bool read_whole_plane(ScanlineSource const& source, WantedChannel const& wanted, CoreString& error);

}  // namespace zv_image_io
