#include "tests/torture/roads.h"

#include <atomic>
#include <exception>
#include <filesystem>
#include <memory>

#include "host/core/core_log_handler.h"
#include "host/image/image_canvas.h"
#include "host/image/image_tile_factory.h"
#include "host/of/of_app.h"
#include "host/resource/resource_user.h"
#include "image_io/format/image_io_file_format.h"
#include "image_io/load/image_header.h"
#include "image_io/load/image_load_options.h"
#include "image_io/load/image_load_report.h"
#include "image_io/plate/plate_image.h"
#include "image_io/plate/plate_image_manager.h"
#include "image_io/texture/image_io_texture_manager.h"
#include "image_io/texture/image_io_texture_stream.h"
#include "tests/support/pictures.h"
#include "tests/torture/allocations.h"
#include "tests/torture/digest.h"

namespace zv_torture {

namespace {

namespace fs = std::filesystem;
using OIIO::TypeDesc;
using Format = ImageIOFileFormat;

thread_local unsigned long long t_error_lines = 0;

unsigned long long digest_of(ImageCanvas const& canvas)
{
    Digest digest;
    GMathVec4<int> const window = *canvas.m_map->m_bbox;
    digest.add(window);
    ImageEvalContext context(canvas, 0);
    std::vector<float> plane(std::size_t(window.width()) * std::size_t(window.height()));
    for (ImageMapChannel* channel : canvas.get_map()->m_channels) {
        channel->create_float_buffer(&context, window, plane.data());
        digest.add(plane.data(), plane.size() * sizeof(float));
    }
    return digest.value();
}

Outcome load(std::string const& path, ImageLoadOptions const& options)
{
    ImageLoadReport report;
    CoreString const name = path.c_str();
    std::unique_ptr<ImageCanvas> const canvas(in_module([&] {
        return ImageIO::load_image(name, options, nullptr, nullptr, ImagePixel::REPEAT_MODE_CLAMP,
                                   ImagePixel::REPEAT_MODE_CLAMP, report);
    }));
    if (!canvas)
        return {};
    return {!report.is_damaged(), digest_of(*canvas)};
}

Outcome save(FormSaver& saver, SaveForm const& form, std::string const& parent)
{
    // Several threads may save at once.
    static std::atomic<unsigned> next = 0;
    std::string const folder = parent + "/saved" + std::to_string(next++);
    fs::remove_all(folder);  // what a process left that ended in the middle of a save
    fs::create_directory(folder);
    Outcome outcome;
    outcome.claims_success =
        saver.save(form, folder + "/saved" + form.extension) == ImageIO::SAVING_STATUS_SUCCESS;
    Digest digest;
    if (outcome.claims_success)
        for (auto const& [name, file] : saved_files(folder))
            digest.add(file.digest);
    else
        outcome.leaves_a_file = !form.is_split && !fs::is_empty(folder);
    outcome.digest = outcome.claims_success ? digest.value() : 0;
    fs::remove_all(folder);
    return outcome;
}

/// Loads a plate, and lets it go.
Outcome pixels_of(PlateImage& image)
{
    image.add_requester();
    Outcome outcome;
    outcome.claims_success = in_module([&] { return image.load(nullptr); });
    if (outcome.claims_success) {
        Digest digest;
        digest.add(image.get_pixels(), std::size_t(image.get_pixel_count()) * 4 * sizeof(float));
        outcome.digest = digest.value();
    }
    image.remove_requester();
    return outcome;
}

Outcome plate(std::string const& path)
{
    PlateImage image(path.c_str());
    return pixels_of(image);
}

/// The catalogue's plate of a file, which others may ask for, load and let go of at the same time.
Outcome catalogue(std::string const& path)
{
    PlateImageManager& manager = PlateImageManager::get();
    CoreString const name = path.c_str();
    PlateImage* const image = in_module([&] { return manager.get_or_create_plate_image(name); });
    if (!image)
        return {};
    image->add_requester();
    in_module([&] { return image->load(nullptr); });
    image->remove_requester();
    bool const is_the_same =
        in_module([&] { return manager.get_or_create_plate_image(name); }) == image &&
        in_module([&] { return manager.get_path_index(name) != PlateImageManager::kInvalidIndex; });
    in_module([&] { manager.log_statistics(); });
    return {is_the_same, is_the_same};
}

Outcome shared_image(std::string const& path)
{
    ResourceUser user;
    ImageIOTextureManager& manager = *ImageIOTextureManager::get_texture_manager();
    CoreString const name = path.c_str();
    ImageLoadOptions const options;
    ImageCanvas* const canvas = in_module([&] {
        return manager.load_image(user, name, options, nullptr, nullptr, ImagePixel::REPEAT_MODE_CLAMP,
                                  ImagePixel::REPEAT_MODE_CLAMP);
    });
    Outcome const outcome{canvas != nullptr, canvas ? digest_of(*canvas) : 0};
    in_module([&] { manager.remove_requester(&user); });
    return outcome;
}

Outcome lookups(std::string const& path)
{
    ImageIOTextureStream* const stream = ImageIOTextureStream::get_texture_stream();
    if (!stream)
        return {};
    Outcome outcome{true, 0};
    Digest digest;
    UniqueString const name(path.c_str());
    stream->invalidate(name);  // or nothing would be read again
    for (int i = 0; i < 32; ++i) {
        MapEvalCtx context;
        context.u = i / 32.0 - 0.5;
        context.v = i % 5 / 5.0 - 0.5;
        context.dudx = context.dvdy = 0.02;
        context.channel_count = 4;
        float result[4] = {};
        outcome.claims_success =
            in_module([&] { return stream->evaluate(name, context, 2, 2, 1, 3, result); }) &&
            outcome.claims_success;
        digest.add(result);
    }
    stream->invalidate(name);
    outcome.digest = outcome.claims_success ? digest.value() : 0;
    return outcome;
}

Outcome header(std::string const& path)
{
    ImageHeader found;
    CoreString const file = path.c_str();
    if (!in_module([&] { return ImageIO::get_image_specs(file, found); }))
        return {};
    Digest digest;
    digest.add(found.data_window);
    for (CoreString const& name : found.channel_names)
        digest.add(name.get_data(), name.get_count());
    return {true, digest.value()};
}

/// The services that an application starts, once.
void start_services()
{
    static OfApp app;
    if (ImageIOTextureManager::get_texture_manager())
        return;
    ImageIOTextureManager::init();
    PlateImageManager::create(app);
}

void add_loads(std::vector<Road>& roads, std::string const& folder)
{
    ImageLoadOptions converted, associated;
    converted.color_space = "sRGB";
    associated.color_space = "Linear";
    associated.premultiply = associated.force_alpha = true;
    for (char const* name : {"lines.exr", "tiles.exr", "cut_lines.exr", "cut_tiles.exr", "strips.tif",
                             "tiles.tif", "a.png", "a.jpg", "grey.tga", "a.hdr"}) {
        std::string const path = folder + "/" + name;
        bool const is_cut = std::string(name).starts_with("cut_");
        roads.push_back(
            {std::string("load ") + name, [path, converted] { return load(path, converted); }, is_cut});
        roads.push_back({std::string("load ") + name + ", alpha",
                         [path, associated] { return load(path, associated); }, is_cut});
    }
}

/// Of the forms that differ little, some: each road takes its time.
bool is_a_road(SaveForm const& form)
{
    if (form.extension == ".heic" || is_refused_form(form))  // takes long; is none
        return false;
    if (form.is_buffer)
        return form.extension == ".png" || form.extension == ".exr" || form.extension == ".tif";
    if (form.format == Format::SAVE_UNKNOWN)
        return !form.in_regions;
    if (form.extension != ".exr")
        return true;
    switch (form.compression) {
    case Format::COMPRESSION_NONE:
    case Format::COMPRESSION_ZIP:
        return true;
    case Format::COMPRESSION_PIZ:
    case Format::COMPRESSION_B44:
    case Format::COMPRESSION_DWAA:
        return !form.in_regions && form.format == Format::SAVE_EXR16;
    default:
        return false;
    }
}

void add_saves(std::vector<Road>& roads, std::string const& folder)
{
    auto const saver = std::make_shared<FormSaver>();
    for (SaveForm const& form : save_forms())
        if (is_a_road(form))
            roads.push_back({"save " + form.name + (form.in_regions ? ", regions" : ""),
                             [saver, form, folder] { return save(*saver, form, folder); }});
    // Lines whose numbers are long, and tiles that OpenImageIO writes.
    auto const tall_saver = std::make_shared<FormSaver>(1, 1030);
    SaveForm const tall{"tall", "tall", ".tif", Format::SAVE_TIFF8},
        tiles{"unknown exr tiles", "tiles", ".exr", Format::SAVE_UNKNOWN, Format::COMPRESSION_NONE, 1};
    roads.push_back(
        {"save tall tiff8", [tall_saver, tall, folder] { return save(*tall_saver, tall, folder); }});
    roads.push_back(
        {"save unknown exr tiles", [saver, tiles, folder] { return save(*saver, tiles, folder); }});
}

}  // namespace

void make_road_files(std::string const& folder)
{
    zv_test::ExrPicture picture;
    picture.width = 150;
    picture.height = 90;
    picture.channels = {{"A"}, {"B"}, {"G"}, {"R"}, {"depth.Z", Imf::FLOAT}};
    zv_test::write_exr(folder + "/lines.exr", picture);
    picture.tile = 32;
    zv_test::write_exr(folder + "/tiles.exr", picture);
    for (char const* name : {"lines.exr", "tiles.exr"}) {
        fs::copy_file(folder + "/" + name, folder + "/cut_" + name, fs::copy_options::overwrite_existing);
        zv_test::cut_file_to(folder + "/cut_" + name, 0.6);
    }
    zv_test::write_picture(folder + "/strips.tif", zv_test::picture_spec(150, 90, 4, TypeDesc::UINT16));
    zv_test::write_picture(folder + "/tiles.tif",
                           zv_test::picture_spec(150, 90, 4, TypeDesc::FLOAT, 0, 0, 32));
    zv_test::write_picture(folder + "/a.png", zv_test::picture_spec(150, 90, 4, TypeDesc::UINT8));
    zv_test::write_picture(folder + "/a.jpg", zv_test::picture_spec(150, 90, 3, TypeDesc::UINT8));
    zv_test::write_picture(folder + "/grey.tga", zv_test::picture_spec(150, 90, 1, TypeDesc::UINT8));
    zv_test::write_picture(folder + "/a.hdr", zv_test::picture_spec(150, 90, 3, TypeDesc::FLOAT));
}

void forget_tiles()
{
    ImageTileFactory::get().free_unused_tiles(false);
}

unsigned long long error_lines()
{
    return t_error_lines;
}

std::vector<Road> all_roads(std::string const& folder)
{
    start_services();
    CoreLogHandler::set_sink([](int level, CoreString const&) { t_error_lines += level == 1; });
    std::vector<Road> roads;
    add_loads(roads, folder);
    add_saves(roads, folder);
    for (char const* name : {"lines.exr", "tiles.exr", "a.png"}) {
        std::string const path = folder + "/" + name;
        roads.push_back({std::string("plate ") + name, [path] { return plate(path); }});
        roads.push_back({std::string("catalogue ") + name, [path] { return catalogue(path); }});
        roads.push_back({std::string("shared image ") + name, [path] { return shared_image(path); }});
        roads.push_back({std::string("header ") + name, [path] { return header(path); }});
        roads.push_back({std::string("lookups ") + name, [path] { return lookups(path); }});
    }
    return roads;
}

}  // namespace zv_torture
