#include "host/of/of_app.h"

#include "host/core/core_class_info.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

void note_name(EventObject&, EventObject::EventInfo const& info, void* user_data)
{
    static_cast<std::vector<std::string>*>(user_data)->emplace_back(info.m_name.view());
}

TEST(OfApp, SettingsHaveSafeDefaults)
{
    OfApp const app;

    EXPECT_EQ(app.tiling_mode, 0);
    EXPECT_FALSE(app.output_aovs_in_all_formats);
    EXPECT_FALSE(app.output_one_file_per_aov);
    EXPECT_FALSE(app.output_aovs_only);
    EXPECT_EQ(app.dwa_compression_level, 45.0);
    EXPECT_FALSE(app.resolution_preset_file_use);
    EXPECT_TRUE(app.resolution_preset_file_path.is_empty());
}

TEST(OfApp, HandsOutItsFactoryThroughAVirtualOperation)
{
    class OtherApp : public OfApp {
    public:
        OfObjectFactory& get_factory() override { return other; }
        OfObjectFactory other;
    };
    OtherApp app;
    OfApp& base = app;

    EXPECT_EQ(&base.get_factory(), &app.other);
    EXPECT_TRUE(base.is_kindof(OfApp::class_info()));
    EXPECT_TRUE(base.is_kindof(AppBase::class_info()));
}

TEST(OfApp, HearsMemberConnectionsOfItsKind)
{
    class Manager : public EventObject {
    public:
        explicit Manager(OfApp& app)
        {
            connect(app, "EVT_ID_APPLICATION_RES_PRESET_FILE_PATH_CHANGED", &Manager::on_changed, nullptr);
        }
        int calls = 0;

    private:
        void on_changed(AppBase&, EventInfo const&, OfObject* data) { calls += data == nullptr; }
    };
    OfApp app;
    Manager const manager(app);
    app.raise_event("EVT_ID_APPLICATION_RES_PRESET_FILE_PATH_CHANGED");
    app.raise_event("EVT_ID_APPLICATION_RES_PRESET_FILE_USE_CHANGED");

    EXPECT_EQ(manager.calls, 1);
}

TEST(OfVars, GivesVariablesByName)
{
    OfVars vars;
    EXPECT_EQ(vars.get("ZV_RESOLUTION_PRESET"), nullptr);
    vars.set("ZV_RESOLUTION_PRESET", "/show/presets.txt");

    OfAttr* const variable = vars.get("ZV_RESOLUTION_PRESET");
    ASSERT_NE(variable, nullptr);
    EXPECT_EQ(variable->get_string(0, 0, true), "/show/presets.txt");
    EXPECT_EQ(vars.get("zv_resolution_preset"), nullptr);
    vars.set("ZV_RESOLUTION_PRESET", "/other.txt");
    EXPECT_EQ(vars.get("ZV_RESOLUTION_PRESET"), variable);
    EXPECT_EQ(variable->get_string(0, 0, true), "/other.txt");
    EXPECT_EQ(vars.get_count(), 1u);
}

TEST(OfVars, TellsOfItsChanges)
{
    OfVars vars;
    std::vector<std::string> names;
    for (char const* event : {"EVT_ID_VARS_ADD_VARIABLE", "EVT_ID_VARS_VARIABLE_CHANGED",
                              "EVT_ID_VARS_REMOVE_VARIABLE", "EVT_ID_VARS_REMOVE_ALL"})
        EventObject::connect(vars, event, note_name, &names);
    vars.set("A", "1");
    vars.set("A", "2");
    EXPECT_TRUE(vars.remove("A"));
    EXPECT_FALSE(vars.remove("A"));
    vars.set("B", "1");
    vars.remove_all();

    EXPECT_EQ(names, (std::vector<std::string>{"EVT_ID_VARS_ADD_VARIABLE", "EVT_ID_VARS_VARIABLE_CHANGED",
                                               "EVT_ID_VARS_REMOVE_VARIABLE", "EVT_ID_VARS_ADD_VARIABLE",
                                               "EVT_ID_VARS_REMOVE_ALL"}));
    EXPECT_EQ(vars.get_count(), 0u);
}

TEST(OfVars, ImportsFromTheEnvironment)
{
    OfVars vars;
    ::setenv("ZV_TEST_IMPORTED", "from outside", 1);
    ::unsetenv("ZV_TEST_MISSING");

    EXPECT_TRUE(vars.import_environment("ZV_TEST_IMPORTED"));
    EXPECT_FALSE(vars.import_environment("ZV_TEST_MISSING"));
    EXPECT_EQ(vars.get("ZV_TEST_IMPORTED")->get_string(), "from outside");
    EXPECT_EQ(vars.get("ZV_TEST_MISSING"), nullptr);
}

TEST(OfAttr, HasValuesOnPageZero)
{
    OfAttr attribute("path");
    EXPECT_EQ(attribute.get_string(0, 0, true), "");
    attribute.add_string("a");
    attribute.add_string("b");

    EXPECT_EQ(attribute.get_string(0, 0, true), "a");
    EXPECT_EQ(attribute.get_string(1, 0, false), "b");
    EXPECT_EQ(attribute.get_string(2, 0, true), "");
    EXPECT_EQ(attribute.get_string(0, 1, true), "");
    attribute.set_string("c");
    EXPECT_EQ(attribute.get_value_count(), 1u);
    EXPECT_EQ(attribute.get_string(), "c");
}

