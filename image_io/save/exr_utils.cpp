#include <ImfCompression.h>
#include <ImfDoubleAttribute.h>
#include <ImfHeader.h>
#include <ImfMatrixAttribute.h>
#include <ImfStandardAttributes.h>
#include <ImfStringAttribute.h>
#include <ImfVecAttribute.h>

#include <array>
#include <iterator>
#include <string>

#include "image_io/frame/log_line.h"
#include "image_io/save/image_io_exr_utils.h"

namespace {

using Imath_2_4::M33f;
using Imath_2_4::M44f;
using Imath_2_4::V2f;
using Imath_2_4::V3f;
using Values = CoreArray<CoreVariant>;

struct MethodRow {
    int method;
    Imf_2_4::Compression compression;
    char const* description;
};

constexpr MethodRow kMethodRows[] = {
    {ImageIOFileFormat::COMPRESSION_NONE, Imf_2_4::NO_COMPRESSION, "none"},
    {ImageIOFileFormat::COMPRESSION_RLE, Imf_2_4::RLE_COMPRESSION, "run-length encoding"},
    {ImageIOFileFormat::COMPRESSION_ZIPS, Imf_2_4::ZIPS_COMPRESSION, "zip, individual scanlines"},
    {ImageIOFileFormat::COMPRESSION_ZIP, Imf_2_4::ZIP_COMPRESSION, "zip, multi-scanline blocks"},
    {ImageIOFileFormat::COMPRESSION_PIZ, Imf_2_4::PIZ_COMPRESSION, "piz"},
    {ImageIOFileFormat::COMPRESSION_PXR24, Imf_2_4::PXR24_COMPRESSION, "pxr24"},
    {ImageIOFileFormat::COMPRESSION_B44, Imf_2_4::B44_COMPRESSION, "b44"},
    {ImageIOFileFormat::COMPRESSION_B44A, Imf_2_4::B44A_COMPRESSION, "b44a"},
    {ImageIOFileFormat::COMPRESSION_DWAA, Imf_2_4::DWAA_COMPRESSION, "dwa, small scanline blocks"},
    {ImageIOFileFormat::COMPRESSION_DWAB, Imf_2_4::DWAB_COMPRESSION, "dwa, medium scanline blocks"},
};

float number(Values const& values, unsigned int index)
{
    return static_cast<float>(values[index].get_double());
}

/// The first values row by row. There must be as many as the matrix has elements.
template <class Matrix>
Matrix matrix(Values const& values)
{
    Matrix result;
    constexpr unsigned int kEdge = sizeof(result.x) / sizeof(result.x[0]);
    for (unsigned int i = 0; i < kEdge * kEdge; ++i)
        result.x[i / kEdge][i % kEdge] = number(values, i);
    return result;
}

template <class Value>
void insert(Imf_2_4::Header& header, std::string const& name, Value const& value)
{
    header.insert(name, Imf_2_4::TypedAttribute<Value>(value));
}

/// Other counts than these have no attribute type.
void insert_numbers(Imf_2_4::Header& header, std::string const& name, Values const& values)
{
    switch (values.get_count()) {
    case 1:
        return insert(header, name, values[0].get_double());
    case 2:
        return insert(header, name, V2f(number(values, 0), number(values, 1)));
    case 3:
        return insert(header, name, V3f(number(values, 0), number(values, 1), number(values, 2)));
    case 9:
        return insert(header, name, matrix<M33f>(values));
    case 16:
        return insert(header, name, matrix<M44f>(values));
    }
}

/// Values of a kind that no attribute holds are passed over, and so are the further values behind a text.
void insert_custom(Imf_2_4::Header& header, std::string const& name, Values const& values)
{
    switch (values[0].get_type()) {
    case CoreVariant::TYPE_INT:
    case CoreVariant::TYPE_DOUBLE:
        return insert_numbers(header, name, values);
    case CoreVariant::TYPE_STRING:
        return insert(header, name, std::string(values[0].get_string().view()));
    default:
        return;
    }
}

/// The names that OpenEXR knows by itself. False for all others.
bool insert_standard(Imf_2_4::Header& header, CoreString const& name, Values const& values)
{
    constexpr unsigned int kMatrixValues = 16;
    bool const is_camera = name == "worldToCamera", is_screen = name == "worldToNDC";
    if (is_camera || is_screen) {
        if (values.get_count() < kMatrixValues)
            return true;  // no matrix, and nothing else of that name either
        M44f const value = matrix<M44f>(values);
        is_camera ? addWorldToCamera(header, value) : addWorldToNDC(header, value);
        return true;
    }
    if (name != "comment")
        return false;
    if (!values.is_empty())
        addComments(header, std::string(values[0].get_string().view()));
    return true;
}

}  // namespace

void ImageIOExrUtils::add_metadata_to_header(Imf_2_4::Header* header,
                                             CoreArray<ImageSaveOptions::MetaData> const& meta_data)
{
    for (ImageSaveOptions::MetaData const& item : meta_data) {
        if (insert_standard(*header, item.name, item.values))
            continue;
        if (item.values.is_empty())
            zv_image_io::log_line(zv_image_io::kLogInformation, "No custom metadata\n");
        else
            insert_custom(*header, std::string(item.name.view()), item.values);
    }
}

char const* ImageIOExrUtils::get_compression_description(Imf_2_4::Compression compression)
{
    for (MethodRow const& row : kMethodRows)
        if (row.compression == compression)
            return row.description;
    return "";
}

Imf_2_4::Compression ImageIOExrUtils::get_compression_type(int method)
{
    for (MethodRow const& row : kMethodRows)
        if (row.method == method)
            return row.compression;
    return Imf_2_4::NO_COMPRESSION;
}
