#pragma once

#include <string_view>

#include "image_io/load/file_bytes.h"

namespace zv_image_io {

// Some readers of OpenImageIO trust what a file says of itself, and write past their memory or never end where it lies.
// What they would go by is looked at here first, without them.

/// Whether the reader for the first bytes of a file would survive it, header and samples.
///
/// Returns  true for all other formats, and for files that cannot be read at all: what becomes of those is the readers' to say
/// Cost     a few small reads; formats with runs are walked once, without keeping their samples
bool survives_reading(char const* path);
/// The same for the reader of that name, which the library has chosen for another reason than the first bytes; true if it
/// was those.
bool survives_reading(char const* path, std::string_view reader);

// One for each weak reader.
bool is_ico_safe(FileBytes& file);
bool is_iff_safe(FileBytes& file);
bool is_sgi_safe(FileBytes& file);
bool is_dpx_safe(FileBytes& file);
bool is_fits_safe(FileBytes& file);
bool is_psd_safe(FileBytes& file);

}  // namespace zv_image_io
