#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/app_base/app_progress_bar.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/of/of_app.h"
#include "image_io/save/image_save_options.h"
#include "tests/equality/plain_colour.h"
#include "tests/equality/reference_output.h"

namespace zv_equality {

namespace {

OIIO::TypeDesc sample_type(ImageIOFileFormat::Save format, std::string const& filename)
{
    auto const ends_with = [&](std::string const& ending) {
        return filename.size() >= ending.size() && filename.substr(filename.size() - ending.size()) == ending;
    };
    switch (format) {
    case ImageIOFileFormat::SAVE_TIFF8:
        return OIIO::TypeDesc::UINT8;
    case ImageIOFileFormat::SAVE_TIFF16:
        return OIIO::TypeDesc::UINT16;
    case ImageIOFileFormat::SAVE_UNKNOWN:
        return ends_with(".tif") || ends_with(".tiff") ? OIIO::TypeDesc::UINT8 : OIIO::TypeDesc::FLOAT;
    default:
        return OIIO::TypeDesc::FLOAT;
    }
}

std::string name_in_file(ImageMapChannel const* channel, std::size_t position)
{
    if (!channel)
        return "channel" + std::to_string(position);
    std::string const name = text_of(channel->m_name);
    return name.size() == 1 ? upper(name) : name == "depth.z" ? "depth.Z" : name;
}

void add_metadata(OIIO::ImageSpec& spec, ImageSaveOptions::MetaData const& item)
{
    std::string const name = text_of(item.name);
    if ((name == "worldToCamera" || name == "worldToNDC") && item.values.get_count() >= 16) {
        float matrix[16];
        for (unsigned index = 0; index < 16; ++index)
            matrix[index] = static_cast<float>(item.values[index].get_double());
        spec.attribute(name, OIIO::TypeDesc(OIIO::TypeDesc::FLOAT, OIIO::TypeDesc::MATRIX44), matrix);
    }
    if (name == "comment" && item.values.get_count() != 0)
        spec.attribute(name, text_of(item.values[0].get_string()));
}

/// Four floats a pixel, whatever the pixels are, as far as the buffer goes; before and after a conversion.
void divide_by_alpha(std::vector<float>& buffer, std::size_t pixels)
{
    for (std::size_t pixel = 0; pixel < pixels && pixel * 4 + 3 < buffer.size(); ++pixel) {
        float* const colour = &buffer[pixel * 4];
        if (std::fabs(static_cast<double>(colour[3])) <= 1e-08 || std::isnan(colour[3]))
            continue;
        float const factor = 1.0f / colour[3];
        for (int index = 0; index < 3; ++index)
            colour[index] = colour[index] * factor;
    }
}

void multiply_by_alpha(std::vector<float>& buffer, std::size_t pixels)
{
    for (std::size_t pixel = 0; pixel < pixels && pixel * 4 + 3 < buffer.size(); ++pixel)
        for (std::size_t index = 0; index < 3; ++index)
            buffer[pixel * 4 + index] = buffer[pixel * 4 + index] * buffer[pixel * 4 + 3];
}

void convert(std::vector<float>& buffer, std::size_t pixels, int channels, PlainConversion const& conversion)
{
    for (std::size_t pixel = 0; pixel < pixels; ++pixel)
        conversion.convert_pixel(&buffer[pixel * std::size_t(channels)], channels);
}

}  // namespace

bool ReferenceOutput::open_oiio(OfApp* app, ImageSaveOptions const& options, Place const&,
                                Place const& canvas, int tile_size)
{
    if (m_channels.empty()) {
        // No file library is asked; the text is the module's own.
        say(1, "Error while opening '" + m_filename + "'.\n");
        say(1, "OpenImageIO error: the image has no channels\n");
        return false;
    }
    OIIO::ImageSpec spec(canvas.width, canvas.height, int(m_channels.size()),
                         sample_type(options.format, m_filename));
    for (std::size_t position = 0; position < m_channels.size(); ++position)
        spec.channelnames[position] = name_in_file(m_channels[position], position);
    spec.x = canvas.x;
    spec.y = canvas.y;
    for (ImageSaveOptions::MetaData const& item : options.meta_data)
        add_metadata(spec, item);
    spec.attribute("PixelAspectRatio", options.pixel_aspect_ratio);
    m_oiio = OIIO::ImageOutput::create(m_filename, nullptr, "");
    if (!m_oiio)
        return false;
    if (app && app->tiling_mode == 1 && m_oiio->supports("tiles")) {
        spec.tile_width = tile_size;
        spec.tile_height = tile_size;
    }
    if (m_oiio->open(m_filename, spec, OIIO::ImageOutput::Create))
        return true;
    say(1, "Error while opening '" + m_filename + "'.\n");
    say_writer_error();
    m_oiio.reset();
    return false;
}

bool ReferenceOutput::write_oiio_strips(Place const& region, AppProgressBar* progress)
{
    OIIO::ImageSpec const& spec = m_oiio->spec();
    int const count = int(m_channels.size());
    PlainConversion const conversion(m_color_space.empty() ? "" : default_colour_space(), m_color_space);
    std::vector<float> strip(std::size_t(spec.width) * std::size_t(count) * std::size_t(m_tile_size));
    for (int y = region.y; y < region.end_y();) {
        int offset = static_cast<int>(std::fmod(static_cast<float>(y), static_cast<float>(m_tile_size)));
        if (offset < 0)
            offset += m_tile_size;
        int const rows = std::min(m_tile_size - offset, region.end_y() - y);
        auto const pixels = std::size_t(rows) * std::size_t(spec.width);
        auto const step = static_cast<float>(static_cast<double>(rows) / region.end_y() / count);
        std::fill(strip.begin(), strip.end(), 0.0f);
        for (int channel = 0; channel < count; ++channel) {
            for (std::size_t pixel = 0; pixel < pixels && m_channels[std::size_t(channel)]; ++pixel)
                strip[pixel * std::size_t(count) + std::size_t(channel)] = sample_of(
                    *m_channels[std::size_t(channel)], spec.x + int(pixel % std::size_t(spec.width)),
                    y + int(pixel / std::size_t(spec.width)));
            if (progress)
                progress->increment(step);
        }
        if (conversion.is_enabled()) {
            if (count > 3)
                divide_by_alpha(strip, pixels);
            convert(strip, pixels, count, conversion);
            if (count > 3)
                multiply_by_alpha(strip, pixels);
        }
        m_oiio->write_scanlines(y, y + rows, 1, OIIO::TypeDesc::FLOAT, strip.data());
        y += rows;
    }
    if (progress)
        progress->set_value(1.0f);
    return true;
}

bool ReferenceOutput::write_oiio_tiles(Place const& region, AppProgressBar* progress)
{
    OIIO::ImageSpec const& spec = m_oiio->spec();
    int const tile = m_tile_size, count = int(m_channels.size());
    auto const size = std::size_t(m_map.m_bit_depth);
    auto const pixels = std::size_t(tile) * std::size_t(tile);
    PlainConversion const conversion(m_color_space.empty() ? "" : default_colour_space(), m_color_space);
    std::vector<float> buffer(pixels * std::size_t(count));
    std::vector<float> plane(pixels);
    bool written = true;
    for (int y = region.y; y < region.end_y(); y += tile)
        for (int x = spec.x; x < spec.x + spec.width; x += tile) {
            int const height = std::min(tile, region.end_y() - y),
                      width = std::min(tile, spec.x + spec.width - x);
            auto const row_length = std::size_t(width);
            std::fill(buffer.begin(), buffer.end(), 0.0f);
            for (int channel = 0; channel < count; ++channel) {
                std::fill(plane.begin(), plane.end(), 0.0f);
                for (int pixel = 0; pixel < width * height && m_channels[std::size_t(channel)]; ++pixel)
                    plane[std::size_t(pixel)] =
                        sample_of(*m_channels[std::size_t(channel)], x + pixel % width, y + pixel / width);
                // Distances are in samples of the map, also where those are not floats.
                auto const* const source = reinterpret_cast<unsigned char const*>(plane.data());
                auto* const target = reinterpret_cast<unsigned char*>(buffer.data() + channel);
                for (std::size_t pixel = 0; pixel < row_length * std::size_t(height); ++pixel)
                    std::memcpy(target + pixel * size * std::size_t(count), source + pixel * size, size);
            }
            if (conversion.is_enabled()) {
                divide_by_alpha(buffer, pixels);
                convert(buffer, pixels, count, conversion);
                multiply_by_alpha(buffer, pixels);
            }
            if (!m_oiio->write_tile(x, y, 0, OIIO::TypeDesc::FLOAT, buffer.data(),
                                    OIIO::stride_t(size) * count, OIIO::stride_t(size) * width * count)) {
                say(2, "Problem while writing tile (" + std::to_string(x) + ", " + std::to_string(y) + ", " +
                           std::to_string(width) + ", " + std::to_string(height) +
                           "): " + m_oiio->geterror() + "\n");
                written = false;
            }
        }
    if (progress)
        progress->set_value(1.0f);
    return written;
}

}  // namespace zv_equality
