#include <ImfChannelList.h>
#include <ImfDoubleAttribute.h>
#include <ImfFloatAttribute.h>
#include <ImfFrameBuffer.h>
#include <ImfMatrixAttribute.h>
#include <ImfStandardAttributes.h>
#include <ImfStringAttribute.h>
#include <ImfThreading.h>
#include <ImfVecAttribute.h>

#include "host/app_base/app_progress_bar.h"
#include "host/image/image_eval_context.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/image/image_map_tile.h"
#include "host/of/of_app.h"
#include "image_io/save/image_save_options.h"
#include "tests/equality/plain_colour.h"
#include "tests/equality/reference_output.h"

namespace zv_equality {

namespace {

bool is_main(std::string const& name)
{
    return name == "r" || name == "g" || name == "b" || name == "a";
}

std::string name_in_file(std::string const& name)
{
    return is_main(name) ? upper(name) : name == "depth.z" ? "depth.Z" : name;
}

Imf::Compression compression_of(int method)
{
    return method < 1 || method > 10 ? Imf::NO_COMPRESSION : static_cast<Imf::Compression>(method - 1);
}

template <class Matrix>
Matrix matrix_of(CoreArray<CoreVariant> const& values, int size)
{
    Matrix matrix;
    for (int row = 0; row < size; ++row)
        for (int column = 0; column < size; ++column)
            matrix[row][column] = static_cast<float>(values[unsigned(row * size + column)].get_double());
    return matrix;
}

void add_numbers(Imf::Header& header, std::string const& name, CoreArray<CoreVariant> const& values)
{
    auto const number = [&](unsigned index) { return values[index].get_double(); };
    auto const narrow = [&](unsigned index) { return static_cast<float>(values[index].get_double()); };
    switch (values.get_count()) {
    case 1:
        return header.insert(name, Imf::DoubleAttribute(number(0)));
    case 2:
        return header.insert(name, Imf::V2fAttribute(Imath::V2f(narrow(0), narrow(1))));
    case 3:
        return header.insert(name, Imf::V3fAttribute(Imath::V3f(narrow(0), narrow(1), narrow(2))));
    case 9:
        return header.insert(name, Imf::M33fAttribute(matrix_of<Imath::M33f>(values, 3)));
    case 16:
        return header.insert(name, Imf::M44fAttribute(matrix_of<Imath::M44f>(values, 4)));
    default:
        return;
    }
}

void add_metadata(Imf::Header& header, ImageSaveOptions::MetaData const& item)
{
    std::string const name = text_of(item.name);
    if (name == "worldToCamera" || name == "worldToNDC") {
        if (item.values.get_count() < 16)
            return;
        if (name == "worldToCamera")
            Imf::addWorldToCamera(header, matrix_of<Imath::M44f>(item.values, 4));
        else
            Imf::addWorldToNDC(header, matrix_of<Imath::M44f>(item.values, 4));
    } else if (name == "comment") {
        if (item.values.get_count() != 0)
            Imf::addComments(header, text_of(item.values[0].get_string()));
    } else if (item.values.get_count() == 0) {
        say(3, "No custom metadata\n");
    } else if (item.values[0].get_type() == CoreVariant::TYPE_INT ||
               item.values[0].get_type() == CoreVariant::TYPE_DOUBLE) {
        add_numbers(header, name, item.values);
    } else if (item.values[0].get_type() == CoreVariant::TYPE_STRING) {
        header.insert(name, Imf::StringAttribute(text_of(item.values[0].get_string())));
    }
}

Imf::PixelType layer_type(OfApp* app, std::string const& layer)
{
    OfChannelManager const none;
    OfChannelManager const& manager = app ? app->get_channel_manager() : none;
    short const index = manager.get_layer_index(layer.c_str());
    if (index == OfChannelManager::INVALID_INDEX)
        return Imf::FLOAT;
    unsigned const depth = manager.get_bit_depth(index);
    if (depth == 1 || depth == 2)
        return Imf::HALF;
    return depth == 4 && manager.get_bit_type(index) == 1 ? Imf::UINT : Imf::FLOAT;
}

void add_channel(Imf::Header& header, OfApp* app, ImageSaveOptions const& options, std::string const& name)
{
    Imf::PixelType type = options.format == ImageIOFileFormat::SAVE_EXR16 ? Imf::HALF : Imf::FLOAT;
    if (is_main(name)) {
        if (app && app->output_aovs_only)
            return;
    } else {
        std::string const layer = name.substr(0, name.find('.'));
        if (layer.empty())
            return;
        type = layer_type(app, layer);
    }
    header.channels().insert(name_in_file(name), Imf::Channel(type, 1, 1, false));
}

/// The samples of one channel over a block, and how they go into the file.
struct PlainPlane {
    ImageMapChannel* channel = nullptr;
    std::string name;
    bool is_in_file = false;
    Imf::PixelType type = Imf::FLOAT;
    std::vector<float> floats;
    std::vector<std::uint16_t> halves;
};

std::vector<PlainPlane> planes_of(Imf::Header const& header, Channels const& channels, std::size_t pixels)
{
    std::vector<PlainPlane> planes;
    for (ImageMapChannel* const channel : channels) {
        PlainPlane plane;
        if (channel) {
            plane.channel = channel;
            plane.name = name_in_file(text_of(channel->m_name));
            Imf::Channel const* const declared = header.channels().findChannel(plane.name);
            plane.is_in_file = declared != nullptr;
            if (declared)
                plane.type = declared->type;
            else
                say(1, "OpenExr save: fatal error during channel configuration.\n");
            plane.floats.assign(pixels, 0.0f);
            plane.halves.assign(pixels, 0);
        }
        planes.push_back(std::move(plane));
    }
    return planes;
}

float* find_plane(std::vector<PlainPlane>& planes, char const* name)
{
    float* found = nullptr;
    for (PlainPlane& plane : planes)
        if (plane.channel && plane.is_in_file && plane.name == name)
            found = plane.floats.data();
    return found;
}

void convert_colours(std::vector<PlainPlane>& planes, std::size_t pixels, PlainConversion const& conversion)
{
    float* const red = find_plane(planes, "R");
    float* const green = find_plane(planes, "G");
    float* const blue = find_plane(planes, "B");
    float* const alpha = find_plane(planes, "A");
    if (!conversion.is_enabled() || (!red && !green && !blue && !alpha))
        return;
    for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
        float colour[3] = {red ? red[pixel] : 0.0f, green ? green[pixel] : 0.0f, blue ? blue[pixel] : 0.0f};
        float const opacity = alpha ? alpha[pixel] : 0.0f;
        if (alpha && opacity > 1e-6f) {
            float const factor = 1.0f / opacity;
            for (float& value : colour)
                value = value * factor;
        }
        conversion.convert(colour[0], colour[1], colour[2], opacity);
        if (alpha)
            for (float& value : colour)
                value = value * opacity;
        if (red)
            red[pixel] = colour[0];
        if (green)
            green[pixel] = colour[1];
        if (blue)
            blue[pixel] = colour[2];
    }
}

void make_halves(std::vector<PlainPlane>& planes)
{
    for (PlainPlane& plane : planes)
        for (std::size_t pixel = 0; pixel < plane.floats.size(); ++pixel)
            plane.halves[pixel] = float_to_half(plane.floats[pixel]);
}

/// Integer channels get no samples: the file holds zeros for them.
void add_slice(Imf::FrameBuffer& frame_buffer, PlainPlane& plane, std::size_t row_length,
               std::ptrdiff_t first, bool tile_coordinates)
{
    if (!plane.is_in_file || plane.type == Imf::UINT)
        return;
    std::size_t const size = plane.type == Imf::HALF ? 2 : 4;
    char* const samples = plane.type == Imf::HALF ? reinterpret_cast<char*>(plane.halves.data())
                                                  : reinterpret_cast<char*>(plane.floats.data());
    frame_buffer.insert(plane.name,
                        Imf::Slice(plane.type, samples - first * std::ptrdiff_t(size), size,
                                   size * row_length, 1, 1, 0.0, tile_coordinates, tile_coordinates));
}

}  // namespace

