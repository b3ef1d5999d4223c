#pragma once

#include <mutex>

/// A lock between threads. The thread that holds it must not ask for it again.
///
/// A lock is never copied with the object that it guards: a copy is a new, free lock, and assignment changes
/// nothing.
class SysThreadLock {
public:
    enum Duration : unsigned int {
        DURATION_TRY = 0,   ///< give up at once if somebody else holds the lock
        DURATION_WAIT = 1,  ///< wait until it is free
    };

    SysThreadLock() noexcept = default;
    SysThreadLock(SysThreadLock const&) noexcept {}
    SysThreadLock& operator=(SysThreadLock const&) noexcept { return *this; }

    /// True if the lock is held now; `DURATION_WAIT` always ends with it held.
    bool lock(Duration duration = DURATION_WAIT);
    void unlock();

private:
    std::mutex m_mutex;
};
