#include <ImfTileDescription.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "tests/save/exr_saves.h"
#include "tests/save/exr_threads.h"

namespace {

using namespace zv_test;
using Lines = std::vector<LogLine>;
using Regions = std::vector<GMathVec4<int>>;
constexpr auto kSuccess = ImageIO::SAVING_STATUS_SUCCESS;
constexpr auto kFailed = ImageIO::SAVING_STATUS_WRITE_FAILED;

struct Mode {
    char const* name;
    int tiling_mode, threads;
    ImageIOFileFormat::OpenExrCompressionMethod compression;
};

SavePicture::Shape off_grid_shape()
{
    SavePicture::Shape shape;
    shape.x = -21;
    shape.y = -9;
    shape.width = 100;
    shape.height = 90;
    shape.names = {"r", "g", "b", "a", "depth.z"};
    return shape;
}

class ExrRegions : public testing::TestWithParam<Mode> {
protected:
    ExrRegions()
        : threads(GetParam().threads)
        , picture(off_grid_shape())
        , options(exr_options(ImageIOFileFormat::SAVE_EXR16, GetParam().compression))
    {
        app.tiling_mode = GetParam().tiling_mode;
    }
    bool is_tiled() const { return app.tiling_mode == 1; }
    std::unique_ptr<ImageIOOutput> open(std::string const& name)
    {
        auto output = picture.output(folder.file(name));
        EXPECT_TRUE(output->open(&app, options, picture.window, picture.window, picture.shape.tile));
        return output;
    }
    /// Whole lines or tiles, in the order of the file.
    Regions in_order() const
    {
        Regions regions;
        if (!is_tiled()) {
            for (int y = -9; y < 81; y += 7)
                regions.push_back(rectangle(-21, y, 100, std::min(7, 81 - y)));
            return regions;
        }
        for (int y = -16; y < 81; y += 16)
            for (int x = -32; x < 79; x += 32)
                regions.push_back(rectangle(x, y, 32, 16));
        return regions;
    }
    std::vector<char> whole_file()
    {
        auto output = open("whole.exr");
        EXPECT_EQ(output->write(picture.context, nullptr), kSuccess);
        return file_bytes(folder.file("whole.exr"));
    }
    int lines_per_block() const
    {
        using Format = ImageIOFileFormat;
        return GetParam().compression == Format::COMPRESSION_ZIP   ? 16
               : GetParam().compression == Format::COMPRESSION_PIZ ? 32
                                                                   : 1;
    }
    void expect_whole(std::string const& name)
    {
        expect_channels(read_exr(folder.file(name)), picture.shape, {"R", "G", "B", "A", "depth.Z"});
    }

    ExrThreads threads;
    TempDir folder;
    OfApp app;
    SavePicture picture;
    ImageSaveOptions options;
};

constexpr auto kNone = ImageIOFileFormat::COMPRESSION_NONE;
constexpr auto kZip = ImageIOFileFormat::COMPRESSION_ZIP;
constexpr auto kPiz = ImageIOFileFormat::COMPRESSION_PIZ;

INSTANTIATE_TEST_SUITE_P(Modes, ExrRegions,
                         testing::Values(Mode{"lines", 0, 0, kNone}, Mode{"lines_zip", 0, 0, kZip},
                                         Mode{"lines_piz", 0, 0, kPiz}, Mode{"lines_threads", 0, 2, kZip},
                                         Mode{"tiles", 1, 0, kNone}, Mode{"tiles_zip", 1, 0, kZip},
                                         Mode{"tiles_threads", 1, 2, kZip}),
                         [](auto const& mode) { return mode.param.name; });

TEST_P(ExrRegions, InOrderGiveTheBytesOfAWholeSave)
{
    auto output = open("a.exr");
    for (auto const& region : in_order())
        ASSERT_EQ(output->write_region(picture.context, region, nullptr), kSuccess);
    output->close();

    EXPECT_EQ(file_bytes(folder.file("a.exr")), whole_file());
    expect_whole("a.exr");
}

TEST_P(ExrRegions, AWriteAfterThemFinishesTheFile)
{
    auto const whole = whole_file();
    Regions const regions = in_order();
    for (std::size_t count = 0; count <= regions.size(); count += 3) {
        std::string const name = std::to_string(count) + ".exr";
        auto output = open(name);
        for (std::size_t i = 0; i < count; ++i)
            ASSERT_EQ(output->write_region(picture.context, regions[i], nullptr), kSuccess);

        EXPECT_EQ(output->write(picture.context, nullptr), kSuccess);

        EXPECT_EQ(file_bytes(folder.file(name)), whole) << count;
    }
}

TEST_P(ExrRegions, WhatWasNotInOrderChangesNothing)
{
    auto output = open("a.exr");
    Regions const regions = in_order();
    ASSERT_EQ(output->write_region(picture.context, regions[0], nullptr), kSuccess);
    {
        LogCapture const log(2);
        EXPECT_EQ(output->write_region(picture.context, regions[0], nullptr), kFailed);
        ASSERT_EQ(log.lines().size(), 2u);
        EXPECT_EQ(log.lines()[1], (LogLine{1, "Failed to write '" + folder.file("a.exr") + "'.\n"}));
    }
    for (std::size_t i = 1; i < regions.size(); ++i)
        ASSERT_EQ(output->write_region(picture.context, regions[i], nullptr), kSuccess);
    output->close();
    expect_whole("a.exr");
}

TEST_P(ExrRegions, AFileClosedEarlyKeepsWhatItHas)
{
    Regions const regions = in_order();
    for (std::size_t count : {std::size_t(0), std::size_t(1), std::size_t(3), regions.size() - 1}) {
        auto output = open("a.exr");
        for (std::size_t i = 0; i < count; ++i)
            ASSERT_EQ(output->write_region(picture.context, regions[i], nullptr), kSuccess);
        LogCapture const log(2);
        output->close();

        EXPECT_TRUE(log.lines().empty());
        ReadExr const file = read_exr(folder.file("a.exr"));
        EXPECT_FALSE(file.is_complete);
        // Lines are kept by whole blocks of the compression, which count from the first line of the file.
        int const line_count = is_tiled() ? 0 : int(count) * 7 / lines_per_block() * lines_per_block();
        for (int y = -9; y < -9 + line_count; ++y)
            ASSERT_EQ(file.at("G", 3, y), encoded(1, 3, y)) << y;
        for (std::size_t line = std::size_t(line_count); !is_tiled() && line < 90; ++line)
            ASSERT_FALSE(file.line_is_there[line]) << line;
        for (std::size_t i = 0; is_tiled() && i < regions.size(); ++i) {
            int const column = (regions[i][0] + 32) / 16, row = (regions[i][1] + 16) / 16;
            EXPECT_EQ(tile_reads(folder.file("a.exr"), column, row), i < count) << i;
        }
    }
}

class ExrTileGaps : public testing::TestWithParam<int> {};  // threads

INSTANTIATE_TEST_SUITE_P(Threads, ExrTileGaps, testing::Values(0, 2));

TEST_P(ExrTileGaps, AreZerosAndWhatLiesBehindStaysMissing)
{
    ExrThreads const threads(GetParam());
    TempDir const folder;
    OfApp app;
    app.tiling_mode = 1;
    SavePicture::Shape shape;
    shape.width = shape.height = 64;  // 4 by 4 tiles
    SavePicture picture(shape);
    auto output = picture.output(folder.file("a.exr"));
    ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
    std::vector<int> const given = {9, 2, 5};  // 9 is the last of them in the file's order
    for (int number : given)
        ASSERT_EQ(output->write_region(picture.context, rectangle(number % 4 * 16, number / 4 * 16, 16, 16),
                                       nullptr),
                  kSuccess);

    output.reset();

    for (int number = 0; number < 16; ++number)
        EXPECT_EQ(tile_reads(folder.file("a.exr"), number % 4, number / 4), number <= 9) << number;
    ReadExr const file = read_exr(folder.file("a.exr"));
    EXPECT_FALSE(file.is_complete);
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 64; ++x) {
            bool const was_given = std::find(given.begin(), given.end(), y / 16 * 4 + x / 16) != given.end();
            ASSERT_EQ(file.at("B", x, y), was_given ? encoded(2, x, y) : 0.0f) << x << " " << y;
        }
}

