#include <OpenImageIO/imageio.h>

#include <array>
#include <exception>
#include <string>
#include <string_view>

#include "host/colorio/color_io_manager.h"
#include "host/image/image_map_channel.h"
#include "host/of/of_app.h"
#include "image_io/frame/checked_image_output.h"
#include "image_io/frame/log_line.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"
#include "image_io/save/sample_types.h"

namespace {

using OIIO::ImageSpec;
using OIIO::TypeDesc;
using Channels = CoreBasicArray<ImageMapChannel*>;

std::string channel_name(ImageMapChannel const* channel, unsigned int index)
{
    if (!channel)
        return "channel" + std::to_string(index);
    CoreString const& name = channel->m_name;
    if (name.get_count() == 1)
        return std::string(name.get_upper_case().view());
    return name == "depth.z" ? "depth.Z" : std::string(name.view());
}

/// The sample type of a channel whose layer is in the application's catalogue; `otherwise` for all others.
TypeDesc layer_sample_type(OfApp const* app, ImageMapChannel const* channel, TypeDesc otherwise)
{
    if (!app || !channel)
        return otherwise;
    OfChannelManager const& layers = app->get_channel_manager();
    short const layer = layers.get_layer_index_from_channel_name(channel->m_name);
    if (layer == OfChannelManager::INVALID_INDEX)
        return otherwise;
    bool const is_integer = layers.get_bit_type(layer) == ImagePixel::BIT_TYPE_INTEGER;
    switch (layers.get_bit_depth(layer)) {
    case 1:
        return TypeDesc::UINT8;
    case 2:
        return is_integer ? TypeDesc::UINT16 : TypeDesc::HALF;
    case 4:
        return is_integer ? TypeDesc::UINT32 : TypeDesc::FLOAT;
    default:
        return otherwise;
    }
}

void describe_channels(ImageSpec& spec, OfApp const* app, Channels const& channels, bool is_exr)
{
    for (unsigned int index = 0; index < channels.get_count(); ++index) {
        spec.channelnames[index] = channel_name(channels[index], index);
        if (is_exr)
            spec.channelformats.push_back(layer_sample_type(app, channels[index], spec.format));
    }
}

bool has_extra_channel(Channels const& channels)
{
    for (ImageMapChannel const* channel : channels)
        if (channel && channel->m_index == ImageMapChannel::kIndexExtra)
            return true;
    return false;
}

void set_window(ImageSpec& spec, GMathVec4<int> const& window)
{
    spec.x = window[0];
    spec.y = window[1];
    spec.width = window[2];
    spec.height = window[3];
}

void set_matrix(ImageSpec& spec, ImageSaveOptions::MetaData const& item)
{
    std::array<float, 16> matrix;
    if (item.values.get_count() < matrix.size())
        return;
    for (unsigned int index = 0; index < matrix.size(); ++index)
        matrix[index] = static_cast<float>(item.values[index].get_double());
    spec.attribute(std::string(item.name.view()), TypeDesc(TypeDesc::FLOAT, TypeDesc::MATRIX44),
                   matrix.data());
}

/// Three names are known; all other metadata is for OpenEXR files.
void set_metadata(ImageSpec& spec, CoreArray<ImageSaveOptions::MetaData> const& meta_data)
{
    for (ImageSaveOptions::MetaData const& item : meta_data) {
        if (item.name == "worldToCamera" || item.name == "worldToNDC")
            set_matrix(spec, item);
        else if (item.name == "comment" && !item.values.is_empty())
            spec.attribute("comment", std::string(item.values[0].get_string().view()));
    }
}

std::nullptr_t refuse(CoreString const& filename, std::string const& error)
{
    using namespace zv_image_io;
    log_line(kLogError, "Error while opening '", filename, "'.\n");
    if (!error.empty())
        log_line(kLogError, "OpenImageIO error: ", error.c_str(), "\n");
    return nullptr;
}

/// Opens the file. Null after the lines that say why not.
std::unique_ptr<OIIO::ImageOutput> open_output(std::unique_ptr<zv_image_io::CheckedImageOutput> output,
                                               CoreString const& filename, ImageSpec const& spec)
{
    std::string_view const format = output->format_name();
    if (format == "iff" || format == "jpeg2000")
        // Closed before everything was written, these writers read memory that nobody filled.
        return refuse(filename, "files of this format are written at once");
    if (!output->open(std::string(filename.view()), spec, OIIO::ImageOutput::Create))
        return refuse(filename, output->geterror());
    return output;
}

}  // namespace

std::unique_ptr<OIIO::ImageOutput>
ImageIOSave::build_image_output(OfApp* app, ImageSaveOptions const& options, CoreString const& filename,
                                Channels const& channels, int tile_size,
                                GMathVec4<int> const& canvas_rectangle, GMathVec4<int> const& region,
                                CoreString const& color_space)
try {
    bool const is_exr = options.is_file_exr();
    ImageSpec spec(canvas_rectangle[2], canvas_rectangle[3], static_cast<int>(channels.get_count()),
                   zv_image_io::streamed_sample_type(options.format, filename));
    describe_channels(spec, app, channels, is_exr);
    set_window(spec, is_exr ? region : canvas_rectangle);
    if (is_exr && !has_extra_channel(channels)) {
        char const separator = ColorIOManager::s_instance->get_color_space_enum_separator();
        spec.attribute("ColorSpace", std::string(CoreString::after_first(color_space, separator).view()));
    }
    set_metadata(spec, options.meta_data);
    spec.attribute("PixelAspectRatio", options.pixel_aspect_ratio);

    auto output = zv_image_io::CheckedImageOutput::make(std::string(filename.view()));
    if (!output)
        return nullptr;
    // Writers without tiles take the tile size all the same, and then make black files of strips.
    if (app && app->tiling_mode == 1 && tile_size > 0 && output->supports("tiles"))
        spec.tile_width = spec.tile_height = tile_size;
    return open_output(std::move(output), filename, spec);
} catch (std::exception const& exception) {
    zv_image_io::log_line(zv_image_io::kLogError, "Error while opening '", filename, "'.\n");
    zv_image_io::log_line(zv_image_io::kLogError, "OpenImageIO error: ", exception.what(), "\n");
    return nullptr;
} catch (...) {
    return nullptr;
}
