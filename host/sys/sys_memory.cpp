#include "host/sys/sys_memory.h"

#include <malloc.h>

void sys_release_unused_memory() noexcept
{
    malloc_trim(0);
}
