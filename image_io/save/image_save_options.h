#pragma once

#include "host/core/core_array.h"
#include "host/core/core_string.h"
#include "host/core/core_variant.h"
#include "image_io/format/image_io_file_format.h"
#include "image_io/frame/export.h"

class ImageCanvas;

/// How an image is to be written. `format` and `compression` have no default of use: set both before a save.
///
/// Owns     its metadata; `layers` is the caller's, is shared by copies and must outlive the save
/// Threads  one, for the length of a save
struct ZV_IMAGE_IO_EXPORT ImageSaveOptions {
    /// One named item of metadata. Number and type of its values decide what becomes of it in a file
    /// (docs/saving.md).
    struct MetaData {
        CoreString name;
        CoreArray<CoreVariant> values;
    };

    ImageSaveOptions();
    /// Without metadata if the flag is false.
    ImageSaveOptions(ImageSaveOptions const& other, bool const& copy_meta_data = true);
    ~ImageSaveOptions();
    ImageSaveOptions& operator=(ImageSaveOptions const& other);

    float pixel_aspect_ratio = 1.0f;
    /// The colour space of the written pixels; empty means no conversion.
    CoreString color_space = "sRGB";
    /// Names of the channels to write, of which the first four count; null means the map's colour channels.
    /// Borrowed.
    CoreBasicArray<CoreString> const* layers = nullptr;
    ImageIOFileFormat::Save format = ImageIOFileFormat::SAVE_UNKNOWN;
    /// Custom metadata, in the order in which it is written.
    CoreArray<MetaData> meta_data;
    ImageIOFileFormat::OpenExrCompressionMethod compression = ImageIOFileFormat::COMPRESSION_UNKNOWN;

    /// True for the two OpenEXR formats.
    bool is_file_exr() const;

    /// Reads metadata from a text (docs/text-syntax.md), behind what there is or in its place. An entry
    /// without values of use is logged at level 2 and keeps an empty item; one whose name is taken is called
    /// `prefix`_name.
    void fill_metadata(CoreString prefix, CoreString text, bool append);

    /// Appends the canvas's own metadata, whatever names there are already; without memory none of it, and a line of
    /// level 1. A save does so by itself, and fails then.
    void add_image_canvas_meta_data(ImageCanvas const& canvas);
};
