#include "host/sys/sys_thread_lock_recursive.h"

bool SysThreadLockRecursive::lock(Duration duration)
{
    if (duration == SysThreadLock::DURATION_TRY)
        return m_mutex.try_lock();
    m_mutex.lock();
    return true;
}

void SysThreadLockRecursive::unlock()
{
    m_mutex.unlock();
}
