#pragma once

#include <algorithm>
#include <cassert>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

/// What vectors and arrays share: a pointer to the elements, a count and a capacity.
///
/// Shape    `m_count` live elements in a buffer of `m_capacity`; `m_data` is null while the capacity is 0
/// Owns     the elements: copies are deep and take no spare room, a move leaves the source empty
/// Errors   std::length_error for a count above 32 bits, std::bad_alloc; an index past the end is a broken
///          precondition
/// Threads  as a plain value: one writer, or any number of readers
template <class T>
class CoreBasicArray {
public:
    CoreBasicArray() noexcept = default;
    CoreBasicArray(CoreBasicArray const& other)
    {
        Buffer buffer(other.m_count);
        std::uninitialized_copy(other.begin(), other.end(), buffer.m_first);
        take(buffer, other.m_count);
    }
    CoreBasicArray(CoreBasicArray&& other) noexcept { swap(other); }
    ~CoreBasicArray() { release(); }

    CoreBasicArray& operator=(CoreBasicArray const& other)
    {
        if (this != &other) {
            CoreBasicArray copy(other);
            swap(copy);
        }
        return *this;
    }
    CoreBasicArray& operator=(CoreBasicArray&& other) noexcept
    {
        if (this != &other) {
            release();
            swap(other);
        }
        return *this;
    }

    unsigned int const& get_count() const noexcept { return m_count; }
    unsigned int const& get_capacity() const noexcept { return m_capacity; }
    bool is_empty() const noexcept { return m_count == 0; }

    T& operator[](unsigned int index) noexcept
    {
        assert(index < m_count);
        return m_data[index];
    }
    T const& operator[](unsigned int index) const noexcept
    {
        assert(index < m_count);
        return m_data[index];
    }

    T* get_data() noexcept { return m_data; }
    T const* get_data() const noexcept { return m_data; }
    T* begin() noexcept { return m_data; }
    T* end() noexcept { return m_data + m_count; }
    T const* begin() const noexcept { return m_data; }
    T const* end() const noexcept { return m_data + m_count; }

    bool operator==(CoreBasicArray const& other) const requires requires(T const& value) { value == value; }
    {
        return m_count == other.m_count && std::equal(begin(), end(), other.begin());
    }

    /// Index of the first element equal to `value`, or 0xFFFFFFFF.
    unsigned int find_index(T const& value) const requires requires(T const& element) { element == element; }
    {
        auto const place = std::find(begin(), end(), value);
        return place == end() ? 0xFFFFFFFFu : static_cast<unsigned int>(place - begin());
    }

    /// Destroys the elements and frees the buffer.
    void clear() noexcept { release(); }

protected:
    /// Raw room for elements; frees it again unless it was taken.
    struct Buffer {
        explicit Buffer(unsigned int capacity)
            : m_first(capacity ? std::allocator<T>().allocate(capacity) : nullptr)
            , m_capacity(capacity)
        {
        }
        Buffer(Buffer const&) = delete;
        Buffer& operator=(Buffer const&) = delete;
        ~Buffer()
        {
            if (m_first)
                std::allocator<T>().deallocate(m_first, m_capacity);
        }
        T* m_first;
        unsigned int m_capacity;
    };

    /// Moves the elements into a buffer of `capacity`, which is at least the count.
    void set_capacity(unsigned int capacity)
    {
        if (capacity < m_count)
            throw std::length_error("CoreBasicArray");
        Buffer buffer(capacity);
        if constexpr (std::is_nothrow_move_constructible_v<T> || !std::is_copy_constructible_v<T>)
            std::uninitialized_move(begin(), end(), buffer.m_first);
        else
            std::uninitialized_copy(begin(), end(), buffer.m_first);
        unsigned int const count = m_count;
        release();
        take(buffer, count);
    }

    /// Constructs one more element; there must be room for it.
    void construct_at_end(T&& value)
    {
        assert(m_count < m_capacity);
        std::construct_at(m_data + m_count, std::move(value));
        ++m_count;
    }

    /// Makes the count `count` within the capacity: default elements are added or the last ones destroyed.
    void set_count(unsigned int count)
    {
        assert(count <= m_capacity);
        if (count > m_count)
            std::uninitialized_value_construct(m_data + m_count, m_data + count);
        else
            std::destroy(m_data + count, m_data + m_count);
        m_count = count;
    }

    void swap(CoreBasicArray& other) noexcept
    {
        std::swap(m_data, other.m_data);
        std::swap(m_count, other.m_count);
        std::swap(m_capacity, other.m_capacity);
    }

private:
    void take(Buffer& buffer, unsigned int count) noexcept
    {
        m_data = std::exchange(buffer.m_first, nullptr);
        m_count = count;
        m_capacity = buffer.m_capacity;
    }

    void release() noexcept
    {
        std::destroy(begin(), end());
        if (m_data)
            std::allocator<T>().deallocate(m_data, m_capacity);
        m_data = nullptr;
        m_count = m_capacity = 0;
    }

public:
    T* m_data = nullptr;
    unsigned int m_count = 0;
    unsigned int m_capacity = 0;
};
