#pragma once

#include "host/core/core_vector.h"

#include <utility>

/// The small form of `CoreHashTable`: pairs in order of insertion, searched from the first to the last.
template <class Key, class Value>
class CoreHashTableDense {
public:
    struct Pair {
        Key key;
        Value value;
    };

    Pair const* find(Key const& key) const
    {
        for (Pair const& pair : m_pairs)
            if (pair.key == key)
                return &pair;
        return nullptr;
    }
    Pair* find(Key const& key) { return const_cast<Pair*>(std::as_const(*this).find(key)); }

    /// Replaces the value of a known key, appends a new one.
    void insert(Key const& key, Value value)
    {
        if (Pair* const pair = find(key))
            pair->value = std::move(value);
        else
            m_pairs.add(Pair{key, std::move(value)});
    }

    /// Moves the last pair into the place of the removed one. False if the key is unknown.
    bool remove(Key const& key)
    {
        Pair* const pair = find(key);
        if (!pair)
            return false;
        Pair& last = m_pairs[m_pairs.m_count - 1];
        if (pair != &last)
            *pair = std::move(last);
        m_pairs.resize(m_pairs.m_count - 1);
        return true;
    }

    CoreVector<Pair> m_pairs;
};
