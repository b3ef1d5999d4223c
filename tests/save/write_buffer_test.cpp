#include <OpenImageIO/imageio.h>

#include <climits>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "image_io/save/image_io_save.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/scripted_format.h"

namespace {

using namespace zv_test;
using Calls = std::vector<std::string>;
using Lines = std::vector<LogLine>;
using Format = ImageIOFileFormat;

constexpr unsigned int kWidth = 9, kHeight = 7;

ImageIO::SavingStatus write(std::string const& path, Format::Save format, unsigned int channels)
{
    auto pixels = interleaved<float>(0, 0, kWidth, kHeight, static_cast<int>(channels));
    return ImageIOSave::write_image_from_buffer(path.c_str(), format, pixels.data(), channels, kWidth,
                                                kHeight);
}

LogLine failure(std::string const& path, std::string const& error)
{
    return {1, "Could not write " + path + ", error = " + error + "\n"};
}

TEST(WriteImageFromBuffer, HandsTheWholeBufferOverAtOnceAsFloats)
{
    TempDir const folder;
    ScriptedFile const file(folder, WriteScript{});
    LogCapture const log;

    EXPECT_EQ(write(file.path(), Format::SAVE_PNG16, 4), ImageIO::SAVING_STATUS_SUCCESS);

    WriteRecord const written = file.written();
    EXPECT_EQ(written.calls,
              (Calls{"open 9 by 7, 4 channels of uint16", "write_image float", "close", "destroy"}));
    EXPECT_EQ(written.samples, interleaved<float>(0, 0, kWidth, kHeight, 4));
    EXPECT_EQ(written.spec.extra_attribs.size(), 0u);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(WriteImageFromBuffer, DeclaresTheSampleTypeOfTheFormat)
{
    TempDir const folder;
    char const* const types[] = {"half",   "float", "float",  "uint8", "uint8", "uint8",
                                 "uint16", "uint8", "uint16", "float", "float", "float"};
    for (int format = 0; format < 12; ++format) {
        ScriptedFile const file(folder, WriteScript{});

        EXPECT_EQ(write(file.path(), static_cast<Format::Save>(format), 3), ImageIO::SAVING_STATUS_SUCCESS);

        EXPECT_EQ(file.written().calls.at(0), std::string("open 9 by 7, 3 channels of ") + types[format]);
    }
}

TEST(WriteImageFromBuffer, AnyNameWithTargaInItKeepsItsAlpha)
{
    TempDir const folder;
    std::filesystem::create_directory(folder.file("all.tga_files"));
    for (char const* name : {"a.tga.zvs", "all.tga_files/a.zvs", "a.TGA.zvs", "atga.zvs"}) {
        ScriptedFile const file(folder, WriteScript{}, name);

        EXPECT_EQ(write(file.path(), Format::SAVE_TARGA, 4), ImageIO::SAVING_STATUS_SUCCESS);

        bool const expected = std::string(name).find(".tga") != std::string::npos;
        EXPECT_EQ(file.written().spec.get_int_attribute("oiio:UnassociatedAlpha", -1), expected ? 1 : -1)
            << name;
    }
}

TEST(WriteImageFromBuffer, TargaFilesHoldTheSamplesAsGiven)
{
    TempDir const folder;
    std::string const path = folder.file("a.tga");
    std::vector<float> pixels{0.8f, 0.4f, 0.2f, 0.4f};

    EXPECT_EQ(ImageIOSave::write_image_from_buffer(path.c_str(), Format::SAVE_TARGA, pixels.data(), 4, 1, 1),
              ImageIO::SAVING_STATUS_SUCCESS);

    std::vector<int> bytes;
    for (float const sample : read_picture(path, true).samples)
        bytes.push_back(static_cast<int>(std::lround(sample * 255)));
    EXPECT_EQ(bytes, (std::vector<int>{204, 102, 51, 102}));
}

TEST(WriteImageFromBuffer, WithoutAWriterIsOneLineWithoutAnError)
{
    TempDir const folder;
    LogCapture const log;

    EXPECT_EQ(write(folder.file("a.zzz"), Format::SAVE_UNKNOWN, 3), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);
    EXPECT_EQ(write("", Format::SAVE_PNG8, 3), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    EXPECT_EQ(log.lines(),
              (Lines{{1, "Could not write " + folder.file("a.zzz") + "\n"}, {1, "Could not write \n"}}));
    EXPECT_EQ(OIIO::geterror(), "");
}

TEST(WriteImageFromBuffer, FailedOpenIsLoggedAndNotClosed)
{
    TempDir const folder;
    WriteScript script;
    script.open = WriteScript::REFUSE;
    script.open_error = "no room";
    ScriptedFile const file(folder, script);
    LogCapture const log;

    EXPECT_EQ(write(file.path(), Format::SAVE_PNG8, 3), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    EXPECT_EQ(log.lines(), Lines{failure(file.path(), "no room")});
    EXPECT_EQ(file.written().calls, (Calls{"open 9 by 7, 3 channels of uint8", "destroy"}));
}

TEST(WriteImageFromBuffer, FailedWriteIsClosedLoggedAndRemoved)
{
    TempDir const folder;
    WriteScript script;
    script.write = WriteScript::REFUSE;
    script.write_error = "torn";
    script.makes_file = true;
    ScriptedFile const file(folder, script);
    LogCapture const log;

    EXPECT_EQ(write(file.path(), Format::SAVE_PNG8, 3), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    EXPECT_EQ(log.lines(), Lines{failure(file.path(), "torn")});
    EXPECT_EQ(file.written().calls,
              (Calls{"open 9 by 7, 3 channels of uint8", "write_image float", "close", "destroy"}));
    EXPECT_FALSE(std::filesystem::exists(file.path()));
}

TEST(WriteImageFromBuffer, AFileThatWasThereBeforeIsNotRemoved)
{
    TempDir const folder;
    WriteScript script;
    script.write = WriteScript::REFUSE;
    script.makes_file = true;
    ScriptedFile const file(folder, script);
    write_bytes(file.path(), {'o', 'l', 'd'});
    LogCapture const log;

    EXPECT_EQ(write(file.path(), Format::SAVE_PNG8, 3), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    EXPECT_TRUE(std::filesystem::exists(file.path()));
}

TEST(WriteImageFromBuffer, ResultOfCloseDoesNotCount)
{
    TempDir const folder;
    WriteScript script;
    script.close = WriteScript::REFUSE;
    script.makes_file = true;
    ScriptedFile const file(folder, script);
    LogCapture const log;

    EXPECT_EQ(write(file.path(), Format::SAVE_PNG8, 3), ImageIO::SAVING_STATUS_SUCCESS);

    EXPECT_EQ(log.lines(), Lines{});
    EXPECT_TRUE(std::filesystem::exists(file.path()));
}

TEST(WriteImageFromBuffer, ExceptionsOfWritersAreFailures)
{
    TempDir const folder;
    for (auto step : {&WriteScript::open, &WriteScript::write, &WriteScript::close}) {
        WriteScript script;
        script.*step = WriteScript::THROW;
        script.open_error = script.write_error = script.close_error = "thrown";
        ScriptedFile const file(folder, script);
        LogCapture const log;

        EXPECT_EQ(write(file.path(), Format::SAVE_PNG8, 3), ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

        EXPECT_EQ(log.lines(), Lines{failure(file.path(), "thrown")});
    }
}

TEST(WriteImageFromBuffer, RefusesWhatNoWriterShouldSee)
{
    TempDir const folder;
    std::vector<float> pixels(64);
    using Buffer = std::tuple<float*, unsigned int, unsigned int, unsigned int, char const*>;
    Buffer const buffers[] = {{nullptr, 3, 2, 2, "there are no pixels"},
                              {pixels.data(), 0, 2, 2, "the image has no channels"},
                              {pixels.data(), 3, 0, 2, "the image has no size"},
                              {pixels.data(), 3, 2, 0, "the image has no size"},
                              {pixels.data(), 3, UINT_MAX, 1, "the image is too large"},
                              {pixels.data(), INT_MAX, INT_MAX, INT_MAX, "the image is too large"}};
    for (char const* name : {"a.png", "a.jpg", "a.tga", "a.bmp", "a.tif"})
        for (auto const& [data, channels, width, height, reason] : buffers) {
            LogCapture const log;

            EXPECT_EQ(ImageIOSave::write_image_from_buffer(folder.file(name).c_str(), Format::SAVE_PNG8, data,
                                                           channels, width, height),
                      ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

            EXPECT_EQ(log.lines(), Lines{failure(folder.file(name), reason)});
            EXPECT_FALSE(std::filesystem::exists(folder.file(name)));
        }
}

TEST(WriteImageFromBuffer, RefusesJpegEdgesThatWouldEndTheProcess)
{
    TempDir const folder;
    std::vector<float> pixels(65501);
    std::string const path = folder.file("a.jpg");
    LogCapture const log;

    EXPECT_EQ(
        ImageIOSave::write_image_from_buffer(path.c_str(), Format::SAVE_JPEG, pixels.data(), 1, 65501, 1),
        ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE);

    EXPECT_EQ(log.lines(), Lines{failure(path, "JPEG files have at most 65500 pixels an edge")});
}

}  // namespace
