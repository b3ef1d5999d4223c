#include "host/image/image_map.h"
#include "host/sys/sys_statistic.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/image_statistics.h"
#include "tools/load_request.h"
#include "tools/text_table.h"

namespace zvio {

namespace {

char const* bit_type_name(ImagePixel::BitType type)
{
    return type == ImagePixel::BIT_TYPE_FLOAT ? "float" : "integer";
}

char const* depth_name(ImagePixel::Depth depth)
{
    static char const* const kNames[] = {"no colour", "luminance", "luminance, alpha", "red, green, blue",
                                         "red, green, blue, alpha"};
    return depth >= 0 && depth <= 4 ? kNames[depth] : "unknown";
}

GMathVec4<int> display_window(ImageCanvas const& canvas)
{
    return {canvas.get_x(), canvas.get_y(), canvas.get_width(), canvas.get_height()};
}

struct TileCounts {
    unsigned long long allocated = 0, constant = 0;
};

TileCounts count_tiles(std::vector<ChannelStatistics> const& channels)
{
    TileCounts counts;
    for (ChannelStatistics const& channel : channels) {
        counts.allocated += channel.allocated_tiles;
        counts.constant += channel.constant_tiles;
    }
    return counts;
}

/// Null for what there is not: a channel without finite samples.
Json number_json(std::optional<double> number)
{
    return number ? Json(*number) : Json();
}

Json channel_json(ChannelStatistics const& channel)
{
    return {{"name", channel.name},
            {"min", number_json(channel.minimum)},
            {"max", number_json(channel.maximum)},
            {"mean", number_json(channel.mean)},
            {"nan", channel.nan_count},
            {"inf", channel.infinity_count},
            {"hash", hash_text(channel.hash)},
            {"tiles_allocated", channel.allocated_tiles},
            {"tiles_constant", channel.constant_tiles}};
}

Json load_json(std::string const& path, LoadedFile const& loaded,
               std::vector<ChannelStatistics> const& statistics)
{
    ImageMap const& map = *loaded.canvas->get_map();
    ImageLoadReport const& report = loaded.report;
    TileCounts const tiles = count_tiles(statistics);
    Json channels = Json::array(), errors = Json::array();
    for (ChannelStatistics const& channel : statistics)
        channels.push_back(channel_json(channel));
    for (CoreString const& error : report.errors)
        errors.push_back(error.get_data());
    return {{"path", path},
            {"ok", true},
            {"damaged", report.is_damaged()},
            {"data_window", window_json(*loaded.canvas->m_map->m_bbox)},
            {"display_window", window_json(display_window(*loaded.canvas))},
            {"depth", static_cast<int>(map.m_depth)},
            {"bit_depth", static_cast<int>(map.m_bit_depth) * 8},
            {"bit_type", bit_type_name(map.m_bit_type)},
            {"tile_size", map.m_tile_size},
            {"tiles", {{"allocated", tiles.allocated}, {"constant", tiles.constant}}},
            {"color_space", {{"name", loaded.color_space.name}, {"rule", loaded.color_space.rule}}},
            {"channels", channels},
            {"memory_bytes", loaded.canvas->get_memory_size()},
            {"milliseconds", report.milliseconds},
            {"rows_asked", report.rows_asked},
            {"rows_lost", report.rows_lost},
            {"tiles_asked", report.tiles_asked},
            {"tiles_lost", report.tiles_lost},
            {"errors", errors}};
}

/// What a damaged file did not give: rows, tiles, or the reader's own words where it gave all and complained.
std::string lost_text(ImageLoadReport const& report)
{
    if (report.tiles_lost)
        return std::to_string(report.tiles_lost) + " of " + count_text(report.tiles_asked, "tile");
    if (report.rows_lost)
        return std::to_string(report.rows_lost) + " of " + count_text(report.rows_asked, "row");
    return "unknown; every row came, with an error";
}

std::string properties_text(LoadedFile const& loaded, std::vector<ChannelStatistics> const& statistics)
{
    ImageMap const& map = *loaded.canvas->get_map();
    GMathVec4<int> const data = *loaded.canvas->m_map->m_bbox, display = display_window(*loaded.canvas);
    TileCounts const tiles = count_tiles(statistics);
    TextTable table(2);
    table.add({"data window", window_text(data.x(), data.y(), data.width(), data.height())});
    if (!(data == display))
        table.add(
            {"display window", window_text(display.x(), display.y(), display.width(), display.height())});
    table.add({"depth", std::to_string(map.m_depth) + " (" + depth_name(map.m_depth) + ")"});
    table.add({"samples", std::to_string(map.m_bit_depth * 8) + " bit " + bit_type_name(map.m_bit_type)});
    table.add({"tiles", std::to_string(map.m_tile_size) + " x " + std::to_string(map.m_tile_size) + ", " +
                            std::to_string(tiles.allocated) + " allocated, " +
                            std::to_string(tiles.constant) + " constant"});
    table.add({"colour space", loaded.color_space.name + " (by " + loaded.color_space.rule + ")"});
    table.add({"memory", SysStatistic::get_readable_size(loaded.canvas->get_memory_size()).get_data()});
    table.add({"time", milliseconds_text(loaded.report.milliseconds)});
    if (loaded.report.is_damaged())
        table.add({"lost", lost_text(loaded.report)});
    return table.text();
}

std::string channels_text(std::vector<ChannelStatistics> const& statistics)
{
    auto const number = [](std::optional<double> value) {
        return value ? number_text(*value) : std::string("-");
    };
    TextTable table(2, {TextTable::LEFT, TextTable::RIGHT, TextTable::RIGHT, TextTable::RIGHT,
                        TextTable::RIGHT, TextTable::RIGHT, TextTable::LEFT});
    table.add({"channel", "min", "max", "mean", "nan", "inf", "hash"});
    for (ChannelStatistics const& channel : statistics)
        table.add({channel.name, number(channel.minimum), number(channel.maximum), number(channel.mean),
                   std::to_string(channel.nan_count), std::to_string(channel.infinity_count),
                   hash_text(channel.hash)});
    return table.text();
}

Json run_one(std::string const& path, Loader& loader, Document& document)
{
    LoadedFile const loaded = loader.load(path);
    if (!loaded.canvas)
        return {{"path", path}, {"ok", false}};
    auto const statistics = measure_channels(*loaded.canvas);
    document.print(path + "\n" + properties_text(loaded, statistics) + "\n" + channels_text(statistics));
    return load_json(path, loaded, statistics);
}

void run_load(std::vector<std::string> const& paths, LoadRequest const& request, Settings const& settings,
              Document& document)
{
    Loader loader(request, settings, document);
    Json files = Json::array();
    for (std::string const& path : paths) {
        if (!files.empty())
            document.print("\n");
        files.push_back(run_one(path, loader, document));
    }
    document.result() = {{"files", files}};
}

}  // namespace

void add_load_command(CLI::App& app, CommandLine& line)
{
    struct Request {
        std::vector<std::string> paths;
        LoadRequest load;
    };
    auto const request = std::make_shared<Request>();
    CLI::App& command = add_command(app, line, "load", "Load files and tell what came of it",
                                    [request, &settings = line.settings](Document& document) {
                                        run_load(request->paths, request->load, settings, document);
                                    });
    command.add_option("FILE", request->paths, "Picture files")->required()->type_name("");
    add_load_request(command, request->load);
}

}  // namespace zvio
