#include "image_io/plate/plate_image_manager.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <thread>

#include "host/of/of_app.h"
#include "host/sys/sys_statistic.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"

namespace {

using zv_test::LogLine;

/// What a catalogue raised: the event, and the path of the plate that came with it.
struct Heard {
    std::string event;
    PlateImage const* plate;

    bool operator==(Heard const&) const = default;
};

class PlateManager : public testing::Test {
protected:
    PlateManager()
    {
        PlateImageManager::create(*app);
        for (char const* event :
             {"EVT_ID_PLATE_IMAGE_MANAGER_PATH_ADDED", "EVT_ID_PLATE_IMAGE_MANAGER_PATHS_CLEARED"})
            EventObject::connect(
                manager(), event,
                [](EventObject&, EventObject::EventInfo const& info, void* list) {
                    static_cast<std::vector<Heard>*>(list)->push_back(
                        {info.m_name.get_data(), static_cast<PlateImage*>(info.m_data)});
                },
                &heard);
    }
    ~PlateManager() override { PlateImageManager::destroy(); }

    static PlateImageManager& manager() { return PlateImageManager::get(); }
    std::string write(std::string const& name = "plate.tif", int channels = 4)
    {
        zv_test::write_picture(folder.file(name),
                               zv_test::picture_spec(3, 2, channels, OIIO::TypeDesc::FLOAT));
        return folder.file(name);
    }
    static Heard added(PlateImage const* plate) { return {"EVT_ID_PLATE_IMAGE_MANAGER_PATH_ADDED", plate}; }
    static Heard cleared() { return {"EVT_ID_PLATE_IMAGE_MANAGER_PATHS_CLEARED", nullptr}; }

    zv_test::TempDir folder;
    std::unique_ptr<OfApp> app = std::make_unique<OfApp>();
    std::vector<Heard> heard;
};

TEST_F(PlateManager, ANewPathMakesAPlateAndTells)
{
    std::string const path = write();

    PlateImage* const plate = manager().get_or_create_plate_image(path.c_str());

    ASSERT_NE(plate, nullptr);
    EXPECT_EQ(plate->get_file_path(), path.c_str());
    EXPECT_FALSE(plate->is_loaded());
    EXPECT_EQ(plate->get_requester_count(), 0u);
    EXPECT_EQ(heard, std::vector<Heard>{added(plate)});
    EXPECT_EQ(manager().get_path(0), path.c_str());
    EXPECT_EQ(manager().get_path_index(path.c_str()), 0);
}

TEST_F(PlateManager, AKnownPathGivesItsPlateAndTellsNothing)
{
    std::string const path = write();
    PlateImage* const plate = manager().get_or_create_plate_image(path.c_str());
    heard.clear();

    EXPECT_EQ(manager().get_or_create_plate_image(path.c_str()), plate);

    EXPECT_TRUE(heard.empty());
    EXPECT_EQ(manager().get_paths().get_count(), 1u);
}

TEST_F(PlateManager, TwoPathsToOneFileAreOnePlate)
{
    std::string const path = write();
    std::string const detour = folder.path().string() + "/./plate.tif";

    PlateImage* const first = manager().get_or_create_plate_image(path.c_str());
    PlateImage* const second = manager().get_or_create_plate_image(detour.c_str());

    EXPECT_EQ(first, second);
    EXPECT_EQ(heard, (std::vector<Heard>{added(first), added(first)}));
    ASSERT_EQ(manager().get_paths().get_count(), 2u);
    EXPECT_EQ(manager().get_path(1), detour.c_str()) << "as it was asked for";
    EXPECT_EQ(manager().get_path_index(detour.c_str()), 1);
}

TEST_F(PlateManager, VariablesInPathsAreResolved)
{
    std::string const path = write();
    app->get_factory().get_vars().set("SHOW", folder.path().string().c_str());

    PlateImage* const plate = manager().get_or_create_plate_image("$SHOW//plate.tif");

    ASSERT_NE(plate, nullptr);
    EXPECT_EQ(plate->get_file_path(), path.c_str());
    EXPECT_EQ(manager().get_path(0), "$SHOW//plate.tif");
}

TEST_F(PlateManager, RelativePathsBeginInTheCurrentFolder)
{
    write();
    auto const before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());

