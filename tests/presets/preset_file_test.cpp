#include <gtest/gtest.h>

#include "host/sys/sys_timer.h"
#include "tests/presets/preset_fixture.h"

namespace {

Entry const kCustom{"Custom", false, 0.0f, -1, -1};

/// Files of presets, read through the setting, as the application does.
class PresetFile : public PresetManager {
protected:
    /// True if the file was taken. Its list is then the active one; else the built-in one is.
    bool takes(std::string const& text)
    {
        app->resolution_preset_file_path = write(text);
        return reads();
    }
    bool reads()
    {
        if (!ImageIOResolutionPresetManager::get_instance())
            start();
        zv_test::LogCapture log(1);
        use_file(true);
        EXPECT_TRUE(log.lines().empty()) << "no line of an error";
        return manager().get_presets_count() != 18;
    }
};

TEST_F(PresetFile, GroupsArePresetsUnderHeadings)
{
    ASSERT_TRUE(takes("Film_scans {\n"
                      "    full {\n"
                      "        display_name \"Full scan\"\n"
                      "        aspect_ratio 2.5\n"
                      "        width 4096\n"
                      "        height 3112\n"
                      "    }\n"
                      "    half { width 2048; height 1556 }\n"
                      "}\n"
                      "Empty { }\n"
                      "Video { hd { height 1080; width 1920; aspect_ratio 1 } }\n"));

    EXPECT_EQ(entries(), (std::vector<Entry>{kCustom,
                                             {"Film_scans", true},
                                             {"Full scan", false, 2.5f, 4096, 3112},
                                             {"half", false, 0.0f, 2048, 1556},
                                             {"Empty", true},
                                             {"Video", true},
                                             {"hd", false, 1.0f, 1920, 1080}}));
}

TEST_F(PresetFile, AFileWithoutEntriesHoldsCustomAlone)
{
    EXPECT_TRUE(takes(""));
    EXPECT_EQ(entries(), std::vector<Entry>{kCustom});
    EXPECT_TRUE(takes("# nothing yet\n\n"));
    EXPECT_EQ(entries(), std::vector<Entry>{kCustom});
}

TEST_F(PresetFile, KeysOfAPresetAreOptional)
{
    ASSERT_TRUE(takes("A { bare { }; sized { width 7 }; named { display_name \"N\" } }"));

    EXPECT_EQ(entries(), (std::vector<Entry>{kCustom,
                                             {"A", true},
                                             {"bare", false, 0.0f, -1, -1},
                                             {"sized", false, 0.0f, 7, -1},
                                             {"N", false, 0.0f, -1, -1}}));
}

TEST_F(PresetFile, OtherKeysAreIgnored)
{
    ASSERT_TRUE(takes("A { p { colour \"red\"; width 7; Width 8; depth { width 9 } } }"));

    EXPECT_EQ(entries().back(), (Entry{"p", false, 0.0f, 7, -1}));
}

TEST_F(PresetFile, TheFirstValueOfAKeyCounts)
{
    ASSERT_TRUE(takes("A { p { width 7 8; height 5; height 6 } }"));

    EXPECT_EQ(entries().back(), (Entry{"p", false, 0.0f, 7, 5}));
}

TEST_F(PresetFile, ValuesOfAnotherTypeAreWhatTheParserMakesOfThem)
{
    ASSERT_TRUE(takes("A { p { width \"wide\"; height 2.6; display_name 5; aspect_ratio 2 } }"));

    EXPECT_EQ(entries().back(), (Entry{"5", false, 2.0f, 0, 2}));
}

TEST_F(PresetFile, PlainValuesAtTheRootAreSkipped)
{
    ASSERT_TRUE(takes("version 3\nA { p { width 7 } }\ntitle \"x\""));

    EXPECT_EQ(entries(), (std::vector<Entry>{kCustom, {"A", true}, {"p", false, 0.0f, 7, -1}}));
}

TEST_F(PresetFile, PlainValuesAndEmptyEntriesInAGroupAreSkipped)
{
    ASSERT_TRUE(takes("A { note \"x\"; nothing; p { width 7 } }"));

    EXPECT_EQ(entries(), (std::vector<Entry>{kCustom, {"A", true}, {"p", false, 0.0f, 7, -1}}));
}

TEST_F(PresetFile, OnlyTheFirstValueDecidesWhetherItIsAGroup)
{
    ASSERT_TRUE(takes("A \"text\" { p { width 7 } }\nB { p { width 8 } } \"text\""));

    EXPECT_EQ(entries(), (std::vector<Entry>{kCustom, {"B", true}, {"p", false, 0.0f, 8, -1}}));
}

TEST_F(PresetFile, ARootEntryWithoutAValueRefusesTheFile)
{
    EXPECT_FALSE(takes("A { p { width 7 } }\nlonely\nB { q { width 8 } }"));
    EXPECT_EQ(manager().get_presets_count(), 18u);
}

TEST_F(PresetFile, AFileThatDoesNotParseIsRefused)
{
    EXPECT_FALSE(takes("A { p { width 7 }"));
    EXPECT_FALSE(takes("}"));
    EXPECT_FALSE(takes("A { \"unfinished }"));
    EXPECT_FALSE(takes(std::string("A { p { width ") + '\x01' + " } }"));
}

TEST_F(PresetFile, FoldersAndMissingFilesAreRefused)
{
    start();
    app->resolution_preset_file_path = folder.path().string().c_str();
    EXPECT_FALSE(reads());
    app->resolution_preset_file_path = folder.file("missing.txt").c_str();
    EXPECT_FALSE(reads());
}

TEST_F(PresetFile, AnEmptyPathIsThatOfTheVariable)
{
    CoreString const path = write("A { p { width 7 } }");
    app->get_factory().get_vars().set("ZV_RESOLUTION_PRESET", path);
    app->resolution_preset_file_path = "";

    EXPECT_TRUE(reads());
    EXPECT_EQ(manager().get_preset_name(1), "A");
}

TEST_F(PresetFile, APathGoesBeforeTheVariable)
{
    app->get_factory().get_vars().set("ZV_RESOLUTION_PRESET", write("A { }", "variable.txt"));

    EXPECT_TRUE(takes("B { }"));
    EXPECT_EQ(manager().get_preset_name(1), "B");
}

TEST_F(PresetFile, AnEmptyPathWithoutTheVariableIsRefused)
{
    app->resolution_preset_file_path = "";
    EXPECT_FALSE(reads());

    app->get_factory().get_vars().set("ZV_RESOLUTION_PRESET", "");
    EXPECT_FALSE(reads());
}

TEST_F(PresetFile, ARefusedFileLogsTheFallBackLineAlone)
{
    start();
    app->resolution_preset_file_path = write("A { p { width 7 }");
    zv_test::LogCapture log(3);

    use_file(true);

    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].level, 2);
}

TEST_F(PresetFile, AHundredThousandPresetsAreListedWithoutAWait)
{
    std::string text = "A {\n";
    for (int i = 0; i < 100000; ++i)
        text += "preset" + std::to_string(i) + " { width 7 }\n";
    SysTimer const timer;

    ASSERT_TRUE(takes(text + "}"));

    EXPECT_LT(timer.get_elapsed_time(), 5000);  // each label is not compared with all before it
    EXPECT_EQ(enumeration().size(), 100001u);
}

TEST_F(PresetFile, AnOlderListDoesNotShineThrough)
{
    ASSERT_TRUE(takes("A { p { width 7 } }"));
    EXPECT_FALSE(takes("B { q { width 8 } }\nlonely"));
    EXPECT_EQ(manager().get_preset_index("A"), 0xFFFFFFFFu);

    EXPECT_TRUE(takes("C { r { width 9 } }"));
    EXPECT_EQ(entries(), (std::vector<Entry>{kCustom, {"C", true}, {"r", false, 0.0f, 9, -1}}));
}

}  // namespace
