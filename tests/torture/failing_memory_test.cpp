#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <ostream>
#include <vector>

#include "host/core/core_log_handler.h"
#include "host/image/image_tile_factory.h"
#include "host/of/of_app.h"
#include "host/resource/resource_user.h"
#include "image_io/format/image_io_file_format.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/image_header.h"
#include "image_io/load/image_load_options.h"
#include "image_io/plate/plate_image_manager.h"
#include "image_io/presets/image_io_resolution_preset_manager.h"
#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"
#include "image_io/texture/image_io_texture_manager.h"
#include "tests/save/test_canvas.h"
#include "tests/torture/roads_fixture.h"

// One after the other, each allocation of the module and the host fails: once, and with all behind it.

namespace {

using namespace zv_torture;

/// Each allocation of the module in turn, the first of each trial, alone or with all behind it, until a trial needs no more of
/// them than came: `for (EachAllocation failing; failing.goes_on();)`, and in there `failing.in(call)`.
class EachAllocation {
public:
    explicit EachAllocation(bool for_ever = false)
        : m_for_ever(for_ever)
    {
    }

    [[nodiscard]] bool goes_on() const { return m_number < 0 || has_failed(); }

    /// What the call gives without that allocation.
    template <class Call>
    auto in(Call const& call)
    {
        struct Armed {
            ~Armed() { stop_counting(); }
        } const armed;
        fail_allocation(Asker::OURS, ++m_number, m_for_ever);
        return in_module(call);
    }

    friend std::ostream& operator<<(std::ostream& out, EachAllocation const& failing)
    {
        return out << failing.m_number << " at " << failed_at();
    }

private:
    bool m_for_ever;
    long long m_number = -1;
};

class WithoutMemory : public RoadsFixture {
protected:
    /// What succeeds gave the same as with memory, and some trials failed.
    void expect_no_false_success(std::string const& name)
    {
        Road const& trial = road(name);
        trial.run();
        forget_tiles();
        count_allocations(Asker::OURS);
        Outcome const wanted = trial.run();
        long long const count = stop_counting();
        ASSERT_TRUE(wanted.claims_success);
        int failures = 0;
        for (bool for_ever : {false, true})
            for (long long number = 0; number < count; ++number) {
                forget_tiles();
                fail_allocation(Asker::OURS, number, for_ever);
                Outcome const outcome = trial.run();
                stop_counting();
                failures += !outcome.claims_success;
                EXPECT_TRUE(!outcome.claims_success || outcome == wanted) << number << " at " << failed_at();
            }
        EXPECT_GT(failures, 0);
        EXPECT_EQ(trial.run(), wanted);
    }

    /// A single allocation fails and leaves memory for a line: whatever fails for that says so.
    void expect_failures_to_be_told(std::string const& name)
    {
        Road const& trial = road(name);
        trial.run();
        forget_tiles();
        count_allocations(Asker::OURS);
        trial.run();
        long long const count = stop_counting();
        int failures = 0;
        for (long long number = 0; number < count; ++number) {
            forget_tiles();
            unsigned long long const lines = error_lines();
            fail_allocation(Asker::OURS, number, false);
            Outcome const outcome = trial.run();
            stop_counting();
            failures += !outcome.claims_success;
            EXPECT_TRUE(outcome.claims_success || error_lines() > lines)
                << name << ", " << number << " at " << failed_at();
        }
        EXPECT_GT(failures, 0) << name;
    }

    /// The same where nothing but tiles lacks memory: all else goes on, and has to tell.
    void expect_no_false_success_without_tiles(std::string const& name)
    {
        Road const& trial = road(name);
        ImageTileFactory& factory = ImageTileFactory::get();
        Outcome const wanted = trial.run();
        ASSERT_TRUE(wanted.claims_success);
        factory.set_memory_limit(1);
        Outcome const without = trial.run();
        factory.set_memory_limit(0);
        EXPECT_FALSE(without.claims_success);
        EXPECT_EQ(trial.run(), wanted);
    }

