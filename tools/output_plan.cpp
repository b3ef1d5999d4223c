#include "tools/output_plan.h"

#include <algorithm>
#include <set>

#include "host/image/image_canvas.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/of/of_app.h"
#include "image_io/format/image_io_file_format.h"
#include "image_io/save/image_save_options.h"

namespace zvio {

namespace {

using Format = ImageIOFileFormat;
using Channels = std::vector<ImageMapChannel const*>;

bool is_color_name(CoreString const& name)
{
    return name == "r" || name == "g" || name == "b" || name == "a";
}

std::string layer_of(ImageMapChannel const& channel)
{
    std::string const name = channel.m_name.get_data();
    return name.substr(0, name.find('.'));
}

int floor_to(int value, int step)
{
    return value - ((value % step) + step) % step;
}

/// Decides for one save; see the saving rules in docs/saving.md.
class Planner {
public:
    Planner(std::string const& path, ImageSaveOptions const& options, ImageCanvas const& canvas,
            GMathVec4<int> const& region, OfApp const& app)
        : m_path(path)
        , m_options(options)
        , m_map(*canvas.get_map())
        , m_app(app)
        , m_canvas(canvas.get_x(), canvas.get_y(), canvas.get_width(), canvas.get_height())
        , m_region(region)
    {
    }

    OutputPlan run()
    {
        if (m_map.get_channel_count() == 0 || m_region == GMathVec4<int>(0, 0, 0, 0))
            m_plan.status = ImageIO::SAVING_STATUS_NOTHING_TO_SAVE;
        else if (is_simple_format(m_options))
            plan_simple();
        else if (m_app.output_one_file_per_aov)
            plan_split();
        else
            plan_one_file();
        note_left_out();
        return std::move(m_plan);
    }

private:
    Channels main_channels() const
    {
        Channels channels;
        if (m_options.layers) {
            for (unsigned int index = 0; index < std::min(m_options.layers->get_count(), 4u); ++index)
                if (auto const* channel = m_map.get_channel_by_name((*m_options.layers)[index]))
                    channels.push_back(channel);
            return channels;
        }
        CoreVector<ImageMapChannel*> colors;
        m_map.get_rgba_channels(&colors);
        return {colors.begin(), colors.end()};
    }

    /// Layers with their channels, in the order of their first appearance.
    std::vector<std::pair<std::string, Channels>> layers() const
    {
        std::vector<std::pair<std::string, Channels>> found;
        for (ImageMapChannel const* channel : m_map.m_channels) {
            std::string const layer = layer_of(*channel);
            if (channel->m_index != ImageMapChannel::kIndexExtra || layer.empty())
                continue;
            auto known =
                std::find_if(found.begin(), found.end(), [&](auto const& row) { return row.first == layer; });
            if (known == found.end())
                known = found.insert(found.end(), {layer, {}});
            known->second.push_back(channel);
        }
        return found;
    }

    std::string layer_path(std::string const& layer) const
    {
        return Format::construct_layer_file_name(m_path.c_str(), layer.c_str()).get_data();
    }

    void plan_simple()
    {
        add_file("RGBA", m_path, main_channels());
        if (m_app.output_aovs_in_all_formats)
            for (auto const& [layer, channels] : layers())
                add_file(layer, layer_path(layer), channels);
    }

    void plan_split()
    {
        if (!m_app.output_aovs_only)
            add_file("RGBA", m_path, main_channels());
        for (auto const& [layer, channels] : layers())
            add_file(layer, layer_path(layer), channels);
        if (m_plan.files.empty())
            m_plan.status = ImageIO::SAVING_STATUS_NOTHING_TO_SAVE;
    }

    void plan_one_file()
    {
        Channels channels;
        for (ImageMapChannel const* channel : m_map.m_channels)
            if (!m_app.output_aovs_only || !is_color_name(channel->m_name))
                channels.push_back(channel);
        if (channels.empty())
            m_plan.status = ImageIO::SAVING_STATUS_NOTHING_TO_SAVE;
        else
            add_file("image", m_path, channels);
    }

    void add_file(std::string const& name, std::string const& path, Channels const& channels)
    {
        PlannedFile file{path, name, m_options.is_file_exr(), m_region, m_canvas, 0, {}};
        if (is_simple_format(m_options))
            describe_simple(file, channels);
        else if (file.is_exr)
            describe_exr(file, channels);
        else
            describe_tiff(file, channels);
        // Zero channels never reach a file.
        if (file.channels.empty() && m_plan.status == ImageIO::SAVING_STATUS_SUCCESS)
            m_plan.status = ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE;
        m_plan.files.push_back(std::move(file));
    }

