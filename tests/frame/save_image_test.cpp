#include <OpenImageIO/imageio.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "image_io/frame/image_io.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/scripted_format.h"

namespace {

using zv_test::encoded_as;
using zv_test::interleaved;
using zv_test::LogCapture;
using zv_test::LogLine;
using zv_test::read_picture;
using zv_test::ScriptedFile;
using zv_test::TempDir;
using zv_test::WriteScript;

using Lines = std::vector<LogLine>;
using Calls = std::vector<std::string>;

constexpr unsigned int kWidth = 47, kHeight = 33;

bool save_bytes(std::string const& path, unsigned int channels)
{
    auto const pixels = interleaved<std::uint8_t>(0, 0, kWidth, kHeight, static_cast<int>(channels));
    return ImageIO::save_image(path.c_str(), pixels.data(), channels, kWidth, kHeight);
}

bool save_floats(std::string const& path, unsigned int channels)
{
    auto const pixels = interleaved<float>(0, 0, kWidth, kHeight, static_cast<int>(channels));
    return ImageIO::save_image(path.c_str(), pixels.data(), channels, kWidth, kHeight);
}

LogLine failure(std::string const& path, std::string const& error)
{
    return {1, "Could not write " + path + ", error = " + error + "\n"};
}

TEST(SaveImage, WritesBytesAsTheyAre)
{
    TempDir const folder;

    ASSERT_TRUE(save_bytes(folder.file("a.png"), 3));

    auto const picture = read_picture(folder.file("a.png"));
    EXPECT_EQ(picture.spec.format, OIIO::TypeDesc::UINT8);
    ASSERT_EQ(picture.spec.width, int(kWidth));
    ASSERT_EQ(picture.spec.height, int(kHeight));
    ASSERT_EQ(picture.spec.nchannels, 3);
    for (int y = 0; y < int(kHeight); ++y)
        for (int x = 0; x < int(kWidth); ++x)
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(std::lround(picture.at(c, x, y) * 255), encoded_as<std::uint8_t>(c, x, y))
                    << c << " " << x << " " << y;
}

TEST(SaveImage, WritesFloatsAsTheyAre)
{
    TempDir const folder;

    for (char const* name : {"a.exr", "a.tif"}) {
        ASSERT_TRUE(save_floats(folder.file(name), 4)) << name;

        auto const picture = read_picture(folder.file(name));
        EXPECT_EQ(picture.spec.format, OIIO::TypeDesc::FLOAT) << name;
        EXPECT_EQ(picture.samples, interleaved<float>(0, 0, kWidth, kHeight, 4)) << name;
    }
}

TEST(SaveImage, BothFormsGiveFilesOfOneLayout)
{
    TempDir const folder;

    ASSERT_TRUE(save_bytes(folder.file("bytes.tif"), 3));
    ASSERT_TRUE(save_floats(folder.file("floats.tif"), 3));

    auto const bytes = read_picture(folder.file("bytes.tif")),
               floats = read_picture(folder.file("floats.tif"));
    EXPECT_EQ(bytes.spec.format, OIIO::TypeDesc::UINT8);
    EXPECT_EQ(floats.spec.format, OIIO::TypeDesc::FLOAT);
    EXPECT_EQ(bytes.spec.width, floats.spec.width);
    EXPECT_EQ(bytes.spec.height, floats.spec.height);
    EXPECT_EQ(bytes.spec.channelnames, floats.spec.channelnames);
    EXPECT_EQ(bytes.spec.tile_width, floats.spec.tile_width);
}

TEST(SaveImage, AsksTheWriterForOneImageOfItsOwnType)
{
    TempDir const folder;
    ScriptedFile const bytes(folder, WriteScript{}, "bytes.zvs"), floats(folder, WriteScript{}, "floats.zvs");
    LogCapture const log;

    EXPECT_TRUE(save_bytes(bytes.path(), 2));
    EXPECT_TRUE(save_floats(floats.path(), 2));

    EXPECT_EQ(bytes.written().calls,
              (Calls{"open 47 by 33, 2 channels of uint8", "write_image uint8", "close", "destroy"}));
    EXPECT_EQ(floats.written().calls,
              (Calls{"open 47 by 33, 2 channels of float", "write_image float", "close", "destroy"}));
    EXPECT_EQ(floats.written().samples, interleaved<float>(0, 0, kWidth, kHeight, 2));
    EXPECT_EQ(bytes.written().spec.extra_attribs.size(), 0u);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(SaveImage, UnknownExtensionIsFalseWithoutALine)
{
    TempDir const folder;
    LogCapture const log;

    EXPECT_FALSE(save_bytes(folder.file("a.zzz"), 3));
    EXPECT_FALSE(save_bytes(folder.file("a"), 3));
    EXPECT_FALSE(save_bytes("", 3));

    EXPECT_EQ(log.lines(), Lines{});
    EXPECT_FALSE(std::filesystem::exists(folder.file("a.zzz")));
    EXPECT_EQ(OIIO::geterror(), "");
}

TEST(SaveImage, FailedOpenIsLoggedAndNotClosed)
{
    TempDir const folder;
    WriteScript script;
    script.open = WriteScript::REFUSE;
    script.open_error = "no room";
    ScriptedFile const file(folder, script);
    LogCapture const log;

    EXPECT_FALSE(save_bytes(file.path(), 1));

    EXPECT_EQ(log.lines(), (Lines{failure(file.path(), "no room")}));
    EXPECT_EQ(file.written().calls, (Calls{"open 47 by 33, 1 channels of uint8", "destroy"}));
}

TEST(SaveImage, FailedWriteClosesTheFileAndIsLoggedOnce)
{
    TempDir const folder;
    WriteScript script;
    script.write = WriteScript::REFUSE;
    script.write_error = "torn paper";
    ScriptedFile const file(folder, script);
    LogCapture const log;

    EXPECT_FALSE(save_floats(file.path(), 1));

    EXPECT_EQ(log.lines(), (Lines{failure(file.path(), "torn paper")}));
    EXPECT_EQ(file.written().calls,
              (Calls{"open 47 by 33, 1 channels of float", "write_image float", "close", "destroy"}));
}

TEST(SaveImage, AFileThatIsNotWholeGoesAwayUnlessItWasThereBefore)
{
    TempDir const folder;
    WriteScript script;
    script.write = WriteScript::REFUSE;
    script.makes_file = true;
    ScriptedFile const fresh(folder, script, "fresh.zvs"), old(folder, script, "old.zvs");
    zv_test::write_bytes(old.path(), {'o', 'l', 'd'});
    LogCapture const log;

    EXPECT_FALSE(save_bytes(fresh.path(), 1));
    EXPECT_FALSE(save_bytes(old.path(), 1));

    EXPECT_FALSE(std::filesystem::exists(fresh.path()));
    EXPECT_TRUE(std::filesystem::exists(old.path()));
}

TEST(SaveImage, ResultOfCloseDoesNotCount)
{
    TempDir const folder;
    WriteScript script;
    script.close = WriteScript::REFUSE;
    script.makes_file = true;
    ScriptedFile const file(folder, script);
    LogCapture const log;

    EXPECT_TRUE(save_bytes(file.path(), 1));

    EXPECT_EQ(log.lines(), Lines{});
    EXPECT_TRUE(std::filesystem::exists(file.path()));
}

TEST(SaveImage, ExceptionsOfWritersEndAsFailures)
{
    TempDir const folder;
    for (auto step : {&WriteScript::open, &WriteScript::write, &WriteScript::close}) {
        WriteScript script;
        script.*step = WriteScript::THROW;
        script.open_error = script.write_error = script.close_error = "thrown";
        ScriptedFile const file(folder, script);
        LogCapture const log;

        EXPECT_FALSE(save_bytes(file.path(), 1));

        EXPECT_EQ(log.lines(), (Lines{failure(file.path(), "thrown")}));
        EXPECT_EQ(file.written().calls.back(), "destroy");
    }
}

TEST(SaveImage, QuietHandlerGetsNoLine)
{
    TempDir const folder;
    WriteScript script;
    script.open = WriteScript::REFUSE;
    ScriptedFile const file(folder, script);
    LogCapture const log(0);

    EXPECT_FALSE(save_bytes(file.path(), 1));

    EXPECT_EQ(log.lines(), Lines{});
}

TEST(SaveImage, RefusesImagesWithoutExtentOrPixels)
{
    TempDir const folder;
    std::vector<unsigned char> const pixels(16);
    for (char const* name : {"a.tif", "a.png", "a.jpg", "a.bmp", "a.exr", "a.tga", "a.hdr"}) {
        CoreString const path(folder.file(name).c_str());
        std::string const text = folder.file(name);
        LogCapture const log;

        EXPECT_FALSE(ImageIO::save_image(path, pixels.data(), 0, 4, 4)) << name;
        EXPECT_FALSE(ImageIO::save_image(path, pixels.data(), 1, 0, 4)) << name;
        EXPECT_FALSE(ImageIO::save_image(path, pixels.data(), 1, 4, 0)) << name;
        EXPECT_FALSE(ImageIO::save_image(path, static_cast<float const*>(nullptr), 1, 4, 4)) << name;
        EXPECT_FALSE(ImageIO::save_image(path, pixels.data(), 1, 0x80000000u, 1)) << name;
        EXPECT_FALSE(ImageIO::save_image(path, pixels.data(), 0x7FFFFFFFu, 0x7FFFFFFFu, 0x7FFFFFFFu)) << name;

        EXPECT_EQ(log.lines(),
                  (Lines{failure(text, "the image has no channels"), failure(text, "the image has no size"),
                         failure(text, "the image has no size"), failure(text, "there are no pixels"),
                         failure(text, "the image is too large"), failure(text, "the image is too large")}))
            << name;
        EXPECT_FALSE(std::filesystem::exists(text)) << name;
    }
}

TEST(SaveImage, RefusesJpegEdgesThatWouldEndTheProcess)
{
    TempDir const folder;
    std::vector<unsigned char> const pixels(65501);
    std::string const path = folder.file("a.jpg");
    LogCapture const log;

    EXPECT_FALSE(ImageIO::save_image(path.c_str(), pixels.data(), 1, 65501, 1));
    EXPECT_FALSE(ImageIO::save_image(path.c_str(), pixels.data(), 1, 1, 65501));
    EXPECT_EQ(log.lines(), (Lines{failure(path, "JPEG files have at most 65500 pixels an edge"),
                                  failure(path, "JPEG files have at most 65500 pixels an edge")}));
    EXPECT_FALSE(std::filesystem::exists(path));

    EXPECT_TRUE(ImageIO::save_image(path.c_str(), pixels.data(), 1, 65500, 1));
    EXPECT_EQ(read_picture(path).spec.width, 65500);
}

TEST(SaveImage, RefusesDpxChannelsThatWouldEndTheProcess)
{
    TempDir const folder;
    std::string const path = folder.file("a.dpx");
    LogCapture const log;

    EXPECT_FALSE(save_bytes(path, 2));
    EXPECT_FALSE(save_floats(path, 5));
    EXPECT_EQ(log.lines(), (Lines{failure(path, "DPX files have 1, 3 or 4 channels"),
                                  failure(path, "DPX files have 1, 3 or 4 channels")}));
    EXPECT_FALSE(std::filesystem::exists(path));

    EXPECT_TRUE(save_bytes(path, 3));
    EXPECT_EQ(read_picture(path).spec.nchannels, 3);
}

class SaveImageEveryFormat : public testing::TestWithParam<std::string> {};

TEST_P(SaveImageEveryFormat, ReportsAFullDisk)
{
    TempDir const folder;
    std::string const path = folder.file("full." + GetParam());
    std::filesystem::create_symlink("/dev/full", path);
    std::vector<float> const large(std::size_t(600) * 400 * 3, 0.25f);

    for (unsigned int edge : {2u, 400u}) {
        LogCapture const log;

        EXPECT_FALSE(ImageIO::save_image(path.c_str(), large.data(), 3, edge, edge)) << edge;

        EXPECT_EQ(log.lines(), (Lines{failure(path, "No space left on device")})) << edge;
    }
}

TEST_P(SaveImageEveryFormat, ReportsAPathThatCannotBeOpened)
{
    TempDir const folder;
    std::string const path = folder.file("no_such_folder/a." + GetParam());
    LogCapture const log;

    EXPECT_FALSE(save_bytes(path, 3));

    EXPECT_EQ(log.lines(), (Lines{failure(path, "Could not open file \"" + path + "\"")}));
}

TEST_P(SaveImageEveryFormat, ReplacesALongerFile)
{
    TempDir const folder;
    std::string const path = folder.file("a." + GetParam());
    zv_test::write_bytes(path, std::vector<char>(1 << 20, 'x'));

    EXPECT_TRUE(save_floats(path, 3));

    EXPECT_LT(std::filesystem::file_size(path), 1u << 20);
    EXPECT_EQ(read_picture(path).spec.width, int(kWidth));
}

TEST_P(SaveImageEveryFormat, MakesTheSameFileAsTheWriterAlone)
{
    TempDir const folder;
    std::string const ours = folder.file("ours." + GetParam()), theirs = folder.file("theirs." + GetParam());
    OIIO::ImageSpec const spec(kWidth, kHeight, 3, OIIO::TypeDesc::UINT8);

    ASSERT_TRUE(save_bytes(ours, 3));
    zv_test::write_picture(theirs, spec);

    EXPECT_EQ(read_picture(ours).samples, read_picture(theirs).samples);
    EXPECT_EQ(std::filesystem::file_size(ours), std::filesystem::file_size(theirs));
}

INSTANTIATE_TEST_SUITE_P(Formats, SaveImageEveryFormat,
                         testing::Values("png", "jpg", "tif", "tga", "bmp", "exr", "hdr", "dpx"),
                         [](auto const& row) { return row.param; });

TEST(SaveImage, RefusedShapeLeavesAnOlderFileAlone)
{
    TempDir const folder;
    std::string const path = folder.file("a.png");
    ASSERT_TRUE(save_bytes(path, 3));
    auto const before = zv_test::file_bytes(path);
    LogCapture const log;

    EXPECT_FALSE(save_bytes(path, 6));  // PNG has at most four channels

    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].text.rfind("Could not write " + path + ", error = ", 0), 0u);
    EXPECT_EQ(zv_test::file_bytes(path), before);
}

