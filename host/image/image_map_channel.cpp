#include "host/image/image_map_channel.h"

#include <new>
#include <utility>

#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "host/image/image_map.h"
#include "host/image/image_map_tile.h"
#include "host/image/repeat_place.h"
#include "host/image/sample_rows.h"

namespace {

// The tile records of one channel take at most 1.3 gigabytes.
constexpr std::int64_t kMaximumTileCount = std::int64_t{1} << 25;

ImagePixel::RepeatMode repeat_mode(ImageCanvas const* canvas, bool columns)
{
    if (canvas == nullptr)
        return ImagePixel::REPEAT_MODE_NONE;
    return columns ? canvas->m_pyramid->get_repeat_mode_u() : canvas->m_pyramid->get_repeat_mode_v();
}

}  // namespace

ImageMapChannel::ImageMapChannel(ImageMap* map, CoreString const& name, int index)
    : m_map(map)
    , m_name(name)
    , m_index(index)
{
}

ImageMapChannel::~ImageMapChannel() = default;

void ImageMapChannel::create_tiles(GMathVec4<int> const& region, CoreVector<ImageMapTileHandle>* out,
                                   float const& value)
{
    // A copy: the region may be this channel's own, which goes with the old tiles.
    GMathVec4<int> const wanted = region;
    remove_tiles();
    if (out != nullptr)
        out->clear();
    zv_host::Bounds const bounds(wanted);
    if (!bounds.is_valid_region())
        return;
    int const size = m_map->m_tile_size;
    std::int64_t const first_x = zv_host::floor_div(bounds.begin_x, size);
    std::int64_t const first_y = zv_host::floor_div(bounds.begin_y, size);
    std::int64_t const columns = zv_host::floor_div(bounds.end_x - 1, size) - first_x + 1;
    std::int64_t const rows = zv_host::floor_div(bounds.end_y - 1, size) - first_y + 1;
    if (columns > kMaximumTileCount / rows || ImageMapTile::get_buffer_size(size, m_map->m_bit_depth) == 0)
        return;
    m_tiles.reset(new (std::nothrow) ImageMapTile[static_cast<std::size_t>(columns * rows)]);
    if (m_tiles == nullptr)
        return;
    m_bounds = bounds;
    m_region = wanted;
    m_first_tile_x = static_cast<int>(first_x);
    m_first_tile_y = static_cast<int>(first_y);
    m_tile_columns = static_cast<int>(columns);
    m_tile_rows = static_cast<int>(rows);
    m_tile_count = static_cast<unsigned int>(columns * rows);
    std::uint32_t const bits =
        zv_host::bits_from_float(zv_host::sample_kind(m_map->m_bit_depth, m_map->m_bit_type), value);
    for (unsigned int i = 0; i < m_tile_count; ++i) {
        ImageMapTile& tile = m_tiles[i];
        tile.m_channel = this;
        tile.m_tile_x = m_first_tile_x + static_cast<int>(i % static_cast<unsigned int>(m_tile_columns));
        tile.m_tile_y = m_first_tile_y + static_cast<int>(i / static_cast<unsigned int>(m_tile_columns));
        tile.m_constant_bits = bits;
    }
    try {
        for (unsigned int i = 0; out != nullptr && i < m_tile_count; ++i)
            out->add({&m_tiles[i]});
    } catch (std::exception const&) {
        out->clear();
    }
}

void ImageMapChannel::remove_tiles()
{
    m_tiles.reset();
    m_tile_count = 0;
    m_tile_columns = 0;
    m_tile_rows = 0;
    m_bounds = {};
    m_region = {};
}

ImageMapTileHandle ImageMapChannel::get_tile(unsigned int const& index) const
{
    return {index < m_tile_count ? &m_tiles[index] : nullptr};
}

ImageMapTileHandle ImageMapChannel::get_tile(ImageEvalContext& context, int const& tile_x,
                                             int const& tile_y) const
{
    ImageMapTile* const tile = find_tile(tile_x, tile_y);
    if (tile != nullptr && m_evaluator)
        evaluate(*tile, &context);
    return {tile};
}

