#pragma once

/// Marks what the shared library shows. All else stays hidden.
#ifdef ZV_IMAGE_IO_BUILDING
#define ZV_IMAGE_IO_EXPORT __attribute__((visibility("default")))
#else
#define ZV_IMAGE_IO_EXPORT
#endif
