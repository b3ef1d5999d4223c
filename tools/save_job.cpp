#include "tools/save_job.h"

#include <OpenImageIO/imageio.h>

#include "host/colorio/color_io.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "tools/commands.h"
#include "tools/save_warnings.h"
#include "tools/text_table.h"
#include "tools/wide_canvas.h"

namespace zvio {

namespace {

/// The larger of two types counts where the channels of a layer differ.
void add_layer(OfChannelManager& manager, std::string const& layer, unsigned int depth, unsigned int type)
{
    short const known = manager.get_layer_index(layer.c_str());
    if (known == OfChannelManager::INVALID_INDEX || manager.get_bit_depth(known) < depth)
        manager.add_layer(layer.c_str(), depth, type);
}

/// Windows come from headers, which may say anything; what would be read is limited the same way.
bool is_too_large(PlannedFile const& file)
{
    double const bytes =
        4.0 * file.data_window.width() * file.data_window.height() * double(file.channels.size());
    return bytes > double(OIIO::get_int_attribute("limits:imagesize_MB")) * (1 << 20);
}

std::string channel_list_text(std::vector<PlannedChannel> const& channels)
{
    std::string text, type;
    for (PlannedChannel const& channel : channels) {
        if (!type.empty())
            text += channel.type == type ? " " : " " + type + ", ";
        text += channel.name;
        type = channel.type;
    }
    return text + " " + type;
}

}  // namespace

SaveJobs::SaveJobs(SaveRequest const& request, Settings const& settings, Document& document)
    : m_request(request)
    , m_settings(settings)
    , m_document(document)
    , m_loader(request.load, settings, document)
    , m_write(request.write)
    , m_crop(parse_crop(request.crop))
    , m_pairs(pair_files(request.inputs, request.output, request.frames,
                         [this](std::string const& input) { return m_write.extension_for(input); }))
{
    for (FilePair const& pair : m_pairs)
        m_write.options_for(pair.output);  // refuses what has no format before anything is written
}

std::unique_ptr<SaveJob> SaveJobs::prepare(FilePair const& paths)
{
    auto job = std::make_unique<SaveJob>();
    job->paths = paths;
    job->options = m_write.options_for(paths.output);
    job->color_space = ColorIO::resolve_name(job->options.color_space).get_data();
    job->loaded = m_loader.load(paths.input, job->color_space);
    if (!job->loaded.canvas)
        return nullptr;
    std::string ignored;
    if (auto const picture = StoredPicture::open(paths.input, ignored))
        job->source = picture->header();
    job->app = std::make_unique<TerminalApp>(m_settings.progress);
    m_write.apply_to(*job->app);
    set_options(*job);
    add_layers(*job);
    if (needs_wide_samples(*job->loaded.canvas, job->options, *job->app)) {
        job->loaded.canvas = widen_samples(*job->loaded.canvas);
        job->is_widened = true;
    }
    ImageCanvas const& canvas = *job->loaded.canvas;
    job->plan =
        plan_outputs(paths.output, job->options, canvas, region_of(canvas, job->crop_or_null()), *job->app);
    for (PlannedFile const& file : job->plan.files)
        if (is_too_large(file)) {
            m_document.fail(EXIT_CODE_CANNOT_WRITE, "too_large", file.path,
                            "the picture has more pixels than this machine can hold");
            return nullptr;
        }
    bool const converts = !is_same_color_space(job->loaded.canvas_space, job->color_space);
    warn_of_losses({paths.output, job->plan, job->options, *job->app, *canvas.get_map(), m_request.write,
                    job->source ? &*job->source : nullptr, converts, job->crop.has_value(),
                    m_request.keep_integers},
                   m_document);
    return job;
}

void SaveJobs::set_options(SaveJob& job) const
{
    job.crop = m_crop;
    // Colours that stayed in the file's own space, because they are wanted there, are not converted again.
    bool const stays = is_same_color_space(job.loaded.canvas_space, job.color_space);
    job.options.color_space =
        stays ? ColorIO::get_default_color_space_name() : CoreString(job.color_space.c_str());
    if (!m_request.write.pixel_aspect && job.source && job.source->pixel_aspect_ratio > 0.0f)
        job.options.pixel_aspect_ratio = job.source->pixel_aspect_ratio;
    for (std::string const& name : m_request.layers)
        job.layers.add(CoreString(name.c_str()).get_lower_case());
    job.options.layers = job.layers.is_empty() ? nullptr : &job.layers;
}

/// Layers keep the sample types that they have in the file; luminance follows the format.
void SaveJobs::add_layers(SaveJob& job) const
{
    OfChannelManager& manager = job.app->get_channel_manager();
    if (job.options.format == ImageIOFileFormat::SAVE_EXR16)
        manager.add_layer("l", 2, ImagePixel::BIT_TYPE_FLOAT);
    if (!job.source)
        return;
    for (StoredChannel const& channel : job.source->channels) {
        std::string const layer = channel.name.substr(0, channel.name.find('.'));
        if (layer.empty() || layer == "l")
            continue;
        if (channel.type == "half")
            add_layer(manager, layer, 2, ImagePixel::BIT_TYPE_FLOAT);
        else if (channel.type == "float" || channel.type == "double")
            add_layer(manager, layer, 4, ImagePixel::BIT_TYPE_FLOAT);
        else if (m_request.keep_integers && (channel.type == "uint" || channel.type == "uint32"))
            add_layer(manager, layer, 4, ImagePixel::BIT_TYPE_INTEGER);
    }
}

Json plan_json(OutputPlan const& plan)
{
    Json files = Json::array();
    for (PlannedFile const& file : plan.files) {
        Json channels = Json::array();
        for (PlannedChannel const& channel : file.channels)
            channels.push_back({{"name", channel.name}, {"type", channel.type}, {"source", channel.source}});
        files.push_back({{"path", file.path},
                         {"name", file.name},
                         {"data_window", window_json(file.data_window)},
                         {"display_window", window_json(file.display_window)},
                         {"tile_size", file.tile_size},
                         {"channels", channels}});
    }
    return files;
}

std::string plan_text(OutputPlan const& plan)
{
    std::string text;
    for (PlannedFile const& file : plan.files) {
        auto const& window = file.data_window;
        TextTable table(2);
        table.add({"holds", file.name});
        table.add({"data window", window_text(window.x(), window.y(), window.width(), window.height())});
        table.add({"storage", file.tile_size ? "tiles of " + std::to_string(file.tile_size) + " x " +
                                                   std::to_string(file.tile_size)
                                             : "scanlines"});
        table.add({"channels", channel_list_text(file.channels)});
        text += file.path + "\n" + table.text();
    }
    return text;
}

}  // namespace zvio