void ReferenceOutput::open_exr(OfApp* app, ImageSaveOptions const& options, Place const& region,
                               Place const& canvas, int tile_size)
{
    bool const tiled = tile_size > 0 && app && app->tiling_mode == 1;
    Imath::Box2i data(Imath::V2i(region.x, region.y), Imath::V2i(region.end_x() - 1, region.end_y() - 1));
    if (tiled) {
        data.min.x = floor_of(data.min.x, tile_size) * tile_size;
        data.min.y = floor_of(data.min.y, tile_size) * tile_size;
        data.max.x = floor_of(data.max.x, tile_size) * tile_size + tile_size - 1;
        data.max.y = floor_of(data.max.y, tile_size) * tile_size + tile_size - 1;
    }
    Imath::Box2i const display(Imath::V2i(canvas.x, canvas.y),
                               Imath::V2i(canvas.end_x() - 1, canvas.end_y() - 1));
    Imf::Compression const compression = compression_of(options.compression);
    m_header = std::make_unique<Imf::Header>(display, data, options.pixel_aspect_ratio, Imath::V2f(0, 0),
                                             1.0f, Imf::INCREASING_Y, compression);
    m_header->setType(tiled ? "tiledimage" : "scanlineimage");
    if (compression == Imf::DWAA_COMPRESSION || compression == Imf::DWAB_COMPRESSION)
        m_header->insert("dwaCompressionLevel",
                         Imf::FloatAttribute(static_cast<float>(app ? app->dwa_compression_level : 45.0)));
    for (ImageSaveOptions::MetaData const& item : options.meta_data)
        add_metadata(*m_header, item);
    if (tiled)
        m_header->setTileDescription(
            Imf::TileDescription(unsigned(tile_size), unsigned(tile_size), Imf::ONE_LEVEL, Imf::ROUND_DOWN));
    for (ImageMapChannel* const channel : m_channels)
        if (channel)
            add_channel(*m_header, app, options, text_of(channel->m_name));
    if (tiled)
        m_tiles =
            std::make_unique<Imf::TiledOutputFile>(m_filename.c_str(), *m_header, Imf::globalThreadCount());
    else
        m_lines = std::make_unique<Imf::OutputFile>(m_filename.c_str(), *m_header, Imf::globalThreadCount());
}