    /// Three channels at least; the fourth is alpha, which JPEG does not keep.
    void describe_simple(PlannedFile& file, Channels const& channels) const
    {
        static char const* const kNames[] = {"R", "G", "B", "A"};
        file.data_window = file.display_window = {0, 0, m_canvas.width(), m_canvas.height()};
        std::size_t count = std::max<std::size_t>(3, channels.size());
        if (m_options.format == Format::SAVE_JPEG)
            count = 3;
        for (std::size_t index = 0; index < count; ++index)
            file.channels.push_back({index < channels.size() ? channels[index]->m_name.get_data() : "",
                                     index < 4 ? kNames[index] : "channel" + std::to_string(index),
                                     m_options.format == Format::SAVE_PNG16 ? "uint16" : "uint8"});
    }

    void describe_tiff(PlannedFile& file, Channels const& channels) const
    {
        file.data_window = file.display_window = m_canvas;
        file.tile_size = m_app.tiling_mode == 1 ? m_map.m_tile_size : 0;
        char const* const type = m_options.format == Format::SAVE_TIFF8    ? "uint8"
                                 : m_options.format == Format::SAVE_TIFF16 ? "uint16"
                                                                           : "float";
        for (ImageMapChannel const* channel : channels)
            file.channels.push_back({channel->m_name.get_data(), tiff_name(channel->m_name), type});
    }

    static std::string tiff_name(CoreString const& name)
    {
        if (name.get_count() == 1)
            return name.get_upper_case().get_data();
        return name == "depth.z" ? "depth.Z" : name.get_data();
    }

    void describe_exr(PlannedFile& file, Channels const& channels)
    {
        if (m_app.tiling_mode == 1 && m_map.m_tile_size > 0) {
            file.tile_size = m_map.m_tile_size;
            file.data_window = snapped(m_region, file.tile_size);
        }
        char const* const main_type = m_options.format == Format::SAVE_EXR16 ? "half" : "float";
        for (ImageMapChannel const* channel : channels) {
            CoreString const& name = channel->m_name;
            if (is_color_name(name)) {
                if (!m_app.output_aovs_only)
                    file.channels.push_back({name.get_data(), name.get_upper_case().get_data(), main_type});
            } else if (std::string const layer = layer_of(*channel); !layer.empty()) {
                file.channels.push_back(
                    {name.get_data(), name == "depth.z" ? "depth.Z" : name.get_data(), layer_type(layer)});
            }
        }
    }

    std::string layer_type(std::string const& layer) const
    {
        OfChannelManager const& manager = m_app.get_channel_manager();
        short const index = manager.get_layer_index(layer.c_str());
        if (index == OfChannelManager::INVALID_INDEX)
            return "float";
        unsigned int const depth = manager.get_bit_depth(index);
        if (depth == 1 || depth == 2)
            return "half";
        return depth == 4 && manager.get_bit_type(index) == ImagePixel::BIT_TYPE_INTEGER ? "uint" : "float";
    }

    /// Whole tiles of a grid that begins at pixel (0, 0).
    static GMathVec4<int> snapped(GMathVec4<int> const& window, int tile)
    {
        int const x = floor_to(window.x(), tile), y = floor_to(window.y(), tile);
        int const end_x = floor_to(window.x() + window.width() - 1, tile) + tile;
        int const end_y = floor_to(window.y() + window.height() - 1, tile) + tile;
        return {x, y, end_x - x, end_y - y};
    }

    void note_left_out()
    {
        std::set<std::string> taken;
        for (PlannedFile const& file : m_plan.files)
            for (PlannedChannel const& channel : file.channels)
                taken.insert(channel.source);
        for (ImageMapChannel const* channel : m_map.m_channels)
            if (!taken.contains(channel->m_name.get_data()))
                m_plan.left_out.emplace_back(channel->m_name.get_data());
    }

    std::string m_path;
    ImageSaveOptions const& m_options;
    ImageMap const& m_map;
    OfApp const& m_app;
    GMathVec4<int> m_canvas, m_region;
    OutputPlan m_plan;
};

}  // namespace

OutputPlan plan_outputs(std::string const& path, ImageSaveOptions const& options, ImageCanvas const& canvas,
                        GMathVec4<int> const& region, OfApp const& app)
{
    return Planner(path, options, canvas, region, app).run();
}

GMathVec4<int> region_of(ImageCanvas const& canvas, GMathVec4<float> const* crop)
{
    if (!crop)
        return *canvas.m_map->m_bbox;
    auto const width = static_cast<float>(canvas.get_width()),
               height = static_cast<float>(canvas.get_height());
    auto const truncated = [](float value) { return static_cast<int>(std::clamp(value, -2e9f, 2e9f)); };
    return {truncated(width * crop->x()), truncated(height * crop->y()), truncated(width * crop->width()),
            truncated(height * crop->height())};
}

bool is_simple_format(ImageSaveOptions const& options)
{
    return options.format >= ImageIOFileFormat::SAVE_JPEG && options.format <= ImageIOFileFormat::SAVE_PNG16;
}

}  // namespace zvio
