#include "host/image/image_tile_factory.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/image/image_map_tile.h"

namespace {

std::size_t buffer_size(ImageMapTile const& tile)
{
    ImageMap const& map = *tile.m_channel->m_map;
    return ImageMapTile::get_buffer_size(map.m_tile_size, map.m_bit_depth);
}

}  // namespace

constinit ImageTileFactory::Pointer ImageTileFactory::s_factory;

void ImageTileFactory::init()
{
    get();
}

ImageTileFactory& ImageTileFactory::get()
{
    // Never deleted: a canvas may be the last static to go.
    static ImageTileFactory* const factory = new ImageTileFactory;
    if (s_factory != factory)
        s_factory.m_factory.store(factory, std::memory_order_release);
    return *factory;
}

void ImageTileFactory::allocate_tile_buffer(ImageMapTile* tile, bool clear)
{
    if (tile == nullptr || tile->m_pixels != nullptr)
        return;
    tile->m_pixels = take(buffer_size(*tile), clear);
    tile->m_equality_known = false;
    tile->m_apron_ready.store(false, std::memory_order_relaxed);
}

void ImageTileFactory::release_tile_buffer(ImageMapTile* tile)
{
    if (tile == nullptr || tile->m_pixels == nullptr)
        return;
    give_back(tile->m_pixels, buffer_size(*tile));
    tile->m_pixels = nullptr;
}

unsigned char* ImageTileFactory::take(std::size_t bytes, bool clear)
{
    if (bytes == 0)
        return nullptr;
    if (unsigned char* const kept = take_kept(bytes)) {
        if (clear)
            std::memset(kept, 0, bytes);
        return kept;
    }
    if (!reserve_fresh(bytes))
        return nullptr;
    // Fresh pages are zero already, which calloc knows.
    auto const allocate = [&] { return clear ? std::calloc(bytes, 1) : std::malloc(bytes); };
    void* fresh = allocate();
    if (fresh == nullptr) {
        free_unused_tiles(false);
        fresh = allocate();
    }
    if (fresh == nullptr)
        cancel_use(bytes);
    return static_cast<unsigned char*>(fresh);
}

unsigned char* ImageTileFactory::take_kept(std::size_t bytes)
{
    std::lock_guard const lock(m_mutex);
    auto const kept = m_kept.find(bytes);
    if (kept == m_kept.end() || kept->second.empty() || is_above_limit(bytes))
        return nullptr;
    unsigned char* const buffer = kept->second.back();
    kept->second.pop_back();
    --m_statistics.tiles_kept;
    m_statistics.bytes_kept -= bytes;
    count_use(bytes);
    return buffer;
}

bool ImageTileFactory::reserve_fresh(std::size_t bytes)
{
    std::lock_guard const lock(m_mutex);
    if (is_above_limit(bytes))
        return false;
    count_use(bytes);
    drop_kept_above(m_memory_limit != 0 ? std::min(m_memory_limit, m_statistics.peak_bytes_in_use)
                                        : m_statistics.peak_bytes_in_use);
    return true;
}

void ImageTileFactory::drop_kept_above(std::size_t held_bytes)
{
    for (auto& [bytes, buffers] : m_kept)
        while (!buffers.empty() && m_statistics.bytes_in_use + m_statistics.bytes_kept > held_bytes) {
            std::free(buffers.back());
            buffers.pop_back();
            --m_statistics.tiles_kept;
            m_statistics.bytes_kept -= bytes;
        }
}

bool ImageTileFactory::is_above_limit(std::size_t bytes) const
{
    return m_memory_limit != 0 &&
           (bytes > m_memory_limit || m_statistics.bytes_in_use > m_memory_limit - bytes);
}

void ImageTileFactory::count_use(std::size_t bytes)
{
    ++m_statistics.tiles_in_use;
    m_statistics.bytes_in_use += bytes;
    m_statistics.peak_bytes_in_use = std::max(m_statistics.peak_bytes_in_use, m_statistics.bytes_in_use);
}

void ImageTileFactory::cancel_use(std::size_t bytes)
{
    std::lock_guard const lock(m_mutex);
    --m_statistics.tiles_in_use;
    m_statistics.bytes_in_use -= bytes;
}

void ImageTileFactory::give_back(unsigned char* buffer, std::size_t bytes) noexcept
{
    std::lock_guard const lock(m_mutex);
    --m_statistics.tiles_in_use;
    m_statistics.bytes_in_use -= bytes;
    try {
        m_kept[bytes].push_back(buffer);
        ++m_statistics.tiles_kept;
        m_statistics.bytes_kept += bytes;
    } catch (std::bad_alloc const&) {
        std::free(buffer);
    }
}

void ImageTileFactory::free_unused_tiles(bool trim_heap)
{
    std::unordered_map<std::size_t, std::vector<unsigned char*>> unused;
    {
        std::lock_guard const lock(m_mutex);
        unused.swap(m_kept);
        m_statistics.tiles_kept = 0;
        m_statistics.bytes_kept = 0;
    }
    for (auto const& [bytes, buffers] : unused)
        for (unsigned char* const buffer : buffers)
            std::free(buffer);
#if defined(__GLIBC__)
    if (trim_heap)
        malloc_trim(0);
#else
    (void)trim_heap;
#endif
}

ImageTileFactory::Statistics ImageTileFactory::get_statistics() const
{
    std::lock_guard const lock(m_mutex);
    return m_statistics;
}

void ImageTileFactory::set_memory_limit(std::size_t bytes)
{
    std::lock_guard const lock(m_mutex);
    m_memory_limit = bytes;
}
