#pragma once

#include "host/core/core_hash.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <utility>

/// The large form of `CoreHashTable`: an open-addressed array of slots.
///
/// Two values of a slot's hash are marks: a free slot, and a tombstone, which keeps its key. The order of the
/// slots is the order of a walk, so every step of probing and growing is part of what callers can observe.
template <class Key, class Value>
class CoreHashTableSparse {
public:
    static constexpr unsigned int kFree = 0xFFFFFFFFu;
    static constexpr unsigned int kTombstone = 0xFFFFFFFEu;
    static constexpr unsigned int kSmallestCapacity = 16;

    struct Slot {
        unsigned int hash = kFree;
        Key key;
        Value value{};
        bool is_live() const noexcept { return hash < kTombstone; }
    };

    /// Room for at least `count` entries to begin with: the count itself, or 16.
    explicit CoreHashTableSparse(unsigned int count)
        : m_capacity(count < kSmallestCapacity ? kSmallestCapacity : count)
        , m_old_capacity(m_capacity)
        , m_grow_threshold(threshold(m_capacity))
        , m_shrink_threshold(threshold(m_capacity))
    {
        m_slots = std::make_unique<Slot[]>(m_capacity);
    }

    CoreHashTableSparse(CoreHashTableSparse const& other)
        : m_slots(std::make_unique<Slot[]>(other.m_capacity))
        , m_capacity(other.m_capacity)
        , m_live_count(other.m_live_count)
        , m_tombstone_count(other.m_tombstone_count)
        , m_old_capacity(other.m_old_capacity)
        , m_grow_threshold(other.m_grow_threshold)
        , m_shrink_threshold(other.m_shrink_threshold)
    {
        std::copy(other.m_slots.get(), other.m_slots.get() + m_capacity, m_slots.get());
    }
    CoreHashTableSparse& operator=(CoreHashTableSparse const&) = delete;

    /// A hash that can stand in a slot: one that looks like a mark is doubled, in 32 bits, until it does not.
    static constexpr unsigned int slot_hash(unsigned int hash) noexcept
    {
        while (hash >= kTombstone)
            hash *= 2;
        return hash;
    }
    static unsigned int hash_of(Key const& key) noexcept
    {
        return slot_hash(CoreHash::generate_jenkins(key.get_data(), key.get_count()));
    }

    Slot const* find(Key const& key) const
    {
        unsigned int const index = find_slot(key, hash_of(key));
        return index != kFree && m_slots[index].is_live() ? &m_slots[index] : nullptr;
    }
    Slot* find(Key const& key) { return const_cast<Slot*>(std::as_const(*this).find(key)); }

    /// Replaces the value of a known key, adds a new one, and grows above the threshold.
    void insert(Key const& key, Value value)
    {
        place(key, hash_of(key), std::move(value));
        if (m_live_count > m_grow_threshold)
            grow();
    }

    /// Turns the key's slot into a tombstone and lets the value go. False if the key is unknown.
    bool remove(Key const& key)
    {
        Slot* const slot = m_live_count ? find(key) : nullptr;
        if (!slot)
            return false;
        slot->hash = kTombstone;
        slot->value = Value{};
        ++m_tombstone_count;
        --m_live_count;
        return true;
    }

    std::unique_ptr<Slot[]> m_slots;
    unsigned int m_capacity;
    unsigned int m_live_count = 0;
    unsigned int m_tombstone_count = 0;
    unsigned int m_old_capacity;
    unsigned int m_grow_threshold;
    unsigned int m_shrink_threshold;

private:
    static unsigned int threshold(unsigned int capacity) noexcept
    {
        return static_cast<unsigned int>(capacity * 0.8);
    }

    bool ends_search(Slot const& slot, Key const& key, unsigned int hash) const
    {
        if (slot.hash == kFree)
            return true;
        return (slot.hash == kTombstone || slot.hash == hash) && slot.key == key;
    }

    /// Index of the slot that ends the search for the key, or `kFree` when every slot is taken by another
    /// key.
    unsigned int find_slot(Key const& key, unsigned int hash) const
    {
        unsigned int const first = hash % m_capacity;
        if (ends_search(m_slots[first], key, hash))
            return first;
        std::uint64_t const step = hash % (m_capacity - 2) + 1;
        for (std::uint64_t k = 1; k <= m_capacity; ++k) {
            auto const index = static_cast<unsigned int>((step + k) % m_capacity);
            if (ends_search(m_slots[index], key, hash))
                return index;
        }
        return kFree;
    }

    /// Copies or moves the key into the slot that it belongs to, and the value with it.
    template <class KeyArgument>
    void place(KeyArgument&& key, unsigned int hash, Value value)
    {
        unsigned int index = find_slot(key, hash);
        while (index == kFree) {
            rebuild(m_capacity);
            index = find_slot(key, hash);
        }
        Slot& slot = m_slots[index];
        if (!slot.is_live())
            slot.key = std::forward<KeyArgument>(key);
        slot.value = std::move(value);
        m_live_count += !slot.is_live();
        m_tombstone_count -= slot.hash == kTombstone;
        slot.hash = hash;
    }

    void grow()
    {
        std::uint64_t const larger =
            std::uint64_t(m_capacity) + static_cast<std::uint64_t>(static_cast<float>(m_capacity) * 1.8f);
        if (larger > std::numeric_limits<unsigned int>::max())
            throw std::length_error("CoreHashTable");
        m_old_capacity = m_capacity;
        rebuild(static_cast<unsigned int>(larger));
        m_grow_threshold = threshold(m_capacity);
        m_shrink_threshold = threshold(m_old_capacity);
    }

    /// Moves the live entries, in slot order, into a fresh array; the tombstones stay behind.
    void rebuild(unsigned int capacity)
    {
        auto fresh = std::make_unique<Slot[]>(capacity);
        unsigned int const old_capacity = std::exchange(m_capacity, capacity);
        m_slots.swap(fresh);
        m_live_count = m_tombstone_count = 0;
        for (unsigned int i = 0; i < old_capacity; ++i)
            if (fresh[i].is_live())
                place(std::move(fresh[i].key), fresh[i].hash, std::move(fresh[i].value));
    }
};
