#include <array>
#include <memory>

#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/of/of_app.h"
#include "image_io/frame/log_exception.h"
#include "image_io/frame/log_line.h"
#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"
#include "image_io/save/layer_table.h"
#include "image_io/save/main_channels.h"

namespace {

using Status = ImageIO::SavingStatus;
using Format = ImageIOFileFormat;

/// Pictures without a layer beside their colours have at most so many channels.
constexpr unsigned int kMostColourChannels = 4;

bool holds_layers(Format::Save format)
{
    switch (format) {
    case Format::SAVE_EXR16:
    case Format::SAVE_EXR32:
    case Format::SAVE_TIFF8:
    case Format::SAVE_TIFF16:
    case Format::SAVE_TIFF32:
        return true;
    default:
        return false;
    }
}

/// The application's output settings.
struct OutputSettings {
    bool aovs_in_all_formats = false, one_file_per_aov = false, aovs_only = false;
};

OutputSettings settings_of(OfApp const* app)
{
    return app ? OutputSettings{app->output_aovs_in_all_formats, app->output_one_file_per_aov,
                                app->output_aovs_only}
               : OutputSettings{};
}

enum class Selection { ALL_CHANNELS, COLOUR_CHANNELS, OTHER_CHANNELS };

struct Plan {
    bool is_split;        // a file a layer, in the place of one file
    Selection selection;  // what the one file holds
};

/// Chooses the files, and logs what the format makes of the layers.
Plan choose_plan(OutputSettings const& settings, Format::Save format, ImageMap const& map)
{
    Plan plan{settings.one_file_per_aov,
              settings.aovs_only ? Selection::OTHER_CHANNELS : Selection::ALL_CHANNELS};
    if (plan.is_split || holds_layers(format))
        return plan;
    bool const has_layers = map.get_channel_count() > kMostColourChannels;
    if (!settings.aovs_in_all_formats) {
        plan.selection = Selection::COLOUR_CHANNELS;
        if (has_layers)
            zv_image_io::log_line(zv_image_io::kLogWarning,
                                  "Specified output file type does not support multiple layers. Ignoring "
                                  "AOVs. ( enable 'Output Aovs In All Format' to force write ).\n");
    } else if (has_layers) {
        zv_image_io::log_line(zv_image_io::kLogInformation,
                              "Specified output file type does not support multiple layers. Writing "
                              "separate files.\n");
        plan.is_split = true;
    }
    return plan;
}

/// By name: a second channel that is called as a colour counts as one. A slot that is empty matches nothing.
bool is_colour_channel(ImageMap const& map, ImageMapChannel const& channel)
{
    if (!map.m_rgba_channels)
        return false;
    ImageMapColorChannels const& slots = *map.m_rgba_channels;
    for (ImageMapChannel const* colour : {slots.m_red, slots.m_green, slots.m_blue, slots.m_alpha})
        if (colour && colour->m_name == channel.m_name)
            return true;
    return false;
}

CoreVector<ImageMapChannel*> select_channels(ImageMap const& map, Selection selection)
{
    if (selection == Selection::ALL_CHANNELS)
        return map.m_channels;  // null entries included
    CoreVector<ImageMapChannel*> channels;
    for (ImageMapChannel* const channel : map.m_channels)
        if (channel && is_colour_channel(map, *channel) == (selection == Selection::COLOUR_CHANNELS))
            channels.add(channel);
    return channels;
}

/// Everything that the files of one save share.
struct Planner {
    OfApp* app;
    ImageMap const& map;
    GMathVec4<int> const& region;
    GMathVec4<int> const& canvas_rectangle;
    ImageIOOutputs& outputs;
    unsigned int first_output = 0;

    std::unique_ptr<ImageIOOutput> make_output(CoreString const& name, CoreString const& filename) const
    {
        return std::make_unique<ImageIOOutput>(&map, name, filename, app);
    }

    Status open_and_add(std::unique_ptr<ImageIOOutput> output, ImageSaveOptions const& options) const
    {
        if (!output->open(app, options, region, canvas_rectangle, map.m_tile_size)) {
            outputs.drop_empty_files(first_output);
            return ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE;
        }
        outputs.add_new(output.release());
        return ImageIO::SAVING_STATUS_SUCCESS;
    }

    Status plan_one_file(ImageSaveOptions const& options, CoreString const& filename,
                         Selection selection) const
    {
        auto output = make_output("image", filename);
        output->get_channels() = select_channels(map, selection);
        if (selection != Selection::ALL_CHANNELS && output->get_channel_count() == 0)
            return ImageIO::SAVING_STATUS_NOTHING_TO_SAVE;
        return open_and_add(std::move(output), options);
    }

    Status plan_layers(ImageSaveOptions const& options, CoreString const& filename) const
    {
        ImageSaveOptions const layer_options(options, false);  // metadata goes to the main file alone
        Status status = ImageIO::SAVING_STATUS_SUCCESS;
        auto const plan_layer = [&](CoreString const& layer, CoreVector<ImageMapChannel*> const& channels) {
            if (status != ImageIO::SAVING_STATUS_SUCCESS)
                return;
            auto output = make_output(layer, Format::construct_layer_file_name(filename, layer));
            output->get_channels() = channels;
            status = open_and_add(std::move(output), layer_options);
        };
        zv_image_io::collect_layers(map).for_each(plan_layer);
        return status;
    }

    Status plan_split_files(ImageSaveOptions const& options, CoreString const& filename, bool aovs_only) const
    {
        if (!aovs_only) {
            auto output = make_output("RGBA", filename);
            output->get_channels() = zv_image_io::main_channels(map, options);
            Status const status = open_and_add(std::move(output), options);
            if (status != ImageIO::SAVING_STATUS_SUCCESS)
                return status;
        }
        Status const status = plan_layers(options, filename);
        if (status == ImageIO::SAVING_STATUS_SUCCESS && !outputs.is_valid())
            return ImageIO::SAVING_STATUS_NOTHING_TO_SAVE;
        return status;
    }
};

}  // namespace

ImageIO::SavingStatus ImageIOSave::build_outputs(OfApp* app, ImageSaveOptions const& options,
                                                 CoreString const& filename, ImageMap const* map,
                                                 GMathVec4<int> const& region,
                                                 GMathVec4<int> const& canvas_rectangle,
                                                 ImageIOOutputs& outputs)
try {
    if (!map)
        return ImageIO::SAVING_STATUS_NOTHING_TO_SAVE;
    OutputSettings const settings = settings_of(app);
    Plan const plan = choose_plan(settings, options.format, *map);
    Planner const planner{app, *map, region, canvas_rectangle, outputs, outputs.get_count()};
    return plan.is_split ? planner.plan_split_files(options, filename, settings.aovs_only)
                         : planner.plan_one_file(options, filename, plan.selection);
} catch (...) {
    zv_image_io::log_save_exception(filename);
    return ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE;
}
