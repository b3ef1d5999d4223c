#include "tests/equality/save_matrix.h"

#include <cmath>
#include <cstring>

#include "host/image/image_canvas.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/of/of_app.h"
#include "tests/equality/picture_matrix.h"

namespace zv_equality {

namespace {

using Format = ImageIOFileFormat;

void tiled(OfApp& app)
{
    app.tiling_mode = 1;
}

SaveOrder exr(std::string const& name, Format::Save format, int compression, bool in_tiles,
              std::string const& space = "")
{
    SaveOrder order;
    order.name = name + (in_tiles ? ", tiles" : ", lines") + (space.empty() ? "" : ", " + space);
    order.format = format;
    order.compression = static_cast<Format::OpenExrCompressionMethod>(compression);
    order.color_space = space;
    if (in_tiles)
        order.settings = tiled;
    return order;
}

SaveOrder simple(std::string const& file, Format::Save format, std::string const& space)
{
    SaveOrder order;
    order.name = file + (space.empty() ? "" : ", " + space);
    order.file = file;
    order.format = format;
    order.color_space = space;
    return order;
}

char const* const kMetadata = "worldToCamera 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16.5\n"
                              "worldToNDC 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1\n"
                              "comment \"a comment\"\n"
                              "one 1\npair 1 2.5\nthree 1 2 3\nfour 1 2 3 4\n"
                              "nine 1 2 3 4 5 6 7 8 9\ntext \"some\" \"more\"\nflag true\nempty\n";

void catalogue(OfApp& app)
{
    app.get_channel_manager().add_layer("diffuse", 2, 2);
    app.get_channel_manager().add_layer("depth", 4, 2);
    app.get_channel_manager().add_layer("id", 4, 1);
}

/// What is not a number signals, where samples are floats: halves of those differ from way to way.
std::uint32_t sample_bits(double sample, SampleType type)
{
    constexpr std::uint32_t kSignalling = 0x7f812345;
    if (std::isnan(sample) && type.floating && type.bytes == 4)
        return kSignalling;
    return from_float(static_cast<float>(sample), type);
}

}  // namespace

std::unique_ptr<ImageCanvas> make_canvas(CanvasOrder const& order)
{
    auto canvas = std::make_unique<ImageCanvas>(false);
    auto const depth = static_cast<ImagePixel::BitDepth>(order.type.bytes);
    auto const type = order.type.floating ? ImagePixel::BIT_TYPE_FLOAT : ImagePixel::BIT_TYPE_INTEGER;
    canvas->create_image(nullptr, ImagePixel::DEPTH_NONE, depth, type, order.tile);
    GMathVec4<int> const window(order.x, order.y, order.width, order.height);
    int number = 0;
    for (std::string const& name : order.channels) {
        auto const part = order.parts.find(name);
        Place const place = part != order.parts.end() ? part->second : Place(window);
        std::vector<unsigned char> plane;
        for (int y = place.y; y < place.end_y(); ++y)
            for (int x = place.x; x < place.end_x(); ++x) {
                std::uint32_t const bits = sample_bits(rough_sample(number, x, y), order.type);
                for (unsigned byte = 0; byte < order.type.bytes; ++byte)
                    plane.push_back(static_cast<unsigned char>(bits >> (8 * byte)));
            }
        canvas->get_image()
            ->add_channel(name.c_str(), depth, type)
            ->fill_tiles(plane.data(), GMathVec4<int>(place.x, place.y, place.width, place.height), true);
        ++number;
    }
    Place const display = order.display_window.width == 0 ? Place(window) : order.display_window;
    canvas->set_canvas(GMathVec4<int>(display.x, display.y, display.width, display.height), &window);
    canvas->finalize(true, false);
    return canvas;
}

std::vector<NamedCanvas> save_canvases()
{
    std::vector<NamedCanvas> canvases;
    auto const add = [&](std::string const& name, CanvasOrder const& order) {
        canvases.push_back({name, make_canvas(order)});
    };
    std::vector<std::string> const layers = {"r",         "g",       "b",       "a",      "diffuse.r",
                                             "diffuse.g", "depth.z", "depth.w", "id.x",   "lone",
                                             "other.r",   "other.g", "other.b", "other.a"};
    add("float rgba", {});
    add("half rgba", {.type = {2, true}});
    add("bytes rgba, tiles of 16", {.tile = 16, .type = {1, false}});
    add("shorts rgba", {.type = {2, false}});
    add("words rgb", {.channels = {"r", "g", "b"}, .type = {4, false}});
    add("one pixel", {.width = 1, .height = 1});
    add("one line", {.width = 129, .height = 1, .channels = {"l", "a"}});
    add("one column", {.width = 1, .height = 200, .channels = {"a"}});
    add("whole tiles", {.width = 128, .height = 64, .channels = {"r", "g"}});
    add("half with layers", {.channels = layers, .type = {2, true}});
    add("float with layers, tiles of 32", {.channels = layers, .tile = 32});
    add("no colours", {.channels = {"diffuse.r", ".hidden", "depth.z"}});
    add("negative origin",
        {.x = -30, .y = -70, .width = 100, .height = 131, .display_window = {0, 0, 64, 48}});
    add("far origin, half", {.x = 70, .y = 130, .display_window = {10, 20, 200, 230}, .type = {2, true}});
    add("negative origin, shown whole", {.x = -10, .y = -20, .width = 40, .height = 70});
    add("five channels", {.height = 70, .channels = {"r", "g", "b", "a", "z"}, .tile = 32});
    add("long lines", {.width = 600, .height = 60, .channels = {"r", "z"}});
    add("channels without some tiles", {.width = 200,
                                        .height = 60,
                                        .channels = {"r", "g", "b", "a", "n.x"},
                                        .tile = 32,
                                        .parts = {{"n.x", {64, 0, 90, 60}}, {"g", {0, 0, 90, 60}}}});
    return canvases;
}

std::vector<SaveOrder> exr_orders()
{
    std::vector<SaveOrder> orders;
    for (int compression = 0; compression <= 11; ++compression)
        for (bool const in_tiles : {false, true})
            orders.push_back(exr("exr16, compression " + std::to_string(compression), Format::SAVE_EXR16,
                                 compression, in_tiles));
    for (int const compression : {1, 4, 5, 6, 9})
        for (bool const in_tiles : {false, true})
            orders.push_back(exr("exr32, compression " + std::to_string(compression), Format::SAVE_EXR32,
                                 compression, in_tiles));
    for (char const* const space : {"sRGB", "linear", "ACEScg", "nothing of the kind"})
        for (bool const in_tiles : {false, true}) {
            orders.push_back(exr("exr16", Format::SAVE_EXR16, 4, in_tiles, space));
            orders.push_back(exr("exr32", Format::SAVE_EXR32, 1, in_tiles, space));
        }
    return orders;
}

std::vector<SaveOrder> planning_orders()
{
    std::vector<SaveOrder> orders;
    for (int settings = 0; settings < 16; ++settings)
        for (char const* const file : {"a.0001.exr", "a.tif", "a.png"}) {
            SaveOrder order;
            order.name = std::string(file) + ", settings " + std::to_string(settings);
            order.file = file;
            order.format = order.file == "a.tif"   ? Format::SAVE_TIFF16
                           : order.file == "a.png" ? Format::SAVE_PNG8
                                                   : Format::SAVE_EXR16;
            order.color_space = "Utility|sRGB";
            order.metadata = kMetadata;
            order.settings = [settings](OfApp& app) {
                catalogue(app);
                app.output_aovs_in_all_formats = settings & 1;
                app.output_one_file_per_aov = settings & 2;
                app.output_aovs_only = settings & 4;
                app.tiling_mode = settings & 8 ? 1 : 0;
            };
            orders.push_back(order);
        }
    for (bool const in_tiles : {false, true}) {
        SaveOrder crop = exr("crop", Format::SAVE_EXR16, 4, in_tiles);
        crop.has_crop = true;
        crop.crop = GMathVec4<float>(0.25f, 0.1f, 0.5f, 0.71f);
        crop.pixel_aspect_ratio = 2.0f;
        orders.push_back(crop);
        crop.name += " of nothing";
        crop.crop = GMathVec4<float>(0.0f, 0.0f, 0.0f, 0.0f);
        orders.push_back(crop);
    }
    for (char const* const file : {"a.exr", "a.tif", "a.tga"}) {
        SaveOrder order = simple(file,
                                 std::strcmp(file, "a.exr") == 0   ? Format::SAVE_EXR32
                                 : std::strcmp(file, "a.tif") == 0 ? Format::SAVE_TIFF8
                                                                   : Format::SAVE_TARGA,
                                 "sRGB");
        order.name += ", chosen channels";
        order.compression = Format::COMPRESSION_PIZ;
        order.has_layers = true;
        order.layers = {"b", "nothing", "diffuse.g", "r", "a"};
        order.settings = [](OfApp& app) { app.output_one_file_per_aov = true; };
        orders.push_back(order);
    }
    return orders;
}

std::vector<SaveOrder> oiio_orders()
{
    std::vector<SaveOrder> orders;
    for (char const* const space : {"", "sRGB", "linear"})
        for (bool const in_tiles : {false, true}) {
            for (Format::Save const format : {Format::SAVE_TIFF8, Format::SAVE_TIFF16, Format::SAVE_TIFF32})
                orders.push_back(simple("a.tif", format, space));
            orders.push_back(simple("a.tiff", Format::SAVE_UNKNOWN, space));
            orders.push_back(simple("a.hdr", Format::SAVE_UNKNOWN, space));
            orders.push_back(simple("a.png", Format::SAVE_UNKNOWN, space));
            orders.push_back(simple("a.exr", Format::SAVE_UNKNOWN, space));
            if (in_tiles)
                for (std::size_t number = orders.size() - 7; number < orders.size(); ++number) {
                    orders[number].name += ", tiles";
                    orders[number].settings = tiled;
                }
        }
    for (SaveOrder with_metadata :
         {simple("a.tif", Format::SAVE_TIFF16, ""), simple("a.exr", Format::SAVE_UNKNOWN, "")}) {
        with_metadata.name += ", metadata";
        with_metadata.metadata = kMetadata;
        with_metadata.pixel_aspect_ratio = 1.5f;
        orders.push_back(with_metadata);
    }
    return orders;
}

std::vector<SaveOrder> simple_orders()
{
    std::vector<SaveOrder> orders;
    struct Simple {
        char const* file;
        Format::Save format;
    };
    for (char const* const space : {"", "sRGB", "linear", "ACEScg"})
        for (Simple const& each : {Simple{"a.jpg", Format::SAVE_JPEG}, Simple{"a.bmp", Format::SAVE_BMP},
                                   Simple{"a.tga", Format::SAVE_TARGA}, Simple{"a.png", Format::SAVE_PNG8},
                                   Simple{"a.tga.0012.png", Format::SAVE_PNG16}}) {
            SaveOrder order = simple(each.file, each.format, space);
            orders.push_back(order);
            order.name += ", all layers";
            order.settings = [](OfApp& app) { app.output_aovs_in_all_formats = true; };
            orders.push_back(order);
        }
    return orders;
}

}  // namespace zv_equality