    PlateImage* const plate = manager().get_or_create_plate_image("plate.tif");
    std::filesystem::current_path(before);

    ASSERT_NE(plate, nullptr);
    EXPECT_TRUE(plate->load(nullptr)) << "wherever the process is by then";
}

TEST_F(PlateManager, MissingFilesAndFoldersAreRefused)
{
    zv_test::LogCapture log;

    EXPECT_EQ(manager().get_or_create_plate_image("/no/such/plate.exr"), nullptr);
    EXPECT_EQ(manager().get_or_create_plate_image(folder.path().string().c_str()), nullptr);

    EXPECT_EQ(
        log.lines(),
        (std::vector<LogLine>{
            {2, "Failed to add plate image '/no/such/plate.exr' : path does not exist or is not a file.\n"},
            {2, "Failed to add plate image '" + folder.path().string() +
                    "' : path does not exist or is not a file.\n"}}));
    EXPECT_TRUE(heard.empty());
    EXPECT_EQ(manager().get_paths().get_count(), 0u);
}

TEST_F(PlateManager, MessageHoldsThePathAsGiven)
{
    zv_test::LogCapture log;

    manager().get_or_create_plate_image("$NOWHERE_TO_BE_FOUND/a.exr");

    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_NE(log.lines()[0].text.find("'$NOWHERE_TO_BE_FOUND/a.exr'"), std::string::npos);
}

TEST_F(PlateManager, AnEmptyPathGivesNothingWithoutAWord)
{
    zv_test::LogCapture log;

    EXPECT_EQ(manager().get_or_create_plate_image(""), nullptr);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PlateManager, UnknownPathsAndIndexesHaveAnAnswer)
{
    EXPECT_EQ(manager().get_path(0), "");
    EXPECT_EQ(manager().get_path(0xFFFFFFFF), "");
    EXPECT_EQ(manager().get_path_index("nothing"), -1);
    EXPECT_EQ(PlateImageManager::kInvalidIndex, -1);
}

TEST_F(PlateManager, PathsStayWhereTheyAreWhileTheListGrows)
{
    CoreString const& first =
        (manager().get_or_create_plate_image(write("0.tif").c_str()), manager().get_path(0));
    for (int index = 1; index < 40; ++index)
        manager().get_or_create_plate_image(write(std::to_string(index) + ".tif").c_str());

    EXPECT_EQ(&first, &manager().get_path(0));
    EXPECT_EQ(first, folder.file("0.tif").c_str());
    CoreArray<CoreString> const paths = manager().get_paths();
    ASSERT_EQ(paths.get_count(), 40u);
    EXPECT_EQ(paths[39], folder.file("39.tif").c_str());
}

TEST_F(PlateManager, ClearForgetsAllAndTellsIfItIsAskedTo)
{
    manager().get_or_create_plate_image(write().c_str());
    heard.clear();

    manager().clear(PlateImageManager::CLEAR_MODE_RAISE_EVENT);

    EXPECT_EQ(heard, std::vector<Heard>{cleared()});
    EXPECT_EQ(manager().get_paths().get_count(), 0u);
    EXPECT_EQ(manager().get_path(0), "");

    manager().clear(PlateImageManager::CLEAR_MODE_RAISE_EVENT);
    EXPECT_EQ(heard.size(), 1u) << "an empty catalogue raises nothing";

    manager().get_or_create_plate_image(write().c_str());
    heard.clear();
    manager().clear(PlateImageManager::CLEAR_MODE_SILENT);
    EXPECT_TRUE(heard.empty());
    EXPECT_EQ(manager().get_paths().get_count(), 0u);
}

