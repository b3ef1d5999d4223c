#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace zv_test {

/// The bytes of a handmade file.
class FileBuilder {
public:
    FileBuilder& little(std::uint32_t value, int bytes)
    {
        for (int i = 0; i < bytes; ++i)
            m_bytes.push_back(static_cast<char>(value >> (8 * i)));
        return *this;
    }
    FileBuilder& big(std::uint32_t value, int bytes)
    {
        for (int i = bytes; i-- > 0;)
            m_bytes.push_back(static_cast<char>(value >> (8 * i)));
        return *this;
    }
    FileBuilder& text(std::string_view text)
    {
        m_bytes.insert(m_bytes.end(), text.begin(), text.end());
        return *this;
    }
    FileBuilder& bytes(std::vector<char> const& bytes)
    {
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        return *this;
    }
    FileBuilder& fill(std::size_t count, unsigned char value = 0)
    {
        m_bytes.insert(m_bytes.end(), count, static_cast<char>(value));
        return *this;
    }
    FileBuilder& fill_to(std::size_t size, unsigned char value = 0)
    {
        m_bytes.resize(size, static_cast<char>(value));
        return *this;
    }

    std::vector<char> const& get() const { return m_bytes; }

private:
    std::vector<char> m_bytes;
};

}  // namespace zv_test
