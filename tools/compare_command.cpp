#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfOutputFile.h>

#include <cmath>
#include <filesystem>

#include "image_io/frame/image_io.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/comparison.h"
#include "tools/text_table.h"

namespace zvio {

namespace {

struct CompareRequest {
    std::string first, second;
    double fail = 0.0;
    std::optional<double> warn;  // nothing: as `fail`
    std::string difference_path;

    [[nodiscard]] Tolerance tolerance() const { return {fail, warn.value_or(fail)}; }
};

std::unique_ptr<StoredPicture> open_picture(std::string const& path, Document& document)
{
    std::error_code ignored;
    std::string trouble;
    if (!std::filesystem::exists(path, ignored)) {
        document.fail(EXIT_CODE_INPUT, "missing", path, "no such file");
        return nullptr;
    }
    auto picture = StoredPicture::open(path, trouble);
    if (!picture)
        document.fail(EXIT_CODE_INPUT, "unreadable", path, "cannot be read: " + trouble);
    return picture;
}

// The differences as a picture

/// All channels of the differences, kept until the comparison is over.
struct DifferencePicture {
    std::vector<std::vector<float>> planes;

    void add(int rows, std::vector<float> const& band, std::size_t channels)
    {
        planes.resize(channels);
        std::size_t const size = band.size() / channels;
        for (std::size_t channel = 0; channel < channels && rows > 0; ++channel)
            planes[channel].insert(planes[channel].end(), band.begin() + channel * size,
                                   band.begin() + (channel + 1) * size);
    }
};

/// OpenEXR takes all channels under their names.
bool save_exr(std::string const& path, DifferencePicture const& picture, Comparison const& comparison)
{
    auto const& window = comparison.window;
    Imath::Box2i const box({window.x(), window.y()},
                           {window.x() + window.width() - 1, window.y() + window.height() - 1});
    try {
        Imf::Header header(box, box);
        Imf::FrameBuffer frame;
        for (std::size_t index = 0; index < picture.planes.size(); ++index) {
            char const* const name = comparison.channels[index].name.c_str();
            header.channels().insert(name, Imf::Channel(Imf::FLOAT));
            frame.insert(name, Imf::Slice::Make(Imf::FLOAT, picture.planes[index].data(), box));
        }
        Imf::OutputFile file(path.c_str(), header);
        file.setFrameBuffer(frame);
        file.writePixels(window.height());
        return true;
    } catch (std::exception const&) {
        return false;
    }
}

/// All others take red, green and blue, or their first channels, up to three.
bool save_colors(std::string const& path, DifferencePicture const& picture, Comparison const& comparison)
{
    std::vector<std::size_t> chosen;
    for (char const* name : {"r", "g", "b"})
        for (std::size_t index = 0; index < comparison.channels.size(); ++index)
            if (comparison.channels[index].name == name)
                chosen.push_back(index);
    if (chosen.empty())
        chosen.push_back(0);
    std::vector<float> samples;
    for (std::size_t pixel = 0; pixel < picture.planes[0].size(); ++pixel)
        for (std::size_t const channel : chosen)
            samples.push_back(picture.planes[channel][pixel]);
    return ImageIO::save_image(path.c_str(), samples.data(), static_cast<unsigned int>(chosen.size()),
                               static_cast<unsigned int>(comparison.window.width()),
                               static_cast<unsigned int>(comparison.window.height()));
}

void save_difference(CompareRequest const& request, DifferencePicture const& picture,
                     Comparison const& comparison, Document& document)
{
    std::string const& path = request.difference_path;
    bool const is_exr = lower_case(std::filesystem::path(path).extension().string()) == ".exr";
    bool const is_saved = !picture.planes.empty() && (is_exr ? save_exr(path, picture, comparison)
                                                             : save_colors(path, picture, comparison));
    if (!is_saved)
        document.fail(EXIT_CODE_FAILURE, "not_written", path, "cannot be written");
}

// What there is to tell

std::string decibels_text(ChannelDifference const& channel)
{
    auto const psnr = channel.psnr();
    return psnr ? number_text(*psnr) + " dB" : channel.maximum > 0.0 ? "-" : "equal";
}

std::string comparison_text(Comparison const& comparison)
{
    TextTable table(2, {TextTable::LEFT, TextTable::RIGHT, TextTable::RIGHT, TextTable::RIGHT,
                        TextTable::RIGHT, TextTable::LEFT});
    table.add({"channel", "max", "mean", "psnr", "failed", "max at"});
    for (ChannelDifference const& channel : comparison.channels)
        table.add({channel.name, number_text(channel.maximum), number_text(channel.mean()),
                   decibels_text(channel), std::to_string(channel.failed_pixels),
                   channel.maximum > 0.0 ? "(" + std::to_string(channel.maximum_x) + ", " +
                                               std::to_string(channel.maximum_y) + ")"
                                         : ""});
    return table.text();
}

/// Null for what JSON has no number for.
Json finite_json(double number)
{
    return std::isfinite(number) ? Json(number) : Json();
}

Json comparison_json(CompareRequest const& request, Comparison const& comparison, bool is_same)
{
    Json channels = Json::array();
    for (ChannelDifference const& channel : comparison.channels) {
        auto const psnr = channel.psnr();
        channels.push_back({{"name", channel.name},
                            {"max", finite_json(channel.maximum)},
                            {"max_x", channel.maximum_x},
                            {"max_y", channel.maximum_y},
                            {"mean", channel.mean()},
                            {"psnr", psnr ? Json(*psnr) : Json()},
                            {"failed_pixels", channel.failed_pixels},
                            {"warned_pixels", channel.warned_pixels}});
    }
    return {{"first", request.first},
            {"second", request.second},
            {"same", is_same},
            {"window", window_json(comparison.window)},
            {"channels", channels},
            {"only_in_first", comparison.only_in_first},
            {"only_in_second", comparison.only_in_second},
            {"failed_pixels", comparison.failed_pixels},
            {"warned_pixels", comparison.warned_pixels}};
}

std::string names_text(std::vector<std::string> const& names)
{
    std::string text;
    for (std::string const& name : names)
        text += " " + name;
    return text;
}

/// Compares under the given settings and keeps what was found in a document.
class CompareRun {
public:
    CompareRun(CompareRequest const& request, Settings const& settings, Document& document)
        : m_request(request)
        , m_settings(settings)
        , m_document(document)
    {
    }

