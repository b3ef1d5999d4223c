#include "tests/equality/reference_reads.h"

#include <algorithm>

#include "host/app_base/app_progress_bar.h"
#include "image_io/load/image_load_options.h"

namespace zv_equality {

namespace {

/// Makes the channels; gives for each the channel of the file that feeds it, or -1.
std::vector<int> prepare_channels(OIIO::ImageSpec const& spec, PlainPicture& picture,
                                  ImageLoadOptions const& options)
{
    std::vector<int> sources;
    if (spec.nchannels == 1 && (options.single_channel_mode > 0 || options.channels)) {
        picture.add(options.single_channel_mode == 2 ? "a" : "l");
        sources.push_back(0);
    } else if (spec.nchannels != 1 && options.channels) {
        for (unsigned place = 0; place < wanted_count(options); ++place) {
            picture.add(kColourNames[place]);
            sources.push_back(find_in_file(spec, text_of((*options.channels)[place])));
        }
    } else {
        for (int channel = 0; channel < spec.nchannels; ++channel) {
            picture.add(lower(spec.channelnames[std::size_t(channel)]));
            sources.push_back(channel);
        }
    }
    for (PlainChannel& channel : picture.channels)
        channel.create(picture.data_window, 0);
    return sources;
}

bool begins_on_the_grid(OIIO::ImageSpec const& spec)
{
    float const reciprocal = 1.0f / static_cast<float>(spec.tile_width);
    int const column = static_cast<int>(static_cast<float>(spec.x) * reciprocal);
    int const row = static_cast<int>(static_cast<float>(spec.y) / static_cast<float>(spec.tile_height));
    return column * spec.tile_width == spec.x && row * spec.tile_height == spec.y;
}

/// Every tile of the file in row order; `on_the_grid` decides the order of what is told, not what is read.
class TileReader {
public:
    TileReader(OIIO::ImageInput& input, OIIO::ImageSpec const& spec, PlainPicture& picture,
               std::vector<int> const& sources, AppProgressBar* progress)
        : m_input(input)
        , m_spec(spec)
        , m_picture(picture)
        , m_sources(sources)
        , m_progress(progress)
        , m_pixels(std::size_t(spec.tile_width) * std::size_t(spec.tile_height))
        , m_tile(m_pixels * std::size_t(spec.nchannels) * std::max<std::size_t>(spec.format.size(), 4) *
                     std::size_t(std::max(spec.tile_depth, 1)) +
                 64)
    {
    }

    void read_on_the_grid()
    {
        int const size = m_spec.tile_width;
        int const first_column = floor_of(m_spec.x, size), first_row = floor_of(m_spec.y, size);
        int const last_column = floor_of(m_spec.x + m_spec.width - 1, size);
        int const last_row = floor_of(m_spec.y + m_spec.height - 1, size);
        int const count = (last_column - first_column + 1) * (last_row - first_row + 1);
        tell_increment(count);
        for (int row = first_row; row <= last_row; ++row)
            for (int column = first_column; column <= last_column; ++column) {
                int const x = column * size, y = row * size;
                clear_tile();
                if (read(x, y, OIIO::AutoStride)) {
                    copy(x, y, std::max(0, std::min(size, m_spec.x + m_spec.width - x)),
                         std::max(0, std::min(size, m_spec.y + m_spec.height - y)));
                } else {
                    say(2, "Error while reading tile [" + std::to_string(x) + "," + std::to_string(y) + "," +
                               std::to_string(size) + "," + std::to_string(size) + "]: " + m_error + "\n");
                }
                if (m_progress)
                    m_progress->increment();
            }
    }

    void read_off_the_grid()
    {
        float const reciprocal = 1.0f / static_cast<float>(m_spec.tile_width);
        int const rows = static_cast<int>(
            static_cast<float>(m_spec.height) / static_cast<float>(m_spec.tile_height) + 0.5f);
        int const columns = static_cast<int>(static_cast<float>(m_spec.width) * reciprocal + 0.5f);
        tell_increment(rows * columns);
        auto const stride = OIIO::stride_t(m_picture.type.bytes) * m_spec.nchannels;
        for (int y = m_spec.y; y <= m_spec.y + m_spec.height - 1; y += m_spec.tile_height)
            for (int x = m_spec.x; x <= m_spec.x + m_spec.width - 1; x += m_spec.tile_width) {
                int const width = std::min(m_spec.tile_width, m_spec.x + m_spec.width - x);
                int const height = std::min(m_spec.tile_height, m_spec.y + m_spec.height - y);
                clear_tile();
                if (read(x, y, stride)) {
                    copy(x, y, width, height);
                } else {
                    say(2, "Error while reading tile (" + std::to_string(x) + ", " + std::to_string(y) +
                               ", " + std::to_string(width) + ", " + std::to_string(height) +
                               "): " + m_error + "\n");
                    continue;
                }
                if (m_progress)
                    m_progress->increment();
            }
    }

private:
    void tell_increment(int tile_count)
    {
        if (m_progress)
            m_progress->set_task_increment(static_cast<float>(0.8 / static_cast<double>(tile_count)) *
                                           m_progress->m_current_task->span);
    }

    void clear_tile() { std::fill(m_tile.begin(), m_tile.end(), static_cast<unsigned char>(0)); }

    bool read(int x, int y, OIIO::stride_t x_stride)
    {
        ++m_picture.tiles_asked;
        bool const read = m_input.read_tile(x, y, 0, m_spec.format, m_tile.data(), x_stride);
        m_error = m_input.geterror();
        if (!m_error.empty())
            m_picture.errors.insert(m_error);
        if (!read)
            ++m_picture.tiles_lost;
        m_picture.all_read = m_picture.all_read && read;
        return read;
    }

    void copy(int x, int y, int width, int height)
    {
        unsigned const bytes = m_picture.type.bytes;
        for (std::size_t number = 0; number < m_sources.size(); ++number) {
            if (m_sources[number] < 0)
                continue;
            for (int row = 0; row < height; ++row)
                for (int column = 0; column < width; ++column) {
                    std::size_t const sample =
                        (std::size_t(row) * std::size_t(m_spec.tile_width) + std::size_t(column)) *
                            std::size_t(m_spec.nchannels) +
                        std::size_t(m_sources[number]);
                    m_picture.channels[number].at(x + column, y + row) =
                        bits_at(m_tile.data(), sample * bytes, bytes);
                }
        }
    }

    OIIO::ImageInput& m_input;
    OIIO::ImageSpec const& m_spec;
    PlainPicture& m_picture;
    std::vector<int> const& m_sources;
    AppProgressBar* m_progress;
    std::size_t m_pixels;
    std::vector<unsigned char> m_tile;
    std::string m_error;
};

}  // namespace

bool read_tiles(OIIO::ImageInput& input, OIIO::ImageSpec const& spec, PlainPicture& picture,
                ImageLoadOptions const& options, AppProgressBar* progress)
{
    std::vector<int> const sources = prepare_channels(spec, picture, options);
    if (picture.channels.empty())
        return true;  // nothing to read for
    TileReader reader(input, spec, picture, sources, progress);
    if (begins_on_the_grid(spec))
        reader.read_on_the_grid();
    else
        reader.read_off_the_grid();
    if (spec.nchannels == 1 && options.single_channel_mode == 3) {
        std::vector<std::uint32_t> const bits = picture.channels[0].bits;
        PlainChannel& alpha = picture.add("a");
        alpha.create(picture.data_window, 0);
        alpha.bits = bits;
        picture.clamp(alpha);
    }
    return true;
}

}  // namespace zv_equality
