#pragma once

#include "host/core/core_basic_array.h"

#include <initializer_list>

/// An array that grows: an append to a full one makes the capacity 1 from 0, and then doubles it.
///
/// Owns, errors, threads as `CoreBasicArray`.
template <class T>
class CoreVector : public CoreBasicArray<T> {
public:
    CoreVector() noexcept = default;
    CoreVector(std::initializer_list<T> values)
    {
        reserve(static_cast<unsigned int>(values.size()));
        for (T const& value : values)
            this->construct_at_end(T(value));
    }
    CoreVector(CoreBasicArray<T> const& other)
        : CoreBasicArray<T>(other)
    {
    }

    /// Appends one element, which may be a copy of one of this vector's own.
    void add(T value)
    {
        if (this->m_count == this->m_capacity)
            grow();
        this->construct_at_end(std::move(value));
    }

    /// Makes the capacity at least `capacity`; never less than it is.
    void reserve(unsigned int capacity)
    {
        if (capacity > this->m_capacity)
            this->set_capacity(capacity);
    }

    /// Keeps the elements at their indexes, adds default ones or drops the last; the capacity never falls.
    void resize(unsigned int count)
    {
        reserve(count);
        this->set_count(count);
    }

    /// Takes out the element at `index`; those behind it move up.
    void remove_at(unsigned int index)
    {
        assert(index < this->m_count);
        std::move(this->begin() + index + 1, this->end(), this->begin() + index);
        this->set_count(this->m_count - 1);
    }

private:
    void grow()
    {
        constexpr unsigned int kMaximum = std::numeric_limits<unsigned int>::max();
        if (this->m_capacity == kMaximum)
            throw std::length_error("CoreVector");
        unsigned int const doubled = this->m_capacity > kMaximum / 2 ? kMaximum : this->m_capacity * 2;
        this->set_capacity(this->m_capacity == 0 ? 1 : doubled);
    }
};

static_assert(sizeof(CoreVector<int>) == 16, "memory reports count 16 bytes a vector beside its elements");
