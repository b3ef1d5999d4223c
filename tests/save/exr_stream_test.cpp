#include "image_io/save/exr_stream.h"

#include <IexErrnoExc.h>
#include <ImfChannelList.h>
#include <ImfHeader.h>
#include <ImfOutputFile.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/save/file_size_limit.h"
#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"

namespace {

using zv_image_io::ExrStream;
using zv_test::file_bytes;
using zv_test::FileSizeLimit;
using zv_test::TempDir;
namespace fs = std::filesystem;

std::string content(std::string const& path)
{
    auto const bytes = file_bytes(path);
    return {bytes.begin(), bytes.end()};
}

void write(ExrStream& stream, std::string const& text)
{
    stream.write(text.data(), int(text.size()));
}

/// Class and text of what `work` throws.
std::string thrown_by(std::function<void()> const& work)
{
    try {
        work();
    } catch (Iex::EnoentExc const& error) {
        return std::string("ENOENT ") + error.what();
    } catch (Iex::EisdirExc const& error) {
        return std::string("EISDIR ") + error.what();
    } catch (Iex::EnospcExc const& error) {
        return std::string("ENOSPC ") + error.what();
    } catch (Iex::EfbigExc const& error) {
        return std::string("EFBIG ") + error.what();
    } catch (Iex::EbadfExc const& error) {
        return std::string("EBADF ") + error.what();
    } catch (std::exception const& error) {
        return std::string("other ") + error.what();
    }
    return "nothing";
}

TEST(ExrStream, WritesWhatItIsGivenWhereItIsGiven)
{
    TempDir const folder;
    ExrStream stream(folder.file("a"));

    EXPECT_STREQ(stream.fileName(), folder.file("a").c_str());
    EXPECT_EQ(stream.tellp(), 0u);
    write(stream, "hello world");
    EXPECT_EQ(stream.tellp(), 11u);
    stream.seekp(6);
    EXPECT_EQ(stream.tellp(), 6u);
    write(stream, "W");
    stream.seekp(7);
    write(stream, "");
    stream.seekp(20);
    write(stream, "!");
    stream.finish();

    EXPECT_EQ(content(folder.file("a")), "hello World" + std::string(9, '\0') + "!");
    EXPECT_FALSE(stream.has_failed());
}

TEST(ExrStream, TakesPiecesOfAnySize)
{
    TempDir const folder;
    ExrStream stream(folder.file("a"));
    std::string wanted;

    for (std::size_t size : {1u, 100'000u, 200'000u, 262'143u, 1u, 262'144u, 1'000'000u, 7u}) {
        std::string const piece(size, char('a' + wanted.size() % 26));
        write(stream, piece);
        wanted += piece;
        EXPECT_EQ(stream.tellp(), wanted.size());
    }
    stream.finish();

    EXPECT_TRUE(content(folder.file("a")) == wanted);
}

TEST(ExrStream, AFlushReachesTheFile)
{
    TempDir const folder;
    ExrStream stream(folder.file("a"));

    write(stream, "hello");
    EXPECT_EQ(content(folder.file("a")), "");
    stream.flush();

    EXPECT_EQ(content(folder.file("a")), "hello");
    stream.finish();
}

TEST(ExrStream, OpensAndRefusesInTheLibrarysWords)
{
    TempDir const folder;
    Imf::Header header(4, 4);
    header.channels().insert("R", Imf::Channel());

    for (std::string const& path : {folder.file("no/such"), folder.path().string(), std::string()}) {
        std::string const ours = thrown_by([&] { ExrStream stream(path); });
        std::string const theirs = thrown_by([&] { Imf::OutputFile file(path.c_str(), header); });
        EXPECT_EQ(ours, theirs);
    }
    EXPECT_EQ(thrown_by([&] { ExrStream stream(folder.file("no/such")); }),
              "ENOENT Cannot open image file \"" + folder.file("no/such") + "\". No such file or directory.");
    EXPECT_EQ(thrown_by([&] { ExrStream stream(folder.path().string()); }),
              "EISDIR Cannot open image file \"" + folder.path().string() + "\". Is a directory.");
}

TEST(ExrStream, ARefusedByteIsThrownAgainAndAgain)
{
    ExrStream stream("/dev/full");
    std::string const large(1 << 20, 'x');

    EXPECT_EQ(thrown_by([&] { write(stream, large); }), "ENOSPC No space left on device.");

    EXPECT_TRUE(stream.has_failed());
    EXPECT_EQ(thrown_by([&] { write(stream, "x"); }), "ENOSPC No space left on device.");
    EXPECT_EQ(thrown_by([&] { stream.seekp(0); }), "ENOSPC No space left on device.");
    EXPECT_EQ(thrown_by([&] { stream.flush(); }), "ENOSPC No space left on device.");
    EXPECT_EQ(thrown_by([&] { stream.finish(); }), "ENOSPC No space left on device.");
    EXPECT_TRUE(stream.has_failed());
}

TEST(ExrStream, BytesInMemoryAreRefusedAtTheEnd)
{
    ExrStream stream("/dev/full");

    write(stream, "x");
    EXPECT_FALSE(stream.has_failed());

    EXPECT_EQ(thrown_by([&] { stream.finish(); }), "ENOSPC No space left on device.");
    EXPECT_TRUE(stream.has_failed());
}

TEST(ExrStream, TheFileSizeLimitIsAnErrorAndNoSignal)
{
    TempDir const folder;
    ExrStream stream(folder.file("a"));
    FileSizeLimit const limit(1000);

    write(stream, std::string(2000, 'x'));
    EXPECT_EQ(thrown_by([&] { stream.flush(); }), "EFBIG File too large.");

    sigset_t pending;
    ASSERT_EQ(sigpending(&pending), 0);
    EXPECT_EQ(sigismember(&pending, SIGXFSZ), 0);
    sigset_t mask;
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &mask), 0);
    EXPECT_EQ(sigismember(&mask, SIGXFSZ), 0);
}

