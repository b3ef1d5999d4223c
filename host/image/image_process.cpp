#include "host/image/image_process.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <new>

#include "host/image/block_walk.h"
#include "host/image/equal_block_memo.h"
#include "host/image/image_map.h"
#include "host/image/image_map_tile.h"
#include "host/image/sample_rows.h"

namespace {

using zv_host::Bounds;

constexpr std::size_t kSlotCount = 5;
constexpr std::int64_t kMaximumBlockPixels = 65536;

using Channels = std::array<ImageMapChannel*, kSlotCount>;

/// The channels in the order of a block's planes.
Channels slot_channels(ImageMap const& map)
{
    ImageMapColorChannels const none;
    ImageMapColorChannels const& slots = map.m_rgba_channels != nullptr ? *map.m_rgba_channels : none;
    return {slots.m_red, slots.m_green, slots.m_blue, slots.m_alpha, slots.m_luminance};
}

/// The buffers of one thread, made once a pass.
struct Scratch {
    std::unique_ptr<float[]> planes;
    std::unique_ptr<unsigned char[]> samples;
    std::array<float*, kSlotCount> plane_of{};
    zv_host::EqualBlockMemo memo;

    bool make(Channels const& channels, std::size_t block_pixels, std::size_t sample_bytes)
    {
        if (samples != nullptr)
            return true;
        planes.reset(new (std::nothrow) float[kSlotCount * block_pixels]);
        samples.reset(planes == nullptr ? nullptr
                                        : new (std::nothrow) unsigned char[block_pixels * sample_bytes]);
        for (std::size_t slot = 0; slot < kSlotCount; ++slot)
            plane_of[slot] = channels[slot] != nullptr ? planes.get() + slot * block_pixels : nullptr;
        return samples != nullptr;
    }
};

}  // namespace

/// One pass: what all its blocks share.
class ImageProcess::Pass {
public:
    Pass(ImageMap& map, InPlaceProcessParameters const& parameters)
        : m_map(map)
        , m_parameters(parameters)
        , m_channels(slot_channels(map))
        , m_kind(zv_host::sample_kind(map.m_bit_depth, map.m_bit_type))
        , m_bounds(intersection(Bounds(parameters.m_region), held_bounds(map)))
        , m_strip_rows(std::clamp<std::int64_t>(kMaximumBlockPixels / map.m_tile_size, 1, map.m_tile_size))
        , m_first_column(zv_host::floor_div(m_bounds.begin_x, map.m_tile_size))
        , m_columns(zv_host::floor_div(m_bounds.end_x - 1, map.m_tile_size) - m_first_column + 1)
        , m_first_tile_row(zv_host::floor_div(m_bounds.begin_y, map.m_tile_size))
        , m_tile_rows(zv_host::floor_div(m_bounds.end_y - 1, map.m_tile_size) - m_first_tile_row + 1)
    {
    }

    [[nodiscard]] std::size_t tile_count() const
    {
        return m_bounds.is_empty() ? 0 : static_cast<std::size_t>(m_columns * m_tile_rows);
    }
    [[nodiscard]] bool failed() const { return m_failed.load(); }

    /// One tile is one thread's, because its strips share a buffer.
    void process(std::size_t number, Scratch& scratch)
    {
        auto const tile_x = static_cast<int>(m_first_column + static_cast<std::int64_t>(number) % m_columns);
        auto const tile_y =
            static_cast<int>(m_first_tile_row + static_cast<std::int64_t>(number) / m_columns);
        Bounds const part = intersection(m_bounds, zv_host::tile_bounds(tile_x, tile_y, m_map.m_tile_size));
        for (std::int64_t row = part.begin_y; row < part.end_y; row += m_strip_rows)
            process_block(tile_x, tile_y,
                          {part.begin_x, row, part.end_x, std::min(row + m_strip_rows, part.end_y)}, scratch);
    }

private:
    /// Where the map has tiles at all.
    static Bounds held_bounds(ImageMap const& map)
    {
        Bounds held;
        for (ImageMapChannel const* const channel : map.m_channels)
            held = enclosing(held, channel->m_bounds);
        return held;
    }

