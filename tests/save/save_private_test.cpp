#include <OpenImageIO/imageio.h>

#include <cmath>
#include <iterator>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "image_io/frame/image_io.h"
#include "image_io/save/image_io_save_private.h"
#include "image_io/save/image_save_options.h"
#include "tests/save/recording_app.h"
#include "tests/save/test_canvas.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_format.h"

namespace {

using namespace zv_test;
using Crop = GMathVec4<float>;
using Format = ImageIOFileFormat;
using Lines = std::vector<LogLine>;
using Names = std::vector<std::string>;
using Rectangle = GMathVec4<int>;

class SavePrivate : public testing::Test {
protected:
    SavePrivate()
        : whole("whole", app.log)
    {
        options.format = Format::SAVE_EXR32;
        options.compression = Format::COMPRESSION_NONE;
        options.color_space = "";
    }
    ImageIO::SavingStatus save(std::string const& path, TestCanvas const& canvas, Crop const* crop = nullptr,
                               AppProgressBar* progress = nullptr)
    {
        return ImageIO::save(path.c_str(), options, canvas.canvas(), &app, progress, crop);
    }
    /// Saves an OpenEXR file and reads its header.
    OIIO::ImageSpec saved_header(TestCanvas const& canvas, Crop const* crop)
    {
        std::string const path = folder.file("a.exr");
        EXPECT_EQ(save(path, canvas, crop), ImageIO::SAVING_STATUS_SUCCESS);
        return read_picture(path).spec;
    }

