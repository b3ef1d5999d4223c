#pragma once

#include <OpenImageIO/typedesc.h>

#include "host/core/core_string.h"
#include "image_io/format/image_io_file_format.h"

namespace zv_image_io {

// In which sample type a file is declared to OpenImageIO, by its format. The two roads differ on purpose.

/// For a file that is written in strips or tiles: the simple formats are declared as floats and reduced by
/// their writers.
OIIO::TypeDesc streamed_sample_type(ImageIOFileFormat::Save format, CoreString const& filename);

/// For a file that is written from one buffer.
OIIO::TypeDesc buffered_sample_type(ImageIOFileFormat::Save format, CoreString const& filename);

}  // namespace zv_image_io
