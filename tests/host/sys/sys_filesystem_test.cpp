#include "host/sys/sys_filesystem.h"

#include "tests/support/temp_dir.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

void write_file(std::string const& path, char const* text)
{
    std::ofstream(path) << text;
}

CoreString formatted(char const* text)
{
    CoreString path(text);
    SysFilesystem::format_path(path);
    return path;
}

TEST(SysFilesystem, FileExists)
{
    zv_test::TempDir const folder;
    CoreString const path(folder.file("a.exr").c_str());
    EXPECT_FALSE(SysFilesystem::file_exists(path));
    write_file(folder.file("a.exr"), "");

    EXPECT_TRUE(SysFilesystem::file_exists(path));
    EXPECT_FALSE(SysFilesystem::file_exists(folder.path().c_str()));
    EXPECT_FALSE(SysFilesystem::file_exists(""));
}

TEST(SysFilesystem, ALinkToAFileExistsAndADanglingOneDoesNot)
{
    zv_test::TempDir const folder;
    write_file(folder.file("a.exr"), "x");
    std::filesystem::create_symlink(folder.file("a.exr"), folder.file("good"));
    std::filesystem::create_symlink(folder.file("missing"), folder.file("bad"));

    EXPECT_TRUE(SysFilesystem::file_exists(folder.file("good").c_str()));
    EXPECT_FALSE(SysFilesystem::file_exists(folder.file("bad").c_str()));
}

TEST(SysFilesystem, ModificationTimeChangesWithTheFile)
{
    zv_test::TempDir const folder;
    std::string const path = folder.file("a.exr");
    write_file(path, "x");
    long long first = 0;
    long long second = 0;
    ASSERT_TRUE(SysFilesystem::get_file_modification_time(path.c_str(), first));
    std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) +
                                               std::chrono::milliseconds(1500));
    ASSERT_TRUE(SysFilesystem::get_file_modification_time(path.c_str(), second));

    EXPECT_EQ(second - first, 1'500'000'000);
}

TEST(SysFilesystem, ModificationTimesThat64BitsCannotTellBecomeTheNearest)
{
    zv_test::TempDir const folder;
    std::string const path = folder.file("a.exr");
    write_file(path, "x");
    timespec const times[2] = {{10'000'000'000, 0}, {10'000'000'000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    struct stat kept;
    ASSERT_EQ(stat(path.c_str(), &kept), 0);  // a file system may keep less of it
    long long time = 0;

    ASSERT_TRUE(SysFilesystem::get_file_modification_time(path.c_str(), time));

    constexpr long long kNanoseconds = 1'000'000'000;
    bool const fits = kept.st_mtim.tv_sec < LLONG_MAX / kNanoseconds;
    EXPECT_EQ(time, fits ? kept.st_mtim.tv_sec * kNanoseconds : LLONG_MAX);
}

TEST(SysFilesystem, ModificationTimeOfAMissingFileIsUnknown)
{
    long long time = 7;

    EXPECT_FALSE(SysFilesystem::get_file_modification_time("/no/such/file", time));
    EXPECT_EQ(time, 7);
}

struct PathCase {
    char const* name;
    char const* path;
    char const* folder;
    char const* filename;
};

class SysFilesystemPieces : public testing::TestWithParam<PathCase> {};

TEST_P(SysFilesystemPieces, AreFolderAndFilename)
{
    CoreString const path(GetParam().path);

    EXPECT_EQ(SysFilesystem::get_folder(path), GetParam().folder);
    EXPECT_EQ(SysFilesystem::get_filename(path), GetParam().filename);
}

INSTANTIATE_TEST_SUITE_P(Paths, SysFilesystemPieces,
                         testing::Values(PathCase{"full", "/out/beauty.0001.exr", "/out", "beauty.0001.exr"},
                                         PathCase{"deep", "/a/b/c.exr", "/a/b", "c.exr"},
                                         PathCase{"relative", "out/beauty.exr", "out", "beauty.exr"},
                                         PathCase{"bare", "beauty.exr", ".", "beauty.exr"},
                                         PathCase{"in_the_root", "/beauty.exr", "", "beauty.exr"},
                                         PathCase{"folder_alone", "/out/", "/out", ""}),
                         [](auto const& run) { return run.param.name; });

TEST(SysFilesystem, SeparatorIsASlash)
{
    EXPECT_EQ(SysFilesystem::get_folder_separator(), "/");
}

TEST(SysFilesystem, FullPathBeginsInTheCurrentFolder)
{
    std::string const current = std::filesystem::current_path().string();

    EXPECT_EQ(SysFilesystem::get_full_file_path("a/b.exr"), (current + "/a/b.exr").c_str());
    EXPECT_EQ(SysFilesystem::get_full_file_path("/a/b.exr"), "/a/b.exr");
    EXPECT_EQ(SysFilesystem::get_full_file_path(""), "");
}

TEST(SysFilesystem, FormatsToTheShortestForm)
{
    EXPECT_EQ(formatted("/a//b/./c.exr"), "/a/b/c.exr");
    EXPECT_EQ(formatted("/a/x/../b.exr"), "/a/b.exr");
    EXPECT_EQ(formatted("/../b.exr"), "/b.exr");
    EXPECT_EQ(formatted("../b.exr"), "../b.exr");
    EXPECT_EQ(formatted("./b.exr"), "b.exr");
    EXPECT_EQ(formatted("/a/b/"), "/a/b");
    EXPECT_EQ(formatted("/"), "/");
    EXPECT_EQ(formatted(""), "");
}

TEST(SysFilesystem, FormatsSeparatorsOfOtherSystems)
{
    EXPECT_EQ(formatted("a\\b\\c.exr"), "a/b/c.exr");
    EXPECT_EQ(formatted("\\a\\\\b\\..\\c.exr"), "/a/c.exr");
}

TEST(SysFilesystem, ManySeparatorsAloneAreTheRoot)
{
    for (char const* text : {"/", "//", "///", "////", "\\\\\\", "///."})
        EXPECT_EQ(formatted(text), "/") << text;
}

TEST(SysFilesystem, FormattingTwiceChangesNothingMore)
{
    for (char const* text : {"/a//b/./c.exr", "a/..", "a/../..", "//a", "/a/b/../../.."}) {
        CoreString once = formatted(text);
        CoreString const before = once;
        SysFilesystem::format_path(once);
        EXPECT_EQ(once, before) << text;
    }
}

}  // namespace
