#pragma once

#include "image_io/frame/export.h"

/// The version of the library that is loaded, "major.minor.patch".
ZV_IMAGE_IO_EXPORT char const* zv_image_io_version() noexcept;
