#include "image_io/plate/plate_image.h"

#include <cstring>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <functional>
#include <thread>

#include "host/app_base/app_progress_bar.h"
#include "host/colorio/color_io.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/recording_progress.h"
#include "tests/support/scripted_format.h"
#include "tests/support/temp_dir.h"

namespace {

using zv_test::encoded;
using zv_test::LogLine;
using zv_test::picture_spec;
using zv_test::ReadScript;
using zv_test::ScriptedFile;

/// Files whose colours need no conversion: OpenEXR's are tagged as linear, which is the working space.
class Plate : public testing::Test {
protected:
    static OIIO::ImageSpec spec(int width, int height, int channels,
                                OIIO::TypeDesc type = OIIO::TypeDesc::FLOAT)
    {
        OIIO::ImageSpec description = picture_spec(width, height, channels, type);
        description.attribute("oiio:ColorSpace",
                              ColorIO::get_default_color_space_name().get_data());  // for scripted files
        return description;
    }
    static ReadScript script_of(OIIO::ImageSpec const& description)
    {
        ReadScript script;
        script.spec = description;
        return script;
    }
    std::string write(OIIO::ImageSpec const& description, std::string const& name)
    {
        zv_test::write_picture(folder.file(name), description);
        return folder.file(name);
    }
    std::string write_exr(zv_test::ExrPicture picture, std::string const& name = "picture.exr")
    {
        zv_test::write_exr(folder.file(name), picture);
        return folder.file(name);
    }

