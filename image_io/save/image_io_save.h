#pragma once

#include <memory>

#include "host/core/core_base_type.h"
#include "host/core/core_class_info.h"
#include "host/core/core_string.h"
#include "host/core/core_vector.h"
#include "host/gmath/gmath_vec4.h"
#include "host/image/image_eval_context.h"
#include "image_io/format/image_io_file_format.h"
#include "image_io/frame/export.h"
#include "image_io/frame/image_io.h"
#include "image_io/frame/library_names.h"

class AppProgressBar;
class ImageIOOutputs;
class ImageMap;
class ImageMapChannel;
class OfApp;
struct ImageSaveOptions;

namespace zv_image_io {
class ExrScanlineFile;
class ExrTiledFile;
}  // namespace zv_image_io

/// From a map of channels to files. Static operations only; `progress` may be null everywhere.
///
/// Rectangles are x, y, width, height in pixels: the canvas rectangle is the whole picture (OpenEXR's display
/// window), the region the part of it that holds data (its data window).
///
/// Errors   nothing throws; the status says whether it worked, the log says why not
/// Threads  a save runs on the calling thread; different files may be saved at once
class ZV_IMAGE_IO_EXPORT ImageIOSave : public CoreBaseType {
public:
    static CoreClassInfo const& class_info();
    CoreClassInfo const& get_class_info() const;
    /// Frees `object`, whatever `flag` says, and gives true.
    static bool ___class_destructor__(void* object, bool const& flag);

    ImageIOSave() = default;
    ImageIOSave(ImageIOSave const&) = default;
    ImageIOSave& operator=(ImageIOSave const&) { return *this; }
    ImageIOSave& operator=(ImageIOSave&&) { return *this; }

    /// Saves by the road that the format takes: `save_basic` for the five simple formats (JPEG, BMP, TGA and
    /// both PNG), `save_advanced` for all others.
    static ImageIO::SavingStatus save_generic(ImageEvalContext context, CoreString const& filename,
                                              ImageSaveOptions const& options, ImageMap const* map,
                                              GMathVec4<int> const& canvas_rectangle,
                                              GMathVec4<int> const& region, OfApp* app,
                                              AppProgressBar* progress);
    /// The whole picture at once; the canvas rectangle counts, whatever the region is. The worst status of
    /// all files is returned.
    static ImageIO::SavingStatus save_basic(ImageEvalContext context, CoreString const& filename,
                                            ImageSaveOptions const& options, ImageMap const* map,
                                            GMathVec4<int> const& canvas_rectangle, OfApp* app,
                                            AppProgressBar* progress);
    /// In strips or tiles, through planned outputs. The first failure ends it.
    static ImageIO::SavingStatus save_advanced(ImageEvalContext context, CoreString const& filename,
                                               ImageSaveOptions const& options, ImageMap const* map,
                                               GMathVec4<int> const& canvas_rectangle,
                                               GMathVec4<int> const& region, OfApp* app,
                                               AppProgressBar* progress);

    /// Decides which files hold which channels and opens them, in `outputs`, which should be empty. On a
    /// failure it keeps those that were open by then.
    static ImageIO::SavingStatus build_outputs(OfApp* app, ImageSaveOptions const& options,
                                               CoreString const& filename, ImageMap const* map,
                                               GMathVec4<int> const& region,
                                               GMathVec4<int> const& canvas_rectangle,
                                               ImageIOOutputs& outputs);
    /// Writes the whole picture into planned outputs, one after the other. The first failure ends it.
    static ImageIO::SavingStatus save(OfApp* app, ImageIOOutputs& outputs, ImageEvalContext& context,
                                      AppProgressBar* progress);
    /// Writes a region into each of them.
    static ImageIO::SavingStatus save_region(OfApp* app, ImageIOOutputs& outputs, ImageEvalContext& context,
                                             GMathVec4<int> const& region, AppProgressBar* progress);

    /// Writes an interleaved buffer to a file, whose writer its name chooses and whose sample type `format`.
    static ImageIO::SavingStatus write_image_from_buffer(CoreString const& filename,
                                                         ImageIOFileFormat::Save const& format, float* pixels,
                                                         unsigned int channels, unsigned int width,
                                                         unsigned int height);

private:
    friend class ImageIOOutput;
    friend struct ImageIOSaveDoors;  // the tests' way in

    using Channels = CoreBasicArray<ImageMapChannel*>;

    static ImageIO::SavingStatus
    write_one_aov_per_file(ImageEvalContext context, CoreString filename, ImageSaveOptions const& options,
                           Channels const& channels, GMathVec4<int> const& region, AppProgressBar* progress);

    // Files that OpenImageIO writes
    static std::unique_ptr<OIIO::ImageOutput>
    build_image_output(OfApp* app, ImageSaveOptions const& options, CoreString const& filename,
                       Channels const& channels, int tile_size, GMathVec4<int> const& canvas_rectangle,
                       GMathVec4<int> const& region, CoreString const& color_space);
    static bool save_scanline(OIIO::ImageOutput* output, Channels const& channels, ImageMap const* map,
                              CoreString const& color_space, AppProgressBar* progress);
    static bool save_scanline_region(OIIO::ImageOutput* output, GMathVec4<int> const& region,
                                     Channels const& channels, ImageMap const* map,
                                     CoreString const& color_space, AppProgressBar* progress);
    static bool save_tiled(OIIO::ImageOutput* output, Channels const& channels, ImageMap const* map,
                           CoreString const& color_space, AppProgressBar* progress);
    static bool save_tiled_region(OIIO::ImageOutput* output, GMathVec4<int> const& region,
                                  Channels const& channels, ImageMap const* map,
                                  CoreString const& color_space, AppProgressBar* progress);

    // Files that OpenEXR writes
    static Imf_2_4::Header* build_openexr_header(OfApp* app, ImageSaveOptions const& options,
                                                 Channels const& channels, int tile_size,
                                                 GMathVec4<int> const& display_window,
                                                 GMathVec4<int> const& data_window, bool write_rgba);
    static bool save_openexr_scanline(Imf_2_4::Header& header, zv_image_io::ExrScanlineFile& file,
                                      Channels const& channels, unsigned int const& tile_size,
                                      CoreString const& color_space, AppProgressBar* progress);
    static bool save_openexr_scanline_region(Imf_2_4::Header& header, zv_image_io::ExrScanlineFile& file,
                                             GMathVec4<int> const& region, Channels const& channels,
                                             unsigned int const& tile_size, CoreString const& color_space,
                                             AppProgressBar* progress);
    static bool save_openexr_tiled(ImageEvalContext& context, Imf_2_4::Header& header,
                                   zv_image_io::ExrTiledFile& file, Channels const& channels,
                                   unsigned int const& tile_size, CoreString const& color_space,
                                   AppProgressBar* progress);
    static bool save_openexr_tiled_region(ImageEvalContext& context, Imf_2_4::Header& header,
                                          zv_image_io::ExrTiledFile& file, GMathVec4<int> const& region,
                                          Channels const& channels, int tile_size,
                                          CoreString const& color_space, AppProgressBar* progress);
};
