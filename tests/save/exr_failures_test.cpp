#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "tests/save/exr_saves.h"
#include "tests/save/exr_threads.h"
#include "tests/save/file_size_limit.h"
#include "tests/support/throwing_bar.h"

namespace {

using namespace zv_test;
using Lines = std::vector<LogLine>;
namespace fs = std::filesystem;
constexpr auto kSuccess = ImageIO::SAVING_STATUS_SUCCESS;
constexpr auto kFailed = ImageIO::SAVING_STATUS_WRITE_FAILED;

struct Mode {
    char const* name;
    int tiling_mode, threads;
};

/// A picture of a few hundred kilobytes, so that the disk may fill up at any stage.
class ExrFullDisk : public testing::TestWithParam<Mode> {
protected:
    ExrFullDisk()
        : threads(GetParam().threads)
        , picture(large_shape())
        , path(folder.file("a.exr"))
    {
        app.tiling_mode = GetParam().tiling_mode;
    }
    static SavePicture::Shape large_shape()
    {
        SavePicture::Shape shape;
        shape.width = 320;
        shape.height = 320;
        shape.tile = 32;
        return shape;
    }
    std::unique_ptr<ImageIOOutput> open()
    {
        auto output = picture.output(path);
        EXPECT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 32));
        return output;
    }
    std::size_t whole_size()
    {
        {
            auto output = open();
            EXPECT_EQ(output->write(picture.context, nullptr), kSuccess);
        }
        std::size_t const size = fs::file_size(path);
        fs::remove(path);
        return size;
    }
    char const* writer() const
    {
        return GetParam().tiling_mode ? "ImageIOSave::save_openexr_tiled"
                                      : "ImageIOSave::save_openexr_scanline";
    }

    ExrThreads threads;
    TempDir folder;
    OfApp app;
    SavePicture picture;
    std::string path;
};

INSTANTIATE_TEST_SUITE_P(Modes, ExrFullDisk,
                         testing::Values(Mode{"lines", 0, 0}, Mode{"lines_threads", 0, 2},
                                         Mode{"tiles", 1, 0}, Mode{"tiles_threads", 1, 2}),
                         [](auto const& mode) { return mode.param.name; });

