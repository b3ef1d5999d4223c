#include <optional>
#include <vector>

#include "image_io/load/reader_guards.h"

namespace zv_image_io {

namespace {

struct Picture {
    std::uint64_t width = 0, height = 0;
    std::uint64_t x = 0, y = 0;
    unsigned tiles = 0;
    unsigned channels = 0, sample_bytes = 0;  // 0 bytes: depths, of which the reader makes nothing
    std::uint64_t tiles_at = 0, first_tile_at = 0;
};

struct Chunk {
    std::uint64_t at;  // of its contents
    std::uint32_t size;
    /// As the reader rounds it, in 32 bits.
    std::uint32_t padded() const { return (size + 3) & ~std::uint32_t(3); }
};

std::optional<Chunk> chunk_at(FileBytes& file, std::uint64_t at)
{
    auto const size = file.big(at + 4, 4);
    return size ? std::optional(Chunk{at + 8, *size}) : std::nullopt;
}

/// How a search for a chunk ended.
enum class Search { FOUND, NOT_THERE, UNSAFE, GO_ON };

/// Looks for the first tile among as many chunks as there are to be tiles. Moves `at` behind what it passed over.
Search find_first_tile(FileBytes& file, std::uint64_t& at, Picture const& picture)
{
    for (unsigned number = 0; number < picture.tiles; ++number) {
        auto const chunk = chunk_at(file, at);
        if (!chunk)
            return Search::NOT_THERE;
        if (file.is(at, "RGBA"))
            return Search::FOUND;
        at = chunk->at + chunk->padded();
    }
    return Search::GO_ON;
}

/// Goes on from `at` to the tiles. Author and date are read whole, into memory that is asked for first.
Search find_tiles(FileBytes& file, std::uint64_t at, Picture& picture)
{
    while (auto const chunk = chunk_at(file, at)) {
        bool const is_group = file.is(at, "FOR4");
        if (is_group && file.is(chunk->at, "TBMP")) {
            picture.tiles_at = at = chunk->at + 4;
            Search const search = find_first_tile(file, at, picture);
            picture.first_tile_at = at;
            if (search != Search::GO_ON)
                return search;
            continue;
        }
        bool const is_text = file.is(at, "AUTH") || file.is(at, "DATE");
        if (is_text && (chunk->padded() < chunk->size || !file.has(chunk->at, chunk->padded())))
            return Search::UNSAFE;
        at = chunk->at + (is_group ? 4 : 0) + chunk->padded();
    }
    return Search::NOT_THERE;
}

/// Flags that contradict themselves fail an assertion of the reader.
Search read_table(FileBytes& file, Chunk const& chunk, Picture& picture)
{
    constexpr std::uint32_t kRgb = 1, kAlpha = 2, kDepth = 4, kBlack = 16;
    auto const width = file.big(chunk.at, 4), height = file.big(chunk.at + 4, 4);
    auto const flags = file.big(chunk.at + 12, 4), wide = file.big(chunk.at + 16, 2);
    auto const tiles = file.big(chunk.at + 18, 2);
    if ((chunk.size != 24 && chunk.size != 32) || !file.has(chunk.at, chunk.size))
        return Search::NOT_THERE;
    picture.width = *width;
    picture.height = *height;
    picture.tiles = *tiles;
    if (chunk.size == 32) {
        picture.x = *file.big(chunk.at + 24, 4);
        picture.y = *file.big(chunk.at + 28, 4);
    }
    if (*flags & (kRgb | kAlpha)) {
        picture.channels = (*flags & kRgb ? 3 : 0) + (*flags & kAlpha ? 1 : 0);
        picture.sample_bytes = *wide ? 2 : 1;
        return *flags & kBlack ? Search::UNSAFE : Search::FOUND;
    }
    picture.channels = 1;
    return *flags & kDepth && *wide ? Search::UNSAFE : Search::FOUND;
}

/// Follows the reader's way to the first tile.
Search find_picture(FileBytes& file, Picture& picture)
{
    std::uint64_t at = 0;
    bool is_inside = false;
    while (auto const chunk = chunk_at(file, at)) {
        if (is_inside && file.is(at, "TBHD")) {
            Search const search = read_table(file, *chunk, picture);
            return search == Search::FOUND ? find_tiles(file, chunk->at + chunk->size, picture) : search;
        }
        if (!is_inside && file.is(at, "FOR4")) {
            is_inside = file.is(chunk->at, "CIMG");
            at = chunk->at + 4 + (is_inside ? 0 : chunk->padded());
        } else {
            at = chunk->at + chunk->padded();
        }
    }
    return Search::NOT_THERE;
}

/// A tile as its chunk tells it: corners within the picture, both inclusive.
struct Tile {
    std::uint64_t width, height;
    std::uint64_t samples_at, stored_bytes;
    std::uint32_t chunk_size;
};

/// Whether the runs of `planes` planes end where the planes and the chunk end.
bool are_runs_safe(FileBytes& file, Tile const& tile, unsigned planes)
{
    std::uint64_t at = tile.samples_at, left = tile.stored_bytes;
    for (unsigned plane = 0; plane < planes; ++plane)
        for (std::uint64_t room = tile.width * tile.height; room > 0;) {
            auto const packet = file.big(at, 1);
            if (!packet || left == 0)
                return false;
            std::uint64_t const count = (*packet & 0x7f) + 1;
            std::uint64_t const taken = 1 + (*packet & 0x80 ? 1 : count);
            if (count > room || taken > left)
                return false;
            room -= count;
            at += taken;
            left -= taken;
        }
    return true;
}

bool is_tile_safe(FileBytes& file, Tile const& tile, Picture const& picture, LookBudget& budget)
{
    if (picture.sample_bytes == 0)
        return true;  // the reader gives up
    std::uint64_t const bytes = tile.width * tile.height * picture.channels * picture.sample_bytes;
    if (bytes + 8 > 0xffffffff)
        return false;
    // Of a tile that is cut off nothing is read, but memory for it is asked for.
    if (!file.has(tile.samples_at, tile.stored_bytes))
        return tile.stored_bytes <= 2 * bytes + 4096;
    if (!budget.take(tile.stored_bytes))
        return false;
    if (bytes + 8 <= tile.chunk_size)
        return true;
    if (picture.sample_bytes == 2 && picture.channels < 3)
        return false;
    return are_runs_safe(file, tile, picture.channels * picture.sample_bytes);
}

/// The reader copies tiles out of its picture as if that began at (0, 0), and a tile that begins right of it has a negative
/// width. The first tile has the size of all.
bool is_origin_safe(FileBytes& file, Picture const& picture)
{
    auto const left = file.big(picture.first_tile_at + 8, 2), right = file.big(picture.first_tile_at + 12, 2);
    if (!left || !right || *right < *left || *right >= picture.width)
        return true;  // the reader gives up
    std::uint64_t const tile = *right - *left + 1;
    std::uint64_t const last_tile = (picture.width - 1) / tile * tile;
    return picture.x + last_tile <= picture.width && picture.y <= 0x7fffffff;
}

/// Looks at all tiles. Chunks between them are passed over from where they lie or, as a mistake of the reader has it, from
/// the start of the file.
bool are_tiles_safe(FileBytes& file, Picture const& picture, bool skips_from_start)
{
    LookBudget budget(file);
    std::uint64_t at = picture.tiles_at, area = 0;
    std::uint64_t steps = file.size() / 8 + picture.tiles;
    for (unsigned found = 0; found < picture.tiles;) {
        auto const chunk = chunk_at(file, at);
        if (!chunk)
            return true;
        if (steps-- == 0)
            return false;  // goes round in circles
        if (!file.is(at, "RGBA")) {
            at = chunk->padded() + (skips_from_start ? 0 : chunk->at);
            continue;
        }
        ++found;
        auto const left = file.big(chunk->at, 2), top = file.big(chunk->at + 2, 2);
        auto const right = file.big(chunk->at + 4, 2), bottom = file.big(chunk->at + 6, 2);
        if (!bottom || *left > *right || *top > *bottom || *right >= picture.width ||
            *bottom >= picture.height)
            return true;  // the reader gives up
        // It counts columns and rows in 16 bits.
        if (chunk->padded() < 8 || *right == 0xffff || *bottom == 0xffff)
            return false;
        Tile const tile{*right - *left + 1, *bottom - *top + 1, chunk->at + 8, chunk->padded() - 8u,
                        chunk->size};
        area += tile.width * tile.height;
        if (area > 4 * picture.width * picture.height || !is_tile_safe(file, tile, picture, budget))
            return false;
        at = chunk->at + chunk->padded();
    }
    return true;
}

}  // namespace

bool is_iff_safe(FileBytes& file)
{
    Picture picture;
    Search const search = find_picture(file, picture);
    if (search != Search::FOUND)
        return search == Search::NOT_THERE;
    if (picture.width * picture.height > 0x7fffffff)
        return false;
    return is_origin_safe(file, picture) && are_tiles_safe(file, picture, false) &&
           are_tiles_safe(file, picture, true);
}

}  // namespace zv_image_io
