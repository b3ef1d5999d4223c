#pragma once

#include <OpenImageIO/typedesc.h>

#include <optional>

#include "host/image/image_pixel.h"

namespace zv_image_io {

/// How the map declares its samples.
struct SampleType {
    ImagePixel::BitDepth bit_depth;
    ImagePixel::BitType bit_type;
};

/// The map's sample type for samples of the file, or nothing for those that it cannot hold. Signed and unsigned give
/// the same; 64-bit floats are declared as 32-bit ones and are not converted.
constexpr std::optional<SampleType> sample_type_of(OIIO::TypeDesc::BASETYPE type)
{
    using OIIO::TypeDesc;
    switch (type) {
    case TypeDesc::UINT8:
    case TypeDesc::INT8:
        return SampleType{ImagePixel::BIT_DEPTH_8, ImagePixel::BIT_TYPE_INTEGER};
    case TypeDesc::UINT16:
    case TypeDesc::INT16:
        return SampleType{ImagePixel::BIT_DEPTH_16, ImagePixel::BIT_TYPE_INTEGER};
    case TypeDesc::UINT32:
    case TypeDesc::INT32:
        return SampleType{ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_INTEGER};
    case TypeDesc::HALF:
        return SampleType{ImagePixel::BIT_DEPTH_16, ImagePixel::BIT_TYPE_FLOAT};
    case TypeDesc::FLOAT:
    case TypeDesc::DOUBLE:
        return SampleType{ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_FLOAT};
    default:
        return std::nullopt;
    }
}

static_assert(!sample_type_of(OIIO::TypeDesc::UINT64) && !sample_type_of(OIIO::TypeDesc::STRING));

}  // namespace zv_image_io
