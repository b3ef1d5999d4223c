#pragma once

#include "host/core/core_string.h"

namespace zv_image_io {

// What OpenImageIO's statistics text says of the cache's memory.

/// The text behind the name of the value: it goes on past the line's end. Empty if the text has no such line.
CoreString peak_cache_memory(CoreString const& statistics);

/// The value in bytes, or 0 if the text has no such line.
unsigned long long peak_cache_bytes(CoreString const& statistics);

}  // namespace zv_image_io
