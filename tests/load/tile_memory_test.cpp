#include <gtest/gtest.h>

#include <cstddef>

#include "host/image/image_tile_factory.h"
#include "tests/load/loaded_picture.h"
#include "tests/load/tiled_script.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

// Tiles that get no memory are holes in a picture, whichever way its samples come: the report has to say so.

namespace {

using namespace zv_test;

std::size_t bytes_in_use()
{
    return ImageTileFactory::get().get_statistics().bytes_in_use;
}

/// While it lives, tiles may take so many bytes more than they do.
class TileMemory {
public:
    explicit TileMemory(std::size_t bytes)
    {
        ImageTileFactory::get().set_memory_limit(bytes_in_use() + bytes);
    }
    ~TileMemory() { ImageTileFactory::get().set_memory_limit(0); }
};

struct WayOfSamples {
    char const* name;
    int x, tile;  // no tiles: lines
};

class TilesWithoutMemory : public testing::TestWithParam<WayOfSamples> {};

TEST_P(TilesWithoutMemory, AreToldInTheReport)
{
    auto const [name, x, tile] = GetParam();
    TempDir folder;
    ScriptedFile const file(folder, tiled_script({"R", "G", "B", "A"}, x, 0, tile));
    LogCapture const log;
    std::size_t const before = bytes_in_use();
    LoadedPicture const whole = load_picture(file.path());
    ASSERT_TRUE(whole);
    ASSERT_FALSE(whole.report.is_damaged());
    std::size_t const wanted = bytes_in_use() - before;
    ASSERT_GT(wanted, 0u);

    for (std::size_t const missing : {std::size_t(1), wanted / 2, wanted - 1}) {
        TileMemory const memory(wanted - missing);

        LoadedPicture const picture = load_picture(file.path());

        ASSERT_TRUE(picture);
        EXPECT_TRUE(picture.report.is_damaged());
        EXPECT_TRUE(picture.report.has_lacked_memory);
        ASSERT_EQ(picture.report.errors.get_count(), 1u);
        EXPECT_EQ(picture.report.errors[0], "no memory for a tile");
        EXPECT_NE(picture.plane("a", x, 0, 100, 70), whole.plane("a", x, 0, 100, 70));
    }
    TileMemory const enough(wanted);
    LoadedPicture const picture = load_picture(file.path());
    EXPECT_FALSE(picture.report.is_damaged());
    EXPECT_EQ(picture.plane("a", x, 0, 100, 70), whole.plane("a", x, 0, 100, 70));
    EXPECT_TRUE(log.lines().empty());
}

INSTANTIATE_TEST_SUITE_P(Ways, TilesWithoutMemory,
                         testing::Values(WayOfSamples{"lines", 0, 0},
                                         WayOfSamples{"tiles_of_the_grid", 0, 64},
                                         WayOfSamples{"tiles_across_the_grid", 10, 64}),
                         [](auto const& row) { return row.param.name; });

}  // namespace
