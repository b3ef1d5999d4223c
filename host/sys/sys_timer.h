#pragma once

#include <chrono>

/// A stopwatch that starts when it is made.
class SysTimer {
public:
    SysTimer() noexcept
        : m_start(std::chrono::steady_clock::now())
    {
    }

    /// Milliseconds since the start, with fractions; never falls.
    double get_elapsed_time() const noexcept;

private:
    std::chrono::steady_clock::time_point m_start;
};