TEST(OfObjectFactory, AddEnumOfAKnownNameGivesTheExistingOne)
{
    OfObjectFactory factory;
    std::vector<std::string> names;
    EventObject::connect(factory, "EVT_ID_OF_ADD_ENUM", note_name, &names);
    OfEnum* const first = factory.add_enum("resolution_preset", 0xFFFFFFFF);
    OfEnum* const second = factory.add_enum("resolution_preset", 1);

    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    EXPECT_EQ(first->get_flags(), 0xFFFFFFFFu);
    EXPECT_EQ(first->get_name(), "resolution_preset");
    EXPECT_EQ(factory.get_enum("resolution_preset"), first);
    EXPECT_EQ(factory.get_enum("other"), nullptr);
    EXPECT_NE(factory.add_enum("other", 0), first);
    EXPECT_EQ(names.size(), 2u);
}

TEST(OfEnum, AddsAndFindsValues)
{
    OfEnum list("resolution_preset", 0);
    list.add_values(CoreVector<CoreString>{"Custom", "Computer|VGA"}, CoreVector<int>{0, 2});
    list.add_values(CoreVector<CoreString>{"Film|2K", "no number"}, CoreVector<int>{7});

    EXPECT_EQ(list.get_value_count(), 3u);
    EXPECT_EQ(list.find_label_index("Computer|VGA"), 1u);
    EXPECT_EQ(list.get_label(1), "Computer|VGA");
    EXPECT_EQ(list.get_value(1), 2);
    EXPECT_EQ(list.get_value(2), 7);
    EXPECT_EQ(list.find_label_index("computer|vga"), list.get_value_count());
    list.remove_all_values();
    EXPECT_EQ(list.get_value_count(), 0u);
    EXPECT_EQ(list.find_label_index("Custom"), 0u);
}

TEST(OfEnum, TellsOfChangesWhenAwake)
{
    OfEnum list("a", 0);
    std::vector<std::string> names;
    EventObject::connect(list, "EVT_ID_OF_ENUM_CHANGE", note_name, &names);
    list.set_separator('/');
    list.set_separator('/');
    EXPECT_EQ(names.size(), 1u);
    EXPECT_EQ(list.get_separator(), '/');
    list.add_values(CoreVector<CoreString>{"x"}, CoreVector<int>{1});
    EXPECT_EQ(names.size(), 2u);
}

TEST(OfEnum, SleepsThroughChangesAndTellsOnce)
{
    OfEnum list("a", 0);
    std::vector<std::string> names;
    EventObject::connect(list, "EVT_ID_OF_ENUM_CHANGE", note_name, &names);
    list.asleep();
    list.remove_all_values();
    list.add_values(CoreVector<CoreString>{"x"}, CoreVector<int>{1});
    EXPECT_TRUE(list.is_asleep());
    EXPECT_TRUE(names.empty());
    list.awake(true);
    EXPECT_EQ(names.size(), 1u);
    list.asleep();
    list.awake(true);
    EXPECT_EQ(names.size(), 1u);
    list.asleep();
    list.remove_all_values();
    list.awake(false);
    EXPECT_EQ(names.size(), 1u);
    EXPECT_FALSE(list.is_asleep());
}

TEST(OfChannelManager, FindsLayersByName)
{
    OfChannelManager manager;
    short const diffuse = manager.add_layer("diffuse", 2, 2);
    short const mask = manager.add_layer("object_id", 4, 1);

    EXPECT_EQ(diffuse, 0);
    EXPECT_EQ(manager.get_layer_index("object_id"), mask);
    EXPECT_EQ(manager.get_layer_index("Diffuse"), OfChannelManager::INVALID_INDEX);
    EXPECT_EQ(manager.get_bit_depth(mask), 4u);
    EXPECT_EQ(manager.get_bit_type(mask), 1u);
    EXPECT_EQ(manager.get_bit_depth(diffuse), 2u);
    EXPECT_EQ(manager.get_bit_type(diffuse), 2u);
}

TEST(OfChannelManager, FindsTheLayerOfAChannel)
{
    OfChannelManager manager;
    short const diffuse = manager.add_layer("diffuse", 2, 2);
    short const depth = manager.add_layer("depth", 4, 2);

    EXPECT_EQ(manager.get_layer_index_from_channel_name("diffuse.r"), diffuse);
    EXPECT_EQ(manager.get_layer_index_from_channel_name("diffuse.left.r"), diffuse);
    EXPECT_EQ(manager.get_layer_index_from_channel_name("depth"), depth);
    EXPECT_EQ(manager.get_layer_index_from_channel_name(".r"), OfChannelManager::INVALID_INDEX);
    EXPECT_EQ(manager.get_layer_index_from_channel_name("specular.r"), OfChannelManager::INVALID_INDEX);
}

TEST(OfChannelManager, AKnownLayerChangesItsType)
{
    OfChannelManager manager;
    short const first = manager.add_layer("diffuse", 2, 2);

    EXPECT_EQ(manager.add_layer("diffuse", 4, 2), first);
    EXPECT_EQ(manager.get_layer_count(), 1u);
    EXPECT_EQ(manager.get_bit_depth(first), 4u);
}

TEST(OfChannelManager, RefusesWhatItCannotNumber)
{
    OfChannelManager manager;

    EXPECT_EQ(manager.add_layer("", 2, 2), OfChannelManager::INVALID_INDEX);
    EXPECT_EQ(manager.get_bit_depth(OfChannelManager::INVALID_INDEX), 0u);
    EXPECT_EQ(manager.get_bit_type(3), 0u);
}

}  // namespace