TEST_F(PlateManager, ListenersMayComeBackToTheCatalogue)
{
    std::string const other = write("other.tif");
    EventObject::connect(
        manager(), "EVT_ID_PLATE_IMAGE_MANAGER_PATH_ADDED",
        [](EventObject&, EventObject::EventInfo const&, void* path) {
            PlateImageManager::get().get_or_create_plate_image(static_cast<std::string*>(path)->c_str());
            PlateImageManager::get().log_statistics();
        },
        const_cast<std::string*>(&other));

    EXPECT_NE(manager().get_or_create_plate_image(write().c_str()), nullptr);
    EXPECT_EQ(manager().get_paths().get_count(), 2u);
}

TEST_F(PlateManager, ListenersOfAClearFindAnEmptyCatalogue)
{
    unsigned int paths = 99;
    EventObject::connect(
        manager(), "EVT_ID_PLATE_IMAGE_MANAGER_PATHS_CLEARED",
        [](EventObject&, EventObject::EventInfo const&, void* count) {
            *static_cast<unsigned int*>(count) = PlateImageManager::get().get_paths().get_count();
            PlateImageManager::get().clear(PlateImageManager::CLEAR_MODE_RAISE_EVENT);
        },
        &paths);
    manager().get_or_create_plate_image(write().c_str());

    manager().clear(PlateImageManager::CLEAR_MODE_RAISE_EVENT);

    EXPECT_EQ(paths, 0u);
}

TEST_F(PlateManager, MemoryCountsPlatesAndPaths)
{
    EXPECT_EQ(manager().get_memory_size(), 128u + 16u);

    std::string const path = write();
    PlateImage* const plate = manager().get_or_create_plate_image(path.c_str());
    plate->add_requester();
    ASSERT_TRUE(plate->load(nullptr));
    unsigned long long const capacity = manager().get_path(0).m_capacity;
    unsigned long long const one_slot = 128 + 28 + 16 + capacity;
    EXPECT_EQ(manager().get_memory_size(), one_slot + plate->get_memory_size());

    manager().get_or_create_plate_image((folder.path().string() + "/./plate.tif").c_str());
    manager().get_or_create_plate_image((folder.path().string() + "//plate.tif").c_str());
    unsigned long long capacities = 0;
    for (unsigned int index = 0; index < 3; ++index)
        capacities += manager().get_path(index).m_capacity;
    EXPECT_EQ(manager().get_memory_size(), 128 + 28 + 4 * 16 + capacities + plate->get_memory_size())
        << "three paths take four slots";

    manager().clear(PlateImageManager::CLEAR_MODE_SILENT);
    EXPECT_EQ(manager().get_memory_size(), 128u + 28u + 4 * 16) << "the list keeps its slots";
}

TEST_F(PlateManager, ReportGoesLineByLine)
{
    std::string const loaded = write("loaded.tif"), waiting = write("waiting.tif");
    PlateImage* const plate = manager().get_or_create_plate_image(loaded.c_str());
    plate->add_requester();
    plate->add_requester();
    ASSERT_TRUE(plate->load(nullptr));
    manager().get_or_create_plate_image(waiting.c_str());
    auto const size = [](unsigned long long bytes) {
        return std::string(SysStatistic::get_readable_size(bytes).get_data()) + "\n";
    };
    zv_test::LogCapture log(3);

    manager().log_statistics();

    std::vector<LogLine> const expected = {
        {3, "**********************************\n"},
        {3, "* Plate Image Manager Statistics *\n"},
        {3, "**********************************\n"},
        {3, "Plate Image count = 2\n"},
        {3, "Plate Image #0\n"},
        {3, "    File full path  = " + loaded + "\n"},
        {3, "    Image size      = 3 x 2\n"},
        {3, "    Memory size     = " + size(56 + 28 + 4 * 3 * 2 * 4)},
        {3, "    Requester count = 2\n"},
        {3, "Plate Image #1\n"},
        {3, "    File full path  = " + waiting + "\n"},
        {3, "    Image size      = not loaded\n"},
        {3, "    Memory size     = " + size(56 + 16)},
        {3, "    Requester count = 0\n"},
        {3, "Path count = 2\n"},
        {3, "Path #0: " + loaded + "\n"},
        {3, "Path #1: " + waiting + "\n"},
        {3, "Total memory size = " + size(manager().get_memory_size())},
        {3, "\n"},
    };
    EXPECT_EQ(log.lines(), expected);
}

