#include <array>
#include <iterator>

#include "image_io/format/image_io_file_format.h"
#include "image_io/frame/guarded.h"

namespace {

constexpr char const* kUnknown = "unknown_format";

struct LoadRow {
    char const* name;
    std::array<char const*, 3> extensions;  // null where there are fewer
};

/// By `ImageIOFileFormat::Load`.
constexpr LoadRow kLoadRows[] = {
    {"Open EXR", {"exr", "sxr"}}, {"Jpeg", {"jpg", "jpeg"}}, {"Bitmap", {"bmp"}},
    {"Targa", {"tga"}},           {"Png", {"png"}},          {"Tiff", {"tif", "tiff"}},
    {"Tx", {"tx", "txt", "tex"}}, {"HDR", {"hdr"}},
};

struct SaveRow {
    char const* name;
    char const* short_name;
    char const* other_short_name;  // null where there is none
    std::array<char const*, 2> extensions;
    unsigned int bytes_per_channel;
};

/// By `ImageIOFileFormat::Save`. OpenEXR is saved as "exr" and "hdr", and loaded from "exr" and "sxr".
constexpr SaveRow kSaveRows[] = {
    {"Open EXR (16bit)", "exr16", nullptr, {"exr", "hdr"}, 2},
    {"Open EXR (32bit)", "exr32", nullptr, {"exr", "hdr"}, 4},
    {"Jpeg", "jpg", "jpeg", {"jpg", "jpeg"}, 1},
    {"Bitmap", "bmp", nullptr, {"bmp"}, 1},
    {"Targa", "tga", nullptr, {"tga"}, 1},
    {"Png (8bit)", "png8", nullptr, {"png"}, 1},
    {"Png (16bit)", "png16", nullptr, {"png"}, 2},
    {"Tiff (8bit)", "tiff8", "tif8", {"tif", "tiff"}, 1},
    {"Tiff (16bit)", "tiff16", "tif16", {"tif", "tiff"}, 2},
    {"Tiff (32bit)", "tiff32", "tif32", {"tif", "tiff"}, 4},
};

struct CompressionRow {
    char const* name;
    char const* short_name;
};

/// By `ImageIOFileFormat::OpenExrCompressionMethod`.
constexpr CompressionRow kCompressionRows[] = {
    {"Use project preferences", "default"}, {"No Compression", "none"},   {"RLE Compression", "rle"},
    {"ZIPS Compression", "zips"},           {"ZIP Compression", "zip"},   {"PIZ Compression", "piz"},
    {"PXR24 Compression", "pxr24"},         {"B44 Compression", "b44"},   {"B44A Compression", "b44a"},
    {"DWAA Compression", "dwaa"},           {"DWAB Compression", "dwab"}, {kUnknown, kUnknown},
};

static_assert(std::size(kLoadRows) == ImageIOFileFormat::LOAD_HDR + 1);
static_assert(std::size(kSaveRows) == ImageIOFileFormat::SAVE_UNKNOWN);
static_assert(std::size(kCompressionRows) == ImageIOFileFormat::COMPRESSION_UNKNOWN + 1);

/// The row of an enumerator, or null for one that the table does not have.
template <class Row, std::size_t count>
constexpr Row const* find_row(Row const (&rows)[count], int number)
{
    return number >= 0 && number < static_cast<int>(count) ? &rows[number] : nullptr;
}

/// None without memory for them.
template <class Row>
CoreVector<CoreString> extensions_of(Row const* row)
{
    return zv_image_io::guarded(CoreVector<CoreString>(), [row] {
        CoreVector<CoreString> extensions;
        if (!row) {
            extensions.add(kUnknown);
            return extensions;
        }
        for (char const* extension : row->extensions)
            if (extension)
                extensions.add(extension);
        return extensions;
    });
}

}  // namespace

char const* ImageIOFileFormat::get_load_name(Load const& format)
{
    LoadRow const* row = find_row(kLoadRows, format);
    return row ? row->name : kUnknown;
}

char const* ImageIOFileFormat::get_save_name(Save const& format)
{
    SaveRow const* row = find_row(kSaveRows, format);
    return row ? row->name : kUnknown;
}

char const* ImageIOFileFormat::get_compression_name(OpenExrCompressionMethod const& method)
{
    CompressionRow const* row = find_row(kCompressionRows, method);
    return row ? row->name : kUnknown;
}

char const* ImageIOFileFormat::get_short_name(Save const& format)
{
    SaveRow const* row = find_row(kSaveRows, format);
    return row ? row->short_name : kUnknown;
}

char const* ImageIOFileFormat::get_short_name(OpenExrCompressionMethod const& method)
{
    CompressionRow const* row = find_row(kCompressionRows, method);
    return row ? row->short_name : kUnknown;
}

CoreVector<CoreString> ImageIOFileFormat::get_load_extensions(Load const& format)
{
    return extensions_of(find_row(kLoadRows, format));
}

CoreVector<CoreString> ImageIOFileFormat::get_save_extensions(Save const& format)
{
    return extensions_of(find_row(kSaveRows, format));
}

ImageIOFileFormat::Save ImageIOFileFormat::get_save_from_extension(CoreString const& extension)
{
    for (int number = 0; number < SAVE_UNKNOWN; ++number)
        for (char const* known : kSaveRows[number].extensions)
            if (known && extension == known)
                return static_cast<Save>(number);
    return SAVE_UNKNOWN;
}

ImageIOFileFormat::Save ImageIOFileFormat::get_save_from_short_name(CoreString const& name)
{
    return zv_image_io::guarded(SAVE_UNKNOWN, [&name] {
        CoreString wanted = name;
        wanted.lower_case();
        for (int number = 0; number < SAVE_UNKNOWN; ++number) {
            SaveRow const& row = kSaveRows[number];
            if (wanted == row.short_name || (row.other_short_name && wanted == row.other_short_name))
                return static_cast<Save>(number);
        }
        return SAVE_UNKNOWN;
    });
}

ImageIOFileFormat::OpenExrCompressionMethod
ImageIOFileFormat::get_compression_from_short_name(CoreString const& name)
{
    return zv_image_io::guarded(COMPRESSION_UNKNOWN, [&name] {
        CoreString wanted = name.sub_string(0, name.find(" "));
        wanted.lower_case();
        if (wanted == "no")  // the first word of "No Compression"
            return COMPRESSION_NONE;
        for (int number = 0; number < COMPRESSION_UNKNOWN; ++number)
            if (wanted == kCompressionRows[number].short_name)
                return static_cast<OpenExrCompressionMethod>(number);
        return COMPRESSION_UNKNOWN;
    });
}

unsigned int ImageIOFileFormat::get_bytes_per_channel(Save const& format)
{
    SaveRow const* row = find_row(kSaveRows, format);
    return row ? row->bytes_per_channel : 0;
}
