#include <gtest/gtest.h>

#include <algorithm>

#include "image_io/frame/image_io.h"
#include "tests/presets/preset_fixture.h"

namespace {

using zv_test::LogLine;

LogLine const kFallBack{
    2, "Unable to load the specified resolution presets configuration file, defaulting to Verrane "
       "internal config.\n"};

TEST_F(PresetManager, BuiltInListIsTheCatalogueEntryByEntry)
{
    std::vector<Entry> const expected = {
        {"Custom", false, 0.0f, -1, -1},
        {"Computer", true},
        {"VGA (640x480)", false, 1.0f, 640, 480},
        {"SVGA (800x600)", false, 1.0f, 800, 600},
        {"XGA (1024x768)", false, 1.0f, 1024, 768},
        {"Video (SD)", true},
        {"NTSC  (720x486)", false, 0.9f, 720, 486},
        {"NTSC wide (720x486)", false, 1.2f, 720, 486},
        {"PAL (720x576)", false, 1.0667f, 720, 576},
        {"PAL wide (720x576)", false, 1.4222f, 720, 576},
        {"Digital Video (HD)", true},
        {"1080p (1920x1080)", false, 1.0f, 1920, 1080},
        {"720p (1280x720)", false, 1.0f, 1280, 720},
        {"Film", true},
        {"4k super 35 full ap (4096x3112)", false, 1.0f, 4096, 3112},
        {"2k super 35 full ap (2048x1556)", false, 1.0f, 2048, 1556},
        {"2K cinemascope (1828x1556)", false, 1.0f, 1828, 1556},
        {"4k cinemascope (3656x3112)", false, 1.0f, 3656, 3112},
    };
    start();

    EXPECT_EQ(manager().get_presets_count(), 18u);
    EXPECT_EQ(entries(), expected);
}

TEST_F(PresetManager, EnumerationOfTheBuiltInListHasFourteenValues)
{
    std::vector<std::pair<std::string, int>> const expected = {
        {"Custom", 0},
        {"Computer|VGA (640x480)", 2},
        {"Computer|SVGA (800x600)", 3},
        {"Computer|XGA (1024x768)", 4},
        {"Video (SD)|NTSC  (720x486)", 6},
        {"Video (SD)|NTSC wide (720x486)", 7},
        {"Video (SD)|PAL (720x576)", 8},
        {"Video (SD)|PAL wide (720x576)", 9},
        {"Digital Video (HD)|1080p (1920x1080)", 11},
        {"Digital Video (HD)|720p (1280x720)", 12},
        {"Film|4k super 35 full ap (4096x3112)", 14},
        {"Film|2k super 35 full ap (2048x1556)", 15},
        {"Film|2K cinemascope (1828x1556)", 16},
        {"Film|4k cinemascope (3656x3112)", 17},
    };
    start();

    OfEnum* const labels = app->get_factory().get_enum("resolution_preset");
    ASSERT_NE(labels, nullptr);
    EXPECT_EQ(enumeration(), expected);
    EXPECT_EQ(labels->get_flags(), 0xFFFFFFFFu);
    EXPECT_EQ(labels->get_separator(), '|');
    EXPECT_FALSE(labels->is_asleep());
    for (auto const& [label, value] : enumeration())
        EXPECT_TRUE(std::string(label).ends_with(
            manager().get_preset_name(static_cast<unsigned int>(value)).get_data()))
            << "the value is the index of the preset";
}

TEST_F(PresetManager, FindsTheFirstPresetOfASize)
{
    start();

    EXPECT_EQ(manager().find_preset(1920, 1080), 11u);
    EXPECT_EQ(manager().find_preset(720, 486), 6u) << "NTSC stands in front of NTSC wide";
    EXPECT_EQ(manager().find_preset(640, 480), 2u);
    EXPECT_EQ(manager().find_preset(3656, 3112), 17u);
    EXPECT_EQ(manager().find_preset(1, 1), 0u);
    EXPECT_EQ(manager().find_preset(1920, 1), 0u) << "both must match";
    EXPECT_EQ(manager().find_preset(1, 1080), 0u);
}

TEST_F(PresetManager, FindsPresetsAndHeadingsByExactName)
{
    start();

    EXPECT_EQ(manager().get_preset_index("Custom"), 0u);
    EXPECT_EQ(manager().get_preset_index("Film"), 13u);
    EXPECT_EQ(manager().get_preset_index("NTSC  (720x486)"), 6u);
    EXPECT_EQ(manager().get_preset_index("NTSC (720x486)"), 0xFFFFFFFFu) << "one blank is not two";
    EXPECT_EQ(manager().get_preset_index("film"), 0xFFFFFFFFu);
    EXPECT_EQ(manager().get_preset_index(""), 0xFFFFFFFFu);
}

TEST_F(PresetManager, NameOfAnIndexPastTheEndIsEmpty)
{
    start();

    EXPECT_EQ(manager().get_preset_name(17), "4k cinemascope (3656x3112)");
    EXPECT_EQ(manager().get_preset_name(1), "Computer");
    EXPECT_EQ(manager().get_preset_name(18), "");
    EXPECT_EQ(manager().get_preset_name(0xFFFFFFFF), "");
}

TEST_F(PresetManager, AListBeforeItsStartHasNothing)
{
    ImageIOResolutionPresetManager const fresh(app.get());

    EXPECT_EQ(fresh.get_presets_count(), 0u);
    EXPECT_EQ(fresh.get_resolution_presets().get_count(), 0u);
    EXPECT_EQ(fresh.find_preset(640, 480), 0u);
    EXPECT_EQ(fresh.get_preset_index("Custom"), 0xFFFFFFFFu);
    EXPECT_EQ(app->get_factory().get_enum("resolution_preset"), nullptr);
}

TEST_F(PresetManager, StartWithoutAnApplicationFailsForGood)
{
    zv_test::LogCapture log;

    EXPECT_FALSE(ImageIO::init(nullptr));
    ASSERT_NE(ImageIOResolutionPresetManager::get_instance(), nullptr);
    EXPECT_EQ(manager().get_presets_count(), 0u);
    EXPECT_FALSE(ImageIO::init(app.get())) << "the application of the first call counts";
    EXPECT_TRUE(log.lines().empty());
    manager().update_file_config_path();
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PresetManager, InstanceLivesFromStartToDestroy)
{
    EXPECT_EQ(ImageIOResolutionPresetManager::get_instance(), nullptr);
    start();
    ImageIOResolutionPresetManager* const first = ImageIOResolutionPresetManager::get_instance();
    EXPECT_TRUE(ImageIO::init(app.get()));
    EXPECT_EQ(ImageIOResolutionPresetManager::get_instance(), first);

    ImageIOResolutionPresetManager::destroy();
    EXPECT_EQ(ImageIOResolutionPresetManager::get_instance(), nullptr);
    ImageIOResolutionPresetManager::destroy();
    EXPECT_EQ(ImageIOResolutionPresetManager::get_instance(), nullptr);
}

TEST_F(PresetManager, StartFillsTheEnumerationAndTellsTwice)
{
    ImageIOResolutionPresetManager own(app.get());
    int told = 0;
    count_changes(own, told);

    EXPECT_TRUE(own.init());

    EXPECT_EQ(told, 2);
}

TEST_F(PresetManager, RepeatedStartIsOneConnection)
{
    start();
    EXPECT_TRUE(ImageIO::init(app.get()));
    int told = 0;
    count_changes(manager(), told);

    use_file(false);

    EXPECT_EQ(told, 1);
}

TEST_F(PresetManager, DestroyEndsTheConnections)
{
    start();
    ImageIOResolutionPresetManager::destroy();
    zv_test::LogCapture log;

    app->resolution_preset_file_path = write("Own { small { width 4; height 3 } }");
    use_file(true);

    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(enumeration().size(), 14u) << "the enumeration stays with the application";
}

TEST_F(PresetManager, WhoHearsOfItsEndFindsNoneAnyMore)
{
    start();
    int ends = 0;
    EventObject::connect(
        manager(), "EVT_ID_DESTROY",
        [](EventObject&, EventObject::EventInfo const&, void* count) {
            ++*static_cast<int*>(count);
            EXPECT_EQ(ImageIOResolutionPresetManager::get_instance(), nullptr);
            ImageIOResolutionPresetManager::destroy();
        },
        &ends);

    ImageIOResolutionPresetManager::destroy();

    EXPECT_EQ(ends, 1);
}

TEST_F(PresetManager, AnAssignedListLeavesItsApplication)
{
    OfApp other;
    start();
    manager() = ImageIOResolutionPresetManager(nullptr);
    zv_test::LogCapture log;
    use_file(true);
    change_path(folder.file("missing.txt").c_str());
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(manager().get_presets_count(), 0u);

    manager() = ImageIOResolutionPresetManager(&other);
    app.reset();
    EXPECT_TRUE(manager().init()) << "the end of the application before is nothing to it";
    EXPECT_EQ(manager().get_presets_count(), 18u);
    ImageIOResolutionPresetManager::destroy();
}

TEST_F(PresetManager, ASettingThatComesOnAgainWithoutAPathKeepsTheListOfThen)
{
    start();
    app->resolution_preset_file_path = write("Own { small { width 4; height 3 } }");
    use_file(true);
    use_file(false);
    app->resolution_preset_file_path = "";

    use_file(true);

    EXPECT_EQ(manager().get_presets_count(), 18u) << "without a path the list stays what it is by then";
}

TEST_F(PresetManager, OutlivesItsApplication)
{
    start();
    app.reset();

    manager().update_file_config_path();
    EXPECT_FALSE(manager().init());
    EXPECT_EQ(manager().get_presets_count(), 18u) << "the list stays what it was";
    ImageIOResolutionPresetManager::destroy();
}

TEST_F(PresetManager, StartShowsTheBuiltInListWhateverTheSettingSays)
{
    app->resolution_preset_file_use = true;
    app->resolution_preset_file_path = write("Own { small { width 4; height 3 } }");

    start();

    EXPECT_EQ(manager().get_presets_count(), 18u);
}

TEST_F(PresetManager, SettingTurnedOnShowsTheFile)
{
    start();
    int told = 0;
    count_changes(manager(), told);
    app->resolution_preset_file_path = write("Own { small { width 4; height 3 } }");

    use_file(true);

    EXPECT_EQ(told, 1);
    EXPECT_EQ(entries(), (std::vector<Entry>{
                             {"Custom", false, 0.0f, -1, -1}, {"Own", true}, {"small", false, 0.0f, 4, 3}}));
    use_file(false);
    EXPECT_EQ(manager().get_presets_count(), 18u);
    EXPECT_EQ(told, 2);
}

TEST_F(PresetManager, SettingTurnedOnWithAMissingFileFallsBack)
{
    start();
    zv_test::LogCapture log;
    app->resolution_preset_file_path = folder.file("missing.txt").c_str();

    use_file(true);

    EXPECT_EQ(log.lines(), std::vector<LogLine>{kFallBack});
    EXPECT_EQ(manager().get_presets_count(), 18u);
}

TEST_F(PresetManager, WarningsWaitForTheLevel)
{
    start();
    zv_test::LogCapture log(1);
    app->resolution_preset_file_path = folder.file("missing.txt").c_str();

    use_file(true);

    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PresetManager, PathChangedWhileTheSettingIsOffChangesNothing)
{
    start();
    int told = 0;
    count_changes(manager(), told);

    change_path(write("Own { small { width 4; height 3 } }"));

    EXPECT_EQ(told, 0);
    EXPECT_EQ(manager().get_presets_count(), 18u);
}

TEST_F(PresetManager, PathChangedWhileTheSettingIsOnReadsTheNewFile)
{
    start();
    app->resolution_preset_file_path = write("Own { small { width 4; height 3 } }");
    use_file(true);
    zv_test::LogCapture log;

    change_path(write("Other { a { width 8 }; b { width 9 } }", "other.txt"));
    EXPECT_EQ(manager().get_presets_count(), 4u);
    EXPECT_EQ(manager().get_preset_name(1), "Other");
    EXPECT_TRUE(log.lines().empty());

    change_path(folder.file("missing.txt").c_str());
    EXPECT_EQ(manager().get_presets_count(), 18u);
    EXPECT_EQ(log.lines(), std::vector<LogLine>{kFallBack});
}

TEST_F(PresetManager, ALoadedListStaysWhenTheSettingComesOnWithoutAPath)
{
    start();
    app->resolution_preset_file_path = write("Own { small { width 4; height 3 } }");
    use_file(true);
    int told = 0;
    count_changes(manager(), told);
    zv_test::LogCapture log;

    app->resolution_preset_file_path = "";
    use_file(true);

    EXPECT_EQ(manager().get_presets_count(), 3u);
    EXPECT_EQ(told, 1);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PresetManager, AnEmptyPathAfterAFailedFileFallsBack)
{
    start();
    app->resolution_preset_file_path = folder.file("missing.txt").c_str();
    use_file(true);
    zv_test::LogCapture log;

    app->resolution_preset_file_path = "";
    use_file(true);

    EXPECT_EQ(log.lines(), std::vector<LogLine>{kFallBack});
}

TEST_F(PresetManager, UnderscoresOfGroupsAreBlanksInLabels)
{
    start();
    app->resolution_preset_file_path = write("Film_scans_A { full_size { width 4; height 3 } }");

    use_file(true);

    EXPECT_EQ(manager().get_preset_name(1), "Film_scans_A") << "the list keeps them";
    EXPECT_EQ(enumeration(),
              (std::vector<std::pair<std::string, int>>{{"Custom", 0}, {"Film scans A|full_size", 2}}));
}

TEST_F(PresetManager, DuplicatesInAGroupAreSkippedWithAWarning)
{
    start();
    zv_test::LogCapture log(2);
    app->resolution_preset_file_path =
        write("A { x { width 1 }; x { width 2 }; y { width 3 } }\nB { x { width 4 } }");

    use_file(true);

    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{2, "Duplicate resolution preset :'A|x'' is already defined in the "
                                        "current configuration.\n"}}));
    EXPECT_EQ(enumeration(),
              (std::vector<std::pair<std::string, int>>{{"Custom", 0}, {"A|x", 2}, {"A|y", 4}, {"B|x", 6}}));
    EXPECT_EQ(manager().get_presets_count(), 7u) << "the list itself holds the double";
}

TEST_F(PresetManager, GroupsWithUnderscoresAndBlanksCollideInLabels)
{
    start();
    zv_test::LogCapture log(2);
    app->resolution_preset_file_path = write("A_b { x { width 1 } }\n\"A b\" { x { width 2 } }");

    use_file(true);

    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{2, "Duplicate resolution preset :'A b|x'' is already defined in the "
                                        "current configuration.\n"}}));
}

TEST_F(PresetManager, CopiesHoldTheListAndHearNothing)
{
    start();
    ImageIOResolutionPresetManager copy(manager());
    ImageIOResolutionPresetManager assigned(nullptr);
    assigned = copy;
    ImageIOResolutionPresetManager const moved(std::move(copy));

    app->resolution_preset_file_path = write("Own { small { width 4; height 3 } }");
    use_file(true);

    EXPECT_EQ(moved.get_presets_count(), 18u);
    EXPECT_EQ(assigned.get_presets_count(), 18u);
    assigned.update_file_config_path();
    EXPECT_EQ(assigned.get_presets_count(), 3u);
    app.reset();
    assigned.update_file_config_path();
    EXPECT_EQ(assigned.get_presets_count(), 3u);
}

}  // namespace
