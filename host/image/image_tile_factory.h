#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <unordered_map>
#include <vector>

class ImageMapTile;

/// The allocator of all tile buffers of the process. Keeps what is given back in lists by size, so that a
/// load after a load touches no fresh pages, until `free_unused_tiles`. Kept buffers of one size give way to
/// fresh ones of another: in all it never holds more than was in use at the busiest moment.
///
/// Errors   no memory, or a set limit reached: the tile keeps its null buffer; nothing throws
/// Threads  any number
class ImageTileFactory {
public:
    struct Statistics {
        std::size_t tiles_in_use = 0;
        std::size_t bytes_in_use = 0;
        std::size_t tiles_kept = 0;  ///< given back and waiting for the next
        std::size_t bytes_kept = 0;
        std::size_t peak_bytes_in_use = 0;
    };

    /// A pointer that may be looked at while another thread sets it.
    class Pointer {
    public:
        constexpr Pointer() = default;
        operator ImageTileFactory*() const { return m_factory.load(std::memory_order_acquire); }
        ImageTileFactory* operator->() const { return *this; }

    private:
        friend class ImageTileFactory;
        std::atomic<ImageTileFactory*> m_factory{nullptr};
    };

    /// Null until `init`. The factory is never destroyed, because tiles may outlive every static.
    static Pointer s_factory;
    /// Makes the factory; again: nothing. Safe from several threads.
    static void init();
    /// The factory, made if need be.
    static ImageTileFactory& get();

    /// Gives the tile a buffer with an apron if it has none. `clear`: all zeros; otherwise what was in it.
    void allocate_tile_buffer(ImageMapTile* tile, bool clear);
    /// Takes the tile's buffer back and leaves null.
    void release_tile_buffer(ImageMapTile* tile);

    /// Gives the memory of the kept buffers back to the system. The flag also hands the heap's own free
    /// memory back at once.
    void free_unused_tiles(bool trim_heap);

    [[nodiscard]] Statistics get_statistics() const;
    /// Bytes in use above which buffers are refused; 0 (the default) is no limit. Kept ones make room first.
    void set_memory_limit(std::size_t bytes);

private:
    ImageTileFactory() = default;

    unsigned char* take(std::size_t bytes, bool clear);
    unsigned char* take_kept(std::size_t bytes);
    bool reserve_fresh(std::size_t bytes);
    void drop_kept_above(std::size_t held_bytes);
    [[nodiscard]] bool is_above_limit(std::size_t bytes) const;
    void count_use(std::size_t bytes);
    void cancel_use(std::size_t bytes);
    void give_back(unsigned char* buffer, std::size_t bytes) noexcept;

    mutable std::mutex m_mutex;
    std::unordered_map<std::size_t, std::vector<unsigned char*>> m_kept;
    Statistics m_statistics;
    std::size_t m_memory_limit = 0;
};
