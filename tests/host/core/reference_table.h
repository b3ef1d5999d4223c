#pragma once

#include "host/core/core_hash.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace zv_test {

/// The rules of the hash table once more, as plainly as they can be said and without regard to speed.
class ReferenceTable {
public:
    using Entry = std::pair<std::string, int>;
    enum State { STATE_FREE, STATE_DEAD, STATE_LIVE };
    struct Slot {
        State state = STATE_FREE;
        std::uint32_t hash = 0;
        std::string key;
        int value = 0;
    };

    int mode = 0;
    std::vector<Entry> pairs;
    std::vector<Slot> slots;
    std::uint32_t live = 0, dead = 0, old_capacity = 0, grow_at = 0, shrink_at = 0;

    static std::uint32_t hash_of(std::string const& key)
    {
        std::uint32_t hash = CoreHash::generate_jenkins(key.data(), static_cast<unsigned int>(key.size()));
        if (hash >= 0xFFFFFFFE)
            hash = hash + hash;
        if (hash >= 0xFFFFFFFE)
            hash = hash + hash;
        return hash;
    }

    void insert(std::string const& key, int value)
    {
        if (mode == 2) {
            insert_sparse(key, value);
            return;
        }
        mode = 1;
        for (Entry& pair : pairs)
            if (pair.first == key) {
                pair.second = value;
                return;
            }
        pairs.emplace_back(key, value);
        if (pairs.size() > 256)
            become_sparse();
    }

    void remove(std::string const& key)
    {
        if (mode == 1)
            remove_dense(key);
        if (mode == 2)
            remove_sparse(key);
    }

    std::vector<Entry> walk() const
    {
        if (mode != 2)
            return pairs;
        std::vector<Entry> entries;
        for (Slot const& slot : slots)
            if (slot.state == STATE_LIVE)
                entries.emplace_back(slot.key, slot.value);
        return entries;
    }

private:
    void remove_dense(std::string const& key)
    {
        for (std::size_t i = 0; i < pairs.size(); ++i)
            if (pairs[i].first == key) {
                pairs[i] = pairs.back();
                pairs.pop_back();
                break;
            }
        if (pairs.empty())
            mode = 0;
    }

    void remove_sparse(std::string const& key)
    {
        int const place = search(key);
        if (place >= 0 && slots[place].state == STATE_LIVE) {
            slots[place].state = STATE_DEAD;
            ++dead;
            --live;
        }
        if (live < 256) {
            pairs = walk();
            slots.clear();
            mode = 1;
        }
    }

    void become_sparse()
    {
        slots.assign(pairs.size() < 16 ? 16 : pairs.size(), Slot());
        live = dead = 0;
        old_capacity = static_cast<std::uint32_t>(slots.size());
        grow_at = shrink_at = four_fifths(slots.size());
        mode = 2;
        for (Entry const& pair : pairs)
            insert_sparse(pair.first, pair.second);
        pairs.clear();
    }

    void insert_sparse(std::string const& key, int value)
    {
        int place = search(key);
        while (place < 0) {
            renew(slots.size());
            place = search(key);
        }
        Slot& slot = slots[place];
        if (slot.state == STATE_FREE)
            ++live;
        if (slot.state == STATE_DEAD) {
            ++live;
            --dead;
        }
        slot = {STATE_LIVE, hash_of(key), key, value};
        if (live > grow_at) {
            old_capacity = static_cast<std::uint32_t>(slots.size());
            renew(old_capacity + static_cast<std::uint32_t>(static_cast<float>(old_capacity) * 1.8f));
            grow_at = four_fifths(slots.size());
            shrink_at = four_fifths(old_capacity);
        }
    }

    /// Integers alone, so that no rounding can hide.
    static std::uint32_t four_fifths(std::uint64_t capacity)
    {
        return static_cast<std::uint32_t>(capacity * 8 / 10);
    }

    void renew(std::size_t capacity)
    {
        std::vector<Entry> const entries = walk();
        slots.assign(capacity, Slot());
        dead = 0;
        for (Entry const& entry : entries)
            slots[search(entry.first)] = {STATE_LIVE, hash_of(entry.first), entry.first, entry.second};
    }

    /// The slots in the order of probing; the first that is free or holds the key, dead or alive, or -1.
    int search(std::string const& key) const
    {
        std::uint64_t const hash = hash_of(key);
        std::uint64_t const capacity = slots.size();
        std::uint64_t const step = hash % (capacity - 2) + 1;
        for (std::uint64_t k = 0; k <= capacity; ++k) {
            std::uint64_t const place = k == 0 ? hash % capacity : (step + k) % capacity;
            if (slots[place].state == STATE_FREE || slots[place].key == key)
                return static_cast<int>(place);
        }
        return -1;
    }
};

}  // namespace zv_test