    void process_block(int tile_x, int tile_y, Bounds const& block, Scratch& scratch)
    {
        scratch.memo.look(m_channels, tile_x, tile_y, block);
        if (scratch.memo.is_known()) {
            scratch.memo.repeat(m_channels, tile_x, tile_y);
            return;
        }
        if (!scratch.make(m_channels, static_cast<std::size_t>(m_strip_rows * m_map.m_tile_size),
                          m_map.m_bit_depth)) {
            m_failed = true;
            return;
        }
        read(block, scratch);
        if (run_callback(block, scratch))
            write(tile_x, tile_y, block, scratch);
        if (!failed())
            scratch.memo.remember(m_channels, tile_x, tile_y);
    }

    void read(Bounds const& block, Scratch& scratch) const
    {
        for (std::size_t slot = 0; slot < kSlotCount; ++slot)
            if (m_channels[slot] != nullptr)
                m_channels[slot]->read_region(nullptr, block, scratch.plane_of[slot],
                                              static_cast<std::size_t>(block.width()));
    }

    bool run_callback(Bounds const& block, Scratch& scratch)
    {
        auto const& plane = scratch.plane_of;
        Block record{plane[0],
                     plane[1],
                     plane[2],
                     plane[3],
                     plane[4],
                     static_cast<unsigned int>(block.width()),
                     static_cast<unsigned int>(block.height())};
        std::uintptr_t user_words[2] = {m_parameters.m_user_words[0], m_parameters.m_user_words[1]};
        try {
            return m_parameters.m_callback(&record, user_words);
        } catch (...) {
            m_failed = true;
            return false;
        }
    }

    void write(int tile_x, int tile_y, Bounds const& block, Scratch& scratch)
    {
        auto const row_length = static_cast<std::size_t>(block.width());
        auto const count = row_length * static_cast<std::size_t>(block.height());
        auto const sample_bytes = static_cast<std::ptrdiff_t>(m_map.m_bit_depth);
        for (std::size_t slot = 0; slot < kSlotCount; ++slot) {
            if (m_channels[slot] == nullptr)
                continue;
            void const* samples = scratch.plane_of[slot];
            if (m_kind != zv_host::SampleKind::FLOAT) {
                zv_host::row_from_float(m_kind, scratch.plane_of[slot], scratch.samples.get(), count);
                if (m_kind == zv_host::SampleKind::INTEGER_32)
                    keep_unchanged(*m_channels[slot], block, scratch.plane_of[slot], scratch.samples.get());
                samples = scratch.samples.get();
            }
            BandSource const source{samples, sample_bytes,
                                    sample_bytes * static_cast<std::ptrdiff_t>(row_length)};
            if (!m_channels[slot]->fill_tile(tile_x, tile_y, source, block))
                m_failed = true;
        }
    }

    /// A float holds 24 of the 32 bits: where it still has the value that was read, the sample keeps its own.
    static void keep_unchanged(ImageMapChannel const& channel, Bounds const& block, float const* plane,
                               unsigned char* samples)
    {
        auto const width = static_cast<std::size_t>(block.width());
        for (std::int64_t y = block.begin_y; y < block.end_y; ++y)
            for (std::int64_t x = block.begin_x; x < block.end_x; ++x) {
                std::size_t const i = static_cast<std::size_t>(y - block.begin_y) * width +
                                      static_cast<std::size_t>(x - block.begin_x);
                std::uint32_t const bits = channel.get_bits(x, y);
                if (zv_host::bits_to_float(zv_host::SampleKind::INTEGER_32, bits) == plane[i])
                    zv_host::fill_row(4, bits, samples + i * 4, 1);
            }
    }

    ImageMap& m_map;
    InPlaceProcessParameters const& m_parameters;
    Channels m_channels;
    zv_host::SampleKind m_kind;
    Bounds m_bounds;
    std::int64_t m_strip_rows;
    std::int64_t m_first_column;
    std::int64_t m_columns;
    std::int64_t m_first_tile_row;
    std::int64_t m_tile_rows;
    std::atomic<bool> m_failed{false};
};

bool ImageProcess::apply(ImageMap& map, InPlaceProcessParameters parameters, bool single_thread, AppBase* app)
{
    (void)app;
    if (parameters.m_callback == nullptr)
        return false;
    if (!Bounds(parameters.m_region).is_valid_region())
        return true;
    Pass pass(map, parameters);
    bool const walked = zv_host::walk_blocks<Scratch>(
        pass.tile_count(), single_thread,
        [&](std::size_t number, Scratch& scratch) { pass.process(number, scratch); });
    return walked && !pass.failed();
}