    ImageCanvas* load_shared(ImageIOTextureManager& manager, ResourceUser& user, CoreString const& path) const
    {
        return manager.load_image(user, path, plain_load, nullptr, nullptr, ImagePixel::REPEAT_MODE_CLAMP,
                                  ImagePixel::REPEAT_MODE_CLAMP);
    }

    ImageLoadOptions const plain_load;
};

TEST_F(WithoutMemory, APictureOfLinesThatLacksAChannelOrTilesIsNotCalledWhole)
{
    expect_no_false_success("load lines.exr");
    expect_no_false_success("load a.png, alpha");
}

TEST_F(WithoutMemory, APictureOfTilesThatLacksAChannelOrTilesIsNotCalledWhole)
{
    expect_no_false_success("load tiles.exr");
    expect_no_false_success("load tiles.tif, alpha");
}

TEST_F(WithoutMemory, FailuresAreToldWhereALineHasMemory)
{
    for (char const* name :
         {"save png8", "save exr16 zip lines", "save exr32 none tiles", "save exr16 none lines, regions",
          "save tiff8", "save split simple.png lines", "save split planned.exr lines, regions"})
        expect_failures_to_be_told(name);
}

/// A canvas with metadata that an OpenEXR file takes.
struct CanvasWithMetaData {
    CanvasWithMetaData()
    {
        for (char const* name : {"artist", "shot", "take"})
            canvas.canvas().m_meta_data.insert(name, CoreArray<CoreVariant>{CoreVariant(name)});
        options.format = ImageIOFileFormat::SAVE_EXR16;
        options.compression = ImageIOFileFormat::COMPRESSION_NONE;
        options.color_space = "";
        options.meta_data.add({"own", {CoreVariant("item")}});
    }

