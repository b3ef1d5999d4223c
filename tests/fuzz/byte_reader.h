#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "tests/fuzz/harness.h"

namespace zv_fuzz {

/// Values from a row of bytes, in their order. Behind the end there are zeros and empty texts.
class ByteReader {
public:
    explicit ByteReader(Bytes bytes)
        : m_rest(bytes)
    {
    }

    bool is_at_end() const { return m_rest.empty(); }

    unsigned byte()
    {
        if (m_rest.empty())
            return 0;
        unsigned const value = m_rest.front();
        m_rest = m_rest.subspan(1);
        return value;
    }

    template <class T>
    T number()
    {
        T value{};
        std::size_t const count = std::min(sizeof value, m_rest.size());
        if (count > 0)
            std::memcpy(&value, m_rest.data(), count);
        m_rest = m_rest.subspan(count);
        return value;
    }

    /// The next bytes, as many as there are up to `size`.
    std::string text(std::size_t size)
    {
        std::size_t const count = std::min(size, m_rest.size());
        std::string result(reinterpret_cast<char const*>(m_rest.data()), count);
        m_rest = m_rest.subspan(count);
        return result;
    }

    /// All up to the next zero byte, which is passed over, or to the end.
    std::string text_to_zero()
    {
        std::size_t size = 0;
        while (size < m_rest.size() && m_rest[size] != 0)
            ++size;
        std::string result = text(size);
        byte();
        return result;
    }

    std::string rest() { return text(m_rest.size()); }

private:
    Bytes m_rest;
};

}  // namespace zv_fuzz
