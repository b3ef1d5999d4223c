#include <sys/wait.h>

#include <csignal>
#include <cstdlib>

#include "tests/save/killed_picture.h"

namespace {

using namespace zv_test;

/// Runs the renderer that dies behind its first `count` regions.
void render_and_die(std::string const& path, int tiling_mode, int compression, int count)
{
    // The shell answers with 128 and the signal.
    std::string const command = std::string(ZV_KILLED_RENDER) + " " + path + " " +
                                std::to_string(tiling_mode) + " " + std::to_string(compression) + " " +
                                std::to_string(count) + " 2>/dev/null; exit $?";
    int const status = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 128 + SIGKILL);
}

class KilledExr : public testing::TestWithParam<int> {};  // compression

INSTANTIATE_TEST_SUITE_P(Compressions, KilledExr,
                         testing::Values(ImageIOFileFormat::COMPRESSION_NONE,
                                         ImageIOFileFormat::COMPRESSION_ZIP,
                                         ImageIOFileFormat::COMPRESSION_PIZ));

TEST_P(KilledExr, LinesThatWereFinishedRead)
{
    TempDir const folder;
    for (int count = 1; count <= kKilledTiles; ++count) {
        std::string const path = folder.file(std::to_string(count) + ".exr");
        render_and_die(path, 0, GetParam(), count);

        ReadExr const file = read_exr(path);

        EXPECT_FALSE(file.is_complete);
        for (int y = 0; y < kKilledTile * kKilledTiles; ++y) {
            ASSERT_EQ(file.line_is_there[std::size_t(y)], y < count * kKilledTile) << count << " " << y;
            if (file.line_is_there[std::size_t(y)]) {
                ASSERT_EQ(file.at("B", 100, y), encoded(2, 100, y));
            }
        }
    }
}

TEST_P(KilledExr, TilesThatWereFinishedInOrderRead)
{
    TempDir const folder;
    for (int count : {1, 2, 5, 6, 7, 20, 35, 36}) {
        std::string const path = folder.file(std::to_string(count) + ".exr");
        render_and_die(path, 1, GetParam(), count);

        for (int i = 0; i < kKilledTiles * kKilledTiles; ++i)
            ASSERT_EQ(tile_reads(path, i % kKilledTiles, i / kKilledTiles), i < count) << count << " " << i;
        ReadExr const file = read_exr(path);
        for (int y = 0; y < count / kKilledTiles * kKilledTile; ++y)
            ASSERT_EQ(file.at("B", 100, y), encoded(2, 100, y));
    }
}

TEST(KilledExr, InFrontOfItsFirstRegionReadsAsEmpty)
{
    TempDir const folder;
    render_and_die(folder.file("a.exr"), 0, ImageIOFileFormat::COMPRESSION_ZIP, 0);

    // The header waits in memory until the first region: there is a file, and nothing in it.
    EXPECT_TRUE(file_bytes(folder.file("a.exr")).empty());
}

}  // namespace
