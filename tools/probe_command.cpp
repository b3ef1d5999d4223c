#include <OpenImageIO/imageio.h>

#include <filesystem>

#include "image_io/frame/image_io.h"
#include "image_io/load/image_header.h"
#include "image_io/load/image_io_load.h"
#include "tools/color_space_rule_names.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/text_table.h"

namespace zvio {

namespace {

struct Layer {
    std::string name;                                           // empty: the channels without a layer
    std::vector<std::pair<std::string, std::string>> channels;  // name and type
};

struct Probe {
    ImageHeader header;
    int tile_width = 0, tile_height = 0, tile_depth = 0;
    std::vector<Layer> layers;
    std::string color_space;
    ColorSpaceRule rule = COLOR_SPACE_RULE_NONE;
};

/// The layer of a channel is the part of its name in front of the first dot.
void add_channel(std::vector<Layer>& layers, std::string const& name, std::string const& type)
{
    auto const dot = name.find('.');
    std::string const layer = dot == std::string::npos ? "" : name.substr(0, dot);
    for (Layer& known : layers)
        if (known.name == layer) {
            known.channels.emplace_back(name, type);
            return;
        }
    layers.push_back({layer, {{name, type}}});
}

/// What the header record leaves out: types of channels and sizes of tiles. False if the file does not open.
bool read_details(std::string const& path, Probe& probe)
{
    std::unique_ptr<OIIO::ImageInput> input;
    OIIO::ImageSpec spec(OIIO::TypeDesc::UNKNOWN);
    if (!ImageIOLoad::load_header(path.c_str(), input, spec))
        return false;
    input->close();
    probe.tile_width = spec.tile_width;
    probe.tile_height = spec.tile_height;
    probe.tile_depth = spec.tile_depth;
    for (unsigned int index = 0; index < probe.header.channel_names.get_count(); ++index)
        add_channel(probe.layers, probe.header.channel_names[index].get_data(),
                    spec.channelformat(static_cast<int>(index)).c_str());
    return true;
}

Json probe_json(std::string const& path, Probe const& probe)
{
    Json layers = Json::array();
    for (Layer const& layer : probe.layers) {
        Json channels = Json::array();
        for (auto const& [name, type] : layer.channels)
            channels.push_back({{"name", name}, {"type", type}});
        layers.push_back({{"name", layer.name}, {"channels", channels}});
    }
    Json tiles;
    if (probe.header.is_tiled)
        tiles = {{"width", probe.tile_width}, {"height", probe.tile_height}};
    return {{"path", path},
            {"ok", true},
            {"data_window", window_json(probe.header.data_window)},
            {"display_window", window_json(probe.header.display_window)},
            {"channel_count", probe.header.channel_count},
            {"layers", layers},
            {"tiled", probe.header.is_tiled},
            {"tiles", tiles},
            {"compression", probe.header.compression.get_data()},
            {"comment", probe.header.comment.get_data()},
            {"color_space", {{"name", probe.color_space}, {"rule", color_space_rule_name(probe.rule)}}}};
}

/// "r g b half, z float": names of one type stand together.
std::string channels_text(Layer const& layer)
{
    std::string text, type;
    for (auto const& [name, channel_type] : layer.channels) {
        if (!type.empty())
            text += channel_type == type ? " " : " " + type + ", ";
        text += layer.name.empty() ? name : name.substr(layer.name.size() + 1);
        type = channel_type;
    }
    return text + " " + type;
}

std::string probe_text(std::string const& path, Probe const& probe)
{
    auto const& data = probe.header.data_window;
    auto const& display = probe.header.display_window;
    TextTable table(2);
    table.add({"data window", window_text(data.x(), data.y(), data.width(), data.height())});
    if (!(data == display))
        table.add(
            {"display window", window_text(display.x(), display.y(), display.width(), display.height())});
    table.add({"storage", probe.header.is_tiled ? "tiles of " + std::to_string(probe.tile_width) + " x " +
                                                      std::to_string(probe.tile_height)
                                                : "scanlines"});
    if (!probe.header.compression.is_empty())
        table.add({"compression", probe.header.compression.get_data()});
    if (!probe.header.comment.is_empty())
        table.add({"comment", probe.header.comment.get_data()});
    table.add({"colour space", probe.color_space.empty()
                                   ? "nothing tells"
                                   : probe.color_space + " (by " + color_space_rule_name(probe.rule) + ")"});
    for (Layer const& layer : probe.layers)
        table.add({layer.name.empty() ? "channels" : "layer " + layer.name, channels_text(layer)});
    return path + "\n" + table.text();
}

Json run_one(std::string const& path, Document& document)
{
    std::error_code ignored;
    Probe probe;
    if (!std::filesystem::exists(path, ignored))
        document.fail(EXIT_CODE_INPUT, "missing", path, "no such file");
    else if (!ImageIO::get_image_specs(path.c_str(), probe.header) || !read_details(path, probe))
        document.fail(EXIT_CODE_INPUT, "unreadable", path, "cannot be read");
    else {
        probe.color_space = find_file_color_space(path.c_str(), probe.rule).get_data();
        document.print(probe_text(path, probe));
        return probe_json(path, probe);
    }
    return {{"path", path}, {"ok", false}};
}

void run_probe(std::vector<std::string> const& paths, Document& document)
{
    Json files = Json::array();
    for (std::string const& path : paths) {
        if (!files.empty())
            document.print("\n");
        files.push_back(run_one(path, document));
    }
    document.result() = {{"files", files}};
}

}  // namespace

void add_probe_command(CLI::App& app, CommandLine& line)
{
    auto const paths = std::make_shared<std::vector<std::string>>();
    CLI::App& command = add_command(app, line, "probe", "Tell what files hold, from their headers",
                                    [paths](Document& document) { run_probe(*paths, document); });
    command.add_option("FILE", *paths, "Picture files")->required()->type_name("");
}

}  // namespace zvio