Place ReferenceOutput::exr_window() const
{
    Imath::Box2i const window = m_header->dataWindow();
    return {window.min.x, window.min.y, window.max.x - window.min.x + 1, window.max.y - window.min.y + 1};
}

void ReferenceOutput::finish_exr(ImageEvalContext& context, AppProgressBar* progress)
{
    Place window = exr_window();
    if (m_tiles) {
        write_exr_tiles(context, window, progress);
        return;
    }
    int const next_line = m_lines->currentScanLine();
    window.height = window.end_y() - next_line;
    window.y = next_line;
    write_exr_lines(window, progress);
}

/// One line a call; the steps of `progress` are blocks of tile size lines.
void ReferenceOutput::write_exr_lines(Place const& region, AppProgressBar* progress)
{
    Place const window = exr_window();
    PlainConversion const conversion(m_color_space.empty() ? "" : default_colour_space(), m_color_space);
    std::vector<PlainPlane> planes = planes_of(*m_header, m_channels, std::size_t(window.width));
    if (progress)
        progress->set_step_count(unsigned(m_tile_size + region.height - 1) / unsigned(m_tile_size));
    unsigned blocks = 0;
    for (int y = region.y; y < region.end_y(); ++y) {
        Imf::FrameBuffer frame_buffer;
        for (PlainPlane& plane : planes) {
            if (!plane.channel)
                continue;
            for (int column = 0; column < window.width; ++column)
                plane.floats[std::size_t(column)] = sample_of(*plane.channel, window.x + column, y);
            add_slice(frame_buffer, plane, std::size_t(window.width),
                      std::ptrdiff_t(y) * window.width + window.x, false);
        }
        convert_colours(planes, std::size_t(window.width), conversion);
        make_halves(planes);
        m_lines->setFrameBuffer(frame_buffer);
        m_lines->writePixels(1);
        bool const ends_block =
            floor_of(y, m_tile_size) != floor_of(y + 1, m_tile_size) || y + 1 == region.end_y();
        if (ends_block && progress)
            progress->step(++blocks);
    }
    if (progress)
        progress->set_value(1.0f);
}

/// One tile a call; tiles that are in the file already are left out.
void ReferenceOutput::write_exr_tiles(ImageEvalContext& context, Place const& region,
                                      AppProgressBar* progress)
{
    int const t = m_tile_size;
    Place const window = exr_window();
    std::size_t const pixels = std::size_t(t) * std::size_t(t);
    PlainConversion const conversion(m_color_space.empty() ? "" : default_colour_space(), m_color_space);
    std::vector<PlainPlane> planes = planes_of(*m_header, m_channels, pixels);
    if (progress)
        progress->set_step_count(unsigned(((region.width + t - 1) / t) * ((region.height + t - 1) / t)));
    unsigned steps = 0;
    for (int row = floor_of(region.y - window.y, t); row <= floor_of(region.end_y() - 1 - window.y, t); ++row)
        for (int column = floor_of(region.x - window.x, t);
             column <= floor_of(region.end_x() - 1 - window.x, t); ++column) {
            if (!m_written_tiles.insert({row, column}).second)
                continue;
            int const x = window.x + column * t, y = window.y + row * t;
            Imf::FrameBuffer frame_buffer;
            for (PlainPlane& plane : planes) {
                if (!plane.channel)
                    continue;
                ImageMapTile* const tile =
                    plane.channel->get_tile(context, floor_of(x, t), floor_of(y, t)).m_tile;
                if (!tile)
                    continue;
                for (int pixel = 0; pixel < t * t; ++pixel)
                    plane.floats[std::size_t(pixel)] =
                        tile->m_pixels ? sample_of(*plane.channel, x + pixel % t, y + pixel / t)
                                       : tile->get_color(0, 0, false);
                add_slice(frame_buffer, plane, std::size_t(t), 0, true);
            }
            convert_colours(planes, pixels, conversion);
            make_halves(planes);
            m_tiles->setFrameBuffer(frame_buffer);
            m_tiles->writeTile(column, row, 0);
            if (progress)
                progress->step(++steps);
        }
}

}  // namespace zv_equality
