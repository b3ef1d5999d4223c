#pragma once

/// Two values: x, y.
template <class T>
class GMathVec2 {
public:
    constexpr GMathVec2() noexcept = default;
    constexpr GMathVec2(T x_value, T y_value) noexcept
        : x(x_value)
        , y(y_value)
    {
    }

    constexpr T& operator[](unsigned int index) noexcept { return index == 0 ? x : y; }
    constexpr T const& operator[](unsigned int index) const noexcept { return index == 0 ? x : y; }

    constexpr bool operator==(GMathVec2 const&) const = default;

    T x{};
    T y{};
};
