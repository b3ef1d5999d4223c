#include "tools/save_warnings.h"

#include <algorithm>

#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/of/of_app.h"
#include "tools/output_plan.h"
#include "tools/save_request.h"
#include "tools/stored_picture.h"

namespace zvio {

namespace {

using Format = ImageIOFileFormat;
using MetaData = ImageSaveOptions::MetaData;

bool is_lossy(ImageSaveOptions const& options)
{
    if (!options.is_file_exr())
        return options.format == Format::SAVE_JPEG;
    switch (options.compression) {
    case Format::COMPRESSION_PXR24:
    case Format::COMPRESSION_B44:
    case Format::COMPRESSION_B44A:
    case Format::COMPRESSION_DWAA:
    case Format::COMPRESSION_DWAB:
        return true;
    default:
        return false;
    }
}

/// By the names that renderers give them.
bool is_data_name(std::string const& name)
{
    static char const* const kWords[] = {"id", "depth", "mask", "matte"};
    if (name == "z")
        return true;
    std::string piece;
    for (char const letter : name + ".") {
        if (letter != '.' && letter != '_' && letter != ' ') {
            piece += letter;
            continue;
        }
        for (char const* word : kWords)
            if (piece == word || (std::string(word) == "id" && piece.size() > 2 && piece.ends_with("id")) ||
                piece.starts_with("cryptomatte"))
                return true;
        piece.clear();
    }
    return false;
}

std::string joined(std::vector<std::string> const& names)
{
    std::string text;
    for (std::string const& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

bool is_number(CoreVariant const& value)
{
    return value.get_type() == CoreVariant::TYPE_INT || value.get_type() == CoreVariant::TYPE_DOUBLE;
}

/// Whether an OpenEXR header has a place for the item.
bool fits_exr(MetaData const& item)
{
    unsigned int const count = item.values.get_count();
    if (count == 0)
        return false;
    if (item.name == "worldToCamera" || item.name == "worldToNDC")
        return count >= 16;
    if (item.name == "comment" || item.values[0].get_type() == CoreVariant::TYPE_STRING)
        return true;
    return is_number(item.values[0]) && (count <= 3 || count == 9 || count == 16);
}

/// The one item that reaches a TIFF file; the other two that are set on one go no further.
bool fits_tiff(MetaData const& item)
{
    return item.name == "worldToCamera" && item.values.get_count() >= 16;
}

/// Looks at one save from all sides.
class LossFinder {
public:
    LossFinder(PlannedSave const& save, Document& document)
        : m_save(save)
        , m_document(document)
        , m_is_simple(is_simple_format(save.options))
        , m_is_exr(save.options.is_file_exr())
    {
    }

    void find()
    {
        look_at_channels();
        look_at_layers_option();
        look_at_metadata();
        look_at_source();
        look_at_color();
        look_at_options();
    }

private:
    void warn(char const* code, std::string const& text) { m_document.warn(code, m_save.path, text); }

    void look_at_channels()
    {
        std::vector<std::string> dropped, nameless;
        for (std::string const& name : m_save.plan.left_out)
            (name.starts_with('.') ? nameless : dropped).push_back(name);
        if (!nameless.empty())
            warn("channel_dropped",
                 "channels without a layer in front of their dot are left out: " + joined(nameless));
        if (dropped.empty() || m_save.plan.files.empty() || m_save.app.output_aovs_only)
            return;
        warn("aovs_dropped",
             "channels that are left out: " + joined(dropped) +
                 (m_is_simple ? "; --aovs-in-all-formats writes layers to files of their own" : ""));
    }

    void look_at_layers_option()
    {
        CoreBasicArray<CoreString> const* const layers = m_save.options.layers;
        if (!layers)
            return;
        auto const& app = m_save.app;
        bool const counts = m_is_simple || (app.output_one_file_per_aov && !app.output_aovs_only);
        if (!counts)
            warn("layers_ignored", "--layers has no effect: the file takes all channels");
        if (layers->get_count() > 4)
            warn("layers_ignored", "only the first four names of --layers count");
        for (CoreString const& name : *layers)
            if (counts && !m_save.map.get_channel_by_name(name))
                warn("layer_missing", std::string("there is no channel \"") + name.get_data() + "\"");
    }

    void look_at_metadata()
    {
        std::vector<std::string> dropped, unsupported;
        for (MetaData const& item : m_save.options.meta_data) {
            std::string const name =
                item.name.is_empty() ? "(an entry without values)" : item.name.get_data();
            if (m_is_exr && !fits_exr(item))
                dropped.push_back(name);
            else if (!m_is_exr && (m_is_simple || !fits_tiff(item)))
                unsupported.push_back(name);
        }
        if (!dropped.empty())
            warn("metadata_dropped",
                 "metadata of a kind or number of values that has no place in the header: " +
                     joined(dropped));
        if (!unsupported.empty())
            warn("metadata_unsupported", "metadata that the format cannot hold: " + joined(unsupported));
    }

    void look_at_source()
    {
        if (!m_save.source)
            return;
        std::vector<std::string> integers, doubles, data;
        for (StoredChannel const& channel : m_save.source->channels) {
            bool const is_integer = channel.type == "uint" || channel.type == "uint32";
            if (is_integer)
                integers.push_back(channel.name);
            if (channel.type == "double")
                doubles.push_back(channel.name);
            if (is_integer || is_data_name(channel.name))
                data.push_back(channel.name);
        }
        if (!integers.empty() && m_is_exr && m_save.keeps_integers)
            warn("integer_layer_zeros",
                 "integer layers are declared as such, and hold zeros: " + joined(integers));
        else if (!integers.empty())
            warn("integer_layer_scaled", "integer layers become fractions from 0 to 1: " + joined(integers));
        if (!doubles.empty())
            warn("double_input", "64-bit samples lose precision: " + joined(doubles));
        std::erase_if(data, [this](std::string const& name) { return !is_written(name); });
        if (!data.empty() && is_lossy(m_save.options))
            warn("lossy_data", "ids or depths under a lossy compression: " + joined(data));
    }

    bool is_written(std::string const& name) const
    {
        for (PlannedFile const& file : m_save.plan.files)
            for (PlannedChannel const& channel : file.channels)
                if (channel.source == name)
                    return true;
        return false;
    }

    void look_at_color()
    {
        if (!m_save.converts_colors || m_is_exr || m_is_simple)
            return;
        for (PlannedFile const& file : m_save.plan.files)
            if (file.channels.size() > 4)
                warn("color_over_layers",
                     "the colours of more than four channels are converted together, with the "
                     "fourth as their alpha; --one-file-per-aov keeps them apart");
    }

    void look_at_options()
    {
        auto const& write = m_save.request;
        if (m_save.is_cropped && !m_is_exr)
            warn("crop_ignored", "only OpenEXR files are cropped");
        std::vector<std::string> ignored;
        if (!write.compression.empty() && !m_is_exr)
            ignored.emplace_back("--compression");
        if (m_is_simple) {
            if (write.tiled)
                ignored.emplace_back("--tiled");
            if (write.pixel_aspect)
                ignored.emplace_back("--pixel-aspect");
            if (write.one_file_per_aov)
                ignored.emplace_back("--one-file-per-aov");
            if (write.aovs_only)
                ignored.emplace_back("--aovs-only");
        } else if (write.aovs_in_all_formats) {
            ignored.emplace_back("--aovs-in-all-formats");
        }
        if (!ignored.empty())
            warn("option_ignored", "without effect in this format: " + joined(ignored));
    }

    PlannedSave const& m_save;
    Document& m_document;
    bool m_is_simple, m_is_exr;
};

}  // namespace

void warn_of_losses(PlannedSave const& save, Document& document)
{
    LossFinder(save, document).find();
}

}  // namespace zvio