TEST_P(ExrTileGaps, AreNoneInAFileWithoutTiles)
{
    ExrThreads const threads(GetParam());
    TempDir const folder;
    OfApp app;
    app.tiling_mode = 1;
    SavePicture picture({});
    auto output = picture.output(folder.file("a.exr"));
    ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));

    output.reset();

    EXPECT_FALSE(tile_reads(folder.file("a.exr"), 0, 0));
    EXPECT_FALSE(read_exr(folder.file("a.exr")).is_complete);
}

TEST_P(ExrTileGaps, AreFilledBehindTilesThatCameInAnyOrder)
{
    ExrThreads const threads(GetParam());
    TempDir const folder;
    OfApp app;
    app.tiling_mode = 1;
    SavePicture::Shape shape;
    shape.width = shape.height = 112;  // 7 by 7 tiles
    SavePicture picture(shape);
    std::vector<int> order(49);
    for (int i = 0; i < 49; ++i)
        order[std::size_t(i)] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937(7));
    for (std::size_t count : {1u, 10u, 30u, 49u}) {
        auto output = picture.output(folder.file("a.exr"));
        ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
        for (std::size_t i = 0; i < count; ++i)
            ASSERT_EQ(output->write_region(picture.context,
                                           rectangle(order[i] % 7 * 16, order[i] / 7 * 16, 16, 16), nullptr),
                      kSuccess);
        output.reset();

        int const last = *std::max_element(order.begin(), order.begin() + std::ptrdiff_t(count));
        ReadExr const file = read_exr(folder.file("a.exr"));
        EXPECT_EQ(file.is_complete, last == 48);
        for (std::size_t i = 0; i < count; ++i) {
            int const x = order[i] % 7 * 16, y = order[i] / 7 * 16;
            ASSERT_TRUE(tile_reads(folder.file("a.exr"), order[i] % 7, order[i] / 7));
            if (order[i] / 7 < last / 7) {  // lines of the last row may not read as a whole
                EXPECT_EQ(file.at("R", x + 3, y + 5), encoded(0, x + 3, y + 5));
            }
        }
    }
}

TEST(ExrManyRegions, SingleLinesAndSinglePixels)
{
    TempDir const folder;
    OfApp app;
    SavePicture::Shape shape;
    shape.y = -5;
    SavePicture picture(shape);
    auto output = picture.output(folder.file("a.exr"));
    ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
    for (int y = -5; y < 28; ++y)
        ASSERT_EQ(output->write_region(picture.context, rectangle(y + 5, y, 1, 1), nullptr), kSuccess) << y;
    output.reset();

    expect_channels(read_exr(folder.file("a.exr")), shape, {"R", "G", "B", "A"});
}

}  // namespace
