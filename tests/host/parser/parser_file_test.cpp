#include "host/parser/parser_file.h"

#include "tests/support/recording_progress.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace {

class ParserFileTest : public testing::Test {
protected:
    CoreString write(char const* name, std::string const& text)
    {
        std::ofstream(folder.file(name), std::ios::binary) << text;
        return CoreString(folder.file(name).c_str());
    }

    zv_test::TempDir folder;
};

TEST_F(ParserFileTest, ReadsItsOwnPath)
{
    ParserFile file(write("presets.txt", "Film {\r\n  full { width 4096 }\r\n}\r\n"));
    ASSERT_TRUE(file.read("", "", nullptr));

    EXPECT_EQ(file.get_root().get_entry_count(), 1u);
    ParserGroup const& film = *file.get_root().get_entry("Film")->get_group();
    EXPECT_EQ(film.get_entry("full")->get_group()->get_entry("width")->get_int(), 4096);
    EXPECT_EQ(file.get_error_line(), 0u);
    EXPECT_TRUE(file.get_error_text().is_empty());
}

TEST_F(ParserFileTest, ReadsAnotherPathWhenGivenOne)
{
    ParserFile file(write("first.txt", "a 1"));
    ASSERT_TRUE(file.read(write("second.txt", "b 2"), "", nullptr));

    EXPECT_NE(file.get_root().get_entry("b"), nullptr);
    EXPECT_EQ(file.get_root().get_entry("a"), nullptr);
}

TEST_F(ParserFileTest, AnEmptyFileHasNoEntries)
{
    ParserFile file(write("empty.txt", ""));

    EXPECT_TRUE(file.read("", "", nullptr));
    EXPECT_EQ(file.get_root().get_entry_count(), 0u);
}

TEST_F(ParserFileTest, KeepsThePlaceOfTheFirstError)
{
    ParserFile file(write("bad.txt", "a 1\nb { c sRGB }\n"));

    EXPECT_FALSE(file.read("", "", nullptr));
    EXPECT_EQ(file.get_root().get_entry_count(), 0u);
    EXPECT_EQ(file.get_error_line(), 2u);
    EXPECT_EQ(file.get_error_column(), 7u);
    EXPECT_EQ(file.get_error_text(), "a value is a number, true, false, a text in quotes, or a group");
}

TEST_F(ParserFileTest, RefusesWhatItCannotRead)
{
    for (CoreString const& path :
         {CoreString("/no/such/file"), CoreString(folder.path().c_str()), CoreString()}) {
        ParserFile file(path);
        EXPECT_FALSE(file.read("", "", nullptr)) << path;
        EXPECT_EQ(file.get_error_text(), "the file cannot be read") << path;
        EXPECT_EQ(file.get_error_line(), 0u) << path;
    }
}

TEST_F(ParserFileTest, RefusesPasswords)
{
    ParserFile file(write("a.txt", "a 1"));

    EXPECT_FALSE(file.read("", "secret", nullptr));
    EXPECT_EQ(file.get_error_text(), "encrypted files are not known");
    EXPECT_TRUE(file.read("", "", nullptr));
    EXPECT_TRUE(file.get_error_text().is_empty());
}

TEST_F(ParserFileTest, RefusesFilesAbove4Megabytes)
{
    std::string const limit(4 << 20, '\n');
    ParserFile largest(write("largest.txt", limit));
    ParserFile larger(write("larger.txt", limit + "\n"));
    ParserFile endless("/dev/zero");

    EXPECT_TRUE(largest.read("", "", nullptr));
    EXPECT_FALSE(larger.read("", "", nullptr));
    EXPECT_EQ(larger.get_error_text(), "the file is larger than 4 MB");
    EXPECT_FALSE(endless.read("", "", nullptr));
}

TEST_F(ParserFileTest, FillsTheProgressBar)
{
    ParserFile file(write("a.txt", "a 1"));
    zv_test::RecordingProgress progress;
    file.read("", "", &progress);

    EXPECT_EQ(progress.get_total(), 1.0f);
}

}  // namespace
