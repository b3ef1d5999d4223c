#pragma once

#include <memory>

#include "host/core/core_base_type.h"
#include "host/core/core_class_info.h"
#include "host/core/core_string.h"
#include "host/gmath/gmath_vec4.h"
#include "image_io/frame/export.h"
#include "image_io/frame/library_names.h"
#include "image_io/load/image_load_options.h"
#include "image_io/load/image_load_report.h"

class AppProgressBar;
class ImageCanvas;
class ImageMap;
class OfApp;

/// From a path to a filled `ImageCanvas`. Static operations only; `progress` and `app` may be null everywhere.
///
/// Threads  every operation works on objects of its own; different files may be loaded at once
/// Errors   nothing throws; a damaged file gives what could be read of it
class ZV_IMAGE_IO_EXPORT ImageIOLoad : public CoreBaseType {
public:
    static CoreClassInfo const& class_info();
    CoreClassInfo const& get_class_info() const;
    /// Frees `object`, whatever `flag` says, and gives true.
    static bool ___class_destructor__(void* object, bool const& flag);

    ImageIOLoad() = default;
    ImageIOLoad(ImageIOLoad const&) = default;
    ImageIOLoad& operator=(ImageIOLoad const&) { return *this; }
    ImageIOLoad& operator=(ImageIOLoad&&) { return *this; }

    /// Opens the file's first subimage.
    ///
    /// Returns  true with an open reader in `input`, whose `close()` is the caller's; false with `input` null, the
    ///          reason logged at level 2
    static bool load_header(CoreString const& path, std::unique_ptr<OIIO::ImageInput>& input,
                            OIIO::ImageSpec& spec);

    /// Fills `canvas` from the file and brings it into the default colour space, its alpha associated.
    ///
    /// Returns  false if there is nothing of the file to show; the canvas is then fit for destruction only
    static bool load_image(CoreString const& path, ImageCanvas& canvas, ImageLoadOptions const& options,
                           OfApp* app, AppProgressBar* progress);
    /// The same, with an account of what was lost.
    static bool load_image(CoreString const& path, ImageCanvas& canvas, ImageLoadOptions const& options,
                           OfApp* app, AppProgressBar* progress, ImageLoadReport& report);

private:
    friend struct ImageIOLoadDoors;  // the tests' way in

    // The steps of `load_image`; what the libraries throw leaves them, and so does a lack of memory.
    static bool open_picture(CoreString const& path, std::unique_ptr<OIIO::ImageInput>& input,
                             OIIO::ImageSpec& spec);
    static bool load_picture(CoreString const& path, ImageCanvas& canvas, ImageLoadOptions const& options,
                             OfApp* app, AppProgressBar* progress, ImageLoadReport& report);
    static bool read_data(OIIO::ImageInput* input, OIIO::ImageSpec& spec, ImageMap& map,
                          GMathVec4<int>& data_window, ImageLoadOptions const& options, bool accept_partial,
                          OfApp* app, AppProgressBar* progress, ImageLoadReport& report);
    static bool read_scanline_data(OIIO::ImageInput* input, OIIO::ImageSpec& spec, ImageMap& map,
                                   GMathVec4<int>& data_window, ImageLoadOptions const& options,
                                   bool accept_partial, OfApp* app, AppProgressBar* progress,
                                   ImageLoadReport& report);
    static bool read_tiled_data(OIIO::ImageInput* input, OIIO::ImageSpec& spec, ImageMap& map,
                                GMathVec4<int>& data_window, ImageLoadOptions const& options, OfApp* app,
                                AppProgressBar* progress, ImageLoadReport& report);
};
