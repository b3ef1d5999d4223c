#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace zv_torture {

/// A set of addresses that needs no allocator: slots that are found by their address, and looked for onwards.
///
/// Threads  any; an address is added and removed by who holds it
class LiveTable {
public:
    void add(void* memory)
    {
        for (std::size_t at = slot_of(memory), tries = 0; tries < kSlots; ++tries, at = (at + 1) % kSlots) {
            void* expected = m_slots[at].load(std::memory_order_relaxed);
            if ((expected == nullptr || expected == kGone) &&
                m_slots[at].compare_exchange_strong(expected, memory)) {
                ++m_count;
                return;
            }
        }
    }

    void remove(void* memory)
    {
        if (m_count.load(std::memory_order_relaxed) == 0)
            return;
        for (std::size_t at = slot_of(memory), tries = 0; tries < kSlots; ++tries, at = (at + 1) % kSlots) {
            void* const found = m_slots[at].load(std::memory_order_relaxed);
            if (found == nullptr)
                return;
            if (found == memory) {
                m_slots[at] = kGone;
                --m_count;
                return;
            }
        }
    }

    [[nodiscard]] long long count() const { return m_count; }

    void clear()
    {
        for (auto& slot : m_slots)
            slot = nullptr;
        m_count = 0;
    }

private:
    static constexpr std::size_t kSlots = 1 << 18;
    static inline void* const kGone = reinterpret_cast<void*>(1);

    static std::size_t slot_of(void* memory)
    {
        return std::size_t((reinterpret_cast<std::uintptr_t>(memory) >> 4) * 0x9e3779b97f4a7c15u >> 46) %
               kSlots;
    }

    std::array<std::atomic<void*>, kSlots> m_slots{};
    std::atomic<long long> m_count = 0;
};

}  // namespace zv_torture