    zv_test::TestCanvas canvas;
    ImageSaveOptions options;
};

TEST_F(WithoutMemory, ASaveDoesNotLeaveTheCanvassMetadataOut)
{
    std::string const path = folder.file("metadata.exr");
    int failures = 0;
    for (EachAllocation failing; failing.goes_on();) {
        CanvasWithMetaData picture;
        CoreString const name = path.c_str();
        bool const is_saved = failing.in([&] {
            return ImageIO::save(name, picture.options, picture.canvas.canvas(), nullptr, nullptr, nullptr);
        }) == ImageIO::SAVING_STATUS_SUCCESS;

        unsigned int const count = picture.options.meta_data.get_count();
        EXPECT_TRUE(count == 4 || (count == 1 && !is_saved)) << failing;
        failures += count == 1;
        if (is_saved) {
            auto const input = OIIO::ImageInput::open(path);
            ASSERT_TRUE(input) << failing;
            for (char const* attribute : {"own", "artist", "shot", "take"})
                EXPECT_NE(input->spec().find_attribute(attribute), nullptr) << failing;
        }
    }
    EXPECT_GT(failures, 0);
}

TEST_F(WithoutMemory, TheCanvassMetadataIsTakenAsAWholeOrNotAtAll)
{
    int failures = 0;
    for (EachAllocation failing; failing.goes_on();) {
        CanvasWithMetaData picture;
        unsigned long long const lines = error_lines();
        failing.in([&] { picture.options.add_image_canvas_meta_data(picture.canvas.canvas()); });
        EXPECT_EQ(picture.options.meta_data.get_count(), has_failed() ? 1u : 4u) << failing;
        EXPECT_EQ(error_lines() - lines, has_failed() ? 1u : 0u) << failing;
        failures += has_failed();
    }
    EXPECT_GT(failures, 3);
}

/// Gives what `ask` gives with memory, or `nothing`: for each allocation, failing alone.
template <class Ask, class Value>
void expect_right_or_nothing(Ask const& ask, Value const& nothing)
{
    Value const wanted = ask();
    int failures = 0;
    for (EachAllocation failing; failing.goes_on();) {
        Value const given = failing.in(ask);
        EXPECT_TRUE(given == wanted || given == nothing) << failing;
        failures += given == nothing;
    }
    EXPECT_GT(failures, 0);
}

TEST_F(WithoutMemory, TheCatalogueOfFormatsGivesNothing)
{
    using Format = ImageIOFileFormat;
    CoreVector<CoreString> const no_names;
    CoreString const no_text, path("/a/long/path/of/some/file/that.0001.exr"),
        layer("a layer with a long name"), short_name("EXR16_that_is_in_no_list_at_all"),
        method("DWAA Compression with a long name");
    expect_right_or_nothing([] { return Format::get_load_extensions(Format::LOAD_TX); }, no_names);
    expect_right_or_nothing([] { return Format::get_save_extensions(Format::SAVE_UNKNOWN); }, no_names);
    expect_right_or_nothing([] { return Format::get_extension_file_filters_for_open_file(); }, no_text);
    expect_right_or_nothing([] { return Format::get_extension_file_filters_for_save_file(); }, no_text);
    expect_right_or_nothing([&] { return Format::construct_layer_file_name(path, layer); }, no_text);
    expect_right_or_nothing([&] { return Format::construct_tile_file_name(path, 12, 3); }, no_text);
    expect_right_or_nothing([&] { return Format::get_save_from_short_name(short_name); },
                            Format::SAVE_UNKNOWN);
    expect_right_or_nothing([&] { return Format::get_compression_from_short_name(method); },
                            Format::COMPRESSION_UNKNOWN);
}

TEST_F(WithoutMemory, AListOfPresetsThatCannotBeReadIsReplacedAndTold)
{
    static int warnings;
    CoreLogHandler::set_sink([](int, CoreString const& text) {
        warnings += text.find("defaulting to Verrane internal config") != CoreString::kNotFound;
    });
    std::string const paths[] = {folder.file("a.txt"), folder.file("b.txt")};
    std::ofstream(paths[0]) << "film { one { width 10; height 20 } }\n";
    std::ofstream(paths[1]) << "film { two { width 30; height 40 }; three { width 50; height 60 } }\n";
    OfApp app;
    app.resolution_preset_file_use = true;
    ASSERT_TRUE(ImageIOResolutionPresetManager::static_init(&app));
    auto& manager = *ImageIOResolutionPresetManager::get_instance();
    unsigned int const built_in = manager.get_presets_count();
    int replaced = 0;
    for (EachAllocation failing; failing.goes_on();) {
        app.resolution_preset_file_path = paths[0].c_str();
        manager.update_file_config_path();
        ASSERT_EQ(manager.get_presets_count(), 3u);
        app.resolution_preset_file_path = paths[1].c_str();
        warnings = 0;
        failing.in([&] { manager.update_file_config_path(); });

        unsigned int const count = manager.get_presets_count();
        EXPECT_TRUE(count == 4 || count == built_in) << count << ", " << failing;
        EXPECT_EQ(warnings, count == built_in) << failing;
        replaced += count == built_in;
        EXPECT_FALSE(app.get_factory().get_enum("resolution_preset")->is_asleep()) << failing;
    }
    EXPECT_GT(replaced, 0);
    ImageIOResolutionPresetManager::destroy();
}

TEST_F(WithoutMemory, ARegionThatIsInAFileStaysThere)
{
    OfApp app;
    zv_test::TestCanvas const canvas;
    ImageSaveOptions options;
    options.format = ImageIOFileFormat::SAVE_EXR32;
    options.compression = ImageIOFileFormat::COMPRESSION_NONE;
    options.color_space = "";
    std::string const path = folder.file("regions.exr");
    for (app.tiling_mode = 0; app.tiling_mode < 2; ++app.tiling_mode) {
        int failures = 0;
        for (EachAllocation failing(true); failing.goes_on();) {
            ImageIO::SavingStatus status;
            {
                ImageIOOutputs outputs;
                ImageEvalContext context = canvas.context();
                ASSERT_EQ(ImageIOSave::build_outputs(&app, options, path.c_str(), &canvas.map(),
                                                     canvas.data_window(), canvas.canvas_rectangle(),
                                                     outputs),
                          ImageIO::SAVING_STATUS_SUCCESS);
                ASSERT_EQ(ImageIOSave::save_region(&app, outputs, context, {0, 0, 47, 16}, nullptr),
                          ImageIO::SAVING_STATUS_SUCCESS);
                status = failing.in([&] { return ImageIOSave::save(&app, outputs, context, nullptr); });
            }
            failures += status != ImageIO::SAVING_STATUS_SUCCESS;
            auto const input = OIIO::ImageInput::open(path);
            ASSERT_TRUE(input) << failing;
            std::vector<float> tile(16 * 16 * 4), lines(16 * 47 * 4);
            EXPECT_TRUE(app.tiling_mode ? input->read_tile(16, 0, 0, OIIO::TypeDesc::FLOAT, tile.data())
                                        : input->read_scanlines(0, 0, 0, 16, 0, 0, 4, OIIO::TypeDesc::FLOAT,
                                                                lines.data()))
                << failing;
            std::filesystem::remove(path);
        }
        EXPECT_GT(failures, 0);
    }
}

TEST_F(WithoutMemory, ABufferThatIsNotSavedIsTold)
{
    std::vector<unsigned char> const pixels(16 * 16 * 3, 77);
    CoreString const path = folder.file("buffer.png").c_str();
    int failures = 0;
    for (EachAllocation failing; failing.goes_on();) {
        unsigned long long const lines = error_lines();
        bool const is_saved = failing.in([&] { return ImageIO::save_image(path, pixels.data(), 3, 16, 16); });
        EXPECT_TRUE(is_saved || error_lines() > lines) << failing;
        failures += !is_saved;
    }
    EXPECT_GT(failures, 0);
}

TEST_F(WithoutMemory, AHeaderThatIsNotReadIsTold)
{
    static int lines;
    CoreLogHandler::set_sink([](int, CoreString const&) { ++lines; });
    CoreString const path = folder.file("lines.exr").c_str();
    int failures = 0;
    for (EachAllocation failing; failing.goes_on();) {
        lines = 0;
        ImageHeader header;
        bool const is_read = failing.in([&] { return ImageIO::get_image_specs(path, header); });
        EXPECT_TRUE(is_read || lines > 0) << failing;
        failures += !is_read;
    }
    EXPECT_GT(failures, 0);
}

TEST_F(WithoutMemory, AColourSpaceThatIsNotFoundIsTold)
{
    static int lines;
    CoreLogHandler::set_sink([](int, CoreString const&) { ++lines; });
    CoreString const path = folder.file("a.png").c_str();
    CoreString const wanted = ImageIO::get_color_space_from_file(path);
    ASSERT_FALSE(wanted.is_empty());
    int failures = 0;
    for (EachAllocation failing; failing.goes_on();) {
        lines = 0;
        CoreString const found = failing.in([&] { return ImageIO::get_color_space_from_file(path); });
        EXPECT_TRUE(found == wanted || lines > 0) << failing;
        failures += found != wanted;
    }
    EXPECT_GT(failures, 0);
}

TEST_F(WithoutMemory, ColoursThatCouldNotBeConvertedAreNotSaved)
{
    expect_no_false_success("save png8");
    expect_no_false_success("save exr16 zip lines");
    expect_no_false_success("save exr16 zip tiles");
}

TEST_F(WithoutMemory, AStripOrTileThatTheWriterWasNotGivenIsMissed)
{
    expect_no_false_success("save tall tiff8");
    expect_no_false_success("save unknown exr tiles");
}

/// TIFF's writer hears of the disk while it writes, that of PNG when its file is closed.
TEST_F(WithoutMemory, AFullDiskIsNoSuccessEither)
{
    OfApp app;
    zv_test::TestCanvas const canvas;
    struct {
        char const* name;
        ImageIOFileFormat::Save format;
    } const files[] = {{"full.tif", ImageIOFileFormat::SAVE_TIFF8},
                       {"full.png", ImageIOFileFormat::SAVE_PNG8}};
    for (auto const& [name, format] : files) {
        CoreString const path = folder.file(name).c_str();
        std::filesystem::create_symlink("/dev/full", folder.file(name));
        for (EachAllocation failing(true); failing.goes_on();) {
            ImageSaveOptions options;
            options.format = format;
            auto const status = failing.in(
                [&] { return ImageIO::save(path, options, canvas.canvas(), &app, nullptr, nullptr); });
            EXPECT_NE(status, ImageIO::SAVING_STATUS_SUCCESS) << name << ", " << failing;
        }
    }
}

TEST_F(WithoutMemory, APlateInTheWrongColoursIsNotLoaded)
{
    expect_no_false_success("plate a.png");
    expect_no_false_success("plate tiles.exr");
}

TEST_F(WithoutMemory, ASharedImageThatLacksAChannelOrTilesIsNotHandedOut)
{
    expect_no_false_success("shared image lines.exr");
    expect_no_false_success("shared image tiles.exr");
    expect_no_false_success("shared image a.png");
}

TEST_F(WithoutMemory, NothingIsCalledWholeThatLacksAllItsTiles)
{
    for (char const* name :
         {"load lines.exr", "load tiles.exr", "load tiles.exr, alpha", "load tiles.tif, alpha",
          "load a.png, alpha", "shared image lines.exr", "shared image tiles.exr", "shared image a.png"}) {
        SCOPED_TRACE(name);
        expect_no_false_success_without_tiles(name);
    }
}

TEST_F(WithoutMemory, ASharedImageThatFoundNoMemoryIsLoadedForTheNextUser)
{
    ImageIOTextureManager& manager = *ImageIOTextureManager::get_texture_manager();
    CoreString const path = folder.file("a.png").c_str();
    int failures = 0;
    for (EachAllocation failing; failing.goes_on();) {
        ResourceUser first, second;
        ImageCanvas const* const canvas = failing.in([&] { return load_shared(manager, first, path); });
        failures += !canvas;
        EXPECT_NE(load_shared(manager, second, path), nullptr) << failing;
    }
    EXPECT_GT(failures, 0);
}

/// A user that counts what it hears of its files.
struct CountingUser : ResourceUser {
    void on_resource_file_changed() override { ++changes; }
    int changes = 0;
};

TEST_F(WithoutMemory, AChangedFileIsToldTheNextTime)
{
    namespace fs = std::filesystem;
    ImageIOTextureManager& manager = *ImageIOTextureManager::get_texture_manager();
    std::string const path = folder.file("a.png");
    CountingUser user;
    ASSERT_NE(load_shared(manager, user, path.c_str()), nullptr);
    int failures = 0;
    for (EachAllocation failing; failing.goes_on();) {
        fs::last_write_time(path, fs::last_write_time(path) + std::chrono::seconds(5));
        user.changes = 0;
        failing.in([&] { manager.check_external_file_modification(); });
        failures += user.changes == 0;
        manager.check_external_file_modification();
        EXPECT_EQ(user.changes, 1) << failing;
    }
    EXPECT_GT(failures, 0);
}

TEST_F(WithoutMemory, AManagerThatEndsFreesItsImagesAndIsHeardOfNoMore)
{
    for (long long number = 0; number < 8; ++number) {
        forget_tiles();
        forget_live_allocations();
        count_allocations(Asker::OURS);
        auto manager = in_module([] { return std::make_unique<ImageIOTextureManager>(); });
        auto user = std::make_unique<ResourceUser>();
        for (char const* name : {"a.png", "lines.exr", "grey.tga"}) {
            CoreString const path = folder.file(name).c_str();
            ASSERT_NE(in_module([&] { return load_shared(*manager, *user, path); }), nullptr);
        }
        stop_counting();
        fail_allocation(Asker::OURS, number, true);
        in_module([&] { manager.reset(); });
        stop_counting();
        user.reset();
        forget_tiles();
        EXPECT_EQ(live_allocations(), 0) << number;
    }
}

TEST_F(WithoutMemory, AUserOfTwoManagersIsHeardByTheOneThatIsLeft)
{
    CoreString const path = folder.file("a.png").c_str();
    for (long long number = 0; number < 8; ++number) {
        ImageIOTextureManager left;
        unsigned long long const empty = left.get_memory_size();
        auto user = std::make_unique<ResourceUser>();
        ASSERT_NE(load_shared(left, *user, path), nullptr);
        auto gone = std::make_unique<ImageIOTextureManager>(left);
        auto late = std::make_unique<ResourceUser>();
        ASSERT_NE(load_shared(*gone, *late, path), nullptr);
        fail_allocation(Asker::OURS, number, true);
        in_module([&] { gone.reset(); });
        stop_counting();
        user.reset();
        EXPECT_GT(left.get_memory_size(), empty) << number;
        late.reset();
        EXPECT_EQ(left.get_memory_size(), empty) << number;
    }
}

TEST_F(WithoutMemory, AUserThatEndsIsForgotten)
{
    ImageIOTextureManager& manager = *ImageIOTextureManager::get_texture_manager();
    unsigned long long const empty = manager.get_memory_size();
    auto user = std::make_unique<ResourceUser>();
    ASSERT_NE(load_shared(manager, *user, folder.file("a.png").c_str()), nullptr);
    fail_allocation(Asker::OURS, 0, true);
    in_module([&] { user.reset(); });
    stop_counting();
    EXPECT_EQ(manager.get_memory_size(), empty);
}

TEST_F(WithoutMemory, APlatesPathIsToldOnceWhateverFails)
{
    static int events;
    PlateImageManager& manager = PlateImageManager::get();
    EventObject::connect(
        manager, "EVT_ID_PLATE_IMAGE_MANAGER_PATH_ADDED",
        [](EventObject&, EventObject::EventInfo const&, void*) { ++events; }, nullptr);
    CoreString const path = folder.file("a.png").c_str();
    int failures = 0;
    for (EachAllocation failing; failing.goes_on();) {
        manager.clear(PlateImageManager::CLEAR_MODE_SILENT);
        events = 0;
        PlateImage const* const plate = failing.in([&] { return manager.get_or_create_plate_image(path); });
        failures += !plate;
        EXPECT_NE(manager.get_or_create_plate_image(path), nullptr) << failing;
        EXPECT_EQ(events, 1) << failing;
    }
    EXPECT_GT(failures, 0);
    manager.clear(PlateImageManager::CLEAR_MODE_SILENT);
}

TEST_F(WithoutMemory, AUserThatLeavesASharedImageIsForgottenAndTheImageFreed)
{
    ImageIOTextureManager& manager = *ImageIOTextureManager::get_texture_manager();
    unsigned long long const empty = manager.get_memory_size();
    CoreString const path = folder.file("lines.exr").c_str();
    for (long long number = 0; number < 8; ++number) {
        ResourceUser user;
        ASSERT_NE(manager.load_image(user, path, {}, nullptr, nullptr, ImagePixel::REPEAT_MODE_CLAMP,
                                     ImagePixel::REPEAT_MODE_CLAMP),
                  nullptr);
        fail_allocation(Asker::OURS, number, true);
        in_module([&] { manager.remove_requester(&user); });
        stop_counting();
        EXPECT_EQ(manager.get_memory_size(), empty) << number;
    }
}

}  // namespace
