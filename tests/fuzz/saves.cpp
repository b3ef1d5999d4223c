#include <ImfAttribute.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "host/of/of_app.h"
#include "host/of/of_expression.h"
#include "host/sys/sys_filesystem.h"
#include "image_io/format/image_io_file_format.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/image_header.h"
#include "image_io/save/image_save_options.h"
#include "tests/fuzz/byte_reader.h"
#include "tests/fuzz/harness.h"
#include "tests/fuzz/scratch.h"
#include "tests/save/test_canvas.h"

namespace zv_fuzz {

namespace {

namespace fs = std::filesystem;
using Format = ImageIOFileFormat;

CoreString core(std::string const& text)
{
    return CoreString(std::string_view(text));
}

// Names

std::vector<std::string> pieces_of(std::string const& text)
{
    std::vector<std::string> pieces;
    for (std::size_t start = 0; start <= text.size();) {
        std::size_t const end = std::min(text.find('.', start), text.size());
        pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return pieces;
}

bool is_whole_number(std::string text)
{
    if (!text.empty() && (text[0] == '-' || text[0] == '+'))
        text.erase(0, 1);
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/// The rule of `construct_layer_file_name` once more.
std::string layer_name(std::string const& path, std::string const& layer)
{
    if (layer == "rgba")
        return path;
    std::size_t const slash = path.rfind('/');
    std::string const folder = slash == std::string::npos ? "." : path.substr(0, slash);
    std::string const file = slash == std::string::npos ? path : path.substr(slash + 1);
    if (file.empty())
        return {};
    auto pieces = pieces_of(file);
    std::size_t chosen = 0;
    for (std::size_t i = 1; i < pieces.size(); ++i)
        if (is_whole_number(pieces[i]))
            chosen = i - 1;
    if (!layer.empty())
        pieces[chosen] += "_" + layer;
    std::string result = folder + "/" + pieces[0];
    for (std::size_t i = 1; i < pieces.size(); ++i)
        result += "." + pieces[i];
    return result;
}

/// The rule of `construct_tile_file_name` once more.
std::string tile_name(std::string path, int first, int second)
{
    if (path.ends_with('.'))
        path.pop_back();
    std::string result;
    for (std::size_t i = 0; i < path.size(); ++i) {
        result += path[i];
        i += path[i] == '%' && i + 1 < path.size() && path[i + 1] == '%';
    }
    // The width counts a sign in.
    std::size_t const width = first < 0 ? 1 : std::to_string(first).size();
    bool const is_negative = second < 0;
    std::string digits = std::to_string(second).substr(is_negative);
    while (digits.size() + is_negative < width)
        digits.insert(0, 1, '0');
    return result + ".tilex" + std::to_string(first) + "-" + (is_negative ? "-" : "") + digits + ".";
}

void check_formats(std::string const& name)
{
    Format::Save const format = Format::get_save_from_short_name(core(name));
    require(format == Format::SAVE_UNKNOWN ||
                Format::get_save_from_short_name(Format::get_short_name(format)) == format,
            "a short name leads to its format and back");
    Format::get_compression_from_short_name(core(name));
    Format::get_save_from_extension(core(name));
    Format::is_extension_valid(core(name));
}

void check_paths(std::string const& path)
{
    CoreString const text = core(path);
    CoreString joined = SysFilesystem::get_folder(text);
    joined += SysFilesystem::get_folder_separator();
    joined += SysFilesystem::get_filename(text);
    require(joined == text || joined == CoreString("./") + text, "folder and file name make up the path");
    CoreString once = text;
    SysFilesystem::format_path(once);
    CoreString twice = once;
    SysFilesystem::format_path(twice);
    require(once == twice, "a formatted path is formatted");
}

void check_expression(std::string const& path, std::vector<std::string> const& values)
{
    OfObjectFactory factory;
    int number = 0;
    for (std::string const& value : values)
        factory.get_vars().set(core(std::string(1, char('a' + number++ % 26))), core(value));
    CoreString const once = OfExpression::compute_path(core(path), factory);
    require(path.find('$') != std::string::npos || once == core(path), "a path without variables stays");
}

void check_names(std::string const& path, std::vector<std::string> const& layers, int first, int second)
{
    for (std::string const& layer : layers)
        require(Format::construct_layer_file_name(core(path), core(layer)) == core(layer_name(path, layer)),
                "a layer's file has the name of the layer");
    require(Format::construct_tile_file_name(core(path), first, second) ==
                core(tile_name(path, first, second)),
            "a tile's file has the numbers of the tile");
    check_formats(path);
    check_paths(path);
    check_expression(path, layers);
}

// Saves

/// What can be a file name, in the scratch folder and not elsewhere.
std::string harmless(std::string name)
{
    std::replace(name.begin(), name.end(), '/', '|');
    std::replace(name.begin(), name.end(), '\0', '|');
    return name;
}

bool opens_as_exr(std::string const& path)
{
    try {
        return Imf::InputFile(path.c_str(), 0).isComplete();
    } catch (std::exception const&) {
        return false;
    }
}

zv_test::TestCanvas small_canvas(std::vector<std::string> const& channels)
{
    zv_test::CanvasShape shape;
    shape.width = 5;
    shape.height = 3;
    shape.channels = channels;
    return zv_test::TestCanvas(shape);
}

struct Choices {
    unsigned settings, format;
    int first, second;
};

void save_with_names(Choices const& choices, std::string const& name, std::vector<std::string> const& layers)
{
    std::vector<std::string> channels{"r", "g", "b", "a"};
    for (std::string const& layer : layers)
        channels.push_back(harmless(layer));
    auto const canvas = small_canvas(channels);
    OfApp app;
    app.output_one_file_per_aov = choices.settings & 1;
    app.output_aovs_in_all_formats = choices.settings & 2;
    app.output_aovs_only = choices.settings & 4;
    app.tiling_mode = choices.settings & 8 ? 1 : 0;
    ImageSaveOptions options;
    options.format = static_cast<Format::Save>(choices.format % Format::SAVE_UNKNOWN);
    options.compression = Format::COMPRESSION_RLE;
    options.color_space = "";
    std::string const path = scratch_folder() + "/" + harmless(name);
    auto const status = ImageIO::save(core(path), options, canvas.canvas(), &app, nullptr, nullptr);
    if (status != ImageIO::SAVING_STATUS_SUCCESS)
        return;
    auto const files = scratch_files();
    require(!files.empty(), "a save that succeeds leaves a file");
    for (std::string const& file : files)
        require(options.is_file_exr() ? opens_as_exr(file) : fs::file_size(file) > 0,
                "each file of a save that succeeds is whole");
}

// Metadata

CoreVariant read_value(ByteReader& reader)
{
    switch (reader.byte() % 8) {
    case 0:
        return CoreVariant();
    case 1:
        return CoreVariant(reader.byte() % 2 == 1);
    case 2:
        return CoreVariant(reader.number<int>());
    case 3:
        return CoreVariant(reader.number<double>());
    case 4:
        return CoreVariant(core(reader.text(reader.byte())));
    default:
        return CoreVariant(double(reader.byte()));
    }
}

ImageSaveOptions::MetaData read_item(ByteReader& reader)
{
    ImageSaveOptions::MetaData item;
    item.name = core(reader.text_to_zero());
    unsigned const count = reader.byte() % 20;
    item.values = CoreArray<CoreVariant>(count);
    for (unsigned i = 0; i < count && !reader.is_at_end(); ++i)
        item.values[i] = read_value(reader);
    return item;
}

/// What stands in the file under a name of one's own, or null for what becomes no attribute.
char const* attribute_type(CoreArray<CoreVariant> const& values)
{
    if (values.is_empty())
        return nullptr;
    if (values[0].get_type() == CoreVariant::TYPE_STRING)
        return "string";
    if (values[0].get_type() != CoreVariant::TYPE_INT && values[0].get_type() != CoreVariant::TYPE_DOUBLE)
        return nullptr;
    switch (values.get_count()) {
    case 1:
        return "double";
    case 2:
        return "v2f";
    case 3:
        return "v3f";
    case 9:
        return "m33f";
    case 16:
        return "m44f";
    }
    return nullptr;
}

/// Names that mean something to the module, or that every header has.
bool has_meaning(CoreString const& name)
{
    static std::set<std::string> const names = [] {
        std::set<std::string> all{"comment",    "comments", "worldToCamera",
                                  "worldToNDC", "tiles",    "dwaCompressionLevel",
                                  "type",       "version",  "chunkCount"};
        Imf::Header const plain;
        for (auto place = plain.begin(); place != plain.end(); ++place)
            all.insert(place.name());
        return all;
    }();
    return names.contains(std::string(name.view()));
}

void check_attributes(std::string const& path, ImageSaveOptions const& options)
{
    std::size_t constexpr kLongestName = 255;
    Imf::InputFile const file(path.c_str(), 0);
    for (ImageSaveOptions::MetaData const& item : options.meta_data) {
        char const* const type = attribute_type(item.values);
        bool const is_alone = std::count_if(options.meta_data.begin(), options.meta_data.end(),
                                            [&](auto& other) { return other.name == item.name; }) == 1;
        if (!is_alone || has_meaning(item.name) || item.name.get_count() > kLongestName)
            continue;
        auto const place = file.header().find(item.name.get_data());
        require((place != file.header().end()) == (type != nullptr),
                "an item with values of use is in the header");
        if (type)
            require(std::string_view(place.attribute().typeName()) == type,
                    "an item has the type of its values");
    }
}

}  // namespace

void output_names(Bytes bytes)
{
    ByteReader reader(bytes);
    Choices choices;
    choices.settings = reader.byte();
    choices.format = reader.byte();
    choices.first = reader.number<int>();
    choices.second = reader.number<int>();
    std::string const name = reader.text_to_zero();
    std::vector<std::string> layers;
    while (!reader.is_at_end() && layers.size() < 12)
        layers.push_back(reader.text_to_zero());
    check_names(name, layers, choices.first, choices.second);
    empty_scratch_folder();
    save_with_names(choices, name, layers);
}

void exr_header(Bytes bytes)
{
    static auto const canvas = small_canvas({"r", "g", "b", "a", "depth.z"});
    ByteReader reader(bytes);
    OfApp app;
    ImageSaveOptions options;
    unsigned const settings = reader.byte();
    options.format = settings & 1 ? Format::SAVE_EXR16 : Format::SAVE_EXR32;
    options.color_space = "";  // conversions have nothing to do with names and numbers, and take time
    app.tiling_mode = settings & 2 ? 1 : 0;
    options.pixel_aspect_ratio = settings & 4 ? reader.number<float>() : 1.0f;
    app.dwa_compression_level = settings & 8 ? reader.number<double>() : 45.0;
    options.compression = static_cast<Format::OpenExrCompressionMethod>(reader.byte() % 13);
    while (!reader.is_at_end() && options.meta_data.get_count() < 32)
        options.meta_data.add(read_item(reader));

    std::string const path = scratch_folder() + "/saved.exr";
    auto const status = ImageIO::save(core(path), options, canvas.canvas(), &app, nullptr, nullptr);
    if (status != ImageIO::SAVING_STATUS_SUCCESS)
        return;
    require(opens_as_exr(path), "a saved file is whole");
    check_attributes(path, options);
    ImageHeader header;
    require(ImageIO::get_image_specs(core(path), header), "the header of a saved file is read");
    require(header.channel_count == 5, "a saved file has the channels of the picture");
}

}  // namespace zv_fuzz
