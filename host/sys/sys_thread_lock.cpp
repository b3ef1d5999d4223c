#include "host/sys/sys_thread_lock.h"

bool SysThreadLock::lock(Duration duration)
{
    if (duration == DURATION_TRY)
        return m_mutex.try_lock();
    m_mutex.lock();
    return true;
}

void SysThreadLock::unlock()
{
    m_mutex.unlock();
}
