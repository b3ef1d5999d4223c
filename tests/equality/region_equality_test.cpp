// Saves in steps: regions while the picture comes, the whole at the end.
#include "tests/equality/comparison.h"
#include "tests/equality/save_matrix.h"

#include <gtest/gtest.h>

#include "host/image/image_canvas.h"
#include "host/of/of_app.h"
#include "tests/support/temp_dir.h"

namespace {

using namespace zv_equality;

std::vector<NamedCanvas> canvases()
{
    std::vector<NamedCanvas> made;
    made.push_back({"at the origin", make_canvas({.width = 150, .height = 140, .tile = 32})});
    made.push_back(
        {"half, negative",
         make_canvas({.x = -64, .y = -32, .width = 150, .height = 140, .tile = 32, .type = {2, true}})});
    made.push_back({"off the grid, with layers", make_canvas({.x = 10,
                                                              .y = 20,
                                                              .width = 100,
                                                              .height = 90,
                                                              .channels = {"r", "g", "b", "a", "z", "n.x"},
                                                              .tile = 32})});
    return made;
}

void set_up(SaveOrder& order, bool tiled)
{
    order.compression = ImageIOFileFormat::COMPRESSION_ZIPS;
    order.color_space = "sRGB";
    if (tiled)
        order.settings = [](OfApp& app) { app.tiling_mode = 1; };
}

Place window_of(ImageCanvas const& canvas)
{
    return Place(*canvas.m_map->m_bbox);
}

void expect_equal(ImageCanvas const& canvas, SaveOrder const& order, std::string const& name)
{
    zv_test::TempDir const folder;
    for (int const threads : {1, 4}) {
        ThreadCount const count(threads);
        Differences const differences = compare_save(canvas, order, folder.path().string());
        EXPECT_TRUE(differences.empty()) << name << ", " << threads << " threads\n" << report(differences);
    }
}

/// Bands of so many lines, in order, as far as three quarters of the picture.
std::vector<Place> bands(Place const& window, int lines)
{
    std::vector<Place> regions;
    for (int y = window.y; y + lines <= window.y + window.height * 3 / 4; y += lines)
        regions.push_back({window.x - 5, y, window.width + 10, lines});
    return regions;
}

TEST(RegionEquality, LinesInBandsMakeTheFileOfThePlainRoad)
{
    for (NamedCanvas const& canvas : canvases())
        for (int const lines : {1, 7, 32, 50}) {
            SaveOrder order;
            set_up(order, false);
            order.regions = bands(window_of(*canvas.canvas), lines);
            expect_equal(*canvas.canvas, order, canvas.name + ", bands of " + std::to_string(lines));
        }
}

TEST(RegionEquality, TilesInOrderMakeTheFileOfThePlainRoad)
{
    for (NamedCanvas const& canvas : canvases()) {
        SaveOrder order;
        set_up(order, true);
        Place const window = window_of(*canvas.canvas);
        for (int y = floor_of(window.y, 32) * 32; y < window.end_y() - 32; y += 32)
            // Every second tile is left for the whole, which finds those beside it in the file.
            for (int x = floor_of(window.x, 32) * 32; x < window.end_x(); x += 64)
                order.regions.push_back({x, y, 32, 32});
        expect_equal(*canvas.canvas, order, canvas.name);
    }
}

TEST(RegionEquality, TilesFromTheLastToTheFirstMakeTheFileOfThePlainRoad)
{
    for (NamedCanvas const& canvas : canvases()) {
        SaveOrder order;
        set_up(order, true);
        Place const window = window_of(*canvas.canvas);
        for (int y = floor_of(window.end_y() - 1, 32) * 32; y > window.y + 32; y -= 32)
            for (int x = floor_of(window.end_x() - 1, 32) * 32; x > window.x + 32; x -= 32)
                order.regions.push_back({x, y, 32, 32});
        expect_equal(*canvas.canvas, order, canvas.name);
    }
}

TEST(RegionEquality, StripsOfTiffMakeTheFileOfThePlainRoad)
{
    // At the origin alone: regions count from 0 here, and the library ends the process at rows in front of a file.
    NamedCanvas const canvas = std::move(canvases()[0]);
    for (bool const tiled : {false, true})
        for (auto const format : {ImageIOFileFormat::SAVE_TIFF8, ImageIOFileFormat::SAVE_TIFF32}) {
            SaveOrder order;
            set_up(order, tiled);
            order.file = "a.tif";
            order.format = format;
            order.regions = bands({0, 0, 150, 140}, 32);
            expect_equal(*canvas.canvas, order, canvas.name + (tiled ? ", tiles" : ", strips"));
        }
}

TEST(RegionEquality, StripsOfTiffOffTheOriginEndAtTheHeightOfThePicture)
{
    NamedCanvas const canvas = std::move(canvases()[2]);  // lines 20 to 109, of which regions reach 89
    SaveOrder order;
    set_up(order, false);
    order.file = "a.tif";
    order.format = ImageIOFileFormat::SAVE_TIFF16;
    order.regions = {{0, 52, 150, 32}, {0, 84, 150, 32}};
    expect_equal(*canvas.canvas, order, canvas.name);
}

TEST(RegionEquality, RegionsOutsideWriteNothing)
{
    for (bool const tiled : {false, true}) {
        SaveOrder order;
        set_up(order, tiled);
        order.regions = {{-500, -500, 10, 10}, {500, 0, 10, 10}, {3, 3, 0, 5}};
        expect_equal(*canvases()[0].canvas, order, tiled ? "tiles" : "lines");
    }
}

}  // namespace
