#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zv_test {

/// The order in which the application's table walks more than 256 distinct keys, told once more: an
/// open-addressed array with the one-at-a-time hash, 257 slots at first, grown by 1.8 of itself whenever more
/// than 0.8 of it is taken.
class JenkinsSlots {
public:
    explicit JenkinsSlots(std::size_t slot_count)
        : m_slots(slot_count)
    {
    }

    void add(std::string const& key)
    {
        place(key);
        if (++m_count <= static_cast<std::size_t>(static_cast<double>(m_slots.size()) * 0.8))
            return;
        std::vector<std::string> const old = keys();
        m_slots.assign(m_slots.size() + static_cast<std::size_t>(static_cast<float>(m_slots.size()) * 1.8f),
                       "");
        for (std::string const& old_key : old)
            place(old_key);
    }
    std::vector<std::string> keys() const
    {
        std::vector<std::string> taken;
        for (std::string const& slot : m_slots)
            if (!slot.empty())
                taken.push_back(slot);
        return taken;
    }

private:
    static std::uint32_t hash(std::string const& key)
    {
        std::uint32_t sum = 0;
        for (char const letter : key) {
            sum += static_cast<unsigned char>(letter);
            sum = sum + (sum << 10);
            sum = sum ^ (sum >> 6);
        }
        sum = sum + (sum << 3);
        sum = sum ^ (sum >> 11);
        return sum + (sum << 15);
    }
    void place(std::string const& key)
    {
        std::size_t const hashed = hash(key), size = m_slots.size();
        if (m_slots[hashed % size].empty()) {
            m_slots[hashed % size] = key;
            return;
        }
        std::size_t slot = hashed % (size - 2) + 1;
        do
            slot = (slot + 1) % size;
        while (!m_slots[slot].empty());
        m_slots[slot] = key;
    }

    std::vector<std::string> m_slots;
    std::size_t m_count = 0;
};

inline std::vector<std::string> hash_order(std::vector<std::string> const& keys)
{
    JenkinsSlots slots(257);  // of the moment at which the table leaves its small form
    for (std::string const& key : keys)
        slots.add(key);
    return slots.keys();
}

}  // namespace zv_test
