#pragma once

#include "host/core/core_base_type.h"
#include "host/core/core_class_info.h"
#include "host/core/core_string.h"
#include "host/core/core_vector.h"
#include "image_io/frame/export.h"

/// The catalogue of formats and compressions: their names, extensions and file names. Static operations only.
///
/// Errors   every lookup has its answer for what it does not know: "unknown_format", `SAVE_UNKNOWN`,
///          `COMPRESSION_UNKNOWN`, 0 bytes; without memory lists and texts are empty, and nothing throws
/// Threads  any
class ZV_IMAGE_IO_EXPORT ImageIOFileFormat : public CoreBaseType {
public:
    /// The formats offered for opening.
    enum Load : int {
        LOAD_EXR = 0,
        LOAD_JPEG = 1,
        LOAD_BMP = 2,
        LOAD_TARGA = 3,
        LOAD_PNG = 4,
        LOAD_TIFF = 5,
        LOAD_TX = 6,
        LOAD_HDR = 7,
    };

    /// The formats offered for saving, with their sample size.
    enum Save : int {
        SAVE_EXR16 = 0,
        SAVE_EXR32 = 1,
        SAVE_JPEG = 2,
        SAVE_BMP = 3,
        SAVE_TARGA = 4,
        SAVE_PNG8 = 5,
        SAVE_PNG16 = 6,
        SAVE_TIFF8 = 7,
        SAVE_TIFF16 = 8,
        SAVE_TIFF32 = 9,
        SAVE_UNKNOWN = 10,
    };

    /// How OpenEXR files are compressed.
    enum OpenExrCompressionMethod : int {
        COMPRESSION_DEFAULT = 0,  ///< the project's setting
        COMPRESSION_NONE = 1,
        COMPRESSION_RLE = 2,
        COMPRESSION_ZIPS = 3,
        COMPRESSION_ZIP = 4,
        COMPRESSION_PIZ = 5,
        COMPRESSION_PXR24 = 6,
        COMPRESSION_B44 = 7,
        COMPRESSION_B44A = 8,
        COMPRESSION_DWAA = 9,
        COMPRESSION_DWAB = 10,
        COMPRESSION_UNKNOWN = 11,
    };

    static CoreClassInfo const& class_info();
    CoreClassInfo const& get_class_info() const;
    /// Frees `object`, whatever `flag` says, and gives true.
    static bool ___class_destructor__(void* object, bool const& flag);

    ImageIOFileFormat() = default;
    ImageIOFileFormat(ImageIOFileFormat const&) = default;
    ImageIOFileFormat& operator=(ImageIOFileFormat const&) { return *this; }
    ImageIOFileFormat& operator=(ImageIOFileFormat&&) { return *this; }

    // Names (tables.cpp). The texts live as long as the module.

    static char const* get_load_name(Load const& format);
    static char const* get_save_name(Save const& format);
    static char const* get_compression_name(OpenExrCompressionMethod const& method);
    static char const* get_short_name(Save const& format);
    static char const* get_short_name(OpenExrCompressionMethod const& method);

    /// Extensions without a dot, the usual one first.
    static CoreVector<CoreString> get_load_extensions(Load const& format);
    static CoreVector<CoreString> get_save_extensions(Save const& format);

    /// The first format with that extension: lower case, without a dot. "exr" and "hdr" are the 16-bit
    /// OpenEXR, "png" and "tif" the 8-bit formats.
    static Save get_save_from_extension(CoreString const& extension);
    /// Upper and lower case count the same.
    static Save get_save_from_short_name(CoreString const& name);
    /// Also takes a display name such as "ZIP Compression": its first word counts.
    static OpenExrCompressionMethod get_compression_from_short_name(CoreString const& name);

    static unsigned int get_bytes_per_channel(Save const& format);

    // File dialogs (dialog_filters.cpp): lines of a label, a tab and "*.{ext,ext}".

    /// A line for all known extensions, then one a format.
    static CoreString get_extension_file_filters_for_open_file();
    static CoreString get_extension_file_filters_for_save_file();

    // What this installation reads (supported_extensions.cpp)

    /// The extensions that OpenImageIO reads here, in its order, doubles included. Filled at the first use
    /// and never changed after; empty, and asked again next time, while OpenImageIO gives none.
    static CoreVector<CoreString>& get_supported_extensions();
    /// `extension` in lower case and without a dot.
    static bool is_extension_valid(CoreString const& extension);

    // File names (file_names.cpp)

    /// The path with "_" and the layer put in front of the last number behind the first dot of the file name,
    /// or behind the file name's first part if there is none: "a/b.0001.exr" and "z" give "a/b_z.0001.exr".
    /// The layer "rgba" leaves the path as it is, an empty one adds nothing. Empty for a path without a file
    /// name.
    static CoreString construct_layer_file_name(CoreString const& path, CoreString const& layer);

    /// The name of a tile's file, without its extension: "render." (or "render"), 12 and 3 give
    /// "render.tilex12-03.". The second number is padded to the digits of the first. In the path "%%" becomes
    /// "%"; other percent signs stay.
    static CoreString construct_tile_file_name(CoreString const& path, int first_number, int second_number);
};
