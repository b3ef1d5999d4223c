#include "image_io/texture/lookup_gate.h"

#include <thread>

namespace zv_image_io {

std::size_t LookupGate::own_place()
{
    static std::atomic<std::size_t> next = 0;
    thread_local constinit std::size_t place = kPlaces;  // none yet
    if (place == kPlaces)
        place = next.fetch_add(1, std::memory_order_relaxed) % kPlaces;
    return place;
}

/// Steps back for the closer, and comes in again behind it.
void LookupGate::wait_inside(std::atomic<int>& counter)
{
    do {
        counter.fetch_sub(1);
        {
            std::lock_guard const behind_the_closer(m_mutex);
        }
        counter.fetch_add(1);
    } while (m_is_closed.load());
}

LookupGate::Closing::Closing(LookupGate& gate)
    : m_gate(gate)
    , m_guard(gate.m_mutex)
{
    gate.m_is_closed.store(true);
    for (Counter& counter : gate.m_counters)
        while (counter.inside.load() != 0)
            std::this_thread::yield();
}

LookupGate::Closing::~Closing()
{
    m_gate.m_is_closed.store(false);
}

}  // namespace zv_image_io