    void run()
    {
        m_document.result() = {{"first", m_request.first}, {"second", m_request.second}};
        auto const first = open_picture(m_request.first, m_document);
        auto const second = open_picture(m_request.second, m_document);
        if (!first || !second)
            return;
        tell_windows(first->header(), second->header());
        DifferencePicture difference;
        DifferenceRows take_rows;
        std::size_t channels = 0;
        if (!m_request.difference_path.empty())
            take_rows = [&](int, int rows, std::vector<float> const& planes) {
                difference.add(rows, planes, channels);
            };
        for (StoredChannel const& channel : first->header().channels)
            channels += second->header().find_channel(channel.name).has_value();
        Comparison const comparison = compare(*first, *second, m_request.tolerance(), take_rows);
        tell(comparison);
        if (!m_request.difference_path.empty())
            save_difference(m_request, difference, comparison, m_document);
    }

private:
    /// What makes the pictures different in kind: a failure under --strict alone.
    void tell_mismatch(std::string const& code, std::string const& text)
    {
        if (m_settings.strict)
            m_document.fail(EXIT_CODE_DIFFERENCES, code, m_request.second, text);
        else
            m_document.warn(code, m_request.second, text);
    }

    void tell_windows(StoredHeader const& first, StoredHeader const& second)
    {
        auto const tell = [&](char const* name, GMathVec4<int> const& a, GMathVec4<int> const& b) {
            if (!(a == b))
                tell_mismatch("windows_differ",
                              std::string(name) +
                                  " windows differ: " + window_text(a.x(), a.y(), a.width(), a.height()) +
                                  " and " + window_text(b.x(), b.y(), b.width(), b.height()));
        };
        tell("data", first.data_window, second.data_window);
        tell("display", first.display_window, second.display_window);
    }

    void tell(Comparison const& comparison)
    {
        if (!comparison.only_in_first.empty())
            tell_mismatch("channels_differ",
                          "channels of the first alone:" + names_text(comparison.only_in_first));
        if (!comparison.only_in_second.empty())
            tell_mismatch("channels_differ",
                          "channels of the second alone:" + names_text(comparison.only_in_second));
        tell_damage(m_request.first, comparison.first_trouble);
        tell_damage(m_request.second, comparison.second_trouble);
        m_document.print(m_request.first + " and " + m_request.second + "\n" + comparison_text(comparison));
        tell_differences(comparison);
        m_document.result() = comparison_json(m_request, comparison, m_is_same);
    }

    void tell_damage(std::string const& path, std::string const& trouble)
    {
        if (!trouble.empty())
            m_document.fail(EXIT_CODE_DAMAGE, "damaged", path, trouble);
    }

    void tell_differences(Comparison const& comparison)
    {
        m_is_same = false;
        if (comparison.window.width() == 0 || comparison.channels.empty())
            m_document.fail(EXIT_CODE_DIFFERENCES, "nothing_in_common", m_request.second,
                            comparison.channels.empty() ? "no channel in common" : "no pixel in common");
        else if (comparison.failed_pixels)
            m_document.fail(EXIT_CODE_DIFFERENCES, "differences", m_request.second,
                            count_text(comparison.failed_pixels, "pixel") + " above " +
                                number_text(m_request.fail));
        else if (comparison.warned_pixels)
            m_document.warn("differences_tolerated", m_request.second,
                            count_text(comparison.warned_pixels, "pixel") + " above " +
                                number_text(m_request.tolerance().warn));
        else
            m_is_same = true;
    }

    CompareRequest const& m_request;
    Settings const& m_settings;
    Document& m_document;
    bool m_is_same = false;
};

}  // namespace

void add_compare_command(CLI::App& app, CommandLine& line)
{
    auto const request = std::make_shared<CompareRequest>();
    CLI::App& command = add_command(app, line, "compare", "Tell how far two files are apart, as they stand",
                                    [request, &settings = line.settings](Document& document) {
                                        CompareRun(*request, settings, document).run();
                                    });
    auto const not_negative = CLI::Range(0.0, 1e300).description("");
    command.add_option("A", request->first, "A picture file")->required()->type_name("");
    command.add_option("B", request->second, "Another one")->required()->type_name("");
    command.add_option("--fail", request->fail, "Differences above it are a failure (default: 0)")
        ->check(not_negative)
        ->type_name("T");
    command.add_option("--warn", request->warn, "Differences above it are told (default: as --fail)")
        ->check(not_negative)
        ->type_name("T");
    command.add_option("-o,--output", request->difference_path, "Write the differences as a picture")
        ->type_name("DIFF");
}

}  // namespace zvio
