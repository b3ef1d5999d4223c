#pragma once

#include <ImfCompression.h>

#include "image_io/frame/export.h"
#include "image_io/frame/library_names.h"
#include "image_io/save/image_save_options.h"

/// From the module's metadata and compression methods to OpenEXR's. Static operations only.
class ZV_IMAGE_IO_EXPORT ImageIOExrUtils {
public:
    ImageIOExrUtils() = default;
    ImageIOExrUtils(ImageIOExrUtils const&) = default;
    ImageIOExrUtils& operator=(ImageIOExrUtils const&) { return *this; }
    ImageIOExrUtils& operator=(ImageIOExrUtils&&) { return *this; }

    /// Writes every item into the header, as the table in docs/saving.md tells.
    ///
    /// Errors  what OpenEXR throws, for example for a name that the header has with another type
    static void add_metadata_to_header(Imf_2_4::Header* header,
                                       CoreArray<ImageSaveOptions::MetaData> const& meta_data);

    /// What OpenEXR calls the compression, in words; a static text.
    static char const* get_compression_description(Imf_2_4::Compression compression);

    /// The compression of an `ImageIOFileFormat::OpenExrCompressionMethod`; none for all other values, and
    /// for the project's default, which whoever fills the options has to replace first.
    static Imf_2_4::Compression get_compression_type(int method);
};
