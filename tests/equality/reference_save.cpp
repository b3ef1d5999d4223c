#include "tests/equality/reference_save.h"

#include <algorithm>
#include <climits>

#include <OpenImageIO/imageio.h>

#include "host/app_base/app_progress_bar.h"
#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/of/of_app.h"
#include "image_io/save/image_save_options.h"
#include "tests/equality/plain_colour.h"
#include "tests/equality/reference_output.h"
#include "tests/save/jenkins_order.h"

namespace zv_equality {

namespace {

/// A bar below `progress`, or null; the application's from the start.
AppProgressBar* child_of(OfApp* app, AppProgressBar* progress, std::string const& behind_title)
{
    if (!progress || !app)
        return nullptr;
    return app->create_progress_bar((text_of(progress->m_title) + behind_title).c_str(), false, false);
}

void finish(AppProgressBar* child)
{
    if (!child)
        return;
    child->finish();
    child->m_finished = true;
}

std::vector<std::string> split(std::string const& text, char separator)
{
    std::vector<std::string> pieces;
    if (text.empty())
        return pieces;
    std::size_t begin = 0;
    for (std::size_t end; (end = text.find(separator, begin)) != std::string::npos; begin = end + 1)
        pieces.push_back(text.substr(begin, end - begin));
    pieces.push_back(text.substr(begin));
    return pieces;
}

bool is_number(std::string text)
{
    if (!text.empty() && (text[0] == '-' || text[0] == '+'))
        text = text.substr(1);
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/// The first four names of the list at most, those that the map has.
Channels listed_channels(ImageMap const& map, CoreBasicArray<CoreString> const& names)
{
    Channels found;
    for (unsigned number = 0; number < names.get_count() && number < 4; ++number)
        if (ImageMapChannel* const channel = map.get_channel_by_name(names[number]))
            found.push_back(channel);
    return found;
}

Channels main_channels(ImageMap const& map, ImageSaveOptions const& options)
{
    return options.layers ? listed_channels(map, *options.layers) : colour_channels(map);
}

OIIO::TypeDesc buffer_type(ImageIOFileFormat::Save format)
{
    switch (format) {
    case ImageIOFileFormat::SAVE_BMP:
    case ImageIOFileFormat::SAVE_TARGA:
    case ImageIOFileFormat::SAVE_PNG8:
        return OIIO::TypeDesc::UINT8;
    case ImageIOFileFormat::SAVE_PNG16:
        return OIIO::TypeDesc::UINT16;
    default:
        return OIIO::TypeDesc::FLOAT;
    }
}

Status write_buffer(std::string const& filename, ImageIOFileFormat::Save format,
                    std::vector<float> const& pixels, int channels, int width, int height)
{
    auto const output = OIIO::ImageOutput::create(filename, nullptr, "");
    if (!output) {
        say(1, "Could not write " + filename + "\n");
        return 2;
    }
    OIIO::ImageSpec spec(width, height, channels, buffer_type(format));
    if (filename.find(".tga") != std::string::npos)
        spec.attribute("oiio:UnassociatedAlpha", 1);
    bool written = output->open(filename, spec, OIIO::ImageOutput::Create);
    if (written) {
        written = output->write_image(OIIO::TypeDesc::FLOAT, pixels.data());
        output->close();
    }
    if (!written) {
        say(1, "Could not write " + filename + ", error = " + output->geterror() + "\n");
        return 2;
    }
    return 0;
}

Status write_one_file(std::string const& filename, ImageSaveOptions const& options, Channels const& channels,
                      Place const& region, AppProgressBar* progress)
{
    if (progress)
        progress->set_value(0.0f);
    int const count = int(channels.size());
    int const out_channels = std::max(count, 3);
    std::string const space = text_of(options.color_space), own_space = default_colour_space();
    bool const converts = !space.empty() && space != own_space;
    bool const divides = converts && options.format != ImageIOFileFormat::SAVE_JPEG && count == 4;

    std::vector<float> buffer(
        std::size_t(out_channels) * std::size_t(region.width) * std::size_t(region.height), 0.0f);
    std::size_t place = 0;
    for (int y = region.y; y < region.end_y(); ++y)
        for (int x = region.x; x < region.end_x(); ++x) {
            auto const sample = [&](int number) {
                ImageMapChannel* const channel = channels[std::size_t(number)];
                return channel ? sample_of(*channel, x, y) : 0.0f;
            };
            float const factor = divides ? 1.0f / sample(3) : 1.0f;
            for (int number = 0; number < 3; ++number)
                buffer[place++] = number < count ? sample(number) * factor : 0.0f;
            if (count > 3)
                buffer[place++] = sample(3);
        }
    if (converts) {
        PlainConversion const conversion(own_space, space);
        for (std::size_t pixel = 0; pixel < buffer.size(); pixel += std::size_t(out_channels))
            conversion.convert_pixel(&buffer[pixel], out_channels);
    }
    if (divides)
        for (std::size_t pixel = 0; pixel < buffer.size(); pixel += 4)
            for (std::size_t colour = 0; colour < 3; ++colour)
                buffer[pixel + colour] = buffer[pixel + colour] * buffer[pixel + 3];

    Status const status =
        write_buffer(filename, options.format, buffer, out_channels, region.width, region.height);
    if (progress)
        progress->set_value(1.0f);
    return status;
}

Status save_basic(std::string const& path, ImageSaveOptions const& options, ImageMap const& map,
                  Place const& canvas, OfApp* app, AppProgressBar* progress)
{
    std::vector<Layer> const layers = layers_of(map);
    if (progress) {
        progress->set_value(0.0f);
        progress->set_step_count(unsigned(layers.size() + 1));
    }
    AppProgressBar* child = child_of(app, progress, " (RGB) ");
    Status status = write_one_file(path, options, main_channels(map, options), canvas, child);
    if (child) {
        finish(child);
        progress->step(1);
    }
    if (!app || !app->output_aovs_in_all_formats)
        return status;
    unsigned step = 2;
    for (Layer const& layer : layers) {
        child = child_of(app, progress, " (" + layer.name + ") ");
        status = std::max(
            status, write_one_file(layer_file(path, layer.name), options, layer.channels, canvas, child));
        if (child) {
            finish(child);
            progress->step(step++);
        }
    }
    return status;
}

Status save_advanced(ImageEvalContext& context, std::string const& path, ImageSaveOptions const& options,
                     ImageMap const& map, Place const& canvas, Place const& region, OfApp* app,
                     AppProgressBar* progress)
{
    if (progress)
        progress->set_value(0.0f);
    ReferenceOutputs outputs;
    Status const status = reference_build_outputs(app, options, path, map, region, canvas, outputs);
    if (status != 0)
        return status;
    return reference_write_all(app, outputs, context, progress);
}

bool holds_layers(ImageIOFileFormat::Save format)
{
    return format == ImageIOFileFormat::SAVE_EXR16 || format == ImageIOFileFormat::SAVE_EXR32 ||
           format == ImageIOFileFormat::SAVE_TIFF8 || format == ImageIOFileFormat::SAVE_TIFF16 ||
           format == ImageIOFileFormat::SAVE_TIFF32;
}

/// Channels whose name is, or is not, that of one of the four colour channels.
Channels chosen_channels(ImageMap const& map, bool colours)
{
    Channels chosen;
    for (ImageMapChannel* const channel : map.m_channels) {
        if (!channel)
            continue;
        bool is_colour = false;
        if (map.m_rgba_channels)
            for (ImageMapChannel const* const slot :
                 {map.m_rgba_channels->m_red, map.m_rgba_channels->m_green, map.m_rgba_channels->m_blue,
                  map.m_rgba_channels->m_alpha})
                is_colour = is_colour || (slot && slot->m_name == channel->m_name);
        if (is_colour == colours)
            chosen.push_back(channel);
    }
    return chosen;
}

Place region_of(Place const& canvas, ImageCanvas const& image, GMathVec4<float> const* crop)
{
    if (!crop)
        return Place(*image.m_map->m_bbox);
    auto const width = static_cast<float>(canvas.width), height = static_cast<float>(canvas.height);
    return {static_cast<int>(width * (*crop)[0]), static_cast<int>(height * (*crop)[1]),
            static_cast<int>(width * (*crop)[2]), static_cast<int>(height * (*crop)[3])};
}

}  // namespace

Channels colour_channels(ImageMap const& map)
{
    Channels found;
    if (map.m_rgba_channels)
        for (ImageMapChannel* const slot :
             {map.m_rgba_channels->m_luminance, map.m_rgba_channels->m_red, map.m_rgba_channels->m_green,
              map.m_rgba_channels->m_blue, map.m_rgba_channels->m_alpha})
            if (slot)
                found.push_back(slot);
    return found;
}

std::vector<Layer> layers_of(ImageMap const& map)
{
    std::vector<Layer> layers;
    for (ImageMapChannel* const channel : map.m_channels) {
        if (!channel || channel->m_index != 6)
            continue;
        std::vector<std::string> const pieces = split(text_of(channel->m_name), '.');
        if (pieces.empty() || pieces[0].empty())
            continue;
        auto layer = std::find_if(layers.begin(), layers.end(),
                                  [&](Layer const& known) { return known.name == pieces[0]; });
        if (layer == layers.end())
            layer = layers.insert(layers.end(), {pieces[0], {}});
        layer->channels.push_back(channel);
    }
    if (layers.size() <= 256)
        return layers;
    // The table of so many is walked in the order of its slots.
    std::vector<std::string> names;
    for (Layer const& layer : layers)
        names.push_back(layer.name);
    std::vector<Layer> sorted;
    for (std::string const& name : zv_test::hash_order(names))
        sorted.push_back(*std::find_if(layers.begin(), layers.end(),
                                       [&](Layer const& layer) { return layer.name == name; }));
    return sorted;
}

std::string layer_file(std::string const& path, std::string const& layer)
{
    if (layer == "rgba")
        return path;
    std::size_t const slash = path.rfind('/');
    std::string const folder = slash == std::string::npos ? "" : path.substr(0, slash);
    std::vector<std::string> parts = split(slash == std::string::npos ? path : path.substr(slash + 1), '.');
    if (parts.empty())
        return "";
    std::size_t chosen = 0;
    for (std::size_t part = parts.size() - 1; part > 0; --part)
        if (is_number(parts[part])) {
            chosen = part - 1;
            break;
        }
    if (!layer.empty())
        parts[chosen] += "_" + layer;
    std::string name = parts[0];
    for (std::size_t part = 1; part < parts.size(); ++part)
        name += "." + parts[part];
    return folder + "/" + name;
}

ReferenceOutputs::ReferenceOutputs() = default;
ReferenceOutputs::~ReferenceOutputs()
{
    for (auto& output : list)
        output.reset();
}

Status reference_build_outputs(OfApp* app, ImageSaveOptions const& options, std::string const& path,
                               ImageMap const& map, Place const& region, Place const& canvas,
                               ReferenceOutputs& outputs)
{
    bool split_files = app && app->output_one_file_per_aov;
    bool const all_formats = app && app->output_aovs_in_all_formats;
    bool const aovs_only = app && app->output_aovs_only;
    bool colour_only = false;
    if (!split_files && !holds_layers(options.format)) {
        bool const many = map.m_channels.get_count() > 4;
        if (!all_formats) {
            colour_only = true;
            if (many)
                say(2, "Specified output file type does not support multiple layers. Ignoring AOVs. ( enable "
                       "'Output Aovs In All Format' to force write ).\n");
        } else if (many) {
            say(3, "Specified output file type does not support multiple layers. Writing separate files.\n");
            split_files = true;
        }
    }
    auto const open = [&](std::string const& name, std::string const& file, Channels channels,
                          ImageSaveOptions const& file_options) -> Status {
        auto output = std::make_unique<ReferenceOutput>(map, name, file, std::move(channels));
        if (!output->open(app, file_options, region, canvas, map.m_tile_size))
            return 2;
        outputs.list.push_back(std::move(output));
        return 0;
    };
    if (!split_files) {
        Channels channels(map.m_channels.begin(), map.m_channels.end());
        if (colour_only || aovs_only) {
            channels = chosen_channels(map, colour_only);
            if (channels.empty()) {
                ReferenceOutput const unopened(map, "image", path, {});
                return 1;
            }
        }
        return open("image", path, std::move(channels), options);
    }
    if (!aovs_only)
        if (Status const status = open("RGBA", path, main_channels(map, options), options); status != 0)
            return status;
    ImageSaveOptions const without_metadata(options, false);
    for (Layer const& layer : layers_of(map))
        if (Status const status =
                open(layer.name, layer_file(path, layer.name), layer.channels, without_metadata);
            status != 0)
            return status;
    return outputs.list.empty() ? 1 : 0;
}

Status reference_write_all(OfApp* app, ReferenceOutputs& outputs, ImageEvalContext& context,
                           AppProgressBar* progress)
{
    if (progress)
        progress->set_step_count(unsigned(outputs.list.size()));
    for (std::size_t number = 0; number < outputs.list.size(); ++number) {
        ReferenceOutput& output = *outputs.list[number];
        AppProgressBar* const child = child_of(app, progress, " (" + output.name() + ")");
        Status const status = output.write(context, child);
        if (progress) {
            finish(child);
            progress->step(unsigned(number));
        }
        if (status != 0)
            return status;
    }
    return 0;
}

Status reference_write_region(ReferenceOutputs& outputs, ImageEvalContext& context, Place const& region,
                              AppProgressBar* progress)
{
    for (auto& output : outputs.list)
        if (Status const status = output->write_region(context, region, progress); status != 0)
            return status;
    return 0;
}

Status reference_save(std::string const& path, ImageSaveOptions& options, ImageCanvas const& canvas,
                      OfApp* app, AppProgressBar* progress, GMathVec4<float> const* crop)
{
    if (canvas.get_image()->get_channel_count() == 0) {
        say(1, "ImageIO Save failed: Image is empty!\n");
        return 1;
    }
    options.add_image_canvas_meta_data(canvas);
    AppProgressBar* const bar = child_of(app, progress, " (" + path.substr(path.rfind('/') + 1) + ")");
    Place const whole(canvas.get_x(), canvas.get_y(), canvas.get_width(), canvas.get_height());
    Place const region = region_of(whole, canvas, crop);
    if (region == Place(0, 0, 0, 0)) {
        finish(bar);
        return 1;
    }
    ImageEvalContext context(canvas, 0);
    if (bar)
        bar->set_value(0.0f);
    bool const simple = options.format >= 2 && options.format <= 6;
    Status const status =
        simple ? save_basic(path, options, *canvas.get_map(), whole, app, bar)
               : save_advanced(context, path, options, *canvas.get_map(), whole, region, app, bar);
    if (bar)
        bar->set_value(1.0f);
    finish(bar);
    if (status == 0)
        say(3, "File '" + path + "' saved in 0ms.\n");
    return status;
}

}  // namespace zv_equality
