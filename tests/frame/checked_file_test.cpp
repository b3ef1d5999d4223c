#include "image_io/frame/checked_file.h"

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"

namespace {

using zv_image_io::CheckedFile;
using zv_test::file_bytes;
using zv_test::TempDir;

std::string content(std::string const& path)
{
    auto const bytes = file_bytes(path);
    return {bytes.begin(), bytes.end()};
}

TEST(CheckedFile, WritesWhatItIsGivenWhereItIsGiven)
{
    TempDir const folder;
    CheckedFile file(folder.file("a"));

    ASSERT_TRUE(file.is_open());
    EXPECT_EQ(file.write("hello world", 11), 11u);
    EXPECT_EQ(file.write(nullptr, 0), 0u);  // as the Targa writer does
    EXPECT_TRUE(file.seek(6));
    EXPECT_EQ(file.write("W", 1), 1u);
    EXPECT_EQ(file.tell(), 7);
    EXPECT_EQ(file.pwrite("H", 1, 0), 1u);
    EXPECT_EQ(file.tell(), 7);
    EXPECT_EQ(file.size(), 11u);
    EXPECT_TRUE(file.finish());

    EXPECT_EQ(content(folder.file("a")), "Hello World");
    EXPECT_EQ(file.trouble(), "");
}

TEST(CheckedFile, TakesWritesFromSeveralThreads)
{
    TempDir const folder;
    CheckedFile file(folder.file("a"));
    std::vector<std::thread> threads;

    for (char letter = 'a'; letter < 'e'; ++letter)
        threads.emplace_back([&file, letter] {
            for (int index = 0; index < 1000; ++index)
                file.pwrite(&letter, 1, index * 4 + (letter - 'a'));
        });
    for (auto& thread : threads)
        thread.join();

    EXPECT_TRUE(file.finish());
    std::string expected;
    for (int index = 0; index < 1000; ++index)
        expected += "abcd";
    EXPECT_EQ(content(folder.file("a")), expected);
}

TEST(CheckedFile, CutsAnOlderFileAtTheFirstByte)
{
    TempDir const folder;
    zv_test::write_bytes(folder.file("a"), std::vector<char>(100, 'x'));

    CheckedFile file(folder.file("a"));
    EXPECT_EQ(std::filesystem::file_size(folder.file("a")), 100u);
    file.write("new", 3);

    EXPECT_TRUE(file.finish());
    EXPECT_EQ(content(folder.file("a")), "new");
}

TEST(CheckedFile, FinishedWithoutAByteIsEmpty)
{
    TempDir const folder;
    zv_test::write_bytes(folder.file("a"), std::vector<char>(100, 'x'));

    CheckedFile file(folder.file("a"));

    EXPECT_TRUE(file.finish());
    EXPECT_EQ(content(folder.file("a")), "");
}

TEST(CheckedFile, RemovedBeforeTheFirstByteLeavesThingsAsTheyWere)
{
    TempDir const folder;
    zv_test::write_bytes(folder.file("old"), {'x', 'y'});

    CheckedFile old_file(folder.file("old")), new_file(folder.file("new"));
    old_file.remove();
    new_file.remove();

    EXPECT_EQ(content(folder.file("old")), "xy");
    EXPECT_FALSE(std::filesystem::exists(folder.file("new")));
    EXPECT_FALSE(new_file.finish());
}

TEST(CheckedFile, LeavesAnotherFileThatTookTheName)
{
    TempDir const folder;
    CheckedFile moved(folder.file("a"));
    moved.write("z", 1);
    std::filesystem::rename(folder.file("a"), folder.file("b"));
    zv_test::write_bytes(folder.file("a"), {'x', 'y'});

    moved.remove();

    EXPECT_EQ(content(folder.file("a")), "xy");
    EXPECT_TRUE(std::filesystem::exists(folder.file("b")));
}

TEST(CheckedFile, RemovesWhatItCreatedWhateverIsInIt)
{
    TempDir const folder;
    zv_test::write_bytes(folder.file("old"), {'x', 'y'});
    std::filesystem::create_symlink(folder.file("target"), folder.file("link"));

    CheckedFile old_file(folder.file("old")), new_file(folder.file("new")), link(folder.file("link"));
    for (CheckedFile* const file : {&old_file, &new_file, &link}) {
        file->write("z", 1);
        file->finish();
        file->remove();
        file->remove();
    }

    EXPECT_EQ(content(folder.file("old")), "z");
    EXPECT_FALSE(std::filesystem::exists(folder.file("new")));
    EXPECT_TRUE(std::filesystem::is_symlink(folder.file("link")));
}

TEST(CheckedFile, BytesThatAreNowhereAreTrouble)
{
    zv_test::TempDir const folder;
    CheckedFile file(folder.file("a.bin"));

    EXPECT_EQ(file.write(nullptr, 100), 100u);  // the writer is told that all is well

    EXPECT_NE(file.trouble(), "");
    EXPECT_FALSE(file.finish());
}

TEST(CheckedFile, AFileSizeLimitIsTroubleFromAnyThread)
{
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit const small{1000, before.rlim_max};
    TempDir const folder;
    CheckedFile file(folder.file("a"));
    std::vector<char> const bytes(std::size_t(1) << 20, 'x');

    setrlimit(RLIMIT_FSIZE, &small);
    std::thread([&] { file.pwrite(bytes.data(), bytes.size(), 0); }).join();
    bool const is_whole = file.finish();
    setrlimit(RLIMIT_FSIZE, &before);

    EXPECT_FALSE(is_whole);
    EXPECT_EQ(file.trouble(), "File too large");
}

TEST(CheckedFile, TellsTheSystemsWordsWhenItCannotOpen)
{
    TempDir const folder;
    CheckedFile const missing(folder.file("no/such/folder")), a_folder(folder.path().string());

    EXPECT_FALSE(missing.is_open());
    EXPECT_EQ(missing.trouble(), "No such file or directory");
    EXPECT_FALSE(a_folder.is_open());
    EXPECT_EQ(a_folder.trouble(), "Is a directory");
}

TEST(CheckedFile, KeepsTheFirstTroubleToItselfUntilAsked)
{
    CheckedFile file("/dev/full");
    std::vector<char> const bytes(std::size_t(1) << 20, 'x');

    ASSERT_TRUE(file.is_open());
    EXPECT_EQ(file.write(bytes.data(), bytes.size()), bytes.size());
    EXPECT_EQ(file.write(bytes.data(), bytes.size()), bytes.size());

    EXPECT_EQ(file.size(), 2 * bytes.size());
    EXPECT_EQ(file.tell(), static_cast<int64_t>(2 * bytes.size()));
    EXPECT_EQ(file.trouble(), "No space left on device");
    EXPECT_FALSE(file.finish());
}

TEST(CheckedFile, SmallFilesOnAFullDiskFailAtTheEnd)
{
    CheckedFile file("/dev/full");

    EXPECT_EQ(file.write("x", 1), 1u);
    EXPECT_EQ(file.trouble(), "");

    EXPECT_FALSE(file.finish());
    EXPECT_EQ(file.trouble(), "No space left on device");
}

TEST(CheckedFile, RefusesPlacesInFrontOfTheFile)
{
    TempDir const folder;
    CheckedFile file(folder.file("a"));

    file.write("ab", 2);

    EXPECT_FALSE(file.seek(-1));
    EXPECT_EQ(file.tell(), 2);
}

}  // namespace
