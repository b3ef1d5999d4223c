#include "tools/verification.h"

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "tools/text_table.h"

namespace zvio {

namespace {

constexpr int kBandRows = 64;
constexpr std::size_t kNamedRanges = 4;
constexpr std::size_t kKeptErrors = 16;

/// Rows or tiles of what OpenImageIO reads.
class OiioVerifier {
public:
    OiioVerifier(OIIO::ImageInput& input, OIIO::ImageSpec const& spec, int subimage, int level,
                 Verification& verification)
        : m_input(input)
        , m_spec(spec)
        , m_subimage(subimage)
        , m_level(level)
        , m_verification(verification)
        , m_first_channel(verification.channels.size() - static_cast<std::size_t>(spec.nchannels))
    {
    }

    void verify()
    {
        if (m_spec.tile_width)
            verify_tiles();
        else
            verify_rows();
    }

private:
    void verify_rows()
    {
        int const end_y = m_spec.y + m_spec.height;
        for (int y = m_spec.y; y < end_y; y += kBandRows) {
            int const rows = std::min(kBandRows, end_y - y);
            bool const is_whole_band = read_rows(y, rows);
            for (int row = y; row < y + rows; ++row)
                m_verification.add_row(row, !is_whole_band && !read_rows(row, 1));
        }
    }

    bool read_rows(int y, int rows)
    {
        m_samples.assign(std::size_t(m_spec.width) * rows * m_spec.nchannels, 0.0f);
        return take(m_input.read_scanlines(m_subimage, m_level, y, y + rows, 0, 0, m_spec.nchannels,
                                           OIIO::TypeDesc::FLOAT, m_samples.data()));
    }

    void verify_tiles()
    {
        m_samples.assign(std::size_t(m_spec.tile_width) * m_spec.tile_height *
                             std::max(1, m_spec.tile_depth) * m_spec.nchannels,
                         0.0f);
        for (int y = m_spec.y; y < m_spec.y + m_spec.height; y += m_spec.tile_height)
            for (int x = m_spec.x; x < m_spec.x + m_spec.width; x += m_spec.tile_width) {
                ++m_verification.tiles_asked;
                if (!take(m_input.read_tiles(m_subimage, m_level, x,
                                             std::min(x + m_spec.tile_width, m_spec.x + m_spec.width), y,
                                             std::min(y + m_spec.tile_height, m_spec.y + m_spec.height), 0, 1,
                                             0, m_spec.nchannels, OIIO::TypeDesc::FLOAT, m_samples.data())))
                    ++m_verification.tiles_missing;
            }
    }

    /// Counts what was read; a text that a reader leaves behind after a call that it calls good is an error too.
    bool take(bool is_read)
    {
        std::string const text = m_input.geterror();
        if (!text.empty())
            m_verification.add_error(text);
        if (!is_read)
            return false;
        std::size_t const channels = static_cast<std::size_t>(m_spec.nchannels);
        for (std::size_t index = 0; index < m_samples.size(); ++index)
            m_verification.count_sample(m_verification.channels[m_first_channel + index % channels],
                                        m_samples[index]);
        return true;
    }

    OIIO::ImageInput& m_input;
    OIIO::ImageSpec const& m_spec;
    int m_subimage, m_level;
    Verification& m_verification;
    std::size_t m_first_channel;
    std::vector<float> m_samples;
};

void verify_with_oiio(std::string const& path, Verification& verification)
{
    auto const input = OIIO::ImageInput::open(path);
    if (!input) {
        verification.add_error(OIIO::geterror());
        return;
    }
    verification.is_open = true;
    if (input->spec().deep) {
        verification.add_error("deep pictures are not looked at");
        return;
    }
    for (int subimage = 0; input->seek_subimage(subimage, 0); ++subimage)
        for (int level = 0; input->seek_subimage(subimage, level); ++level) {
            OIIO::ImageSpec const spec = input->spec();
            std::string const prefix = subimage ? std::to_string(subimage) + ":" : "";
            for (int channel = 0; channel < spec.nchannels; ++channel)
                verification.channels.push_back(
                    {prefix + lower_case(spec.channel_name(channel)), spec.channelformat(channel).c_str()});
            OiioVerifier(*input, spec, subimage, level, verification).verify();
        }
    input->geterror();  // the text that tells the end of the subimages
    input->close();
}

std::string missing_text(std::uint64_t missing, std::uint64_t asked, char const* noun)
{
    return std::to_string(missing) + " of " + count_text(asked, noun) + " missing";
}

std::string ranges_text(std::vector<RowRange> const& ranges)
{
    std::string text, separator;
    for (std::size_t index = 0; index < std::min(ranges.size(), kNamedRanges); ++index) {
        text += separator + std::to_string(ranges[index].first);
        if (ranges[index].last != ranges[index].first)
            text += " to " + std::to_string(ranges[index].last);
        separator = ", ";
    }
    return ranges.size() > kNamedRanges ? text + ", ..." : text;
}

}  // namespace

std::uint64_t Verification::nan_count() const
{
    return std::accumulate(channels.begin(), channels.end(), std::uint64_t(0),
                           [](std::uint64_t sum, auto const& channel) { return sum + channel.nan_count; });
}

std::uint64_t Verification::infinity_count() const
{
    return std::accumulate(
        channels.begin(), channels.end(), std::uint64_t(0),
        [](std::uint64_t sum, auto const& channel) { return sum + channel.infinity_count; });
}

void Verification::add_row(int y, bool is_missing)
{
    ++rows_asked;
    if (!is_missing)
        return;
    ++rows_missing;
    if (!missing_rows.empty() && missing_rows.back().last == y - 1)
        missing_rows.back().last = y;
    else
        missing_rows.push_back({y, y});
}

void Verification::add_error(std::string const& text)
{
    if (errors.size() < kKeptErrors && std::find(errors.begin(), errors.end(), text) == errors.end())
        errors.push_back(text);
}

void Verification::count_sample(VerifiedChannel& channel, float sample)
{
    if (!std::isfinite(sample))
        ++(std::isnan(sample) ? channel.nan_count : channel.infinity_count);
}

Verification verify_file(std::string const& path)
{
    Verification verification;
    try {
        bool const is_exr = is_exr_file(path);
        std::string trouble;
        if (auto const picture = StoredPicture::open(path, trouble))
            verification.header = picture->header();
        if (is_exr)
            exr::verify(path, verification);
        else
            verify_with_oiio(path, verification);
    } catch (std::exception const& error) {
        verification.add_error(error.what());
    }
    return verification;
}

std::string trouble_text(Verification const& verification)
{
    std::string text, separator;
    auto const add = [&](std::string const& piece) {
        text += separator + piece;
        separator = "; ";
    };
    if (!verification.is_complete)
        add("incomplete");
    if (verification.rows_missing)
        add(missing_text(verification.rows_missing, verification.rows_asked, "row") + " (" +
            ranges_text(verification.missing_rows) + ")");
    if (verification.tiles_missing)
        add(missing_text(verification.tiles_missing, verification.tiles_asked, "tile"));
    if (text.empty() && !verification.errors.empty())
        add(verification.errors.front());
    return text;
}

}  // namespace zvio
