#pragma once

#include "tests/save/exr_saves.h"

namespace zv_test {

// The picture that `killed_render` writes: 6 by 6 tiles, a region a tile; of lines a region a row of tiles.

inline constexpr int kKilledTile = 32;
inline constexpr int kKilledTiles = 6;

inline SavePicture::Shape killed_shape()
{
    SavePicture::Shape shape;
    shape.width = shape.height = kKilledTile * kKilledTiles;
    shape.tile = kKilledTile;
    return shape;
}

inline GMathVec4<int> killed_region(int tiling_mode, int number)
{
    if (tiling_mode == 0)
        return rectangle(0, number * kKilledTile, kKilledTile * kKilledTiles, kKilledTile);
    return rectangle(number % kKilledTiles * kKilledTile, number / kKilledTiles * kKilledTile, kKilledTile,
                     kKilledTile);
}

}  // namespace zv_test
