#pragma once

#include "host/core/core_base_type.h"
#include "host/core/core_class_info.h"
#include "host/core/core_string.h"
#include "host/gmath/gmath_vec4.h"
#include "host/image/image_pixel.h"
#include "image_io/frame/export.h"

class AppProgressBar;
class ImageCanvas;
class OfApp;
struct ImageHeader;
struct ImageLoadOptions;
struct ImageLoadReport;
struct ImageSaveOptions;

/// The module's front door: loading, probing and saving, from a path. Static operations only.
///
/// Errors   nothing throws; the result says whether it worked, the log says why not, but for a file that does not exist, tiles
///          that are not square, a pixel pass that failed and a buffer for a format that nobody knows
/// Threads  any; every operation works on objects of its own
class ZV_IMAGE_IO_EXPORT ImageIO : public CoreBaseType {
public:
    /// The result of every saving operation. Zero is success.
    enum SavingStatus : int {
        SAVING_STATUS_SUCCESS = 0,
        SAVING_STATUS_NOTHING_TO_SAVE = 1,    ///< no channels, or a region without extent
        SAVING_STATUS_CANNOT_WRITE_FILE = 2,  ///< the file could not be created or opened
        SAVING_STATUS_WRITE_FAILED = 3,       ///< an opened file failed while writing
    };

    static CoreClassInfo const& class_info();
    CoreClassInfo const& get_class_info() const;
    /// Frees `object`, whatever `flag` says, and gives true.
    static bool ___class_destructor__(void* object, bool const& flag);

    ImageIO() = default;
    ImageIO(ImageIO const&) = default;
    ImageIO& operator=(ImageIO const&) { return *this; }
    ImageIO& operator=(ImageIO&&) { return *this; }

    /// Starts the module: the list of resolution presets, which follows the settings of `app` from now on. False
    /// without an application. One thread, once; all else but the presets works without it.
    static bool init(OfApp* app);

    /// Loads a new canvas, which is the caller's; null if there is nothing of the file to show.
    ///
    /// `app` and `progress` may be null. The repeat modes are those of the canvas's pyramid.
    static ImageCanvas* load_image(CoreString const& path, ImageLoadOptions const& options, OfApp* app,
                                   AppProgressBar* progress, ImagePixel::RepeatMode repeat_u,
                                   ImagePixel::RepeatMode repeat_v);
    /// The same, with an account of what was lost.
    static ImageCanvas* load_image(CoreString const& path, ImageLoadOptions const& options, OfApp* app,
                                   AppProgressBar* progress, ImagePixel::RepeatMode repeat_u,
                                   ImagePixel::RepeatMode repeat_v, ImageLoadReport& report);

    /// Saves a canvas to a file, or to several where its layers go to files of their own. The metadata of the
    /// canvas is appended to that of `options`.
    ///
    /// `app` tells the output settings; `progress` may be null.
    /// Units  `crop`, which may be null: x, y, width and height as fractions of the canvas's size
    static SavingStatus save(CoreString const& path, ImageSaveOptions& options, ImageCanvas const& canvas,
                             OfApp* app, AppProgressBar* progress, GMathVec4<float> const* crop);

    /// Writes a whole interleaved buffer to a file, whose format its name tells. No colour handling.
    ///
    /// Shape    `height` rows of `width` pixels of `channels` samples, packed
    /// Returns  false if the file is not whole; logged at level 1 unless the name tells no known format. A
    ///          file that this call created is then gone again.
    static bool save_image(CoreString const& path, unsigned char const* pixels, unsigned int channels,
                           unsigned int width, unsigned int height);
    static bool save_image(CoreString const& path, float const* pixels, unsigned int channels,
                           unsigned int width, unsigned int height);

    /// Fills `header` from the file. False if the file does not open, which leaves `header` as it is; one
    /// that does not exist sets both windows to 512 by 512, for callers in need of a size.
    static bool get_image_specs(CoreString const& path, ImageHeader& header);

    /// The colour space in which the pixels of the file should be taken to be: what its tags say, else its
    /// path, else its extension. Empty if none of them tells, or the file does not open.
    static CoreString get_color_space_from_file(CoreString const& path);
};
