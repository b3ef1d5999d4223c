#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>

#include "host/colorio/color_io.h"
#include "host/image/image_eval_context.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "image_io/frame/image_io.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/contact_sheet.h"
#include "tools/load_request.h"
#include "tools/text_table.h"

namespace zvio {

namespace {

struct SheetRequest {
    std::vector<std::string> paths;
    std::string output_path;
    std::string cell = "288x162";
    int columns = 0;
    std::string font;
    LoadRequest load;
};

/// What goes into one cell: three channels, of which some may be the same.
struct CellSource {
    std::string label;
    ImageMapChannel const* channels[3] = {};
    bool is_color = false;  // else the samples are brought from their range to 0 to 1
};

std::string piece(std::string const& name, bool behind_dot)
{
    auto const dot = name.find('.');
    if (dot == std::string::npos)
        return behind_dot ? "" : name;
    return behind_dot ? name.substr(dot + 1) : name.substr(0, dot);
}

std::string name_of(ImageMapChannel const& channel)
{
    return channel.m_name.get_data();
}

/// Red, green and blue where the layer has them all, else its first channels; a single one is grey.
CellSource layer_source(std::string const& label, std::vector<ImageMapChannel const*> const& channels)
{
    CellSource source{label};
    static char const* const kColors[] = {"r", "g", "b"};
    for (int color = 0; color < 3; ++color)
        for (ImageMapChannel const* channel : channels)
            if (piece(name_of(*channel), true) == kColors[color])
                source.channels[color] = channel;
    source.is_color = source.channels[0] && source.channels[1] && source.channels[2];
    if (source.is_color)
        return source;
    bool const is_grey = channels.size() < 3;
    for (std::size_t color = 0; color < 3; ++color)
        source.channels[color] = channels[is_grey ? 0 : color];
    return source;
}

/// The colours of a map: red, green, blue, or its luminance.
CellSource color_source(std::string const& label, ImageMap const& map)
{
    CellSource source{label};
    ImageMapColorChannels const* const colors = map.m_rgba_channels;
    ImageMapChannel const* const grey =
        colors ? colors->m_luminance ? colors->m_luminance : colors->m_alpha : nullptr;
    source.is_color = true;
    if (colors && (colors->m_red || colors->m_green || colors->m_blue)) {
        source.channels[0] = colors->m_red;
        source.channels[1] = colors->m_green;
        source.channels[2] = colors->m_blue;
    } else {
        std::fill(std::begin(source.channels), std::end(source.channels), grey);
    }
    return source;
}

bool has_color(CellSource const& source)
{
    return source.channels[0] || source.channels[1] || source.channels[2];
}

/// The colours first, where there are any, then each layer.
std::vector<CellSource> sources_of_layers(std::string const& label, ImageMap const& map)
{
    std::vector<CellSource> sources;
    if (CellSource const colors = color_source(label, map); has_color(colors))
        sources.push_back(colors);
    std::vector<std::pair<std::string, std::vector<ImageMapChannel const*>>> layers;
    for (ImageMapChannel const* channel : map.m_channels) {
        if (channel->m_index != ImageMapChannel::kIndexExtra)
            continue;
        std::string const layer = piece(name_of(*channel), false);
        auto found = std::find_if(layers.begin(), layers.end(),
                                  [&](auto const& known) { return known.first == layer; });
        if (found == layers.end())
            found = layers.insert(layers.end(), {layer, {}});
        found->second.push_back(channel);
    }
    for (auto const& [name, channels] : layers)
        sources.push_back(layer_source(name, channels));
    return sources;
}

/// The display window, or the data window where there is no display window.
GMathVec4<int> shown_window(ImageCanvas const& canvas)
{
    GMathVec4<int> const display(canvas.get_x(), canvas.get_y(), canvas.get_width(), canvas.get_height());
    return display.width() > 0 && display.height() > 0 ? display : *canvas.m_map->m_bbox;
}

/// From the smallest finite sample to the largest one; all samples of the three channels share the range.
void scale_to_range(std::vector<float>& samples)
{
    float low = std::numeric_limits<float>::infinity(), high = -low;
    for (float const sample : samples)
        if (std::isfinite(sample)) {
            low = std::min(low, sample);
            high = std::max(high, sample);
        }
    double const range = double(high) - low;
    for (float& sample : samples)
        sample =
            range > 0.0 ? static_cast<float>(std::clamp((double(sample) - low) / range, 0.0, 1.0)) : 0.5f;
}

DisplayPicture display_picture(CellSource const& source, ImageCanvas const& canvas, std::string const& space,
                               std::string const& display_space)
{
    GMathVec4<int> const window = shown_window(canvas);
    DisplayPicture picture{window.width(), window.height(), {}};
    std::size_t const pixels = std::size_t(window.width()) * window.height();
    picture.samples.assign(pixels * 3, 0.0f);
    std::vector<float> plane(pixels);
    ImageEvalContext context(canvas, 0);
    for (int color = 0; color < 3; ++color) {
        if (!source.channels[color])
            continue;
        source.channels[color]->create_float_buffer(&context, window, plane.data());
        for (std::size_t pixel = 0; pixel < pixels; ++pixel)
            picture.samples[pixel * 3 + color] = plane[pixel];
    }
    if (!source.is_color)
        scale_to_range(picture.samples);
    else
        // The alpha is associated: over black the colours stay as they are.
        ColorIO::convert_buffer(picture.samples.data(), static_cast<unsigned int>(window.width()),
                                static_cast<unsigned int>(window.height()), 3, display_space.c_str(),
                                space.c_str());
    return picture;
}

/// The files with their pictures; a file that cannot be loaded has none.
struct SheetCell {
    std::string label;
    DisplayPicture picture;
};

class SheetMaker {
public:
    SheetMaker(SheetRequest const& request, Settings const& settings, Document& document)
        : m_request(request)
        , m_document(document)
        , m_loader(request.load, settings, document)
        , m_display_space(ColorIO::resolve_name("sRGB").is_empty()
                              ? ColorIO::get_default_color_space_name().get_data()
                              : "sRGB")
    {
        char rest = 0;
        if (std::sscanf(request.cell.c_str(), "%dx%d%c", &m_layout.cell_width, &m_layout.cell_height,
                        &rest) != 2 ||
            m_layout.cell_width < 16 || m_layout.cell_height < 16 || m_layout.cell_width > 8192 ||
            m_layout.cell_height > 8192)
            throw CommandError(EXIT_CODE_USAGE,
                               "\"" + request.cell + "\" is no size of a cell, such as 288x162");
        m_layout.columns = request.columns;
        m_layout.font = request.font.empty() ? find_font() : request.font;
    }

