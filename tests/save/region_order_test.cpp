#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/of/of_app.h"
#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"
#include "tests/save/test_canvas.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

// Regions that a file library answers with a crash, or for ever, never reach it.

namespace {

using namespace zv_test;
using Format = ImageIOFileFormat;
constexpr auto kSuccess = ImageIO::SAVING_STATUS_SUCCESS;
constexpr auto kFailed = ImageIO::SAVING_STATUS_WRITE_FAILED;

/// A file of 200 by 300 pixels on the road of OpenImageIO, whatever its name.
struct OpenFile {
    OpenFile(std::string const& name, Format::Save format, int tiling_mode, int y = 0)
        : canvas(CanvasShape{0, y, 200, 300, {"r", "g", "b"}, 64})
        , context(canvas.context())
        , path(folder.file(name))
    {
        app.tiling_mode = tiling_mode;
        ImageSaveOptions options;
        options.format = format;
        options.color_space = "";
        app.output_one_file_per_aov = true;  // the plain name takes the colours, whatever the format is
        EXPECT_EQ(ImageIOSave::build_outputs(&app, options, path.c_str(), &canvas.map(), canvas.data_window(),
                                             canvas.canvas_rectangle(), outputs),
                  kSuccess);
    }
    ImageIO::SavingStatus write_region(int y, int height)
    {
        return ImageIOSave::save_region(&app, outputs, context, {0, y, 200, height}, nullptr);
    }
    ImageIO::SavingStatus write() { return ImageIOSave::save(&app, outputs, context, nullptr); }
    /// Closes the file, and gives the red of its first column; -1 where a row does not read.
    std::vector<float> close_and_read()
    {
        outputs = ImageIOOutputs();
        std::vector<float> column;
        auto const file = OIIO::ImageInput::open(path);
        for (int y = 0; file && y < file->spec().height; ++y) {
            std::vector<float> row(std::size_t(200) * 3);
            int const line = file->spec().y + y;
            bool const is_read =
                file->spec().tile_width
                    ? file->read_image(0, 0, 0, 3, OIIO::TypeDesc::FLOAT, row.data(), 12, 0)
                    : file->read_scanlines(0, 0, line, line + 1, 0, 0, 3, OIIO::TypeDesc::FLOAT, row.data());
            column.push_back(is_read ? row[0] : -1);
        }
        return column;
    }
    float sample(int y) const { return encoded(0, 0, y); }

    TempDir folder;
    OfApp app;
    TestCanvas canvas;
    ImageEvalContext context;
    std::string path;
    ImageIOOutputs outputs;
};

TEST(RegionOrder, OfOpenExrLinesIsThatOfTheFile)
{
    OpenFile file("a.exr", Format::SAVE_UNKNOWN, 0);
    LogCapture const log(2);

    EXPECT_EQ(file.write_region(236, 64), kSuccess);  // a strip that is refused stays unnoticed
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(file.write_region(0, 64), kSuccess);
    EXPECT_EQ(file.write_region(0, 300), kSuccess);
    EXPECT_EQ(file.write_region(0, 300), kSuccess);
    EXPECT_EQ(file.write(), kSuccess);

    EXPECT_TRUE(log.lines().empty());
    auto const column = file.close_and_read();
    ASSERT_EQ(column.size(), 300u);
    for (int y = 0; y < 300; ++y)
        ASSERT_EQ(column[std::size_t(y)], file.sample(y)) << y;
}

TEST(RegionOrder, OfOpenExrLinesInFrontOfTheFileIsRefused)
{
    OpenFile file("a.exr", Format::SAVE_UNKNOWN, 0, 20);

    EXPECT_EQ(file.write_region(0, 64), kSuccess);  // begins above row 20
    EXPECT_EQ(file.write(), kSuccess);

    auto const column = file.close_and_read();
    ASSERT_EQ(column.size(), 300u);
    for (int y = 0; y < 300; ++y)
        ASSERT_EQ(column[std::size_t(y)], file.sample(y + 20)) << y;
}

TEST(RegionOrder, OfOpenExrTilesTakesEachOnce)
{
    OpenFile file("a.exr", Format::SAVE_UNKNOWN, 1);
    EXPECT_EQ(file.write_region(64, 64), kSuccess);
    LogCapture const log(2);

    EXPECT_EQ(file.write_region(64, 64), kFailed);
    EXPECT_EQ(file.write_region(10, 64), kFailed);
    EXPECT_EQ(file.write(), kFailed);

    ASSERT_FALSE(log.lines().empty());
    EXPECT_EQ(log.lines()[0],
              (LogLine{2, "Problem while writing tile (0, 64, 64, 64): the tile was written before\n"}));
    EXPECT_EQ(log.lines().back(), (LogLine{1, "Failed to write '" + file.path + "'.\n"}));
}

TEST(RegionOrder, OfTiffRowsInFrontOfTheFileSpoilsNoOthers)
{
    OpenFile file("a.tif", Format::SAVE_TIFF32, 0, 20);

    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(file.write_region(0, 64), kSuccess);
    EXPECT_EQ(file.write(), kSuccess);

    auto const column = file.close_and_read();
    ASSERT_EQ(column.size(), 300u);
    for (int y = 0; y < 300; ++y)
        ASSERT_EQ(column[std::size_t(y)], file.sample(y + 20)) << y;
}

TEST(RegionOrder, OfTiffRowsBehindTheFileMakesItNoTaller)
{
    OpenFile file("a.tif", Format::SAVE_TIFF32, 0, -20);

    EXPECT_EQ(file.write_region(0, 300),
              kSuccess);  // cut at the size, from 0: rows up to 280 are in the file
    EXPECT_EQ(file.write(), kSuccess);

    auto const column = file.close_and_read();
    ASSERT_EQ(column.size(), 300u);
    for (int y = 0; y < 300; ++y)
        ASSERT_EQ(column[std::size_t(y)], file.sample(y - 20)) << y;
}

}  // namespace
