#include "tests/equality/reference_reads.h"

#include "host/app_base/app_progress_bar.h"
#include "image_io/load/image_load_options.h"

namespace zv_equality {

namespace {

/// Reads one channel for the whole picture after the other, into one plane that is never cleared.
class PlaneReader {
public:
    PlaneReader(OIIO::ImageInput& input, OIIO::ImageSpec const& spec, PlainPicture& picture)
        : m_input(input)
        , m_spec(spec)
        , m_picture(picture)
        , m_plane(std::size_t(spec.width) * std::size_t(spec.height) * spec.format.size(), 0)
    {
    }

    /// Fills the channel from a channel of the file. The error text of a read that failed; else empty.
    bool read(PlainChannel& channel, int file_channel, std::string& error)
    {
        m_picture.rows_asked = unsigned(m_spec.height);
        bool const read = m_input.read_scanlines(0, 0, m_spec.y, m_spec.y + m_spec.height, 0, file_channel,
                                                 file_channel + 1, m_spec.format, m_plane.data());
        error = m_input.geterror();
        if (!error.empty())
            m_picture.errors.insert(error);
        m_picture.all_read = m_picture.all_read && read;
        fill(channel);
        return read;
    }

private:
    /// The plane's samples as the map takes them: packed, of its own sample size.
    void fill(PlainChannel& channel)
    {
        channel.create(m_picture.data_window, 0);
        for (std::size_t number = 0; number < channel.bits.size(); ++number)
            channel.bits[number] =
                bits_at(m_plane.data(), number * m_picture.type.bytes, m_picture.type.bytes);
        if (channel.name == "a")
            m_picture.clamp(channel);
    }

    OIIO::ImageInput& m_input;
    OIIO::ImageSpec const& m_spec;
    PlainPicture& m_picture;
    std::vector<unsigned char> m_plane;
};

void say_reader_error(std::string const& error)
{
    say(3, "OpenImageIO error: " + error + ".\n");
}

void read_all_channels(OIIO::ImageInput& input, OIIO::ImageSpec const& spec, PlainPicture& picture,
                       AppProgressBar* progress)
{
    PlaneReader reader(input, spec, picture);
    if (progress)
        progress->set_step_count(unsigned(spec.nchannels));
    for (int number = 0; number < spec.nchannels; ++number) {
        PlainChannel& channel = picture.add(lower(spec.channelnames[std::size_t(number)]));
        std::string error;
        if (!reader.read(channel, number, error))
            say_reader_error(error);
        if (progress)
            progress->step(unsigned(number + 1));
    }
}

void read_named_channels(OIIO::ImageInput& input, OIIO::ImageSpec const& spec, PlainPicture& picture,
                         ImageLoadOptions const& options, AppProgressBar* progress)
{
    PlaneReader reader(input, spec, picture);
    if (progress)
        progress->set_step_count(wanted_count(options));
    for (unsigned place = 0; place < wanted_count(options); ++place) {
        int const number = find_in_file(spec, text_of((*options.channels)[place]));
        std::string error;
        if (number >= 0)
            reader.read(picture.add(kColourNames[place]), number, error);  // not logged on this road
        if (progress)
            progress->step(place + 1);
    }
}

void read_single_channel(OIIO::ImageInput& input, OIIO::ImageSpec const& spec, PlainPicture& picture,
                         ImageLoadOptions const& options, AppProgressBar* progress)
{
    PlaneReader reader(input, spec, picture);
    PlainChannel& channel = picture.add(options.single_channel_mode == 2 ? "a" : "l");
    std::string error;
    if (!reader.read(channel, 0, error))
        say_reader_error(error);
    if (options.single_channel_mode == 3) {
        std::vector<std::uint32_t> const bits = channel.bits;
        PlainChannel& alpha = picture.add("a");
        alpha.create(picture.data_window, 0);
        alpha.bits = bits;
        picture.clamp(alpha);
    }
    if (progress)
        progress->set_value(1.0f);
}

}  // namespace

bool read_scanlines(OIIO::ImageInput& input, OIIO::ImageSpec const& spec, PlainPicture& picture,
                    ImageLoadOptions const& options, AppProgressBar* progress)
{
    if (spec.nchannels == 1 && (options.single_channel_mode > 0 || options.channels))
        read_single_channel(input, spec, picture, options, progress);
    else if (options.channels)
        read_named_channels(input, spec, picture, options, progress);
    else
        read_all_channels(input, spec, picture, progress);
    return true;
}

}  // namespace zv_equality