    zv_test::TempDir folder;
};

/// Compares the plate with `expected(channel, x, y)`.
template <class Expected>
void expect_pixels(PlateImage& plate, Expected const& expected)
{
    ASSERT_NE(plate.get_pixels(), nullptr);
    for (int channel = 0; channel < 4; ++channel) {
        std::vector<float> plane;
        for (int pixel = 0; pixel < plate.get_width() * plate.get_height(); ++pixel)
            plane.push_back(plate.get_pixels()[4 * pixel + channel]);
        zv_test::expect_plane(std::to_string(channel), plane, 0, 0, plate.get_width(), plate.get_height(),
                              [&](int x, int y) { return expected(channel, x, y); });
    }
}

TEST_F(Plate, BeginsWithAPathAlone)
{
    PlateImage plate("/shows/film/plate.0001.exr");

    EXPECT_EQ(plate.get_file_path(), "/shows/film/plate.0001.exr");
    EXPECT_EQ(plate.get_file_base_name(), "plate.0001.exr");
    EXPECT_EQ(plate.get_width(), 0);
    EXPECT_EQ(plate.get_height(), 0);
    EXPECT_EQ(plate.get_pixel_count(), 0);
    EXPECT_EQ(plate.get_pixels(), nullptr);
    EXPECT_FALSE(plate.is_loaded());
    EXPECT_EQ(plate.get_requester_count(), 0u);
    EXPECT_EQ(plate.get_memory_size(), 56u + 16u);
}

TEST_F(Plate, BaseNameOfABareNameIsAllOfIt)
{
    EXPECT_EQ(PlateImage("plate.exr").get_file_base_name(), "plate.exr");
    EXPECT_EQ(PlateImage("folder/").get_file_base_name(), "");
}

TEST_F(Plate, LoadsFourChannelsAsTheyAre)
{
    PlateImage plate(write(spec(7, 5, 4), "four.exr").c_str());

    EXPECT_TRUE(plate.load(nullptr));

    EXPECT_TRUE(plate.is_loaded());
    EXPECT_EQ(plate.get_width(), 7);
    EXPECT_EQ(plate.get_height(), 5);
    EXPECT_EQ(plate.get_pixel_count(), 35);
    EXPECT_EQ(plate.get_memory_size(), 56u + 28u + 4u * 7 * 5 * 4);
    expect_pixels(plate, encoded);
}

TEST_F(Plate, MissingAlphaIsOne)
{
    PlateImage plate(write(spec(7, 5, 3), "three.exr").c_str());

    EXPECT_TRUE(plate.load(nullptr));

    expect_pixels(plate,
                  [](int channel, int x, int y) { return channel == 3 ? 1.0f : encoded(channel, x, y); });
}

TEST_F(Plate, ChannelsPastTheFourthAreLeftOut)
{
    PlateImage plate(write(spec(7, 5, 5), "five.exr").c_str());

    EXPECT_TRUE(plate.load(nullptr));

    expect_pixels(plate, encoded);
}

TEST_F(Plate, FewerThanThreeChannelsAreRefused)
{
    for (int channels : {1, 2}) {
        std::string const path = write(spec(3, 2, channels), std::to_string(channels) + ".exr");
        PlateImage plate(path.c_str());
        zv_test::LogCapture log;

        EXPECT_FALSE(plate.load(nullptr));

        EXPECT_EQ(log.lines(),
                  (std::vector<LogLine>{{2, "Plate image '" + path +
                                                "' was not loaded : expecting an image with 3 or more "
                                                "channels but got " +
                                                std::to_string(channels) + " channel(s).\n"}}));
        EXPECT_FALSE(plate.is_loaded());
        EXPECT_EQ(plate.get_pixels(), nullptr);
    }
}

TEST_F(Plate, ColoursComeIntoTheWorkingSpace)
{
    OIIO::ImageSpec description = picture_spec(2, 1, 3, OIIO::TypeDesc::UINT8);
    zv_test::write_picture(folder.file("grey.png"), description, [](int, int, int) { return 0.5; });
    PlateImage plate(folder.file("grey.png").c_str());

    EXPECT_TRUE(plate.load(nullptr));

    float const linear = 0.2158605f;  // 128 of 255 through the sRGB curve
    EXPECT_NEAR(plate.get_pixels()[0], linear, 1e-5);
    EXPECT_NEAR(plate.get_pixels()[5], linear, 1e-5);
    EXPECT_EQ(plate.get_pixels()[3], 1.0f) << "alpha is no colour";
}

TEST_F(Plate, ProgressGoesStepByStep)
{
    zv_test::RecordingProgress progress;
    PlateImage plate(write(spec(7, 5, 4), "four.exr").c_str());

    EXPECT_TRUE(plate.load(&progress));

    EXPECT_EQ(progress.calls(),
              (std::vector<std::string>{"set_value 0", "set_value 0.3", "set_value 0.7", "set_value 0.9"}));
}

TEST_F(Plate, ProgressOfFailuresStopsWhereTheyHappen)
{
    zv_test::RecordingProgress missing, thin, again, broken;
    PlateImage("").load(&again);
    PlateImage(folder.file("missing.tif").c_str()).load(&missing);
    PlateImage(write(spec(3, 2, 1), "one.exr").c_str()).load(&thin);
    ReadScript script = script_of(spec(3, 2, 4));
    script.bad_rows = {1};
    ScriptedFile const file(folder, script);
    PlateImage(file.path().c_str()).load(&broken);

    EXPECT_EQ(again.calls(), std::vector<std::string>{"set_value 0"});
    EXPECT_EQ(missing.calls(), std::vector<std::string>{"set_value 0"});
    EXPECT_EQ(thin.calls(), std::vector<std::string>{"set_value 0"});
    EXPECT_EQ(broken.calls(), (std::vector<std::string>{"set_value 0", "set_value 0.3", "set_value 0.7"}));
}

TEST_F(Plate, MissingFileFailsWithTheHeadersLines)
{
    PlateImage plate(folder.file("missing.exr").c_str());
    zv_test::LogCapture log;

    EXPECT_FALSE(plate.load(nullptr));

    ASSERT_FALSE(log.lines().empty());
    EXPECT_NE(log.lines()[0].text.find("could not create image input"), std::string::npos);
    EXPECT_FALSE(plate.is_loaded());
}

TEST_F(Plate, FailedReadClearsAllButTheHeight)
{
    ReadScript script = script_of(spec(3, 2, 4));
    script.bad_rows = {1};
    ScriptedFile const file(folder, script);
    PlateImage plate(file.path().c_str());
    zv_test::LogCapture const log;

    EXPECT_FALSE(plate.load(nullptr));

    EXPECT_TRUE(log.lines().empty());
    EXPECT_FALSE(plate.is_loaded());
    EXPECT_EQ(plate.get_pixels(), nullptr);
    EXPECT_EQ(plate.get_width(), 0);
    EXPECT_EQ(plate.get_height(), 2);
    EXPECT_EQ(plate.get_memory_size(), 56u + 16u);
    EXPECT_EQ(file.closes(), 1) << "the reader is closed all the same";
}

TEST_F(Plate, ReaderThatThrowsIsAFailedRead)
{
    ReadScript script = script_of(spec(3, 2, 4));
    script.bad_rows = {0};
    script.throws = true;
    ScriptedFile const file(folder, script);
    PlateImage plate(file.path().c_str());

    EXPECT_FALSE(plate.load(nullptr));
    EXPECT_EQ(plate.get_pixels(), nullptr);
    EXPECT_EQ(file.closes(), 1);
}

TEST_F(Plate, AsksForFourChannelsOfAllRowsFromZero)
{
    ReadScript const script = script_of(spec(3, 200, 6));
    ScriptedFile const file(folder, script);
    PlateImage plate(file.path().c_str());

    EXPECT_TRUE(plate.load(nullptr));

    ASSERT_FALSE(file.reads().empty());
    EXPECT_EQ(file.reads().front().y, 0);
    EXPECT_EQ(file.reads().back().end_y, 200);
    for (auto const& read : file.reads()) {
        EXPECT_EQ(read.first_channel, 0);
        EXPECT_EQ(read.end_channel, 4);
    }
}

// The states of a plate, edge by edge.

TEST_F(Plate, LoadingALoadedPlateUnloadsItButKeepsThePixels)
{
    PlateImage plate(write(spec(3, 2, 4), "four.exr").c_str());
    ASSERT_TRUE(plate.load(nullptr));

    EXPECT_FALSE(plate.load(nullptr));
    EXPECT_FALSE(plate.is_loaded());
    EXPECT_EQ(plate.get_width(), 3);
    EXPECT_EQ(plate.get_height(), 2);
    expect_pixels(plate, encoded);
    EXPECT_EQ(plate.get_memory_size(), 56u + 28u + 4u * 3 * 2 * 4);

    write(spec(5, 4, 4), "four.exr");
    EXPECT_TRUE(plate.load(nullptr)) << "the third load reads the file again";
    EXPECT_EQ(plate.get_width(), 5);
    expect_pixels(plate, encoded);
}

TEST_F(Plate, LastRequesterFreesThePixels)
{
    PlateImage plate(write(spec(3, 2, 4), "four.exr").c_str());
    plate.add_requester();
    plate.add_requester();
    ASSERT_TRUE(plate.load(nullptr));

    plate.remove_requester();
    EXPECT_EQ(plate.get_requester_count(), 1u);
    EXPECT_TRUE(plate.is_loaded());

    plate.remove_requester();
    EXPECT_EQ(plate.get_requester_count(), 0u);
    EXPECT_FALSE(plate.is_loaded());
    EXPECT_EQ(plate.get_pixels(), nullptr);
    EXPECT_EQ(plate.get_width(), 0);
    EXPECT_EQ(plate.get_height(), 2) << "the height stays";

    plate.add_requester();
    EXPECT_TRUE(plate.load(nullptr));
    expect_pixels(plate, encoded);
}

TEST_F(Plate, RemovingARequesterThatIsNotThereDoesNothing)
{
    PlateImage plate(write(spec(3, 2, 4), "four.exr").c_str());
    ASSERT_TRUE(plate.load(nullptr));

    plate.remove_requester();

    EXPECT_EQ(plate.get_requester_count(), 0u);
    EXPECT_TRUE(plate.is_loaded());
    EXPECT_NE(plate.get_pixels(), nullptr);
}

TEST_F(Plate, LastRequesterOfAnUnloadedPlateLeavesItsPixels)
{
    PlateImage plate(write(spec(3, 2, 4), "four.exr").c_str());
    plate.add_requester();
    ASSERT_TRUE(plate.load(nullptr));
    EXPECT_FALSE(plate.load(nullptr));

    plate.remove_requester();

    EXPECT_NE(plate.get_pixels(), nullptr);
    EXPECT_EQ(plate.get_width(), 3);
}

TEST_F(Plate, CopiesHavePixelsOfTheirOwn)
{
    PlateImage plate(write(spec(3, 2, 4), "four.exr").c_str());
    plate.add_requester();
    ASSERT_TRUE(plate.load(nullptr));

    PlateImage copy(plate);
    plate.get_pixels()[0] = 99.0f;

    EXPECT_EQ(copy.get_file_path(), plate.get_file_path());
    EXPECT_EQ(copy.get_requester_count(), 1u);
    EXPECT_EQ(copy.get_memory_size(), plate.get_memory_size());
    EXPECT_FALSE(copy.is_loaded());
    expect_pixels(copy, encoded);

    PlateImage assigned("other");
    assigned = copy;
    assigned = *&assigned;
    EXPECT_EQ(assigned.get_file_path(), plate.get_file_path());
    expect_pixels(assigned, encoded);
    assigned = PlateImage("empty");
    EXPECT_EQ(assigned.get_pixels(), nullptr);
    EXPECT_EQ(assigned.get_width(), 0);
}

TEST_F(Plate, AnAssignedPlateCountsAsNotLoaded)
{
    PlateImage plate(write(spec(3, 2, 4), "four.exr").c_str());
    ASSERT_TRUE(plate.load(nullptr));

    plate = PlateImage("empty");

    EXPECT_FALSE(plate.is_loaded()) << "it has no pixels";
    EXPECT_EQ(plate.get_pixels(), nullptr);
    EXPECT_EQ(plate.get_height(), 0);
    EXPECT_EQ(plate.get_memory_size(), 56u + 16u);
}

/// Does something when the bar comes to 0.7, between the read and the conversion.
class BusyBar : public AppProgressBar {
public:
    explicit BusyBar(std::function<void()> work)
        : AppProgressBar("")
        , m_work(std::move(work))
    {
    }
    void set_value(float value) override
    {
        AppProgressBar::set_value(value);
        if (value == 0.7f)
            m_work();
    }

private:
    std::function<void()> m_work;
};

TEST_F(Plate, ProgressMayComeBackAndLoadAnotherSize)
{
    std::string const path = write(spec(70, 50, 3), "four.exr");
    PlateImage plate(path.c_str());
    BusyBar bar([&] {
        write(spec(3, 2, 3), "four.exr");
        EXPECT_TRUE(plate.load(nullptr));
        EXPECT_EQ(plate.get_width(), 3);
    });

    EXPECT_TRUE(plate.load(&bar));

    EXPECT_EQ(plate.get_width(), 70) << "the outer load ends last";
    EXPECT_EQ(plate.get_height(), 50);
    EXPECT_EQ(plate.get_memory_size(), 56u + 28u + 4u * 70 * 50 * 4);
    expect_pixels(plate,
                  [](int channel, int x, int y) { return channel == 3 ? 1.0f : encoded(channel, x, y); });
}

TEST_F(Plate, ProgressMayComeBackAndDropThePlate)
{
    PlateImage plate(write(spec(7, 5, 4), "four.exr").c_str());
    plate.add_requester();
    BusyBar bar([&] { plate.remove_requester(); });

    EXPECT_TRUE(plate.load(&bar));

    EXPECT_EQ(plate.get_requester_count(), 0u);
    expect_pixels(plate, encoded);
}

// Windows: rows count from 0, whatever the file's data window is.

TEST_F(Plate, RowsInFrontOfTheWindowFailTheRead)
{
    for (int tile : {0, 16}) {
        zv_test::ExrPicture const picture{.x = 0,
                                          .y = 4,
                                          .width = 40,
                                          .height = 30,
                                          .channels = {{"R"}, {"G"}, {"B"}, {"A"}},
                                          .tile = tile};
        PlateImage plate(write_exr(picture).c_str());

        EXPECT_FALSE(plate.load(nullptr)) << tile;
        EXPECT_EQ(plate.get_pixels(), nullptr);
    }
}

TEST_F(Plate, RowsBehindANegativeWindowAreZero)
{
    for (int tile : {0, 16}) {
        zv_test::ExrPicture const picture{.x = -3,
                                          .y = -5,
                                          .width = 40,
                                          .height = 37,
                                          .channels = {{"R"}, {"G"}, {"B"}, {"A"}},
                                          .tile = tile};
        PlateImage plate(write_exr(picture).c_str());

        ASSERT_TRUE(plate.load(nullptr)) << tile;
        EXPECT_EQ(plate.get_height(), 37);
        expect_pixels(plate,
                      [](int channel, int x, int y) { return y < 32 ? encoded(channel, x - 3, y) : 0.0f; });
    }
}

TEST_F(Plate, AWindowWhollyAboveRowZeroGivesZeros)
{
    zv_test::ExrPicture const picture{
        .x = 0, .y = -50, .width = 20, .height = 30, .channels = {{"R"}, {"G"}, {"B"}, {"A"}}, .tile = 16};
    PlateImage plate(write_exr(picture).c_str());

    ASSERT_TRUE(plate.load(nullptr));
    expect_pixels(plate, [](int, int, int) { return 0.0f; });
}

TEST_F(Plate, ATiledFileIsAGoodPlate)
{
    for (int channels : {3, 4, 6}) {
        OIIO::ImageSpec const description = picture_spec(100, 70, channels, OIIO::TypeDesc::FLOAT, 0, 0, 32);
        PlateImage plate(write(description, "tiled.exr").c_str());
        PlateImage flat(write(spec(100, 70, channels), "flat.exr").c_str());

        ASSERT_TRUE(plate.load(nullptr)) << channels;
        ASSERT_TRUE(flat.load(nullptr)) << channels;
        expect_pixels(plate, [channels](int channel, int x, int y) {
            return channel < channels ? encoded(channel, x, y) : 1.0f;
        });
    }
}

TEST_F(Plate, ABrokenTileFailsTheRead)
{
    ReadScript script = script_of(picture_spec(32, 32, 4, OIIO::TypeDesc::FLOAT, 0, 0, 16));
    script.bad_tiles = {{16, 16}};
    ScriptedFile const file(folder, script);
    PlateImage plate(file.path().c_str());

    EXPECT_FALSE(plate.load(nullptr));
    EXPECT_EQ(plate.get_pixels(), nullptr);
}

TEST_F(Plate, CutFilesFailTheRead)
{
    std::string const path = write(spec(64, 64, 4), "cut.exr");
    zv_test::cut_file_to(path, 0.5);
    PlateImage plate(path.c_str());

    EXPECT_FALSE(plate.load(nullptr));
    EXPECT_EQ(plate.get_pixels(), nullptr);
}

TEST_F(Plate, ATextBehindAGoodReadIsNoFailure)
{
    ReadScript script = script_of(spec(8, 4, 4));
    script.error_after_success = "scripted: passed over";
    ScriptedFile const file(folder, script);
    PlateImage plate(file.path().c_str());

    EXPECT_TRUE(plate.load(nullptr));
    EXPECT_NE(plate.get_pixels(), nullptr);
}

TEST_F(Plate, OfACutFileThatItsReaderCallsGoodWhatIsThereIsShown)
{
    constexpr int kWidth = 64, kHeight = 64, kRow = kWidth * 4;
    std::string const path = write(spec(kWidth, kHeight, 3, OIIO::TypeDesc::UINT8), "cut.jpg");
    PlateImage whole(path.c_str()), plate(path.c_str());
    ASSERT_TRUE(whole.load(nullptr));
    zv_test::cut_file_to(path, 0.5);

    ASSERT_TRUE(plate.load(nullptr));
    int rows = 0;
    for (int y = 0; y < kHeight; ++y)
        rows += std::equal(plate.get_pixels() + y * kRow, plate.get_pixels() + (y + 1) * kRow,
                           whole.get_pixels() + y * kRow);
    EXPECT_GT(rows, 0);
    EXPECT_LT(rows, kHeight);
}

TEST_F(Plate, PicturesAboveTheLimitAreRefusedByTheirHeader)
{
    int limit_before = 0;
    OIIO::getattribute("limits:imagesize_MB", limit_before);
    OIIO::attribute("limits:imagesize_MB", 1);
    ReadScript const script = script_of(spec(1000, 1000, 4));
    ScriptedFile const file(folder, script);
    PlateImage plate(file.path().c_str());
    zv_test::LogCapture log;

    EXPECT_FALSE(plate.load(nullptr));
    OIIO::attribute("limits:imagesize_MB", limit_before);

    EXPECT_TRUE(file.reads().empty());
    EXPECT_EQ(plate.get_pixels(), nullptr);
    ASSERT_FALSE(log.lines().empty());
    EXPECT_EQ(log.lines().back(),
              (LogLine{2, "Plate image '" + file.path() +
                              "' was not loaded : its pixels are above the limit of 1 MB.\n"}));
}

TEST_F(Plate, ThreadsLoadOneAfterTheOther)
{
    ReadScript const script = script_of(spec(16, 16, 4));
    ScriptedFile const file(folder, script);
    PlateImage plate(file.path().c_str());
    plate.add_requester();
    std::atomic<int> loads = 0;

    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread)
        threads.emplace_back([&] {
            for (int round = 0; round < 20; ++round) {
                loads += plate.load(nullptr);
                plate.add_requester();
                plate.get_memory_size();
                plate.remove_requester();
            }
        });
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(loads, 80) << "every second load of all reads";
    EXPECT_EQ(file.opens(), 160) << "once for the pixels, once for the colour space";
    EXPECT_EQ(file.closes(), 160);
    EXPECT_EQ(plate.get_requester_count(), 1u);
    expect_pixels(plate, encoded);
}

/// In kB, of this process so far.
long most_memory()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST(PlateOfAFileThatBreaksOff, CostsNoMemoryForWhatItsHeaderClaims)
{
    zv_test::TempDir const folder;
    std::string const path = folder.file("a.bmp");
    zv_test::write_picture(path, zv_test::picture_spec(16, 16, 3, OIIO::TypeDesc::UINT8));
    std::vector<char> bytes = zv_test::file_bytes(path);
    int const side = 8000;  // a gigabyte as floats
    std::memcpy(bytes.data() + 18, &side, sizeof side);
    std::memcpy(bytes.data() + 22, &side, sizeof side);
    zv_test::write_bytes(path, bytes);
    long const before = most_memory();

    PlateImage image(path.c_str());
    image.add_requester();
    EXPECT_FALSE(image.load(nullptr));
    image.remove_requester();

    EXPECT_LT(most_memory() - before, 500000);
}

}  // namespace
