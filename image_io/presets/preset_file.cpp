#include "host/of/of_app.h"
#include "host/parser/parser_file.h"
#include "host/sys/sys_filesystem.h"
#include "image_io/presets/image_io_resolution_preset_manager.h"

namespace {

using Preset = ImageIOResolutionPresetManager::ResolutionPreset;

/// The path given, else that of the application's variable.
CoreString choose_path(CoreString const& path, OfApp& app)
{
    if (!path.is_empty())
        return path;
    OfAttr const* const variable = app.get_factory().get_vars().get("ZV_RESOLUTION_PRESET");
    return variable ? variable->get_string(0, 0, true) : CoreString();
}

Preset read_preset(ParserEntry const& entry)
{
    Preset preset{entry.get_name(), 0.0f, -1, -1, false};
    ParserGroup const& keys = *entry.get_group(0);
    if (ParserEntry const* const name = keys.get_entry("display_name"))
        preset.name = name->get_string(0);
    if (ParserEntry const* const ratio = keys.get_entry("aspect_ratio"))
        preset.aspect_ratio = static_cast<float>(ratio->get_double(0));
    if (ParserEntry const* const width = keys.get_entry("width"))
        preset.width = width->get_int(0);
    if (ParserEntry const* const height = keys.get_entry("height"))
        preset.height = height->get_int(0);
    return preset;
}

/// Appends a heading and the presets of its group; what is no group is passed over.
void read_group(ParserEntry const& entry, CoreVector<Preset>& presets)
{
    presets.add({entry.get_name(), 0.0f, -1, -1, true});
    ParserGroup const& group = *entry.get_group(0);
    for (unsigned int index = 0; index < group.get_entry_count(); ++index)
        if (ParserEntry const& preset = *group.get_entry(index); preset.is_value_group(0))
            presets.add(read_preset(preset));
}

}  // namespace

bool ImageIOResolutionPresetManager::build_from_file(CoreString const& path)
{
    m_file_config_loaded = false;
    m_file_presets.resize(0);
    m_file_presets.add({"Custom", 0.0f, -1, -1, false});
    if (!m_app)
        return false;
    CoreString const chosen = choose_path(path, *m_app);
    if (chosen.is_empty() || !SysFilesystem::file_exists(chosen))
        return false;
    ParserFile file(chosen);
    if (!file.read("", "", nullptr))
        return false;
    ParserGroup const& root = file.get_root();
    for (unsigned int index = 0; index < root.get_entry_count(); ++index) {
        ParserEntry const& entry = *root.get_entry(index);
        if (!entry.has_value())
            return false;
        if (entry.is_value_group(0))
            read_group(entry, m_file_presets);
    }
    m_file_config_loaded = true;
    return true;
}
