#pragma once

class ImageMapTile;

/// What a channel gives when it is asked for a tile. Borrows; null outside the channel's grid. Valid until
/// the channel's tiles are created anew or the channel goes.
struct ImageMapTileHandle {
    ImageMapTile* m_tile = nullptr;
};
