#pragma once

#include "host/core/core_basic_array.h"

#include <initializer_list>

/// An array of a fixed size: the capacity is always the count. A change of size makes a new buffer.
///
/// Owns, errors, threads as `CoreBasicArray`.
template <class T>
class CoreArray : public CoreBasicArray<T> {
public:
    CoreArray() noexcept = default;
    /// `count` default elements.
    explicit CoreArray(unsigned int count) { resize(count); }
    CoreArray(std::initializer_list<T> values)
    {
        this->set_capacity(static_cast<unsigned int>(values.size()));
        for (T const& value : values)
            this->construct_at_end(T(value));
    }
    CoreArray(CoreBasicArray<T> const& other)
        : CoreBasicArray<T>(other)
    {
    }

    /// Keeps the elements at their indexes, adds default ones or drops the last.
    void resize(unsigned int count)
    {
        if (count == this->m_count)
            return;
        if (count < this->m_count)
            this->set_count(count);
        this->set_capacity(count);
        this->set_count(count);
    }

    /// One element more, in a buffer that is one element larger.
    void add(T value)
    {
        if (this->m_count == std::numeric_limits<unsigned int>::max())
            throw std::length_error("CoreArray");
        this->set_capacity(this->m_count + 1);
        this->construct_at_end(std::move(value));
    }
};
