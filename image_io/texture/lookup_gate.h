#pragma once

#include <array>
#include <atomic>
#include <mutex>

namespace zv_image_io {

/// Keeps lookups and invalidations apart: OpenImageIO ends the process when a file is forgotten while somebody looks it
/// up. Lookups are many and short and meet nobody: each thread counts itself in on a cache line of its own. Whoever
/// closes the gate waits until all of them are through.
class LookupGate {
public:
    /// Holds the gate open for one lookup. Not to be nested with a closing on the same thread.
    class Passage {
    public:
        explicit Passage(LookupGate& gate)
            : m_counter(gate.enter())
        {
        }
        ~Passage() { m_counter.fetch_sub(1, std::memory_order_release); }
        Passage(Passage const&) = delete;
        Passage& operator=(Passage const&) = delete;

    private:
        std::atomic<int>& m_counter;
    };

    /// Holds the gate closed.
    class Closing {
    public:
        explicit Closing(LookupGate& gate);
        ~Closing();
        Closing(Closing const&) = delete;
        Closing& operator=(Closing const&) = delete;

    private:
        LookupGate& m_gate;
        std::lock_guard<std::mutex> m_guard;
    };

private:
    struct alignas(64) Counter {
        std::atomic<int> inside = 0;
    };

    static std::size_t own_place();

    /// Sequentially consistent on both sides: either the closer sees the lookup, or the lookup sees the closer.
    std::atomic<int>& enter()
    {
        std::atomic<int>& counter = m_counters[own_place()].inside;
        counter.fetch_add(1);
        if (m_is_closed.load()) [[unlikely]]
            wait_inside(counter);
        return counter;
    }
    void wait_inside(std::atomic<int>& counter);

    static constexpr std::size_t kPlaces = 64;  // more threads than that share them
    std::array<Counter, kPlaces> m_counters;
    std::atomic<bool> m_is_closed = false;
    std::mutex m_mutex;
};

}  // namespace zv_image_io
