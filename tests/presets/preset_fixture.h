#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "host/of/of_app.h"
#include "image_io/presets/image_io_resolution_preset_manager.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

/// An entry of the list; of a heading only the name counts.
struct Entry {
    std::string name;
    bool is_group = false;
    float aspect_ratio = 0.0f;
    int width = -1, height = -1;

    bool operator==(Entry const& other) const
    {
        bool const same = name == other.name && is_group == other.is_group;
        return same && (is_group || (aspect_ratio == other.aspect_ratio && width == other.width &&
                                     height == other.height));
    }
};

inline std::ostream& operator<<(std::ostream& stream, Entry const& entry)
{
    return stream << '"' << entry.name << '"' << (entry.is_group ? " (group)" : "") << ' '
                  << entry.aspect_ratio << ' ' << entry.width << 'x' << entry.height;
}

/// An application, and an instance that ends with the test.
class PresetManager : public testing::Test {
protected:
    ~PresetManager() override { ImageIOResolutionPresetManager::destroy(); }

    void start() { ASSERT_TRUE(ImageIOResolutionPresetManager::static_init(app.get())); }
    static ImageIOResolutionPresetManager& manager()
    {
        return *ImageIOResolutionPresetManager::get_instance();
    }

    CoreString write(std::string const& text, std::string const& name = "presets.txt")
    {
        std::ofstream(folder.file(name)) << text;
        return folder.file(name).c_str();
    }
    void use_file(bool use)
    {
        app->resolution_preset_file_use = use;
        app->raise_event("EVT_ID_APPLICATION_RES_PRESET_FILE_USE_CHANGED");
    }
    void change_path(CoreString const& path)
    {
        app->resolution_preset_file_path = path;
        app->raise_event("EVT_ID_APPLICATION_RES_PRESET_FILE_PATH_CHANGED");
    }

    static std::vector<Entry> entries()
    {
        std::vector<Entry> all;
        for (auto const& preset : manager().get_resolution_presets())
            all.push_back(
                {preset.name.get_data(), preset.is_group, preset.aspect_ratio, preset.width, preset.height});
        return all;
    }
    std::vector<std::pair<std::string, int>> enumeration()
    {
        std::vector<std::pair<std::string, int>> all;
        OfEnum const* const labels = app->get_factory().get_enum("resolution_preset");
        for (unsigned int index = 0; labels && index < labels->get_value_count(); ++index)
            all.emplace_back(labels->get_label(index).get_data(), labels->get_value(index));
        return all;
    }
    /// Counts how often a list tells that it changed.
    static void count_changes(ImageIOResolutionPresetManager& list, int& count)
    {
        EventObject::connect(
            list, "EVT_ID_RESOLUTION_PRESET_MANAGER_LIST_CHANGED",
            [](EventObject&, EventObject::EventInfo const&, void* counter) { ++*static_cast<int*>(counter); },
            &count);
    }

    zv_test::TempDir folder;
    std::unique_ptr<OfApp> app = std::make_unique<OfApp>();
};
