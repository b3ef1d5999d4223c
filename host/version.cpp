#include "host/version.h"

char const* zv_host_version() noexcept
{
    return ZV_HOST_VERSION;
}
