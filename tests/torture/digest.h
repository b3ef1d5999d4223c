#pragma once

#include <cstddef>

namespace zv_torture {

/// FNV-1a.
class Digest {
public:
    void add(void const* bytes, std::size_t size)
    {
        for (std::size_t i = 0; i < size; ++i)
            m_value = (m_value ^ static_cast<unsigned char const*>(bytes)[i]) * 1099511628211u;
    }
    template <class T>
    void add(T const& value)
    {
        add(&value, sizeof value);
    }
    unsigned long long value() const { return m_value; }

private:
    unsigned long long m_value = 14695981039346656037u;
};

}  // namespace zv_torture
