#include "host/sys/sys_timer.h"

double SysTimer::get_elapsed_time() const noexcept
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - m_start).count();
}