TEST_F(PlateManager, ReportWaitsForItsLevel)
{
    zv_test::LogCapture log(2);

    manager().log_statistics();

    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PlateManager, WithoutAnInstanceThereIsAnEmptyOne)
{
    std::string const path = write();
    PlateImageManager::destroy();
    PlateImageManager::destroy();

    EXPECT_EQ(PlateImageManager::get().get_or_create_plate_image(path.c_str()), nullptr);
    EXPECT_EQ(PlateImageManager::get().get_paths().get_count(), 0u);

    PlateImageManager::create(*app);
    EXPECT_NE(PlateImageManager::get().get_or_create_plate_image(path.c_str()), nullptr);
}

TEST_F(PlateManager, EndOfTheCatalogueRaisesNothing)
{
    manager().get_or_create_plate_image(write().c_str());
    heard.clear();

    PlateImageManager::destroy();

    EXPECT_TRUE(heard.empty());
}

TEST_F(PlateManager, WhoHearsOfItsEndFindsNoneAnyMore)
{
    int ends = 0;
    EventObject::connect(
        manager(), "EVT_ID_DESTROY",
        [](EventObject&, EventObject::EventInfo const&, void* count) {
            ++*static_cast<int*>(count);
            PlateImageManager::destroy();
            EXPECT_EQ(PlateImageManager::get().get_paths().get_count(), 0u);
        },
        &ends);
    manager().get_or_create_plate_image(write().c_str());

    PlateImageManager::destroy();

    EXPECT_EQ(ends, 1);
}

TEST_F(PlateManager, ASecondBeginningEndsTheFirst)
{
    manager().get_or_create_plate_image(write().c_str());
    heard.clear();

    PlateImageManager::create(*app);

    EXPECT_EQ(manager().get_paths().get_count(), 0u);
    EXPECT_TRUE(heard.empty());
}

TEST_F(PlateManager, OutlivesItsApplication)
{
    std::string const path = write();
    PlateImage* const plate = manager().get_or_create_plate_image(path.c_str());
    app.reset();

    EXPECT_EQ(manager().get_or_create_plate_image(path.c_str()), nullptr) << "nobody resolves paths any more";
    EXPECT_TRUE(plate->load(nullptr));
    EXPECT_EQ(manager().get_paths().get_count(), 1u);
}

TEST_F(PlateManager, CopiesShareThePlates)
{
    std::string const path = write();
    PlateImage* const plate = manager().get_or_create_plate_image(path.c_str());
    heard.clear();
    auto copy = std::make_unique<PlateImageManager>(manager());

    EXPECT_EQ(copy->get_path(0), path.c_str());
    EXPECT_EQ(copy->get_or_create_plate_image(path.c_str()), plate);
    manager().clear(PlateImageManager::CLEAR_MODE_SILENT);
    EXPECT_TRUE(plate->load(nullptr)) << "the copy holds it";
    copy.reset();
    EXPECT_TRUE(heard.empty());
}

TEST_F(PlateManager, ThreadsMakeOnePlateAFile)
{
    std::vector<std::string> paths;
    for (int index = 0; index < 8; ++index)
        paths.push_back(write(std::to_string(index) + ".tif"));
    std::vector<std::vector<PlateImage*>> found(4);

    std::vector<std::thread> threads;
    for (auto& plates : found)
        threads.emplace_back([&plates, &paths] {
            PlateImageManager own_events(PlateImageManager::get());
            for (std::string const& path : paths)
                plates.push_back(PlateImageManager::get().get_or_create_plate_image(path.c_str()));
        });
    for (std::thread& thread : threads)
        thread.join();

    for (auto const& plates : found)
        EXPECT_EQ(plates, found[0]);
    EXPECT_EQ(manager().get_paths().get_count(), 8u);
}

}  // namespace
