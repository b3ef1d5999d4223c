#pragma once

#include "image_io/frame/log_line.h"

namespace zv_image_io {

// The limit of a texture system's cache, in megabytes. `System` is OpenImageIO's, or one that refuses.

/// A system that refuses keeps its own limit, and is used all the same.
template <class System>
void set_cache_limit(System& system, float megabytes)
{
    if (!system.attribute("max_memory_MB", megabytes))
        log_line(kLogInformation, "Failed to set texture cache limit\n");
}

/// 0 without a system, or from one that does not tell.
template <class System>
float get_cache_limit(System* system)
{
    float megabytes = 0.0f;
    if (system && system->getattribute("max_memory_MB", megabytes))
        return megabytes;
    log_line(kLogWarning, "Unable to retrieve texture cache size");
    return 0.0f;
}

}  // namespace zv_image_io
