#pragma once

#include <OpenImageIO/imageio.h>

#include <memory>

#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"

/// The tests' way to the private operations of a save through OpenImageIO.
struct ImageIOSaveDoors {
    using Channels = CoreBasicArray<ImageMapChannel*>;
    using Rectangle = GMathVec4<int>;

    static ImageIO::SavingStatus write_one_aov_per_file(ImageEvalContext const& context,
                                                        CoreString const& file,
                                                        ImageSaveOptions const& options,
                                                        Channels const& channels, Rectangle const& region,
                                                        AppProgressBar* progress = nullptr)
    {
        return ImageIOSave::write_one_aov_per_file(context, file, options, channels, region, progress);
    }
    static std::unique_ptr<OIIO::ImageOutput>
    build_image_output(OfApp* app, ImageSaveOptions const& options, CoreString const& file,
                       Channels const& channels, int tile_size, Rectangle const& canvas_rectangle,
                       Rectangle const& region, CoreString const& color_space = "")
    {
        return ImageIOSave::build_image_output(app, options, file, channels, tile_size, canvas_rectangle,
                                               region, color_space);
    }
    static bool save_scanline(OIIO::ImageOutput* output, Channels const& channels, ImageMap const* map,
                              CoreString const& color_space = "", AppProgressBar* progress = nullptr)
    {
        return ImageIOSave::save_scanline(output, channels, map, color_space, progress);
    }
    static bool save_scanline_region(OIIO::ImageOutput* output, Rectangle const& region,
                                     Channels const& channels, ImageMap const* map,
                                     CoreString const& color_space = "", AppProgressBar* progress = nullptr)
    {
        return ImageIOSave::save_scanline_region(output, region, channels, map, color_space, progress);
    }
    static bool save_tiled(OIIO::ImageOutput* output, Channels const& channels, ImageMap const* map,
                           CoreString const& color_space = "", AppProgressBar* progress = nullptr)
    {
        return ImageIOSave::save_tiled(output, channels, map, color_space, progress);
    }
    static bool save_tiled_region(OIIO::ImageOutput* output, Rectangle const& region,
                                  Channels const& channels, ImageMap const* map,
                                  CoreString const& color_space = "", AppProgressBar* progress = nullptr)
    {
        return ImageIOSave::save_tiled_region(output, region, channels, map, color_space, progress);
    }
};
