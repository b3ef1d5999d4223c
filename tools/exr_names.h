#pragma once

#include <ImfCompression.h>
#include <ImfPixelType.h>

#include <string>

namespace zvio {

/// The short names of OpenEXR's compressions, which are also the words of `--compression`.
inline std::string exr_compression_name(Imf::Compression compression)
{
    static char const* const kNames[] = {"none",  "rle", "zips", "zip",  "piz",
                                         "pxr24", "b44", "b44a", "dwaa", "dwab"};
    int const number = static_cast<int>(compression);
    return number >= 0 && number < 10 ? kNames[number] : "unknown";
}

/// The sample types of OpenEXR as OpenImageIO names them.
inline std::string exr_type_name(Imf::PixelType type)
{
    return type == Imf::HALF ? "half" : type == Imf::FLOAT ? "float" : "uint";
}

}  // namespace zvio
