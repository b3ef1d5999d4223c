#pragma once

/// Four values in a row. As a rectangle they are x, y, width, height, in this order, and never two corners.
template <class T>
class GMathVec4 {
public:
    constexpr GMathVec4() noexcept = default;
    constexpr GMathVec4(T first, T second, T third, T fourth) noexcept
        : m_values{first, second, third, fourth}
    {
    }

    constexpr T& operator[](unsigned int index) noexcept { return m_values[index]; }
    constexpr T const& operator[](unsigned int index) const noexcept { return m_values[index]; }

    constexpr T& x() noexcept { return m_values[0]; }
    constexpr T& y() noexcept { return m_values[1]; }
    constexpr T& width() noexcept { return m_values[2]; }
    constexpr T& height() noexcept { return m_values[3]; }
    constexpr T const& x() const noexcept { return m_values[0]; }
    constexpr T const& y() const noexcept { return m_values[1]; }
    constexpr T const& width() const noexcept { return m_values[2]; }
    constexpr T const& height() const noexcept { return m_values[3]; }

    constexpr bool operator==(GMathVec4 const&) const = default;

    T m_values[4]{};
};
