#pragma once

#include "host/core/core_string.h"
#include "image_io/frame/library_names.h"

namespace zv_image_io {

/// Why a picture is refused before its pixels are asked for; empty if it is not.
///
/// Refused are more channels than OpenImageIO's attribute "limits:channels", pictures or tiles above
/// "limits:imagesize_MB", and windows that reach out of the int range. A limit of 0 is none.
CoreString refusal(OIIO::ImageSpec const& spec);
/// The same for a file that is open in a reader. Refused is also a large picture of which the file holds but a trace, in
/// formats that do not compress: to read what is not there, row by row, takes as long as to read a picture.
CoreString refusal(OIIO::ImageSpec const& spec, OIIO::ImageInput const& input, CoreString const& path);

}  // namespace zv_image_io
