#pragma once

#include "host/core/core_hash_table_dense.h"
#include "host/core/core_hash_table_sparse.h"

#include <utility>

/// The application's table from keys to values.
///
/// Modes    0: no table object; 1: `CoreHashTableDense`, up to 256 entries; 2: `CoreHashTableSparse`. A table
///          goes sparse when an insertion brings it above 256 entries and comes back when a removal brings it
///          below 256.
/// Order    a walk follows insertion in mode 1 (a removal moves the last pair into the gap) and the slots in
///          mode 2; callers rely on both
/// Owns     keys and values; copies are deep, with the same mode and the same slots; a move leaves the source
///          empty
/// Threads  one writer, or any number of readers
///
/// The key has `get_data`, `get_count` and `operator==`, as `CoreString` has. Value is copied, moved and made
/// by default.
template <class Key, class Value>
class CoreHashTable {
public:
    using Dense = CoreHashTableDense<Key, Value>;
    using Sparse = CoreHashTableSparse<Key, Value>;

    /// A dense table holds at most so many entries; a sparse one at least so many.
    static constexpr unsigned int kDenseLimit = 256;

    CoreHashTable() noexcept {}
    CoreHashTable(CoreHashTable const& other)
        : m_mode(other.m_mode)
    {
        if (m_mode == 1)
            m_table.dense = new Dense(*other.m_table.dense);
        else if (m_mode == 2)
            m_table.sparse = new Sparse(*other.m_table.sparse);
    }
    CoreHashTable(CoreHashTable&& other) noexcept { swap(other); }
    ~CoreHashTable() { clear(); }

    CoreHashTable& operator=(CoreHashTable const& other)
    {
        if (this != &other) {
            CoreHashTable copy(other);
            swap(copy);
        }
        return *this;
    }
    CoreHashTable& operator=(CoreHashTable&& other) noexcept
    {
        if (this != &other) {
            clear();
            swap(other);
        }
        return *this;
    }

    unsigned char get_mode() const noexcept { return m_mode; }
    unsigned int get_count() const noexcept
    {
        if (m_mode == 0)
            return 0;
        return m_mode == 1 ? m_table.dense->m_pairs.m_count : m_table.sparse->m_live_count;
    }
    bool is_empty() const noexcept { return get_count() == 0; }

    /// The table object of mode 1 or 2, or null in the other modes; borrowed, for memory reports.
    Dense const* get_dense() const noexcept { return m_mode == 1 ? m_table.dense : nullptr; }
    Sparse const* get_sparse() const noexcept { return m_mode == 2 ? m_table.sparse : nullptr; }

    /// The value of the key, or null; valid until the next insertion or removal.
    Value const* find(Key const& key) const
    {
        if (m_mode == 1)
            return value_of(m_table.dense->find(key));
        return m_mode == 2 ? value_of(m_table.sparse->find(key)) : nullptr;
    }
    Value* find(Key const& key) { return const_cast<Value*>(std::as_const(*this).find(key)); }

    /// Adds an entry, or replaces the value of a known key.
    void insert(Key const& key, Value value)
    {
        if (m_mode == 2) {
            m_table.sparse->insert(key, std::move(value));
            return;
        }
        if (m_mode == 0) {
            m_table.dense = new Dense;
            m_mode = 1;
        }
        m_table.dense->insert(key, std::move(value));
        if (get_count() > kDenseLimit)
            convert_to_sparse();
    }

    /// Takes an entry out; false if there is none of that key. The key may be the entry's own.
    bool remove(Key const& key)
    {
        if (m_mode == 0)
            return false;
        bool const removed = m_mode == 1 ? m_table.dense->remove(key) : m_table.sparse->remove(key);
        if (m_mode == 2 && get_count() < kDenseLimit)
            convert_to_dense();
        else if (m_mode == 1 && get_count() == 0)
            clear();
        return removed;
    }

    /// Mode 0: all entries and the table object go.
    void clear() noexcept
    {
        if (m_mode == 1)
            delete m_table.dense;
        else if (m_mode == 2)
            delete m_table.sparse;
        m_table.dense = nullptr;
        m_mode = 0;
    }

    /// Calls visit(key, value) for each entry in walking order. The visitor must not insert or remove.
    template <class Visit>
    void for_each(Visit&& visit) const
    {
        if (m_mode == 1)
            for (auto const& pair : m_table.dense->m_pairs)
                visit(pair.key, std::as_const(pair.value));
        if (m_mode == 2)
            for (unsigned int i = 0; i < m_table.sparse->m_capacity; ++i)
                if (auto const& slot = m_table.sparse->m_slots[i]; slot.is_live())
                    visit(slot.key, std::as_const(slot.value));
    }

    /// The same with values that may be changed.
    template <class Visit>
    void for_each(Visit&& visit)
    {
        std::as_const(*this).for_each(
            [&visit](Key const& key, Value const& value) { visit(key, const_cast<Value&>(value)); });
    }

private:
    template <class Entry>
    static Value const* value_of(Entry const* entry) noexcept
    {
        return entry ? &entry->value : nullptr;
    }

    void convert_to_sparse()
    {
        auto sparse = std::make_unique<Sparse>(get_count());
        for (auto& pair : m_table.dense->m_pairs)
            sparse->insert(pair.key, std::move(pair.value));
        delete m_table.dense;
        m_table.sparse = sparse.release();
        m_mode = 2;
    }

    void convert_to_dense()
    {
        auto dense = std::make_unique<Dense>();
        for (unsigned int i = 0; i < m_table.sparse->m_capacity; ++i)
            if (auto& slot = m_table.sparse->m_slots[i]; slot.is_live())
                dense->m_pairs.add({slot.key, std::move(slot.value)});
        delete m_table.sparse;
        m_table.dense = dense.release();
        m_mode = 1;
    }

    void swap(CoreHashTable& other) noexcept
    {
        std::swap(m_table, other.m_table);
        std::swap(m_mode, other.m_mode);
    }

    union Table {
        Dense* dense = nullptr;
        Sparse* sparse;
    };
    Table m_table;
    unsigned char m_mode = 0;
};