TEST_P(ExrFullDisk, IsAFailedWriteAtWhicheverByteItComes)
{
    std::size_t const size = whole_size();
    for (std::size_t limit :
         {std::size_t(1), std::size_t(100), size / 3, size / 2, size - 10'000, size - 1}) {
        auto output = open();
        FileSizeLimit const full(limit);
        {
            LogCapture const log(2);
            EXPECT_EQ(output->write(picture.context, nullptr), kFailed) << limit;
            ASSERT_EQ(log.lines().size(), 2u) << limit;
            EXPECT_TRUE(log.lines()[0].text.starts_with(writer())) << log.lines()[0];
            EXPECT_NE(log.lines()[0].text.find("File too large."), std::string::npos) << log.lines()[0];
            EXPECT_EQ(log.lines()[1], (LogLine{1, "Failed to write '" + path + "'.\n"}));
        }
        output->close();
        EXPECT_FALSE(fs::exists(path)) << limit;
    }
}

TEST_P(ExrFullDisk, OfJustTheRightSizeIsASuccess)
{
    std::size_t const size = whole_size();
    auto output = open();
    FileSizeLimit const full(size);

    EXPECT_EQ(output->write(picture.context, nullptr), kSuccess);

    output.reset();
    expect_channels(read_exr(path), picture.shape, {"R", "G", "B", "A"});
}

TEST_P(ExrFullDisk, ALastByteThatIsRefusedHasTheWholeWritersMessage)
{
    // The table of lines or tiles is at the front and is written again at the end: a limit of one byte lets the header
    // wait in memory, which a tiny picture does not leave before its end.
    SavePicture::Shape shape;
    shape.width = shape.height = 8;
    shape.tile = 8;
    SavePicture tiny(shape);
    auto output = tiny.output(path);
    ASSERT_TRUE(output->open(&app, exr_options(), tiny.window, tiny.window, 8));
    ASSERT_EQ(output->write_region(tiny.context, tiny.window, nullptr), kSuccess);
    LogCapture const log(2);
    {
        FileSizeLimit const full(1);
        EXPECT_EQ(output->write(tiny.context, nullptr), kFailed);
    }
    EXPECT_EQ(log.lines(), (Lines{{1, std::string(writer()) + ": OpenEXR exception: 'File too large.'\n"},
                                  {1, "Failed to write '" + path + "'.\n"}}));
    output.reset();
    EXPECT_FALSE(fs::exists(path));
}

TEST_P(ExrFullDisk, LeavesAFileThatWasThereBefore)
{
    write_bytes(path, {'o', 'l', 'd'});
    auto output = open();
    {
        LogCapture const log;
        FileSizeLimit const full(1000);
        EXPECT_EQ(output->write(picture.context, nullptr), kFailed);
        output.reset();
    }
    EXPECT_TRUE(fs::exists(path));
}

TEST_P(ExrFullDisk, InARegionFailsEveryWriteAfterIt)
{
    auto output = open();
    ASSERT_EQ(output->write_region(picture.context, rectangle(0, 0, 320, 32), nullptr), kSuccess);
    {
        LogCapture const log;
        FileSizeLimit const full(fs::file_size(path) + 10);
        EXPECT_EQ(output->write_region(picture.context, rectangle(0, 32, 320, 128), nullptr), kFailed);
    }
    // There is room again, but nobody knows any more what is in the file.
    EXPECT_EQ(output->write_region(picture.context, rectangle(0, 160, 320, 32), nullptr), kFailed);
    EXPECT_EQ(output->write(picture.context, nullptr), kFailed);
    LogCapture const log(2);
    output->close();

    EXPECT_TRUE(log.lines().empty()) << "told before";
    EXPECT_FALSE(fs::exists(path));
}

TEST_P(ExrFullDisk, InAnEarlyCloseIsTold)
{
    auto output = open();
    ASSERT_EQ(output->write_region(picture.context, rectangle(0, 0, 320, 32), nullptr), kSuccess);
    LogCapture const log;
    {
        FileSizeLimit const full(1);
        output->close();
    }
    EXPECT_EQ(log.lines(),
              (Lines{{1, "Error while closing '" + path + "'.\n"}, {3, "Closed '" + path + "'.\n"}}));
    EXPECT_EQ(output->get_write_type(), ImageIOOutput::WRITE_TYPE_CLOSED);
    EXPECT_FALSE(fs::exists(path));
}

TEST_P(ExrFullDisk, LeavesTheOtherOutputsOfASaveWhole)
{
    ImageIOOutputs outputs;
    auto other = picture.output(folder.file("b.exr"));
    ASSERT_TRUE(other->open(&app, exr_options(), picture.window, picture.window, 32));
    outputs.add_new(other.release());
    ImageIOOutput* const full = open().release();
    outputs.add_new(full);
    ASSERT_EQ(outputs.write_region(picture.context, rectangle(0, 0, 320, 32)), kSuccess);
    {
        LogCapture const log;
        FileSizeLimit const limit(1);
        EXPECT_EQ(full->write(picture.context, nullptr), kFailed);
    }
    EXPECT_EQ(outputs[0].write(picture.context, nullptr), kSuccess);
    outputs = ImageIOOutputs();

    EXPECT_FALSE(fs::exists(path));
    expect_channels(read_exr(folder.file("b.exr")), picture.shape, {"R", "G", "B", "A"});
}

TEST(ExrDevices, AFullOneIsNeverASuccess)
{
    for (int tiling_mode : {0, 1}) {
        OfApp app;
        app.tiling_mode = tiling_mode;
        SavePicture picture({});
        auto output = picture.output("/dev/full");
        ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
        EXPECT_EQ(output->write(picture.context, nullptr), kFailed);
        output.reset();
        EXPECT_TRUE(fs::exists("/dev/full"));
    }
}

TEST(ExrWriters, WithoutMemoryForABlockFailTheSave)
{
    TempDir const folder;
    OfApp app;
    SavePicture::Shape shape;
    shape.width = 40'000;  // times the tile size: past all addresses
    shape.height = 3;
    SavePicture picture(shape);
    auto output = picture.output(folder.file("a.exr"));
    ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 0x7fffffff));
    LogCapture const log(2);

    EXPECT_EQ(output->write(picture.context, nullptr), kFailed);

    EXPECT_EQ(log.lines(), (Lines{{1, "ImageIOSave::save_openexr_scanline_region: OpenEXR exception: "
                                      "'std::bad_alloc'\n"},
                                  {1, "Failed to write '" + folder.file("a.exr") + "'.\n"}}));
    output.reset();
    EXPECT_FALSE(fs::exists(folder.file("a.exr")));
}