TEST(ExrStream, NothingIsWrittenToAFinishedFile)
{
    TempDir const folder;
    ExrStream stream(folder.file("a"));
    write(stream, "all");
    stream.finish();

    EXPECT_EQ(thrown_by([&] { write(stream, "x"); }), "EBADF Bad file descriptor.");
    EXPECT_EQ(thrown_by([&] { stream.finish(); }), "EBADF Bad file descriptor.");
    stream.discard();

    EXPECT_EQ(content(folder.file("a")), "all");
}

TEST(ExrStream, CutsAnOlderFileAtTheFirstByte)
{
    TempDir const folder;
    zv_test::write_bytes(folder.file("a"), std::vector<char>(100, 'x'));

    ExrStream stream(folder.file("a"));
    write(stream, "new");
    EXPECT_EQ(fs::file_size(folder.file("a")), 100u);
    stream.finish();

    EXPECT_EQ(content(folder.file("a")), "new");
}

TEST(ExrStream, RemovesWhatItCreatedAndDidNotFinish)
{
    TempDir const folder;

    {
        ExrStream stream(folder.file("new"));
        write(stream, "x");
        stream.flush();
    }
    EXPECT_FALSE(fs::exists(folder.file("new")));

    ExrStream stream(folder.file("other"));
    stream.discard();
    EXPECT_FALSE(fs::exists(folder.file("other")));
    EXPECT_EQ(thrown_by([&] { write(stream, "x"); }), "EBADF Bad file descriptor.");
}

TEST(ExrStream, LeavesWhatWasThereBefore)
{
    TempDir const folder;
    zv_test::write_bytes(folder.file("old"), {'x', 'y'});

    {
        ExrStream stream(folder.file("old"));
    }
    EXPECT_EQ(content(folder.file("old")), "xy");
    {
        ExrStream stream(folder.file("old"));
        write(stream, "new");
        stream.flush();
    }
    EXPECT_EQ(content(folder.file("old")), "new");

    fs::create_symlink(folder.file("target"), folder.file("link"));
    {
        ExrStream stream(folder.file("link"));
    }
    EXPECT_TRUE(fs::is_symlink(folder.file("link")));
    {
        ExrStream stream("/dev/null");
        write(stream, "new");
    }
    EXPECT_TRUE(fs::exists("/dev/null"));
}

TEST(ExrStream, LeavesAnotherFileThatTookTheName)
{
    TempDir const folder;
    {
        ExrStream stream(folder.file("a"));
        fs::rename(folder.file("a"), folder.file("b"));
        zv_test::write_bytes(folder.file("a"), {'x'});
    }
    EXPECT_EQ(content(folder.file("a")), "x");
    EXPECT_TRUE(fs::exists(folder.file("b")));
}

}  // namespace
