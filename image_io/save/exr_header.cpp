#include <ImathBox.h>
#include <ImfChannelList.h>
#include <ImfFloatAttribute.h>
#include <ImfHeader.h>
#include <ImfPartType.h>
#include <ImfTileDescription.h>

#include <memory>
#include <string>

#include "host/image/image_map_channel.h"
#include "host/of/of_app.h"
#include "image_io/frame/library_names.h"
#include "image_io/pixels/window.h"
#include "image_io/save/exr_channel_name.h"
#include "image_io/save/image_io_exr_utils.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"

namespace {

using Imath_2_4::Box2i;
using Imath_2_4::V2i;
using zv_image_io::Window;

/// The corners of a window, both inside.
struct Corners {
    std::int64_t min_x, min_y, max_x, max_y;
};

Corners corners_of(GMathVec4<int> const& rectangle)
{
    Window const window = zv_image_io::window_of(rectangle);
    return {window.x, window.y, window.end_x() - 1, window.end_y() - 1};
}

/// Widens to whole tiles of a grid that is anchored at pixel (0, 0).
Corners snap(Corners const& corners, int tile)
{
    auto const first_of = [tile](std::int64_t pixel) { return zv_image_io::floor_div(pixel, tile) * tile; };
    return {first_of(corners.min_x), first_of(corners.min_y), first_of(corners.max_x) + tile - 1,
            first_of(corners.max_y) + tile - 1};
}

/// OpenEXR's box. Throws where the numbers do not fit.
Box2i box_of(Corners const& corners)
{
    auto const checked = [](std::int64_t edge) {
        if (edge != static_cast<int>(edge))
            throw Iex_2_4::ArgExc("A window lies outside the numbers that the file can hold.");
        return static_cast<int>(edge);
    };
    return Box2i(V2i(checked(corners.min_x), checked(corners.min_y)),
                 V2i(checked(corners.max_x), checked(corners.max_y)));
}

/// What the catalogue of layers says; float for those that it does not know.
Imf_2_4::PixelType layer_type(OfApp const* app, CoreString const& layer)
{
    if (!app)
        return Imf_2_4::FLOAT;
    OfChannelManager const& catalogue = app->get_channel_manager();
    short const index = catalogue.get_layer_index(layer);
    if (index == OfChannelManager::INVALID_INDEX)
        return Imf_2_4::FLOAT;
    unsigned int const bytes = catalogue.get_bit_depth(index);
    constexpr unsigned int kInteger = 1;
    if (bytes == 1 || bytes == 2)
        return Imf_2_4::HALF;
    return bytes == 4 && catalogue.get_bit_type(index) == kInteger ? Imf_2_4::UINT : Imf_2_4::FLOAT;
}

void declare(Imf_2_4::Header& header, CoreString const& name, Imf_2_4::PixelType type)
{
    header.channels().insert(std::string(zv_image_io::exr_channel_name(name).view()),
                             Imf_2_4::Channel(type, 1, 1, false));
}

/// Declares a channel of a layer. One without a layer, whose name begins with a dot, is left out.
void declare_layer_channel(Imf_2_4::Header& header, OfApp const* app, CoreString const& name)
{
    CoreVector<CoreString> const pieces = name.split(".", false);
    if (!pieces.is_empty() && !pieces[0].is_empty())
        // The format of the save says nothing about layers: a half picture keeps its depth as floats.
        declare(header, name, layer_type(app, pieces[0]));
}

void declare_channels(Imf_2_4::Header& header, OfApp const* app,
                      CoreBasicArray<ImageMapChannel*> const& channels, Imf_2_4::PixelType main_type,
                      bool write_rgba)
{
    for (ImageMapChannel const* const channel : channels) {
        if (!channel)
            continue;
        if (!zv_image_io::is_rgba_name(channel->m_name))
            declare_layer_channel(header, app, channel->m_name);
        else if (write_rgba)
            declare(header, channel->m_name, main_type);
    }
}

bool is_dwa(Imf_2_4::Compression compression)
{
    return compression == Imf_2_4::DWAA_COMPRESSION || compression == Imf_2_4::DWAB_COMPRESSION;
}

}  // namespace

Imf_2_4::Header* ImageIOSave::build_openexr_header(OfApp* app, ImageSaveOptions const& options,
                                                   Channels const& channels, int tile_size,
                                                   GMathVec4<int> const& display_window,
                                                   GMathVec4<int> const& data_window, bool write_rgba)
{
    bool const is_tiled = tile_size > 0 && app && app->tiling_mode == 1;
    Corners const data = corners_of(data_window);
    Imf_2_4::Compression const compression = ImageIOExrUtils::get_compression_type(options.compression);
    auto header = std::make_unique<Imf_2_4::Header>(
        box_of(corners_of(display_window)), box_of(is_tiled ? snap(data, tile_size) : data), 1.0f,
        Imath_2_4::V2f(0, 0), 1.0f, Imf_2_4::INCREASING_Y, compression);
    // Not in the constructor, which leaks when it refuses one; the file that gets this header refuses it, too.
    header->pixelAspectRatio() = options.pixel_aspect_ratio;
    if (is_dwa(compression) && app)
        header->insert("dwaCompressionLevel",
                       Imf_2_4::FloatAttribute(static_cast<float>(app->dwa_compression_level)));
    ImageIOExrUtils::add_metadata_to_header(header.get(), options.meta_data);
    // Behind the metadata, which may have an item called "type".
    header->setType(is_tiled ? Imf_2_4::TILEDIMAGE : Imf_2_4::SCANLINEIMAGE);
    if (is_tiled)
        header->setTileDescription(Imf_2_4::TileDescription(static_cast<unsigned int>(tile_size),
                                                            static_cast<unsigned int>(tile_size),
                                                            Imf_2_4::ONE_LEVEL, Imf_2_4::ROUND_DOWN));
    Imf_2_4::PixelType const main_type =
        options.format == ImageIOFileFormat::SAVE_EXR16 ? Imf_2_4::HALF : Imf_2_4::FLOAT;
    declare_channels(*header, app, channels, main_type, write_rgba);
    return header.release();
}
