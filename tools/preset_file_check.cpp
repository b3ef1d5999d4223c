#include "tools/preset_file_check.h"

#include "host/parser/parser_file.h"
#include "host/sys/sys_filesystem.h"

namespace zvio {

namespace {

using Problems = std::vector<PresetProblem>;

PresetProblem remark(std::string text)
{
    return {false, 0, 0, std::move(text)};
}

std::string quoted(CoreString const& name)
{
    return "\"" + std::string(name.get_data()) + "\"";
}

void check_preset(std::string const& heading, ParserEntry const& entry, Problems& problems)
{
    std::string const name = heading + ": " + quoted(entry.get_name());
    if (!entry.is_value_group(0)) {
        problems.push_back(remark(name + " is no group and is passed over"));
        return;
    }
    ParserGroup const& keys = *entry.get_group(0);
    for (char const* key : {"width", "height"}) {
        ParserEntry const* const size = keys.get_entry(key);
        if (!size)
            problems.push_back(remark(name + " has no " + key));
        else if (!size->is_value_int(0) || size->get_int(0) < 1)
            problems.push_back(remark(name + " has a " + key + " that is no size in pixels"));
    }
    if (!keys.get_entry("aspect_ratio"))
        problems.push_back(remark(name + " has no aspect_ratio, which makes it 0"));
}

void check_heading(ParserEntry const& entry, Problems& problems)
{
    if (!entry.has_value()) {
        problems.push_back({true, 0, 0, quoted(entry.get_name()) + " has no value"});
        return;
    }
    if (!entry.is_value_group(0)) {
        problems.push_back(remark(quoted(entry.get_name()) + " is no group and is passed over"));
        return;
    }
    ParserGroup const& group = *entry.get_group(0);
    for (unsigned int index = 0; index < group.get_entry_count(); ++index)
        check_preset(quoted(entry.get_name()), *group.get_entry(index), problems);
}

}  // namespace

std::string PresetProblem::full_text() const
{
    return line == 0 ? text : std::to_string(line) + ":" + std::to_string(column) + ": " + text;
}

std::vector<PresetProblem> check_preset_file(std::string const& path)
{
    if (!SysFilesystem::file_exists(path.c_str()))
        return {{true, 0, 0, "there is no such file"}};
    ParserFile file(path.c_str());
    if (!file.read("", "", nullptr))
        return {{true, file.get_error_line(), file.get_error_column(), file.get_error_text().get_data()}};
    Problems problems;
    ParserGroup const& root = file.get_root();
    for (unsigned int index = 0; index < root.get_entry_count(); ++index)
        check_heading(*root.get_entry(index), problems);
    return problems;
}

}  // namespace zvio