    void run()
    {
        bool const of_layers = m_request.paths.size() == 1;
        for (std::string const& path : m_request.paths)
            add_file(path, of_layers);
        m_document.result() = {{"output", m_request.output_path}, {"ok", false}};
        if (of_layers && m_cells.empty())
            return;
        ContactSheet sheet(m_layout, m_cells.size());
        for (SheetCell const& cell : m_cells)
            sheet.add(cell.picture, cell.label);
        save(sheet);
    }

private:
    void add_file(std::string const& path, bool of_layers)
    {
        std::string const label = std::filesystem::path(path).filename().string();
        LoadedFile const loaded = m_loader.load(path);
        if (!loaded.canvas) {
            if (!of_layers)
                m_cells.push_back({label, {}});
            return;
        }
        auto sources = sources_of_layers(label, *loaded.canvas->get_map());
        if (!of_layers && sources.size() > 1)
            sources.resize(1);
        if (!of_layers && !sources.empty())
            sources[0].label = label;
        for (CellSource const& source : sources)
            // Whole pictures would fill the memory; what the cell shows is enough.
            m_cells.push_back(
                {source.label,
                 fit_picture(display_picture(source, *loaded.canvas, loaded.canvas_space, m_display_space),
                             m_layout.cell_width, m_layout.cell_height)});
    }

    void save(ContactSheet const& sheet)
    {
        if (!sheet.has_labels())
            m_document.warn("no_font", m_layout.font, "there is no usable font; the sheet has no labels");
        if (!ImageIO::save_image(m_request.output_path.c_str(), sheet.bytes().data(), 3,
                                 static_cast<unsigned int>(sheet.width()),
                                 static_cast<unsigned int>(sheet.height()))) {
            m_document.fail(EXIT_CODE_FAILURE, "not_written", m_request.output_path, "cannot be written");
            return;
        }
        Json labels = Json::array();
        for (SheetCell const& cell : m_cells)
            labels.push_back(cell.label);
        m_document.result() = {{"output", m_request.output_path}, {"ok", true},
                               {"width", sheet.width()},          {"height", sheet.height()},
                               {"labelled", sheet.has_labels()},  {"cells", labels}};
        m_document.print(m_request.output_path + "  " + std::to_string(sheet.width()) + " x " +
                         std::to_string(sheet.height()) + ", " + count_text(m_cells.size(), "picture") +
                         "\n");
    }

    SheetRequest const& m_request;
    Document& m_document;
    Loader m_loader;
    std::string m_display_space;
    SheetLayout m_layout;
    std::vector<SheetCell> m_cells;
};

}  // namespace

void add_sheet_command(CLI::App& app, CommandLine& line)
{
    auto const request = std::make_shared<SheetRequest>();
    CLI::App& command =
        add_command(app, line, "sheet", "Put files, or the layers of one file, into one labelled picture",
                    [request, &settings = line.settings](Document& document) {
                        SheetMaker(*request, settings, document).run();
                    });
    command.add_option("FILE", request->paths, "Picture files")->required()->type_name("");
    command.add_option("-o,--output", request->output_path, "The sheet; its name tells the format")
        ->required()
        ->type_name("OUT");
    command.add_option("--cell", request->cell, "Size of a picture on the sheet (default: 288x162)")
        ->type_name("WxH");
    command
        .add_option("--columns", request->columns, "Pictures side by side (default: about as many as rows)")
        ->check(CLI::Range(1, 1000).description(""))
        ->type_name("N");
    command.add_option("--font", request->font, "Font file of the labels (default: one of the system's)")
        ->type_name("FILE");
    add_load_request(command, request->load);
}

}  // namespace zvio
