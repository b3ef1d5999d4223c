#include "tests/equality/reference_load.h"

#include <cmath>
#include <memory>

#include <OpenImageIO/imageio.h>

#include "host/app_base/app_progress_bar.h"
#include "host/sys/sys_filesystem.h"
#include "image_io/load/image_load_options.h"
#include "tests/equality/plain_colour.h"
#include "tests/equality/reference_reads.h"

namespace zv_equality {

namespace {

bool ends_with(std::string const& text, std::string const& ending)
{
    return text.size() >= ending.size() && text.substr(text.size() - ending.size()) == ending;
}

void say_library_error()
{
    std::string const error = OIIO::geterror();
    if (!error.empty())
        say(2, " " + error + "\n");
}

std::unique_ptr<OIIO::ImageInput> open_header(std::string const& path, OIIO::ImageSpec& spec)
{
    if (path.empty())
        say(2, "Loading image header: file name is empty.\n");
    auto input = OIIO::ImageInput::create(path, false, nullptr, nullptr, "");
    if (!input) {
        say(2, "Failed to load image '" + path + "': could not create image input.\n");
        say_library_error();
        return nullptr;
    }
    OIIO::ImageSpec configuration{OIIO::TypeDesc(OIIO::TypeDesc::UNKNOWN)};
    if (ends_with(path, ".tif") || ends_with(path, ".tiff") || ends_with(path, ".tga"))
        configuration.attribute("oiio:UnassociatedAlpha", 1);
    if (!input->open(path, spec, configuration)) {
        say(2, "Failed to load image '" + path + "': could not open file.\n");
        say_library_error();
        return nullptr;
    }
    return input;
}

/// False for types that are not loaded.
bool choose_type(OIIO::ImageSpec& spec, SampleType& type)
{
    if (spec.format == OIIO::TypeDesc::HALF)
        for (int channel = 1; channel < spec.nchannels; ++channel)
            if (spec.channelformat(channel) != spec.channelformat(0)) {
                spec.format = OIIO::TypeDesc::FLOAT;
                break;
            }
    switch (spec.format.basetype) {
    case OIIO::TypeDesc::UINT8:
    case OIIO::TypeDesc::INT8:
        type = {1, false};
        return true;
    case OIIO::TypeDesc::UINT16:
    case OIIO::TypeDesc::INT16:
        type = {2, false};
        return true;
    case OIIO::TypeDesc::UINT32:
    case OIIO::TypeDesc::INT32:
        type = {4, false};
        return true;
    case OIIO::TypeDesc::HALF:
        type = {2, true};
        return true;
    case OIIO::TypeDesc::FLOAT:
    case OIIO::TypeDesc::DOUBLE:
        type = {4, true};
        return true;
    default:
        return false;
    }
}

int depth_of(PlainPicture& picture)
{
    bool const alpha = picture.find("a") != nullptr;
    if (picture.find("r"))
        return alpha ? 4 : 3;
    if (picture.find("l"))
        return alpha ? 2 : 1;
    return 0;
}

bool read_samples(OIIO::ImageInput& input, OIIO::ImageSpec& spec, PlainPicture& picture,
                  ImageLoadOptions const& options, AppProgressBar* progress)
{
    if (progress)
        progress->set_value(0.1f);
    // An empty map is what it was made as.
    picture.type = {4, true};
    picture.depth = 4;
    SampleType type;
    if (spec.nchannels == 0 || !choose_type(spec, type))
        return false;
    if (spec.tile_width != spec.tile_height)
        return false;
    picture.type = type;
    picture.tile_size = spec.tile_width == 0 ? 64 : spec.tile_width;
    bool const read = spec.tile_width == 0 ? read_scanlines(input, spec, picture, options, progress)
                                           : read_tiles(input, spec, picture, options, progress);
    picture.depth = depth_of(picture);
    return read;
}

/// One pixel of the colour channels; null where there is no such channel.
void convert_pixel(std::array<float*, 5> const& slots, bool premultiply, PlainConversion const& conversion)
{
    auto const [red, green, blue, alpha, luminance] = slots;
    auto const scale_colours = [&, red = red, green = green, blue = blue,
                                luminance = luminance](float factor) {
        for (float* const colour : {red, green, blue, luminance})
            if (colour)
                *colour = *colour * factor;
    };
    if (!premultiply && alpha && std::fabs(static_cast<double>(*alpha)) > 1e-8)
        scale_colours(1.0f / *alpha);
    float const opacity = alpha ? *alpha : 0.0f;
    if (luminance) {
        float green_and_blue[2] = {0.0f, 0.0f};
        conversion.convert(*luminance, green_and_blue[0], green_and_blue[1], opacity);
    } else if (red && green && blue) {
        conversion.convert(*red, *green, *blue, opacity);
    }
    if (alpha)
        scale_colours(*alpha);
}

void convert_colours(PlainPicture& picture, ImageLoadOptions const& options)
{
    PlainConversion const conversion(text_of(options.color_space), default_colour_space());
    if (!options.premultiply && !conversion.is_enabled())
        return;
    std::array<PlainChannel*, 5> const channels = {picture.find("r"), picture.find("g"), picture.find("b"),
                                                   picture.find("a"), picture.find("l")};
    for (int y = picture.data_window.y; y < picture.data_window.end_y(); ++y)
        for (int x = picture.data_window.x; x < picture.data_window.end_x(); ++x) {
            std::array<float, 5> values{};
            std::array<float*, 5> slots{};
            for (std::size_t slot = 0; slot < 5; ++slot)
                if (channels[slot]) {
                    slots[slot] = &values[slot];
                    values[slot] = to_float(channels[slot]->at(x, y), picture.type);
                }
            std::array<float, 5> const before = values;
            convert_pixel(slots, options.premultiply, conversion);
            for (std::size_t slot = 0; slot < 5; ++slot) {
                // A sample that kept its value keeps its bits, which a float may not hold all of.
                bool const is_kept = !picture.type.floating && values[slot] == before[slot];
                if (channels[slot] && !is_kept)
                    channels[slot]->at(x, y) = from_float(values[slot], picture.type);
            }
        }
}

void load_picture(std::string const& path, PlainPicture& picture, ImageLoadOptions const& options,
                  AppProgressBar* progress)
{
    if (progress)
        progress->set_value(0.0f);
    if (!SysFilesystem::file_exists(path.c_str()))
        return;
    OIIO::ImageSpec spec{OIIO::TypeDesc(OIIO::TypeDesc::UNKNOWN)};
    if (progress)
        progress->begin_task("read header", 0.1f, false);
    auto const input = open_header(path, spec);
    if (progress)
        progress->end_task();
    if (!input)
        return;
    if (spec.nchannels == 0) {
        input->close();
        return;
    }
    picture.data_window = Place(spec.x, spec.y, spec.width, spec.height);
    picture.display_window = Place(spec.full_x, spec.full_y, spec.full_width, spec.full_height);
    if (progress)
        progress->begin_task("read data", 0.8f, false);
    picture.loaded = read_samples(*input, spec, picture, options, progress);
    if (progress)
        progress->end_task();
    if (picture.loaded) {
        if (picture.depth > 0 && options.force_alpha && !picture.find("a")) {
            picture.add("a").create(picture.data_window, from_float(1.0f, picture.type));
            picture.depth += 1;
        }
        if (text_of(options.color_space) != default_colour_space() || options.premultiply)
            convert_colours(picture, options);
    }
    input->close();
}

}  // namespace

PlainChannel& PlainPicture::add(std::string const& name)
{
    channels.push_back({name, {}, {}});
    return channels.back();
}

PlainChannel* PlainPicture::find(std::string const& name)
{
    for (PlainChannel& channel : channels)
        if (channel.name == name)
            return &channel;
    return nullptr;
}

void PlainPicture::clamp(PlainChannel& channel) const
{
    if (!type.floating)
        return;
    for (std::uint32_t& sample : channel.bits) {
        float const value = to_float(sample, type);
        if (value < 0.0f)
            sample = from_float(0.0f, type);
        if (value > 1.0f)
            sample = from_float(1.0f, type);
    }
}

std::uint32_t bits_at(unsigned char const* buffer, std::size_t offset, unsigned bytes)
{
    std::uint32_t bits = 0;
    for (unsigned byte = 0; byte < bytes; ++byte)
        bits |= std::uint32_t(buffer[offset + byte]) << (8 * byte);
    return bits;
}

int find_in_file(OIIO::ImageSpec const& spec, std::string const& name)
{
    for (int channel = 0; channel < spec.nchannels; ++channel)
        if (lower(spec.channelnames[std::size_t(channel)]) == name)
            return channel;
    return -1;
}

unsigned wanted_count(ImageLoadOptions const& options)
{
    return options.channels->get_count() < 4 ? options.channels->get_count() : 4;
}

PlainPicture reference_load(std::string const& path, ImageLoadOptions const& options,
                            AppProgressBar* progress)
{
    PlainPicture picture;
    if (progress)
        progress->set_value(0.0f);
    load_picture(path, picture, options, progress);
    if (progress && picture.loaded)
        progress->set_value(1.0f);
    return picture;
}

}  // namespace zv_equality
