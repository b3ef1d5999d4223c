#include "tools/load_request.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <tuple>
#include <utility>

#include "host/colorio/color_io.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/color_space_rules.h"
#include "image_io/load/image_header.h"
#include "tools/color_space_rule_names.h"
#include "tools/text_table.h"

namespace zvio {

namespace {

constexpr std::size_t kMaximumNamedChannels = 4;

std::string default_color_space()
{
    return ColorIO::get_default_color_space_name().get_data();
}

bool is_known_color_space(std::string const& name)
{
    return !ColorIO::resolve_name(name.c_str()).is_empty();
}

ImagePixel::RepeatMode repeat_mode(std::string const& name)
{
    static char const* const kNames[] = {"repeat", "mirror", "none", "clamp"};
    for (int mode = 0; mode < 4; ++mode)
        if (name == kNames[mode] || name == std::to_string(mode))
            return static_cast<ImagePixel::RepeatMode>(mode);
    throw CommandError(EXIT_CODE_USAGE,
                       "unknown repeat mode \"" + name + "\"; there are repeat, mirror, none, clamp");
}

/// "u,v", or one mode for both.
std::pair<ImagePixel::RepeatMode, ImagePixel::RepeatMode> repeat_modes(std::string const& text)
{
    auto const comma = text.find(',');
    auto const u = repeat_mode(text.substr(0, comma));
    return {u, comma == std::string::npos ? u : repeat_mode(text.substr(comma + 1))};
}

}  // namespace

bool is_same_color_space(std::string const& first, std::string const& second)
{
    return ColorIO::resolve_name(first.c_str()) == ColorIO::resolve_name(second.c_str());
}

void refuse_color_space(std::string const& name)
{
    std::string text = "unknown colour space \"" + name + "\"; the configuration has";
    char const* separator = " ";
    for (CoreString const& known : ColorIO::get_color_space_names()) {
        text += separator;
        text += known.get_data();
        separator = ", ";
    }
    throw CommandError(EXIT_CODE_USAGE, text);
}

void add_load_request(CLI::App& command, LoadRequest& request, std::string const& space_option)
{
    command
        .add_option(space_option, request.color_space, "Colour space of the file's pixels, or auto (default)")
        ->type_name("NAME");
    command.add_flag("--premultiply", request.premultiply, "The file's alpha is straight: multiply by it");
    command
        .add_option("--single-channel", request.single_channel_mode,
                    "A file of one channel becomes: 0 its own name, 1 l (default), 2 a, 3 both")
        ->check(CLI::Range(0, 3).description(""))
        ->type_name("0..3");
    command.add_flag("--force-alpha", request.force_alpha, "Add an alpha of 1 where there is none");
    command.add_option("--channels", request.channels, "Load these, by position, as r, g, b, a")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("A,B,C");
    command
        .add_option("--repeat", request.repeat,
                    "How the image goes on past its edges: repeat, mirror, none, clamp")
        ->type_name("U,V");
}

Loader::Loader(LoadRequest const& request, Settings const& settings, Document& document)
    : m_request(request)
    , m_settings(settings)
    , m_document(document)
    , m_app(settings.progress)
{
    std::tie(m_repeat_u, m_repeat_v) = repeat_modes(request.repeat);
    if (request.color_space != "auto" && !is_known_color_space(request.color_space))
        refuse_color_space(request.color_space);
    for (std::string const& name : request.channels)
        m_channels.add(CoreString(name.c_str()).get_lower_case());
    if (request.channels.size() > kMaximumNamedChannels)
        document.warn("channels_ignored", "", "only the first four names of --channels are loaded");
}

ColorSpaceChoice Loader::choose_color_space(std::string const& path)
{
    if (m_request.color_space != "auto")
        return {m_request.color_space, "option"};
    ColorSpaceRule rule = COLOR_SPACE_RULE_NONE;
    std::string const found = find_file_color_space(path.c_str(), rule).get_data();
    if (!found.empty() && is_known_color_space(found))
        return {found, color_space_rule_name(rule)};
    std::string const assumed = default_color_space();
    if (found.empty())
        m_document.warn("color_space_assumed", path, "nothing tells the colour space; taken as " + assumed);
    else
        m_document.warn("color_space_unknown", path,
                        "the colour space \"" + found + "\" is not in the configuration; taken as " +
                            assumed);
    return {assumed, "default"};
}

void Loader::check_channel_names(std::string const& path, ImageHeader const& header)
{
    for (CoreString const& name : m_channels)
        if (header.channel_names.find_index(name) == CoreString::kNotFound)
            m_document.warn("channel_missing", path,
                            std::string("there is no channel \"") + name.get_data() + "\"");
}

void Loader::tell_losses(std::string const& path, ImageLoadReport const& report)
{
    if (!report.is_damaged())
        return;
    std::string text = "damaged:", separator = " ";
    if (report.rows_lost) {
        text += separator + std::to_string(report.rows_lost) + " of " + count_text(report.rows_asked, "row") +
                " lost";
        separator = ", ";
    }
    if (report.tiles_lost) {
        text += separator + std::to_string(report.tiles_lost) + " of " +
                count_text(report.tiles_asked, "tile") + " lost";
        separator = ", ";
    }
    if (!report.rows_lost && !report.tiles_lost)
        text += separator + report.errors[0].get_data();
    if (m_settings.strict)
        m_document.fail(EXIT_CODE_DAMAGE, "damaged", path, text);
    else
        m_document.warn("damaged", path, text);
}

LoadedFile Loader::load(std::string const& path, std::string const& wanted_space)
{
    LoadedFile loaded;
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) {
        m_document.fail(EXIT_CODE_INPUT, "missing", path, "no such file");
        return loaded;
    }
    ImageHeader header;
    if (!ImageIO::get_image_specs(path.c_str(), header)) {
        m_document.fail(EXIT_CODE_INPUT, "unreadable", path, "cannot be read");
        return loaded;
    }
    loaded.color_space = choose_color_space(path);
    check_channel_names(path, header);

    ImageLoadOptions options;
    bool const stays = !wanted_space.empty() && is_same_color_space(loaded.color_space.name, wanted_space);
    loaded.canvas_space = stays ? loaded.color_space.name : default_color_space();
    options.color_space = stays ? default_color_space().c_str() : loaded.color_space.name.c_str();
    options.premultiply = m_request.premultiply;
    options.single_channel_mode = m_request.single_channel_mode;
    options.force_alpha = m_request.force_alpha;
    options.channels = m_channels.is_empty() ? nullptr : &m_channels;

    AppProgressBar* const bar = m_app.begin_bar(std::filesystem::path(path).filename().string());
    loaded.canvas.reset(
        ImageIO::load_image(path.c_str(), options, &m_app, bar, m_repeat_u, m_repeat_v, loaded.report));
    m_app.end_bar(bar);
    if (!loaded.canvas)
        m_document.fail(EXIT_CODE_INPUT, "unreadable", path, "cannot be loaded");
    else
        tell_losses(path, loaded.report);
    return loaded;
}

}  // namespace zvio
