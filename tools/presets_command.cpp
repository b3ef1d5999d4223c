#include <algorithm>
#include <cstdio>
#include <set>

#include "host/of/of_app.h"
#include "image_io/frame/image_io.h"
#include "image_io/presets/image_io_resolution_preset_manager.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/preset_file_check.h"
#include "tools/text_table.h"

namespace zvio {

namespace {

using Preset = ImageIOResolutionPresetManager::ResolutionPreset;

struct PresetsRequest {
    std::string file;  // empty: the built-in list
    std::string size, name, checked_file;
};

/// The list as an application has it, started and turned to the file if there is one. Throws CommandError for a file
/// that the application would refuse.
class PresetList {
public:
    explicit PresetList(std::string const& file)
    {
        for (PresetProblem const& problem :
             file.empty() ? std::vector<PresetProblem>() : check_preset_file(file))
            if (problem.is_fatal)
                throw CommandError(EXIT_CODE_INPUT, file + ": " + problem.full_text());
        if (!ImageIO::init(&m_app))
            throw CommandError(EXIT_CODE_FAILURE, "the list of presets does not start");
        if (file.empty())
            return;
        m_app.resolution_preset_file_path = file.c_str();
        m_app.resolution_preset_file_use = true;
        m_app.raise_event("EVT_ID_APPLICATION_RES_PRESET_FILE_USE_CHANGED");
    }
    ~PresetList() { ImageIOResolutionPresetManager::destroy(); }
    PresetList(PresetList const&) = delete;
    PresetList& operator=(PresetList const&) = delete;