    TempDir folder;
    RecordingApp app;
    SharedProgress whole;
    ImageSaveOptions options;
};

TEST_F(SavePrivate, ACanvasWithoutChannelsIsNothingToSave)
{
    ImageCanvas canvas(false);
    canvas.m_meta_data.insert("take", CoreArray<CoreVariant>{CoreVariant(1)});
    LogCapture const log;

    EXPECT_EQ(ImageIO::save(folder.file("a.exr").c_str(), options, canvas, &app, &whole, nullptr),
              ImageIO::SAVING_STATUS_NOTHING_TO_SAVE);

    EXPECT_EQ(log.lines(), (Lines{{1, "ImageIO Save failed: Image is empty!\n"}}));
    EXPECT_EQ(options.meta_data.get_count(), 0u);
    EXPECT_EQ(app.log, Names{});
}

TEST_F(SavePrivate, BothDoorsLeadToTheSameRoom)
{
    ImageCanvas const canvas(false);
    LogCapture const log;

    EXPECT_EQ(ImageIOSavePrivate::save_private("a.exr", options, canvas, nullptr, nullptr, nullptr),
              ImageIO::SAVING_STATUS_NOTHING_TO_SAVE);
    EXPECT_EQ(ImageIO::save("a.exr", options, canvas, nullptr, nullptr, nullptr),
              ImageIO::SAVING_STATUS_NOTHING_TO_SAVE);

    EXPECT_EQ(log.lines().size(), 2u);
}

TEST_F(SavePrivate, AppendsTheMetadataOfTheCanvasAtEachSave)
{
    TestCanvas const canvas;
    canvas.canvas().m_meta_data.insert("take", CoreArray<CoreVariant>{CoreVariant(7)});

    EXPECT_EQ(saved_header(canvas, nullptr).get_float_attribute("take"), 7.0f);
    EXPECT_EQ(options.meta_data.get_count(), 1u);
    saved_header(canvas, nullptr);
    EXPECT_EQ(options.meta_data.get_count(), 2u);
}

TEST_F(SavePrivate, WithoutACropTheDataWindowIsTheRegion)
{
    CanvasShape shape;
    shape.x = 5;
    shape.y = -6;
    shape.width = 20;
    shape.height = 10;
    shape.display_window = Rectangle(-3, 2, 64, 48);
    TestCanvas const canvas(shape);

    OIIO::ImageSpec const spec = saved_header(canvas, nullptr);

    EXPECT_EQ(spec.x, 5);
    EXPECT_EQ(spec.y, -6);
    EXPECT_EQ(spec.width, 20);
    EXPECT_EQ(spec.height, 10);
    EXPECT_EQ(spec.full_x, -3);
    EXPECT_EQ(spec.full_y, 2);
    EXPECT_EQ(spec.full_width, 64);
    EXPECT_EQ(spec.full_height, 48);
}

TEST_F(SavePrivate, ACropIsInFractionsOfTheCanvasCutToWholePixels)
{
    CanvasShape shape;
    shape.width = shape.height = 101;
    TestCanvas const canvas(shape);
    Crop const quarter(0, 0, 0.5f, 0.5f), inner(0.25f, 0.5f, 0.1f, 0.2f), outer(-0.1f, -0.505f, 1.2f, 1.5f);

    OIIO::ImageSpec spec = saved_header(canvas, &quarter);
    EXPECT_EQ((std::vector<int>{spec.x, spec.y, spec.width, spec.height}), (std::vector<int>{0, 0, 50, 50}));
    EXPECT_EQ(spec.full_width, 101);
    spec = saved_header(canvas, &inner);
    EXPECT_EQ((std::vector<int>{spec.x, spec.y, spec.width, spec.height}),
              (std::vector<int>{25, 50, 10, 20}));
    spec = saved_header(canvas, &outer);  // towards zero, below it too
    EXPECT_EQ((std::vector<int>{spec.x, spec.y, spec.width, spec.height}),
              (std::vector<int>{-10, -51, 121, 151}));
}

TEST_F(SavePrivate, AnEmptyCropIsNothingToSaveWithoutALine)
{
    TestCanvas const canvas;
    Crop const nothing(0, 0, 0, 0), too_small(0.001f, 0.001f, 0.01f, 0.01f);
    LogCapture const log;

    EXPECT_EQ(save(folder.file("a.exr"), canvas, &nothing, &whole), ImageIO::SAVING_STATUS_NOTHING_TO_SAVE);
    EXPECT_EQ(save(folder.file("a.exr"), canvas, &too_small), ImageIO::SAVING_STATUS_NOTHING_TO_SAVE);

    EXPECT_EQ(log.lines(), Lines{});
    EXPECT_EQ(app.log, (Names{"new bar 'whole (a.exr)'", "whole (a.exr): finish"}));
    EXPECT_TRUE(app.bars.at(0)->m_finished);
}

TEST_F(SavePrivate, ARegionWithoutWidthElsewhereIsNotEmptyHere)
{
    TestCanvas const canvas;
    Crop const crop(0.5f, 0, 0, 0);
    LogCapture const log;

    EXPECT_EQ(save(folder.file("a.exr"), canvas, &crop), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    EXPECT_FALSE(log.lines().empty());
}

TEST_F(SavePrivate, CropsThatNoIntHoldsAreAFailedSaveAtWorst)
{
    TestCanvas const canvas;
    float const infinity = std::numeric_limits<float>::infinity();
    LogCapture const log(0);

    for (Crop const& crop :
         {Crop(0, 0, 1e30f, 1e30f), Crop(-1e30f, -1e30f, 1e30f, 1e30f), Crop(infinity, 0, infinity, 1),
          Crop(-infinity, -infinity, 1, 1), Crop(0, 0, -1, -1)})
        EXPECT_EQ(save(folder.file("a.exr"), canvas, &crop), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);
    Crop const no_number(NAN, NAN, NAN, NAN);
    EXPECT_EQ(save(folder.file("a.exr"), canvas, &no_number), ImageIO::SAVING_STATUS_NOTHING_TO_SAVE);
}

TEST_F(SavePrivate, SimpleFormatsIgnoreTheCrop)
{
    TestCanvas const canvas;
    Crop const crop(0.25f, 0.25f, 0.5f, 0.5f);
    options.format = Format::SAVE_PNG8;

    EXPECT_EQ(save(folder.file("a.png"), canvas, &crop), ImageIO::SAVING_STATUS_SUCCESS);

    auto const picture = read_picture(folder.file("a.png"));
    EXPECT_EQ(picture.spec.width, 47);
    EXPECT_EQ(picture.spec.height, 33);
}

TEST_F(SavePrivate, TiffTakesTheCanvasWhateverTheCrop)
{
    TestCanvas const canvas;
    Crop const crop(0.25f, 0.25f, 0.5f, 0.5f);
    options.format = Format::SAVE_TIFF32;

    EXPECT_EQ(save(folder.file("a.tif"), canvas, &crop), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(read_picture(folder.file("a.tif")).spec.width, 47);
}

TEST_F(SavePrivate, TellsTheTimeAfterASuccessAlone)
{
    TestCanvas const canvas;
    options.format = Format::SAVE_PNG8;
    {
        LogCapture const log;
        EXPECT_EQ(save(folder.file("a.png"), canvas), ImageIO::SAVING_STATUS_SUCCESS);
        ASSERT_EQ(log.lines().size(), 1u);
        EXPECT_EQ(log.lines()[0].level, 3);
        std::string const begin = "File '" + folder.file("a.png") + "' saved in ", text = log.lines()[0].text;
        ASSERT_EQ(text.rfind(begin, 0), 0u) << text;
        std::string const rest = text.substr(begin.size());
        std::size_t const digits = rest.find_first_not_of("0123456789");
        EXPECT_GT(digits, 0u) << text;
        EXPECT_EQ(rest.substr(digits), "ms.\n");
    }
    LogCapture const log;
    EXPECT_EQ(save(folder.file("none/a.png"), canvas), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].level, 1);
}

TEST_F(SavePrivate, ABarOfItsOwnIsNamedAfterTheFileAndFinished)
{
    TestCanvas const canvas;
    options.format = Format::SAVE_PNG8;

    EXPECT_EQ(save(folder.file("a.png"), canvas, nullptr, &whole), ImageIO::SAVING_STATUS_SUCCESS);

    std::string const bar = "whole (a.png)", part = bar + " (RGB) ";
    EXPECT_EQ(app.log, (Names{"new bar '" + bar + "'", bar + ": set_value 0", bar + ": set_value 0",
                              bar + ": set_step_count 1", "new bar '" + part + "'", part + ": set_value 0",
                              part + ": set_value 1", part + ": finish", bar + ": step 1",
                              bar + ": set_value 1", bar + ": finish"}));
    for (AppProgressBar const* made : app.bars)
        EXPECT_TRUE(made->m_finished);
    EXPECT_FALSE(whole.m_finished);
}

TEST_F(SavePrivate, OnlyTheForwardSlashEndsAFolder)
{
    TestCanvas const canvas;
    options.format = Format::SAVE_PNG8;
    LogCapture const log(0);

    save("no_folder_here.zzz", canvas, nullptr, &whole);
    save(folder.file("back\\slash.png"), canvas, nullptr, &whole);

    EXPECT_EQ(app.log.at(0), "new bar 'whole (no_folder_here.zzz)'");
    EXPECT_NE(std::find(app.log.begin(), app.log.end(), "new bar 'whole (back\\slash.png)'"), app.log.end());
}

TEST_F(SavePrivate, BarsAreFinishedAfterAFailureToo)
{
    TestCanvas const canvas;
    LogCapture const log(0);

    for (auto const format : {Format::SAVE_PNG8, Format::SAVE_TIFF8, Format::SAVE_EXR16}) {
        options.format = format;
        EXPECT_NE(save(folder.file("none/a.zzz"), canvas, nullptr, &whole), ImageIO::SAVING_STATUS_SUCCESS);
    }

    EXPECT_EQ(app.log.back(), "whole (a.zzz): finish");
    EXPECT_EQ(std::count(app.log.begin(), app.log.end(), "whole (a.zzz): finish"), 3);
    EXPECT_TRUE(app.bars.back()->m_finished);
}

TEST_F(SavePrivate, WorksWithoutAnApplicationAndABar)
{
    TestCanvas const canvas;
    for (auto const format : {Format::SAVE_PNG8, Format::SAVE_TIFF8, Format::SAVE_EXR16}) {
        options.format = format;
        char const* const name = format == Format::SAVE_PNG8 ? "a.png"
                                 : options.is_file_exr()     ? "a.exr"
                                                             : "a.tif";

        EXPECT_EQ(
            ImageIO::save(folder.file(name).c_str(), options, canvas.canvas(), nullptr, &whole, nullptr),
            ImageIO::SAVING_STATUS_SUCCESS);

        EXPECT_EQ(read_picture(folder.file(name)).spec.nchannels, 4) << name;
    }
    EXPECT_EQ(app.log, Names{});
}

TEST_F(SavePrivate, AnEmptyColourSpaceConvertsNothingOnEveryRoad)
{
    TestCanvas const canvas({}, [](int channel, int, int) { return channel == 3 ? 0.5 : 0.25; });
    for (auto const& [name, format] : {std::pair("a.zvs", Format::SAVE_PNG8),
                                       {"b.zvs", Format::SAVE_TIFF32},
                                       {"c.zvs", Format::SAVE_JPEG}}) {
        ScriptedFile const file(folder, WriteScript{}, name);
        options.format = format;

        EXPECT_EQ(save(file.path(), canvas), ImageIO::SAVING_STATUS_SUCCESS);

        EXPECT_EQ(file.written().samples[0], 0.25f) << name;
        EXPECT_EQ(file.written().samples[3], 0.5f) << name;
    }
}

TEST_F(SavePrivate, AFamilyInFrontOfTheColourSpaceIsFine)
{
    CanvasShape shape;
    shape.channels = {"r", "g", "b"};
    TestCanvas const canvas(shape, [](int, int, int) { return 0.25; });
    options.color_space = "Texture|sRGB";
    double const expected = 1.055 * std::pow(0.25, 1 / 2.4) - 0.055;
    for (auto const& [name, format] :
         {std::pair("a.zvs", Format::SAVE_PNG8), {"b.zvs", Format::SAVE_TIFF32}}) {
        ScriptedFile const file(folder, WriteScript{}, name);
        options.format = format;

        EXPECT_EQ(save(file.path(), canvas), ImageIO::SAVING_STATUS_SUCCESS);

        EXPECT_NEAR(file.written().samples[0], expected, 1e-6) << name;
    }
}

TEST(ConcurrentSaves, OfOneCanvasToDifferentFilesAreWhole)
{
    TempDir const folder;
    TestCanvas const canvas;
    OfApp app;
    char const* const names[] = {"a.png", "b.tif", "c.tga", "d.png", "e.tif", "f.bmp"};
    std::vector<ImageIO::SavingStatus> statuses(std::size(names), ImageIO::SAVING_STATUS_WRITE_FAILED);
    std::vector<std::thread> threads;

    for (std::size_t number = 0; number < std::size(names); ++number)
        threads.emplace_back([&, number] {
            ImageSaveOptions options;
            options.format = number % 3 == 1 ? Format::SAVE_TIFF8 : Format::SAVE_PNG8;
            options.color_space = "sRGB";
            for (int round = 0; round < 5; ++round)
                statuses[number] = ImageIO::save(folder.file(names[number]).c_str(), options, canvas.canvas(),
                                                 &app, nullptr, nullptr);
        });
    for (auto& thread : threads)
        thread.join();

    for (std::size_t number = 0; number < std::size(names); ++number) {
        EXPECT_EQ(statuses[number], ImageIO::SAVING_STATUS_SUCCESS) << names[number];
        EXPECT_EQ(read_picture(folder.file(names[number])).spec.width, 47) << names[number];
    }
    EXPECT_EQ(read_picture(folder.file("a.png")).samples, read_picture(folder.file("d.png")).samples);
}

TEST(ImageIOSavePrivateClass, AssignmentGivesTheTarget)
{
    ImageIOSavePrivate target, source;

    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(&(target = ImageIOSavePrivate()), &target);
}

}  // namespace
