#include "image_io/save/sample_types.h"

namespace zv_image_io {

namespace {

using Format = ImageIOFileFormat;

/// Not `end_with`: a name that is one character shorter than the suffix counts as well, since what the search
/// gives for "not there" equals the difference of the lengths.
bool has_suffix(CoreString const& name, CoreString const& suffix)
{
    return name.rev_find(suffix) == name.get_count() - suffix.get_count();
}

bool is_unnamed_tiff(Format::Save format, CoreString const& filename)
{
    return format == Format::SAVE_UNKNOWN && (has_suffix(filename, ".tif") || has_suffix(filename, ".tiff"));
}

}  // namespace

OIIO::TypeDesc streamed_sample_type(Format::Save format, CoreString const& filename)
{
    if (is_unnamed_tiff(format, filename))
        return OIIO::TypeDesc::UINT8;
    switch (format) {
    case Format::SAVE_EXR16:
        return OIIO::TypeDesc::HALF;
    case Format::SAVE_TIFF8:
        return OIIO::TypeDesc::UINT8;
    case Format::SAVE_TIFF16:
        return OIIO::TypeDesc::UINT16;
    default:
        return OIIO::TypeDesc::FLOAT;
    }
}

OIIO::TypeDesc buffered_sample_type(Format::Save format, CoreString const& filename)
{
    switch (format) {
    case Format::SAVE_BMP:
    case Format::SAVE_TARGA:
    case Format::SAVE_PNG8:
        return OIIO::TypeDesc::UINT8;
    case Format::SAVE_PNG16:
        return OIIO::TypeDesc::UINT16;
    default:
        return streamed_sample_type(format, filename);  // JPEG as float: its writer reduces to 8 bits
    }
}

}  // namespace zv_image_io
