#include "image_io/save/image_save_options.h"

#include <utility>

#include "host/core/core_hash_table.h"
#include "host/image/image_canvas.h"
#include "host/parser/parser_group.h"
#include "image_io/frame/log_line.h"
#include "image_io/save/canvas_meta_data.h"

namespace {

using MetaData = ImageSaveOptions::MetaData;

/// The values of an entry that metadata can hold; groups are none.
CoreArray<CoreVariant> collect_values(ParserEntry const& entry)
{
    CoreVector<CoreVariant> values;
    for (unsigned int index = 0; index < entry.get_value_count(); ++index) {
        if (entry.is_value_bool(index))
            values.add(CoreVariant(entry.get_bool(index)));
        else if (entry.is_value_char(index))
            values.add(CoreVariant(static_cast<int>(static_cast<signed char>(entry.get_char(index)))));
        else if (entry.is_value_int(index))
            values.add(CoreVariant(entry.get_int(index)));
        else if (entry.is_value_double(index))
            values.add(CoreVariant(entry.get_double(index)));
        else if (entry.is_value_string(index))
            values.add(CoreVariant(entry.get_string(index)));
    }
    return values;
}

/// The names that items have. A table, since a text may have entries by the hundred thousand.
using Names = CoreHashTable<CoreString, bool>;

Names names_of(CoreArray<MetaData> const& meta_data)
{
    Names names;
    for (MetaData const& item : meta_data)
        names.insert(item.name, true);
    return names;
}

void read_entry(ParserEntry const& entry, CoreString const& prefix, MetaData& item, Names& names)
{
    CoreArray<CoreVariant> values = collect_values(entry);
    CoreString name = entry.get_name();
    if (values.is_empty()) {
        zv_image_io::log_line(zv_image_io::kLogWarning, "Ignoring shading variable ", name,
                              " : no valid values.\n");
        return;
    }
    if (names.find(name))
        name = prefix + "_" + name;
    names.insert(name, true);
    item.name = name;
    item.values = std::move(values);
}

void log_metadata_loss()
{
    zv_image_io::log_line(zv_image_io::kLogError, "Not all metadata was taken: there is no memory for it.\n");
}

}  // namespace

void zv_image_io::append_canvas_meta_data(ImageSaveOptions& options, ImageCanvas const& canvas)
{
    CoreArray<MetaData> longer = options.meta_data;
    unsigned int slot = longer.get_count();
    longer.resize(slot + canvas.m_meta_data.get_count());
    canvas.m_meta_data.for_each([&](CoreString const& name, CoreArray<CoreVariant> const& values) {
        longer[slot].name = name;
        longer[slot].values = values;
        ++slot;
    });
    options.meta_data = std::move(longer);
}

ImageSaveOptions::ImageSaveOptions() = default;
ImageSaveOptions::~ImageSaveOptions() = default;
ImageSaveOptions& ImageSaveOptions::operator=(ImageSaveOptions const& other) = default;

ImageSaveOptions::ImageSaveOptions(ImageSaveOptions const& other, bool const& copy_meta_data)
    : pixel_aspect_ratio(other.pixel_aspect_ratio)
    , color_space(other.color_space)
    , layers(other.layers)
    , format(other.format)
    , compression(other.compression)
{
    if (copy_meta_data)
        meta_data = other.meta_data;
}

bool ImageSaveOptions::is_file_exr() const
{
    return static_cast<unsigned int>(format) <= ImageIOFileFormat::SAVE_EXR32;
}

void ImageSaveOptions::fill_metadata(CoreString prefix, CoreString text, bool append)
try {
    if (!append)
        meta_data = {};
    if (text.is_empty())
        return;
    unsigned int const base = meta_data.get_count();
    ParserGroup group("");
    group.set_text(text, default_parser_serial_version, nullptr);  // a refused text has no entries
    Names names = names_of(meta_data);
    meta_data.resize(base + group.get_entry_count());
    for (unsigned int index = 0; index < group.get_entry_count(); ++index)
        read_entry(*group.get_entry(index), prefix, meta_data[base + index], names);
} catch (...) {
    // Items that were read by then stay.
    log_metadata_loss();
}

void ImageSaveOptions::add_image_canvas_meta_data(ImageCanvas const& canvas)
try {
    zv_image_io::append_canvas_meta_data(*this, canvas);
} catch (...) {
    log_metadata_loss();
}
