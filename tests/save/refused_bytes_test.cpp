#include <OpenImageIO/imageio.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/of/of_app.h"
#include "image_io/frame/image_io.h"
#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"
#include "tests/save/file_size_limit.h"
#include "tests/save/test_canvas.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

// A byte that does not arrive is never a success, wherever in the file it is and whatever the format's writer
// thinks.

namespace {

using namespace zv_test;
using Format = ImageIOFileFormat;
using Lines = std::vector<LogLine>;

struct FileCase {
    char const* label;
    char const* name;
    Format::Save format;
    int tiling_mode = 0;

    bool is_planned() const { return format >= Format::SAVE_TIFF8; }
    friend std::ostream& operator<<(std::ostream& stream, FileCase const& row) { return stream << row.label; }
};

class RefusedBytes : public testing::TestWithParam<FileCase> {
protected:
    RefusedBytes()
    {
        app.tiling_mode = GetParam().tiling_mode;
        options.format = GetParam().format;
        options.color_space = "";
        CanvasShape shape;
        shape.channels = {"r", "g", "b"};
        shape.width = shape.height = 300;
        canvas = std::make_unique<TestCanvas>(shape);
    }
    ImageIO::SavingStatus save(std::string const& path)
    {
        return ImageIO::save(path.c_str(), options, canvas->canvas(), &app, nullptr, nullptr);
    }
    void expect_failure(std::string const& path, std::string const& reason)
    {
        LogCapture const log(1);
        bool const is_planned = GetParam().is_planned();

        EXPECT_EQ(save(path), is_planned ? ImageIO::SAVING_STATUS_WRITE_FAILED
                                         : ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

        Lines const planned{{1, "OpenImageIO error: " + reason + "\n"},
                            {1, "Failed to write '" + path + "'.\n"}},
            buffered{{1, "Could not write " + path + ", error = " + reason + "\n"}};
        EXPECT_EQ(log.lines(), is_planned ? planned : buffered);
    }

    TempDir folder;
    OfApp app;
    ImageSaveOptions options;
    std::unique_ptr<TestCanvas> canvas;
};

TEST_P(RefusedBytes, AtTheFirstByteInTheMiddleAndAtTheLastAreAFailure)
{
    std::string const path = folder.file(GetParam().name);
    ASSERT_EQ(save(path), ImageIO::SAVING_STATUS_SUCCESS);
    std::size_t const size = std::filesystem::file_size(path);
    std::filesystem::remove(path);
    for (std::size_t const limit : {std::size_t(0), std::size_t(1), size / 2, size - 1}) {
        SCOPED_TRACE(std::to_string(limit) + " of " + std::to_string(size));
        FileSizeLimit const hold(limit);

        expect_failure(path, "File too large");

        EXPECT_FALSE(std::filesystem::exists(path));
    }
    FileSizeLimit const just_enough(size);
    EXPECT_EQ(save(path), ImageIO::SAVING_STATUS_SUCCESS);
}

TEST_P(RefusedBytes, AFileThatWasThereBeforeIsNotRemoved)
{
    std::string const path = folder.file(GetParam().name);
    write_bytes(path, {'o', 'l', 'd'});
    FileSizeLimit const hold(1000);

    expect_failure(path, "File too large");

    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_P(RefusedBytes, OnAFullDeviceAreAFailureAndTheDeviceStays)
{
    std::string const path = folder.file(GetParam().name);
    std::filesystem::create_symlink("/dev/full", path);

    expect_failure(path, "No space left on device");

    EXPECT_TRUE(std::filesystem::is_symlink(path));
}

TEST_P(RefusedBytes, InAFolderThatDoesNotExistAreAFailedOpen)
{
    std::string const path = folder.file("none/") + GetParam().name;
    LogCapture const log(1);

    EXPECT_EQ(save(path), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    std::string const reason = "Could not open file \"" + path + "\"\n";
    Lines const planned{{1, "Error while opening '" + path + "'.\n"},
                        {1, "OpenImageIO error: " + reason},
                        {1, "Failed to open '" + path + "' for writing.\n"}},
        buffered{{1, "Could not write " + path + ", error = " + reason}};
    EXPECT_EQ(log.lines(), GetParam().is_planned() ? planned : buffered);
}

TEST_P(RefusedBytes, UnderTheNameOfAFolderAreAFailedOpen)
{
    std::string const path = folder.file(GetParam().name);
    std::filesystem::create_directory(path);
    LogCapture const log(0);

    EXPECT_EQ(save(path), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    EXPECT_TRUE(std::filesystem::is_directory(path));
}

INSTANTIATE_TEST_SUITE_P(Formats, RefusedBytes,
                         testing::Values(FileCase{"jpeg", "a.jpg", Format::SAVE_JPEG},
                                         FileCase{"bmp", "a.bmp", Format::SAVE_BMP},
                                         FileCase{"targa", "a.tga", Format::SAVE_TARGA},
                                         FileCase{"png8", "a.png", Format::SAVE_PNG8},
                                         FileCase{"png16", "a.png", Format::SAVE_PNG16},
                                         FileCase{"tiff8", "a.tif", Format::SAVE_TIFF8},
                                         FileCase{"tiff32_tiled", "a.tif", Format::SAVE_TIFF32, 1},
                                         FileCase{"planned_png", "a.png", Format::SAVE_UNKNOWN},
                                         FileCase{"planned_jpeg", "a.jpg", Format::SAVE_UNKNOWN},
                                         FileCase{"planned_hdr", "a.hdr", Format::SAVE_UNKNOWN}),
                         [](auto const& row) { return row.param.label; });

TEST(RefusedBytesOfRegions, ComeToLightWhenTheFileIsClosed)
{
    TempDir const folder;
    TestCanvas const canvas;
    OfApp app;
    ImageSaveOptions options;
    options.format = Format::SAVE_TIFF32;
    options.color_space = "";
    std::string const path = folder.file("a.tif");
    LogCapture const log(1);
    FileSizeLimit const hold(100);
    {
        ImageIOOutputs outputs;
        ImageEvalContext context = canvas.context();
        ASSERT_EQ(ImageIOSave::build_outputs(&app, options, path.c_str(), &canvas.map(), canvas.data_window(),
                                             canvas.canvas_rectangle(), outputs),
                  ImageIO::SAVING_STATUS_SUCCESS);
        EXPECT_EQ(ImageIOSave::save_region(&app, outputs, context, {0, 0, 47, 33}, nullptr),
                  ImageIO::SAVING_STATUS_SUCCESS);
    }

    EXPECT_EQ(log.lines(), (Lines{{1, "Error while closing '" + path + "'.\n"},
                                  {1, "OpenImageIO error: File too large\n"}}));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(RefusedBytesOfOneFile, LeaveTheOtherFilesOfASaveWhole)
{
    TempDir const folder;
    CanvasShape shape;
    shape.channels = {"r", "g", "b", "depth", "normal.x"};
    TestCanvas const canvas(shape);
    OfApp app;
    app.output_aovs_in_all_formats = true;
    ImageSaveOptions options;
    options.format = Format::SAVE_PNG8;
    options.color_space = "";
    std::filesystem::create_symlink("/dev/full", folder.file("a_depth.png"));
    LogCapture const log(0);

    EXPECT_EQ(ImageIO::save(folder.file("a.png").c_str(), options, canvas.canvas(), &app, nullptr, nullptr),
              ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    EXPECT_EQ(read_picture(folder.file("a.png")).spec.width, 47);
    EXPECT_EQ(read_picture(folder.file("a_normal.png")).spec.width, 47);
}

}  // namespace
