#pragma once

#include "image_io/frame/library_names.h"

namespace zv_image_io {

/// Reads rows 0 to spec.height of an open file, as red, green, blue and alpha floats; what is not there stays as it is.
/// A row in front of the data window is a failed read, rows behind it are left out.
///
/// Shape    `pixels`: spec.height rows of spec.width pixels of 4 floats
/// Errors   false; may throw what the library throws
bool read_plate_rows(OIIO::ImageInput& input, OIIO::ImageSpec const& spec, float* pixels);

}  // namespace zv_image_io
