#pragma once

#include <ImathBox.h>
#include <ImfHeader.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "host/of/of_app.h"
#include "image_io/save/exr_file.h"
#include "image_io/save/image_io_output.h"
#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"

namespace zv_test {

/// A canvas with a channel for each name; samples are `encoded` with the channel's number, unless told otherwise.
struct SavePicture {
    struct Shape {
        int x = 0, y = 0, width = 47, height = 33;
        std::vector<std::string> names = {"r", "g", "b", "a"};
        int tile = 16;
        ImagePixel::BitDepth depth = ImagePixel::BIT_DEPTH_16;
        Sample sample = [](int channel, int x, int y) { return double(encoded(channel, x, y)); };
    };
    explicit SavePicture(Shape const& shape);

    Shape shape;
    GMathVec4<int> window;  // of data and display
    std::unique_ptr<ImageCanvas> canvas;
    ImageEvalContext context;

    ImageMap& map() { return *canvas->get_image(); }
    /// An output for all channels, not open yet.
    std::unique_ptr<ImageIOOutput> output(std::string const& path);
};

/// Half, uncompressed, no colour conversion.
ImageSaveOptions
exr_options(ImageIOFileFormat::Save format = ImageIOFileFormat::SAVE_EXR16,
            ImageIOFileFormat::OpenExrCompressionMethod compression = ImageIOFileFormat::COMPRESSION_NONE);

/// A file as OpenEXR itself reads it, all channels as floats.
struct ReadExr {
    Imf::Header header;
    bool is_complete = false;
    std::map<std::string, std::vector<float>> planes;  // of the data window; NaN where nothing could be read
    std::vector<bool> line_is_there;

    float at(std::string const& channel, int x, int y) const;
};
ReadExr read_exr(std::string const& path);

/// Tile (column, row) reads: a second kind of looking at files that lack some.
bool tile_reads(std::string const& path, int column, int row);

/// All channels of a file against the picture's samples, `name` by `name` in the picture's order.
void expect_channels(ReadExr const& file, SavePicture::Shape const& shape,
                     std::vector<std::string> const& names_in_file);

/// Runs a program and gives what it prints; fails the test if it does not end with 0.
std::string output_of(std::string const& command);

inline GMathVec4<int> rectangle(int x, int y, int width, int height)
{
    return GMathVec4<int>(x, y, width, height);
}

}  // namespace zv_test

/// The private operations that the tests call directly.
struct ImageIOSaveDoors {
    using Channels = CoreBasicArray<ImageMapChannel*>;

    static std::unique_ptr<Imf::Header> header(OfApp* app, ImageSaveOptions const& options,
                                               Channels const& channels, int tile_size,
                                               GMathVec4<int> const& display, GMathVec4<int> const& data,
                                               bool write_rgba = true)
    {
        return std::unique_ptr<Imf::Header>(
            ImageIOSave::build_openexr_header(app, options, channels, tile_size, display, data, write_rgba));
    }
    static bool scanline(Imf::Header& header, zv_image_io::ExrScanlineFile& file, Channels const& channels,
                         unsigned int tile_size, CoreString const& color_space, AppProgressBar* progress)
    {
        return ImageIOSave::save_openexr_scanline(header, file, channels, tile_size, color_space, progress);
    }
    static bool scanline_region(Imf::Header& header, zv_image_io::ExrScanlineFile& file,
                                GMathVec4<int> const& region, Channels const& channels,
                                unsigned int tile_size, CoreString const& color_space,
                                AppProgressBar* progress)
    {
        return ImageIOSave::save_openexr_scanline_region(header, file, region, channels, tile_size,
                                                         color_space, progress);
    }
    static bool tiled(ImageEvalContext& context, Imf::Header& header, zv_image_io::ExrTiledFile& file,
                      Channels const& channels, unsigned int tile_size, CoreString const& color_space,
                      AppProgressBar* progress)
    {
        return ImageIOSave::save_openexr_tiled(context, header, file, channels, tile_size, color_space,
                                               progress);
    }
    static bool tiled_region(ImageEvalContext& context, Imf::Header& header, zv_image_io::ExrTiledFile& file,
                             GMathVec4<int> const& region, Channels const& channels, int tile_size,
                             CoreString const& color_space, AppProgressBar* progress)
    {
        return ImageIOSave::save_openexr_tiled_region(context, header, file, region, channels, tile_size,
                                                      color_space, progress);
    }
};

struct ImageIOOutputDoors {
    static bool open_exr(ImageIOOutput& output, Imf::Header* header) { return output.open_exr(header); }
    static bool open_oiio(ImageIOOutput& output, std::unique_ptr<OIIO::ImageOutput> file)
    {
        return output.open_oiio(std::move(file));
    }
};