ImageMapTile* ImageMapChannel::find_tile(int tile_x, int tile_y) const
{
    std::int64_t const column = std::int64_t{tile_x} - m_first_tile_x;
    std::int64_t const row = std::int64_t{tile_y} - m_first_tile_y;
    if (column < 0 || row < 0 || column >= m_tile_columns || row >= m_tile_rows)
        return nullptr;
    return &m_tiles[static_cast<std::size_t>(row * m_tile_columns + column)];
}

zv_host::Bounds ImageMapChannel::get_covered_part(ImageMapTile const& tile) const
{
    return intersection(m_bounds, zv_host::tile_bounds(tile.m_tile_x, tile.m_tile_y, m_map->m_tile_size));
}

void ImageMapChannel::set_evaluator(Evaluator evaluator)
{
    std::lock_guard const lock(m_lock);
    m_evaluator = std::move(evaluator);
    for (unsigned int i = 0; i < m_tile_count; ++i)
        m_tiles[i].m_evaluation.store(ImageMapTile::Evaluation::OPEN, std::memory_order_relaxed);
}

void ImageMapChannel::evaluate(ImageMapTile& tile, ImageEvalContext* context) const
{
    using Evaluation = ImageMapTile::Evaluation;
    if (tile.m_evaluation.load(std::memory_order_acquire) == Evaluation::DONE)
        return;
    std::lock_guard const lock(m_lock);
    // Running under this lock: an evaluator that reads its own tile finds what is there.
    if (tile.m_evaluation.load(std::memory_order_relaxed) != Evaluation::OPEN)
        return;
    tile.m_evaluation.store(Evaluation::RUNNING, std::memory_order_relaxed);
    ImageEvalContext own =
        m_map->get_canvas() != nullptr ? ImageEvalContext(*m_map->get_canvas(), 0) : ImageEvalContext();
    bool filled = false;
    try {
        filled = m_evaluator(tile, context != nullptr ? *context : own);
    } catch (...) {
        filled = false;
    }
    tile.m_evaluation.store(filled ? Evaluation::DONE : Evaluation::OPEN, std::memory_order_release);
}

void ImageMapChannel::forget_aprons()
{
    for (unsigned int i = 0; i < m_tile_count; ++i)
        m_tiles[i].m_apron_ready.store(false, std::memory_order_relaxed);
}

std::uint32_t ImageMapChannel::get_repeated_bits(std::int64_t x, std::int64_t y) const
{
    if (m_bounds.is_empty())
        return 0;
    ImageCanvas const* const canvas = m_map->get_canvas();
    auto const column = zv_host::repeat_place(x, m_bounds.begin_x, m_bounds.end_x, repeat_mode(canvas, true));
    auto const row = zv_host::repeat_place(y, m_bounds.begin_y, m_bounds.end_y, repeat_mode(canvas, false));
    if (!column || !row)
        return 0;
    if (m_evaluator)
        evaluate(*find_pixel_tile(*column, *row), nullptr);
    return get_bits(*column, *row);
}

std::uint32_t ImageMapChannel::get_bits(std::int64_t x, std::int64_t y) const
{
    if (!m_bounds.contains({x, y, x + 1, y + 1}))
        return 0;
    ImageMapTile const& tile = *find_pixel_tile(x, y);
    if (tile.is_constant())
        return tile.m_constant_bits;
    auto const origin = zv_host::tile_bounds(tile.m_tile_x, tile.m_tile_y, m_map->m_tile_size);
    std::size_t const offset = static_cast<std::size_t>(x - origin.begin_x) * m_map->m_bit_depth;
    return zv_host::load_bits(m_map->m_bit_depth,
                              tile.get_row(static_cast<int>(y - origin.begin_y)) + offset);
}

ImageMapTile* ImageMapChannel::find_pixel_tile(std::int64_t x, std::int64_t y) const
{
    return find_tile(static_cast<int>(zv_host::floor_div(x, m_map->m_tile_size)),
                     static_cast<int>(zv_host::floor_div(y, m_map->m_tile_size)));
}

std::size_t ImageMapChannel::get_memory_size() const
{
    std::size_t bytes = sizeof(ImageMapChannel) + m_name.m_capacity + m_tile_count * sizeof(ImageMapTile);
    std::size_t const buffer = ImageMapTile::get_buffer_size(m_map->m_tile_size, m_map->m_bit_depth);
    for (unsigned int i = 0; i < m_tile_count; ++i)
        bytes += m_tiles[i].is_constant() ? 0 : buffer;
    return bytes;
}