TEST(SaveImage, OnSeveralThreadsGivesTheFilesOfOne)
{
    constexpr int kThreads = 6, kRounds = 4;
    TempDir const folder;
    std::vector<std::string> const names = {"a.png", "b.tga", "c.bmp", "d.exr", "e.jpg"};
    auto const bytes_of = [&](std::string const& prefix, std::size_t which) {
        std::string const path = folder.file(prefix + names[which]);
        bool const is_saved = which % 2 ? save_bytes(path, 3) : save_floats(path, 3);
        return is_saved ? zv_test::file_bytes(path) : std::vector<char>();
    };
    std::vector<std::vector<char>> wanted;
    for (std::size_t which = 0; which < names.size(); ++which) {
        wanted.push_back(bytes_of("alone_", which));
        ASSERT_FALSE(wanted.back().empty()) << names[which];
    }
    std::atomic<int> right = 0;

    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&, thread] {
            for (int round = 0; round < kRounds; ++round)
                for (std::size_t i = 0; i < names.size(); ++i) {
                    std::size_t const which = (i + std::size_t(thread)) % names.size();
                    right += bytes_of("thread" + std::to_string(thread) + "_", which) == wanted[which];
                }
        });
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(right, kThreads * kRounds * int(names.size()));
}

TEST(ImageIO, RegistersOneClassRecord)
{
    CoreClassInfo const& record = ImageIO::class_info();

    EXPECT_EQ(record.get_name(), "ImageIO");
    EXPECT_EQ(record.get_base(), &CoreBaseType::class_info());
    EXPECT_EQ(&ImageIO().get_class_info(), &record);
    EXPECT_TRUE(ImageIO::___class_destructor__(new ImageIO, true));
    EXPECT_TRUE(ImageIO::___class_destructor__(new ImageIO, false));
}

TEST(ImageIO, AssignmentGivesTheTarget)
{
    ImageIO target, source;

    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(&(target = ImageIO()), &target);
}

TEST(ImageIO, SavingStatusHasTheNumbersThatCallersKnow)
{
    EXPECT_EQ(ImageIO::SAVING_STATUS_SUCCESS, 0);
    EXPECT_EQ(ImageIO::SAVING_STATUS_NOTHING_TO_SAVE, 1);
    EXPECT_EQ(ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE, 2);
    EXPECT_EQ(ImageIO::SAVING_STATUS_WRITE_FAILED, 3);
}

}  // namespace
