#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

class ImageMapChannel;

/// A square block of one channel: a buffer of samples, or one constant value for all of its pixels.
///
/// Layout of a buffer: rows of tile size + 2 samples, tile size + 2 of them; a sample has the bit depth of
/// the map. The outermost ring is the apron.
///
///     a a a a a a      sample (column, row) of the tile lies at number
///     a . . . . a      (tile size + 2) * (row + 1) + 1 + column
///     a . . . . a
///     a a a a a a
///
/// A tile without a buffer is constant. A tile may lie partly outside the region of its channel: there a
/// buffer holds zeros, and a constant counts for the part inside alone; the channel reads 0 outside its
/// region in both cases.
///
/// The apron holds zeros until `prepare_apron` is asked for, which is on a renderer's first use: nothing that
/// loads or saves needs it, and filling it touches as many cache lines as the tile has rows. It holds
/// the samples of the neighbouring tiles, and past the region's edges what the repeat modes of the canvas's
/// pyramid tell (zeros for a map without a canvas).
///
/// Owns     its buffer, which comes from `ImageTileFactory` and goes back there
/// Threads  readers share a tile; one thread at a time writes to it
class ImageMapTile {
public:
    ImageMapTile() = default;
    ~ImageMapTile();
    ImageMapTile(ImageMapTile const&) = delete;
    ImageMapTile& operator=(ImageMapTile const&) = delete;

    ImageMapChannel* m_channel = nullptr;
    unsigned char* m_pixels = nullptr;
    int m_tile_x = 0;  ///< column in the grid; the first pixel is column times tile size, negative allowed
    int m_tile_y = 0;  ///< row in the grid

    /// The sample at (x, y), counted from the tile's first pixel, as a float (integers as 0 to 1). `true`
    /// takes coordinates past the tile's edges from its neighbours, as the apron does for one pixel; `false`
    /// gives 0 there. The constant value answers for all pixels of a constant tile.
    float get_color(int const& x, int const& y, bool across_tiles) const;

    [[nodiscard]] bool is_constant() const { return m_pixels == nullptr; }

    /// The constant sample itself, in the low bytes; bits outside the sample are 0. For tiles without a
    /// buffer.
    [[nodiscard]] std::uint32_t get_constant_bits() const { return m_constant_bits; }

    /// Drops the buffer and makes all pixels `value` (rounded to the sample type), or the exact sample
    /// `bits`.
    void set_constant(float value);
    void set_constant_bits(std::uint32_t bits);

    /// Gives a constant tile a buffer which holds the constant inside the channel's region and zeros
    /// elsewhere. False if there is no memory; true also for a tile that has one already.
    bool allocate();

    /// Drops the buffer if all samples inside the channel's region are the same, bit for bit.
    bool make_constant_if_equal();

    /// Fills the apron at first use and gives the buffer; null for a constant tile, which has no apron.
    /// Safe from several readers at once. A write to a tile or to its neighbours wants
    /// `ImageMapChannel::forget_aprons` after it.
    unsigned char const* prepare_apron();

    /// The first sample of row `row` of the inner square, -1 and tile size allowed (apron rows).
    [[nodiscard]] unsigned char* get_row(int row) const;

    /// Bytes of a buffer of one tile, apron included; 0 if the numbers are not possible.
    static std::size_t get_buffer_size(int tile_size, std::size_t sample_bytes);

private:
    friend class ImageMapChannel;
    friend class ImageTileFactory;

    void fill_apron();

    std::uint32_t m_constant_bits = 0;
    bool m_equality_known = false;  ///< the samples were looked at and differ
    std::atomic<bool> m_apron_ready{false};
    enum class Evaluation : unsigned char { OPEN, RUNNING, DONE };
    std::atomic<Evaluation> m_evaluation{Evaluation::OPEN};
};