    ImageIOResolutionPresetManager const& manager() const
    {
        return *ImageIOResolutionPresetManager::get_instance();
    }
    OfEnum const& enumeration() { return *m_app.get_factory().get_enum("resolution_preset"); }

private:
    OfApp m_app;
};

Json preset_json(unsigned int index, Preset const& preset)
{
    if (preset.is_group)
        return {{"index", index}, {"name", preset.name.get_data()}, {"group", true}};
    return {{"index", index},        {"name", preset.name.get_data()},
            {"group", false},        {"aspect_ratio", preset.aspect_ratio},
            {"width", preset.width}, {"height", preset.height}};
}

/// A row of the table of presets; the sizes of a heading mean nothing.
std::vector<std::string> preset_row(unsigned int index, Preset const& preset)
{
    if (preset.is_group)
        return {std::to_string(index), std::string("[") + preset.name.get_data() + "]"};
    bool const has_size = preset.width >= 0 && preset.height >= 0;
    return {std::to_string(index), preset.name.get_data(),
            has_size ? std::to_string(preset.width) + " x " + std::to_string(preset.height) : "-",
            number_text(preset.aspect_ratio)};
}

TextTable preset_table()
{
    TextTable table(0, {TextTable::RIGHT, TextTable::LEFT, TextTable::RIGHT, TextTable::RIGHT});
    table.add({"index", "name", "size", "aspect"});
    return table;
}

void list_presets(PresetsRequest const& request, Document& document)
{
    PresetList const list(request.file);
    TextTable table = preset_table();
    Json presets = Json::array();
    for (unsigned int index = 0; index < list.manager().get_presets_count(); ++index) {
        Preset const& preset = list.manager().get_resolution_presets()[index];
        table.add(preset_row(index, preset));
        presets.push_back(preset_json(index, preset));
    }
    document.result() = {{"presets", presets}};
    document.print(table.text());
}

void tell_preset(PresetList const& list, unsigned int index, Document& document)
{
    Preset const& preset = list.manager().get_resolution_presets()[index];
    TextTable table = preset_table();
    table.add(preset_row(index, preset));
    document.result() = {{"preset", preset_json(index, preset)}};
    document.print(table.text());
}

void find_size(PresetsRequest const& request, Document& document)
{
    int width = 0, height = 0, end = 0;
    if (std::sscanf(request.size.c_str(), "%dx%d%n", &width, &height, &end) != 2 ||
        end != static_cast<int>(request.size.size()))
        throw CommandError(EXIT_CODE_USAGE, "\"" + request.size + "\" is no size like 1920x1080");
    PresetList const list(request.file);
    tell_preset(list, list.manager().find_preset(width, height), document);
}

void show_preset(PresetsRequest const& request, Document& document)
{
    PresetList const list(request.file);
    unsigned int const index = list.manager().get_preset_index(request.name.c_str());
    if (index == ImageIOResolutionPresetManager::kInvalidIndex)
        throw CommandError(EXIT_CODE_USAGE, "there is no preset called \"" + request.name + "\"");
    tell_preset(list, index, document);
}

void list_enumeration(PresetsRequest const& request, Document& document)
{
    PresetList list(request.file);
    OfEnum const& enumeration = list.enumeration();
    TextTable table(0, {TextTable::RIGHT, TextTable::LEFT});
    table.add({"value", "label"});
    Json values = Json::array();
    for (unsigned int index = 0; index < enumeration.get_value_count(); ++index) {
        table.add({std::to_string(enumeration.get_value(index)), enumeration.get_label(index).get_data()});
        values.push_back(
            {{"value", enumeration.get_value(index)}, {"label", enumeration.get_label(index).get_data()}});
    }
    document.result() = {{"values", values}};
    document.print(table.text());
}

/// Presets that the enumeration leaves out: doubles.
std::vector<std::string> find_doubles(std::string const& file)
{
    PresetList list(file);
    std::set<int> listed;
    for (unsigned int index = 0; index < list.enumeration().get_value_count(); ++index)
        listed.insert(list.enumeration().get_value(index));
    std::vector<std::string> doubles;
    for (unsigned int index = 0; index < list.manager().get_presets_count(); ++index) {
        Preset const& preset = list.manager().get_resolution_presets()[index];
        if (!preset.is_group && !listed.contains(static_cast<int>(index)))
            doubles.push_back(preset.name.get_data());
    }
    return doubles;
}

void check_file(PresetsRequest const& request, Document& document)
{
    std::string const& path = request.checked_file;
    auto const problems = check_preset_file(path);
    Json entries = Json::array();
    bool is_refused = false;
    for (PresetProblem const& problem : problems) {
        is_refused |= problem.is_fatal;
        entries.push_back({{"fatal", problem.is_fatal},
                           {"line", problem.line},
                           {"column", problem.column},
                           {"text", problem.text}});
        document.print(path + ": " + problem.full_text() + "\n");
    }
    if (!is_refused)
        for (std::string const& name : find_doubles(path)) {
            entries.push_back({{"fatal", false}, {"line", 0}, {"column", 0}, {"text", "double: " + name}});
            document.print(path + ": \"" + name +
                           "\" is there already in its group and is left out of menus\n");
        }
    document.result() = {{"path", path}, {"usable", !is_refused}, {"problems", entries}};
    if (is_refused)
        document.fail(EXIT_CODE_INPUT, "presets_refused", path, "the application would refuse this file");
    else if (entries.empty())
        document.print(path + ": nothing to remark\n");
}

}  // namespace

void add_presets_command(CLI::App& app, CommandLine& line)
{
    auto const request = std::make_shared<PresetsRequest>();
    using Run = void (*)(PresetsRequest const&, Document&);
    auto const run = std::make_shared<Run>(list_presets);
    CLI::App& command = add_command(app, line, "presets", "List and check resolution presets",
                                    [request, run](Document& document) { (*run)(*request, document); });
    command.require_subcommand(0, 1);
    command.add_option("--file", request->file, "A file of presets instead of the built-in list")
        ->type_name("FILE");
    auto const add = [&](char const* name, char const* description, Run work) -> CLI::App& {
        CLI::App& part = *command.add_subcommand(name, description);
        part.fallthrough();
        part.callback([run, work] { *run = work; });
        return part;
    };
    add("list", "The list, headings in brackets", list_presets);
    add("enum", "The labels of the menu with their values", list_enumeration);
    add("find", "The first preset of a size", find_size)
        .add_option("SIZE", request->size, "A size like 1920x1080")
        ->required()
        ->type_name("");
    add("show", "The preset of a name", show_preset)
        .add_option("NAME", request->name, "The exact name")
        ->required()
        ->type_name("");
    add("check", "What is wrong with a file of presets", check_file)
        .add_option("FILE", request->checked_file, "A file of presets")
        ->required()
        ->type_name("");
}

}  // namespace zvio
