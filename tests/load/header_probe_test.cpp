#include <gtest/gtest.h>

#include <OpenImageIO/imageio.h>

#include <memory>

#include "image_io/load/image_io_load.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/scripted_format.h"
#include "tests/support/temp_dir.h"

// What opening a header gives, and what it logs when it fails.

namespace {

using namespace zv_test;
using Lines = std::vector<LogLine>;

struct Header {
    std::unique_ptr<OIIO::ImageInput> input;
    OIIO::ImageSpec spec{OIIO::TypeDesc::UNKNOWN};

    bool load(std::string const& path) { return ImageIOLoad::load_header(path.c_str(), input, spec); }
};

/// What the file library itself says of a file for which it has no reader.
std::string create_error(std::string const& path)
{
    EXPECT_EQ(OIIO::ImageInput::create(path, false, nullptr, nullptr, ""), nullptr);
    return OIIO::geterror();
}

std::string straight_alpha_picture(TempDir const& folder, std::string const& name)
{
    OIIO::ImageSpec spec = picture_spec(9, 5, 4, OIIO::TypeDesc::UINT8);
    spec.alpha_channel = 3;
    spec.attribute("oiio:UnassociatedAlpha", 1);
    write_picture(folder.file(name), spec,
                  [](int c, int x, int y) { return (20 + 7 * c + 11 * x + 3 * y) / 255.0; });
    return folder.file(name);
}

std::vector<float> samples_through(Header& header)
{
    std::vector<float> samples(header.spec.image_pixels() * std::size_t(header.spec.nchannels));
    EXPECT_TRUE(
        header.input->read_image(0, 0, 0, header.spec.nchannels, OIIO::TypeDesc::FLOAT, samples.data()));
    return samples;
}

TEST(LoadHeader, GivesAnOpenReaderAndTheDescription)
{
    TempDir folder;
    write_picture(folder.file("good.exr"), picture_spec(47, 33, 3, OIIO::TypeDesc::HALF, 5, -7));
    Header header;
    LogCapture log;

    ASSERT_TRUE(header.load(folder.file("good.exr")));

    ASSERT_NE(header.input, nullptr);
    EXPECT_EQ(header.spec.width, 47);
    EXPECT_EQ(header.spec.height, 33);
    EXPECT_EQ(header.spec.x, 5);
    EXPECT_EQ(header.spec.y, -7);
    EXPECT_EQ(header.spec.nchannels, 3);
    EXPECT_EQ(samples_through(header), read_picture(folder.file("good.exr")).samples);
    EXPECT_TRUE(log.lines().empty());
}

TEST(LoadHeader, LeavesTheReaderToTheCallerToClose)
{
    TempDir folder;
    ReadScript script;
    script.spec = picture_spec(4, 4, 1, OIIO::TypeDesc::FLOAT);
    ScriptedFile const file(folder, script);
    Header header;

    ASSERT_TRUE(header.load(file.path()));

    EXPECT_EQ(file.opens(), 1);
    EXPECT_EQ(file.closes(), 0);
}

TEST(LoadHeader, RemarksOnAnEmptyPathAndFailsInTheNextStep)
{
    std::string const error = create_error("");
    ASSERT_FALSE(error.empty());
    Header header;
    LogCapture log;

    EXPECT_FALSE(header.load(""));

    EXPECT_EQ(header.input, nullptr);
    EXPECT_EQ(log.lines(), (Lines{{2, "Loading image header: file name is empty.\n"},
                                  {2, "Failed to load image '': could not create image input.\n"},
                                  {2, " " + error + "\n"}}));
}

TEST(LoadHeader, TellsThatNoReaderTakesTheFile)
{
    TempDir folder;
    write_bytes(folder.file("notes.png"), {'n', 'o', 't', 'e', 's', '\n', '1', '2', '3', '4', '5', '6'});
    for (std::string const name : {"missing.exr", "notes.png", "missing.zzz"}) {
        std::string const path = folder.file(name);
        std::string const error = create_error(path);
        ASSERT_FALSE(error.empty());
        Header header;
        LogCapture log;

        EXPECT_FALSE(header.load(path));

        EXPECT_EQ(header.input, nullptr);
        EXPECT_EQ(log.lines(),
                  (Lines{{2, "Failed to load image '" + path + "': could not create image input.\n"},
                         {2, " " + error + "\n"}}));
    }
}

TEST(LoadHeader, TellsThatAFileDoesNotOpenWithoutTheReadersOwnText)
{
    TempDir folder;
    std::string const path = folder.file("broken.exr");
    write_picture(path, picture_spec(16, 16, 3, OIIO::TypeDesc::HALF));
    cut_file(path, 30);
    Header header;
    LogCapture log;

    EXPECT_FALSE(header.load(path));

    EXPECT_EQ(header.input, nullptr);
    EXPECT_EQ(log.lines(), (Lines{{2, "Failed to load image '" + path + "': could not open file.\n"}}));
}

TEST(LoadHeader, DestroysAnEarlierReader)
{
    TempDir folder;
    write_picture(folder.file("good.exr"), picture_spec(4, 4, 1, OIIO::TypeDesc::HALF));
    ReadScript script;
    script.opens = false;
    ScriptedFile const refused(folder, script);
    for (std::string const& path : {folder.file("missing.exr"), refused.path()}) {
        Header header;
        ASSERT_TRUE(header.load(folder.file("good.exr")));
        LogCapture log;

        EXPECT_FALSE(header.load(path));

        EXPECT_EQ(header.input, nullptr) << path;
    }
}

TEST(LoadHeader, LogsNothingBelowLevel2AndStillTakesTheErrorText)
{
    TempDir folder;
    Header header;
    LogCapture log(1);

    EXPECT_FALSE(header.load(""));
    EXPECT_FALSE(header.load(folder.file("missing.exr")));

    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(OIIO::geterror(), "");
}

TEST(LoadHeader, LogsAtLevel2)
{
    TempDir folder;
    Header header;
    LogCapture log(2);

    EXPECT_FALSE(header.load(folder.file("missing.exr")));

    EXPECT_EQ(log.lines().size(), 2u);
}

TEST(LoadHeader, TakesTiffAndTgaPixelsAsTheyStandInTheFile)
{
    TempDir folder;
    for (std::string const name : {"a.tif", "a.tiff", "a.tga"}) {
        std::string const path = straight_alpha_picture(folder, name);
        ASSERT_NE(read_picture(path, true).samples, read_picture(path, false).samples);
        Header header;

        ASSERT_TRUE(header.load(path));

        EXPECT_EQ(samples_through(header), read_picture(path, true).samples) << name;
    }
}

TEST(LoadHeader, LetsTheReaderPremultiplyAllOtherFormatsAndOtherSpellingsOfTheExtension)
{
    TempDir folder;
    for (std::string const name : {"a.png", "a.TIF", "a.Tiff", "a.TGA"}) {
        std::string const path = straight_alpha_picture(folder, name);
        ASSERT_NE(read_picture(path, true).samples, read_picture(path, false).samples);
        Header header;

        ASSERT_TRUE(header.load(path));

        EXPECT_EQ(samples_through(header), read_picture(path, false).samples) << name;
    }
}

}  // namespace
