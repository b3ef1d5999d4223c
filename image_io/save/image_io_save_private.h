#pragma once

#include "host/core/core_string.h"
#include "host/gmath/gmath_vec4.h"
#include "image_io/frame/export.h"
#include "image_io/frame/image_io.h"

/// Behind `ImageIO::save`: a canvas, its windows, the time and the log lines around a save. Static operations
/// only.
class ZV_IMAGE_IO_EXPORT ImageIOSavePrivate {
public:
    ImageIOSavePrivate() = default;
    ImageIOSavePrivate(ImageIOSavePrivate const&) = default;
    ImageIOSavePrivate& operator=(ImageIOSavePrivate const&) { return *this; }
    ImageIOSavePrivate& operator=(ImageIOSavePrivate&&) { return *this; }

    /// Saves the canvas. The metadata of the canvas is appended to that of `options`.
    ///
    /// Units  `crop`, which may be null: x, y, width and height as fractions of the canvas's size; the simple
    ///        formats ignore it
    static ImageIO::SavingStatus save_private(CoreString const& filename, ImageSaveOptions& options,
                                              ImageCanvas const& canvas, OfApp* app, AppProgressBar* progress,
                                              GMathVec4<float> const* crop);
};
