#pragma once

#include "host/sys/sys_thread_lock.h"

/// A lock between threads that the thread holding it may take again; it is free after as many `unlock` as
/// `lock`.
///
/// A lock is never copied with the object that it guards: a copy is a new, free lock, and assignment changes
/// nothing.
class SysThreadLockRecursive {
public:
    using Duration = SysThreadLock::Duration;

    SysThreadLockRecursive() noexcept = default;
    SysThreadLockRecursive(SysThreadLockRecursive const&) noexcept {}
    SysThreadLockRecursive& operator=(SysThreadLockRecursive const&) noexcept { return *this; }

    /// True if the lock is held now; `SysThreadLock::DURATION_WAIT` always ends with it held.
    bool lock(Duration duration = SysThreadLock::DURATION_WAIT);
    void unlock();

private:
    std::recursive_mutex m_mutex;
};
