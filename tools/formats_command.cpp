#include "image_io/format/image_io_file_format.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/text_table.h"

namespace zvio {

namespace {

using Format = ImageIOFileFormat;

Json names_json(CoreVector<CoreString> const& names)
{
    Json json = Json::array();
    for (CoreString const& name : names)
        json.push_back(name.get_data());
    return json;
}

std::string names_text(CoreVector<CoreString> const& names)
{
    std::string text;
    for (CoreString const& name : names)
        text += (text.empty() ? "" : " ") + std::string(name.get_data());
    return text;
}

Json list_load(std::string& text)
{
    TextTable table(2);
    Json rows = Json::array();
    table.add({"name", "extensions"});
    for (int number = 0; number <= Format::LOAD_HDR; ++number) {
        auto const format = static_cast<Format::Load>(number);
        auto const extensions = Format::get_load_extensions(format);
        table.add({Format::get_load_name(format), names_text(extensions)});
        rows.push_back({{"value", number},
                        {"name", Format::get_load_name(format)},
                        {"extensions", names_json(extensions)}});
    }
    text = table.text();
    return rows;
}

Json list_save(std::string& text)
{
    TextTable table(2, {TextTable::LEFT, TextTable::LEFT, TextTable::RIGHT, TextTable::LEFT});
    Json rows = Json::array();
    table.add({"short name", "name", "bytes", "extensions"});
    for (int number = 0; number < Format::SAVE_UNKNOWN; ++number) {
        auto const format = static_cast<Format::Save>(number);
        auto const extensions = Format::get_save_extensions(format);
        unsigned int const bytes = Format::get_bytes_per_channel(format);
        table.add({Format::get_short_name(format), Format::get_save_name(format), std::to_string(bytes),
                   names_text(extensions)});
        rows.push_back({{"value", number},
                        {"name", Format::get_save_name(format)},
                        {"short_name", Format::get_short_name(format)},
                        {"bytes_per_channel", bytes},
                        {"extensions", names_json(extensions)}});
    }
    text = table.text();
    return rows;
}

Json list_compression(std::string& text)
{
    TextTable table(2);
    Json rows = Json::array();
    table.add({"short name", "name"});
    for (int number = 0; number < Format::COMPRESSION_UNKNOWN; ++number) {
        auto const method = static_cast<Format::OpenExrCompressionMethod>(number);
        table.add({Format::get_short_name(method), Format::get_compression_name(method)});
        rows.push_back({{"value", number},
                        {"name", Format::get_compression_name(method)},
                        {"short_name", Format::get_short_name(method)}});
    }
    text = table.text();
    return rows;
}

constexpr std::size_t kLineCharacters = 100;

Json list_extensions(std::string& text)
{
    std::string line = " ";
    for (CoreString const& extension : Format::get_supported_extensions()) {
        if (line.size() + 1 + extension.get_count() > kLineCharacters) {
            text += line + "\n";
            line = " ";
        }
        line += std::string(" ") + extension.get_data();
    }
    text += line + "\n";
    return names_json(Format::get_supported_extensions());
}

Json list_filters(std::string& text)
{
    CoreString const open = Format::get_extension_file_filters_for_open_file();
    CoreString const save = Format::get_extension_file_filters_for_save_file();
    for (auto const& [title, filters] : {std::pair("open", &open), std::pair("save", &save)}) {
        TextTable table(4);
        for (CoreString const& line : filters->split("\n")) {
            auto const pieces = line.split("\t");
            table.add({pieces[0].get_data(), pieces[1].get_data()});
        }
        text += std::string("  ") + title + "\n" + table.text();
    }
    return {{"open", open.get_data()}, {"save", save.get_data()}};
}

struct Topic {
    char const* name;
    char const* title;
    Json (*list)(std::string& text);
};

constexpr Topic kTopics[] = {
    {"load", "Formats offered for opening", list_load},
    {"save", "Formats offered for saving", list_save},
    {"compression", "OpenEXR compressions", list_compression},
    {"extensions", "Extensions that can be read here", list_extensions},
    {"filters", "File dialog filters", list_filters},
};

void run_formats(std::string const& topic, Document& document)
{
    document.result() = Json::object();
    bool is_first = true;
    for (Topic const& known : kTopics) {
        if (!topic.empty() && topic != known.name)
            continue;
        std::string text;
        document.result()[known.name] = known.list(text);
        document.print((is_first ? "" : "\n") + std::string(known.title) + "\n" + text);
        is_first = false;
    }
}

}  // namespace

void add_formats_command(CLI::App& app, CommandLine& line)
{
    std::vector<std::string> topics;
    for (Topic const& topic : kTopics)
        topics.emplace_back(topic.name);
    auto const topic = std::make_shared<std::string>();
    CLI::App& command = add_command(app, line, "formats", "List the catalogue of formats",
                                    [topic](Document& document) { run_formats(*topic, document); });
    command.add_option("TOPIC", *topic, "load, save, compression, extensions or filters; all by default")
        ->check(CLI::IsMember(topics).description(""))
        ->type_name("");
}

}  // namespace zvio