class ExrFailedWrites : public testing::TestWithParam<int> {};  // tiling mode

INSTANTIATE_TEST_SUITE_P(Modes, ExrFailedWrites, testing::Values(0, 1));

TEST_P(ExrFailedWrites, KeepTheRegionsThatCameBefore)
{
    TempDir const folder;
    std::string const path = folder.file("a.exr");
    OfApp app;
    app.tiling_mode = GetParam();
    SavePicture picture({});  // 47 by 33 in tiles of 16
    auto output = picture.output(path);
    ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
    ASSERT_EQ(output->write_region(picture.context, rectangle(0, 0, 47, 16), nullptr), kSuccess);
    int countdown = 0;
    ThrowingBar bar(countdown);
    {
        LogCapture const log(0);
        EXPECT_EQ(output->write(picture.context, &bar), kFailed);
    }
    EXPECT_EQ(output->write(picture.context, nullptr), kFailed);
    LogCapture const log;

    output->close();

    EXPECT_EQ(log.lines(), (Lines{{3, "Closed '" + path + "'.\n"}}));
    ASSERT_TRUE(fs::exists(path));
    ReadExr const file = read_exr(path);
    EXPECT_FALSE(file.is_complete);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 47; ++x)
            ASSERT_EQ(file.at("G", x, y), encoded(1, x, y)) << x << " " << y;
}

TEST_P(ExrFailedWrites, KeepTheBlocksOfARegionThatFailed)
{
    TempDir const folder;
    std::string const path = folder.file("a.exr");
    OfApp app;
    app.tiling_mode = GetParam();
    SavePicture picture({});
    auto output = picture.output(path);
    ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
    LogCapture const log(0);
    for (bool in_region : {true, false}) {
        int countdown = 0;  // the first block is written by then
        ThrowingBar bar(countdown);
        EXPECT_EQ(in_region ? output->write_region(picture.context, rectangle(0, 0, 47, 33), &bar)
                            : output->write(picture.context, &bar),
                  kFailed);
    }

    output.reset();

    ASSERT_TRUE(fs::exists(path));
    if (GetParam()) {
        EXPECT_TRUE(tile_reads(path, 0, 0));
    } else {
        EXPECT_EQ(read_exr(path).at("G", 5, 15), encoded(1, 5, 15));
    }
}

TEST(ExrFailedWrite, IsToldThoughTheBarFailsOnceMoreAtItsEnd)
{
    struct BrokenBar : AppProgressBar {
        BrokenBar()
            : AppProgressBar("broken")
        {
        }
        void set_value(float) override { throw std::runtime_error("no display"); }
    } bar;
    TempDir const folder;
    std::string const path = folder.file("a.exr");
    OfApp app;
    SavePicture picture({});
    auto output = picture.output(path);
    ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
    LogCapture const log(2);

    EXPECT_EQ(output->write_region(picture.context, rectangle(0, 0, 47, 16), &bar), kFailed);

    EXPECT_EQ(log.lines(), (Lines{{1, "ImageIOSave::save_openexr_scanline_region: OpenEXR exception: "
                                      "'no display'\n"},
                                  {1, "Failed to write '" + path + "'.\n"}}));
}

TEST_P(ExrFailedWrites, OfAFileWithoutRegionsRemoveIt)
{
    TempDir const folder;
    std::string const path = folder.file("a.exr");
    OfApp app;
    app.tiling_mode = GetParam();
    SavePicture picture({});
    auto output = picture.output(path);
    ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
    ASSERT_EQ(output->write_region(picture.context, rectangle(90, 90, 16, 16), nullptr), kSuccess)
        << "it lies elsewhere";
    int countdown = 1;
    ThrowingBar bar(countdown);
    LogCapture const log(0);

    EXPECT_EQ(output->write(picture.context, &bar), kFailed);

    output.reset();
    EXPECT_FALSE(fs::exists(path));
}

}  // namespace
