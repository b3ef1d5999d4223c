#pragma once

namespace zvio {

/// While it lives, the first SIGINT or SIGTERM only asks for an end; the second one ends the process as always.
///
/// Threads  one object at a time
class InterruptGuard {
public:
    InterruptGuard();
    /// Puts back what was there before.
    ~InterruptGuard();
    InterruptGuard(InterruptGuard const&) = delete;
    InterruptGuard& operator=(InterruptGuard const&) = delete;

    /// True from the first signal on.
    [[nodiscard]] static bool is_interrupted();

private:
    using Handler = void (*)(int);
    Handler m_interrupt_before, m_terminate_before;
};

}  // namespace zvio
