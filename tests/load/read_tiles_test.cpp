#include <gtest/gtest.h>

#include <bit>
#include <cmath>

#include "host/image/image_map_tile.h"
#include "tests/load/loaded_picture.h"
#include "tests/load/tiled_script.h"
#include "tests/support/log_capture.h"
#include "tests/support/recording_progress.h"
#include "tests/support/temp_dir.h"

// The two ways through a tiled file: tile onto tile where the grids coincide, else spread over the map's tiles.

namespace {

using namespace zv_test;
using Calls = std::vector<std::string>;
using Lines = std::vector<LogLine>;

std::string text(int a, char const* separator, int b, int c, int d)
{
    return std::to_string(a) + separator + std::to_string(b) + separator + std::to_string(c) + separator +
           std::to_string(d);
}

/// All samples of all channels, and zeros around the window.
void expect_samples(LoadedPicture const& picture, ReadScript const& script)
{
    OIIO::ImageSpec const& spec = script.spec;
    for (unsigned int c = 0; c < picture.map().get_channel_count(); ++c) {
        std::string const name = picture.map().m_channels[c]->m_name.get_data();
        int const x = spec.x - 3, y = spec.y - 3, width = spec.width + 70, height = spec.height + 70;
        expect_plane(name, picture.plane(name, x, y, width, height), x, y, width, height,
                     [&](int px, int py) {
                         bool const inside = px >= spec.x && py >= spec.y && px < spec.x + spec.width &&
                                             py < spec.y + spec.height;
                         return inside ? wide_tiled(int(c), px, py) : 0.0f;
                     });
    }
}

struct PathCase {
    char const* name;
    int x, y, tile;
    bool is_direct;
};

class TilePath : public testing::TestWithParam<PathCase> {};

TEST_P(TilePath, ShowsInTheLineOfATileThatFails)
{
    auto const [name, x, y, tile, is_direct] = GetParam();
    TempDir folder;
    ReadScript script = tiled_script({"R", "G", "B"}, x, y, tile);
    script.bad_tiles = {{x + tile, y}};
    ScriptedFile const file(folder, script);
    LogCapture log;

    LoadedPicture const picture = load_picture(file.path());

    ASSERT_TRUE(picture);
    int const visible_width = std::min(tile, 100 - tile), visible_height = std::min(tile, 70);
    std::string const error = ": bad tile " + std::to_string(x + tile) + " " + std::to_string(y) + "\n";
    std::string const direct =
        "Error while reading tile [" + text(x + tile, ",", y, tile, tile) + "]" + error;
    std::string const general =
        "Error while reading tile (" + text(x + tile, ", ", y, visible_width, visible_height) + ")" + error;
    EXPECT_EQ(log.lines(), (Lines{{2, is_direct ? direct : general}}));
    EXPECT_EQ(picture.report.tiles_lost, 1u);
}

TEST_P(TilePath, GivesTheSameSamples)
{
    auto const [name, x, y, tile, is_direct] = GetParam();
    TempDir folder;
    for (auto const& names : {std::vector<std::string>{"R"}, {"R", "G", "B", "A"}}) {
        ReadScript const script = tiled_script(names, x, y, tile);
        ScriptedFile const file(folder, script);

        LoadedPicture const picture = load_picture(file.path());

        ASSERT_TRUE(picture);
        expect_samples(picture, script);
    }
}

TEST_P(TilePath, AsksForEachTileOnceRowAfterRow)
{
    auto const [name, x, y, tile, is_direct] = GetParam();
    TempDir folder;
    ScriptedFile const file(folder, tiled_script({"R", "G"}, x, y, tile, OIIO::TypeDesc::HALF));

    LoadedPicture const picture = load_picture(file.path());

    std::vector<std::pair<int, int>> wanted, asked;
    for (int ty = y; ty < y + 70; ty += tile)
        for (int tx = x; tx < x + 100; tx += tile)
            wanted.push_back({tx, ty});
    for (ReadCall const& call : file.reads()) {
        EXPECT_EQ(call.kind, ReadCall::TILE);
        EXPECT_EQ(call.format, OIIO::TypeDesc(OIIO::TypeDesc::HALF));
        asked.push_back({call.x, call.y});
    }
    EXPECT_EQ(asked, wanted);
    EXPECT_EQ(picture.report.tiles_asked, wanted.size());
}

INSTANTIATE_TEST_SUITE_P(
    Origins, TilePath,
    testing::Values(PathCase{"at_0", 0, 0, 64, true}, PathCase{"tiles_of_16", 0, 0, 16, true},
                    PathCase{"tiles_of_48", 0, 0, 48, true}, PathCase{"aligned", 64, 128, 64, true},
                    PathCase{"aligned_negative", -64, -128, 64, true},
                    PathCase{"across_0", -32, -32, 32, true}, PathCase{"off_in_x", 10, 0, 64, false},
                    PathCase{"off_in_y", 0, 10, 64, false}, PathCase{"off_negative", -10, -70, 64, false},
                    PathCase{"off_in_both", 5, 7, 32, false}),
    [](auto const& info) { return info.param.name; });

TEST(TilePaths, AreToldApartInSinglePrecision)
{
    TempDir folder;
    int direct = 0, general = 0;
    for (int const tile : {3, 41, 47, 49, 55, 61})
        for (int number : {-7, -1, 1, 5, 47, 61, 1000}) {
            int const x = number * tile;
            ReadScript script = tiled_script({"R"}, x, 0, tile);
            script.spec.width = script.spec.height = tile;
            script.spec.full_width = script.spec.full_height = tile;
            script.bad_tiles = {{x, 0}};
            ScriptedFile const file(folder, script);
            LogCapture log;

            ASSERT_TRUE(load_picture(file.path()));

            float const reciprocal = 1.0f / float(tile);
            bool const is_direct = int(float(x) * reciprocal) * tile == x;
            ASSERT_EQ(log.lines().size(), 1u);
            EXPECT_EQ(log.lines()[0].text.find('[') != std::string::npos, is_direct) << x << " of " << tile;
            ++(is_direct ? direct : general);
        }
    EXPECT_GT(direct, 0);
    EXPECT_GT(general, 0);
}

/// A sample in a tile's memory; column and row -1 and tile size are the apron.
float memory_at(ImageMapTile const& tile, int tile_size, int column, int row)
{
    return reinterpret_cast<float const*>(tile.m_pixels)[(tile_size + 2) * (row + 1) + 1 + column];
}

TEST(DirectPath, CopiesWhatIsVisibleIntoTheInnerSquareAndLeavesTheRest)
{
    struct Size {
        int width, height;
    };
    constexpr Size kVisible[] = {{64, 64}, {36, 64}, {64, 6}, {36, 6}};
    TempDir folder;
    for (auto const& [x, y] : {std::pair(0, 0), {128, 64}, {-64, -64}, {-128, -192}}) {
        ScriptedFile const file(folder, tiled_script({"R", "G"}, x, y));
        OpenedPicture picture(file.path());

        ASSERT_TRUE(picture.read_data(plain_options(), true));

        for (unsigned int c = 0; c < 2; ++c)
            for (unsigned int t = 0; t < 4; ++t) {
                ImageMapTile const& tile = *picture.map.m_channels[c]->get_tile(t).m_tile;
                ASSERT_NE(tile.m_pixels, nullptr);
                for (int row = -1; row <= 64; ++row)
                    for (int column = -1; column <= 64; ++column) {
                        bool const is_visible =
                            row >= 0 && column >= 0 && row < kVisible[t].height && column < kVisible[t].width;
                        float const wanted = is_visible ? wide_tiled(int(c), tile.m_tile_x * 64 + column,
                                                                     tile.m_tile_y * 64 + row)
                                                        : 0.0f;
                        ASSERT_EQ(memory_at(tile, 64, column, row), wanted)
                            << "channel " << c << " tile " << t << " at " << column << ", " << row;
                    }
            }
    }
}

TEST(TiledRead, LeavesHolesWhereTilesFailAndGoesOn)
{
    TempDir folder;
    for (int const x : {0, 10}) {
        ReadScript script = tiled_script({"R", "G", "B"}, x, 0, 32);
        script.bad_tiles = {{x + 32, 0}, {x, 64}};
        ScriptedFile const file(folder, script);
        OpenedPicture picture(file.path());
        RecordingProgress progress;
        LogCapture log;

        EXPECT_TRUE(picture.read_data(plain_options(), false, &progress));

        EXPECT_EQ(log.lines().size(), 2u);
        EXPECT_EQ(picture.report.tiles_asked, 12u);
        EXPECT_EQ(picture.report.tiles_lost, 2u);
        EXPECT_EQ(progress.calls_of("increment").size(), 12u);
        for (int c = 0; c < 3; ++c)
            expect_plane(std::string(1, "rgb"[c]), picture.plane(std::string(1, "rgb"[c])), x, 0, 100, 70,
                         [&](int px, int py) {
                             int const tx = (px - x) / 32 * 32 + x, ty = py / 32 * 32;
                             return script.bad_tiles.count({tx, ty}) ? 0.0f : wide_tiled(c, px, py);
                         });
    }
}

TEST(TiledRead, GivesAHoleNoMemoryOnTheDirectPath)
{
    TempDir folder;
    ReadScript script = tiled_script({"R"});
    script.bad_tiles = {{64, 0}};
    ScriptedFile const file(folder, script);
    LogCapture log;

    LoadedPicture const picture = load_picture(file.path());

    EXPECT_TRUE(picture.channel("l")->get_tile(1).m_tile->is_constant());
    EXPECT_FALSE(picture.channel("l")->get_tile(0).m_tile->is_constant());
}

TEST(TiledRead, LogsNothingBelowLevel2)
{
    TempDir folder;
    for (int const x : {0, 10}) {
        ReadScript script = tiled_script({"R"}, x);
        script.bad_tiles = {{x, 0}};
        ScriptedFile const file(folder, script);
        LogCapture log(1);

        EXPECT_TRUE(load_picture(file.path()));

        EXPECT_TRUE(log.lines().empty());
    }
}

TEST(TiledRead, TakesAnExceptionOfTheReaderForAFailedTile)
{
    TempDir folder;
    for (int const x : {0, 10}) {
        ReadScript script = tiled_script({"R"}, x);
        script.bad_tiles = {{x, 0}};
        script.throws = true;
        ScriptedFile const file(folder, script);
        LogCapture log;

        LoadedPicture const picture = load_picture(file.path());

        ASSERT_TRUE(picture);
        EXPECT_EQ(log.lines().size(), 1u);
        EXPECT_EQ(picture.report.tiles_lost, 1u);
        EXPECT_EQ(picture.at("l", x + 64, 1), wide_tiled(0, x + 64, 1));
    }
}

TEST(TiledRead, KeepsEvenTilesAsConstantsAfterTheLoad)
{
    TempDir folder;
    for (int const x : {0, 10}) {
        ReadScript script = tiled_script({"R"}, x);
        script.sample = [](int, int, int) { return 0.75; };
        ScriptedFile const file(folder, script);

        LoadedPicture const picture = load_picture(file.path());

        EXPECT_EQ(picture.at("l", x + 99, 69), 0.75f);
        EXPECT_TRUE(picture.channel("l")->get_tile(0).m_tile->is_constant());
    }
}

TEST(TiledProgress, IncrementsBySharesOfTheRealTilesOnTheDirectPath)
{
    TempDir folder;
    ReadScript script = tiled_script({"R", "G", "B"});
    script.bad_tiles = {{64, 0}};
    ScriptedFile const file(folder, script);
    LogCapture log;
    RecordingProgress progress;

    ASSERT_TRUE(load_picture(file.path(), plain_options(), &progress));

    // 0.8 of four tiles, of a task that takes eight tenths of the bar.
    EXPECT_EQ(progress.calls(),
              (Calls{"set_value 0", "set_value 0", "begin_task \"read header\" 0.1 false", "end_task",
                     "begin_task \"read data\" 0.8 false", "set_value 0.1", "set_task_increment 0.16",
                     "increment", "increment", "increment", "increment", "end_task", "set_value 1"}));
}

TEST(TiledProgress, RoundsTheNumberOfTilesOnTheGeneralPath)
{
    TempDir folder;
    // 100 by 70 in tiles of 64 counts as 2 by 1, though there are 2 by 2.
    ScriptedFile const file(folder, tiled_script({"R"}, 10));
    OpenedPicture picture(file.path());
    RecordingProgress progress;

    ASSERT_TRUE(picture.read_data(plain_options(), true, &progress));

    EXPECT_EQ(progress.calls(), (Calls{"set_value 0.1", "set_task_increment 0.4", "increment", "increment",
                                       "increment", "increment"}));
}

}  // namespace
