#include <Iex.h>
#include <ImfHeader.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "host/of/of_app.h"
#include "host/parser/parser_group.h"
#include "image_io/presets/image_io_resolution_preset_manager.h"
#include "image_io/save/image_io_exr_utils.h"
#include "image_io/save/image_save_options.h"
#include "tests/fuzz/byte_reader.h"
#include "tests/fuzz/harness.h"
#include "tests/fuzz/scratch.h"

namespace zv_fuzz {

namespace {

std::string escaped(std::string_view text, char quote)
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string result(1, quote);
    for (char const character : text) {
        auto const byte = static_cast<unsigned char>(character);
        result += {'\\', 'x', kDigits[byte / 16], kDigits[byte % 16]};
    }
    return result + quote;
}

/// So that it is read as a double again, and as the same.
std::string written(double value)
{
    char digits[64];
    auto const end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::scientific).ptr;
    return {digits, end};
}

std::string written(ParserGroup const& group);

std::string written(ParserEntry const& entry, unsigned int index)
{
    if (entry.is_value_group(index))
        return "{\n" + written(*entry.get_group(index)) + "}";
    if (entry.is_value_string(index))
        return escaped(entry.get_string(index).view(), '"');
    if (entry.is_value_char(index)) {
        char const character = entry.get_char(index);
        return escaped({&character, 1}, '\'');
    }
    if (entry.is_value_double(index))
        return written(entry.get_double(index));
    return entry.get_string(index).get_data();
}

/// The group as a text that reads as the same group.
std::string written(ParserGroup const& group)
{
    std::string text;
    for (unsigned int i = 0; i < group.get_entry_count(); ++i) {
        ParserEntry const& entry = *group.get_entry(i);
        text += escaped(entry.get_name().view(), '"');
        for (unsigned int index = 0; index < entry.get_value_count(); ++index)
            text += " " + written(entry, index);
        text += "\n;\n";
    }
    return text;
}

bool is_same_number(double left, double right)
{
    return std::memcmp(&left, &right, sizeof left) == 0 || (left != left && right != right);
}

bool is_same(ParserGroup const& left, ParserGroup const& right);

bool is_same_value(ParserEntry const& left, ParserEntry const& right, unsigned int index)
{
    if (left.is_value_group(index))
        return right.is_value_group(index) && is_same(*left.get_group(index), *right.get_group(index));
    return left.is_value_bool(index) == right.is_value_bool(index) &&
           left.is_value_char(index) == right.is_value_char(index) &&
           left.is_value_int(index) == right.is_value_int(index) &&
           left.is_value_double(index) == right.is_value_double(index) &&
           left.is_value_string(index) == right.is_value_string(index) &&
           left.get_bool(index) == right.get_bool(index) && left.get_int(index) == right.get_int(index) &&
           left.get_char(index) == right.get_char(index) &&
           is_same_number(left.get_double(index), right.get_double(index)) &&
           left.get_string(index) == right.get_string(index);
}

bool is_same(ParserGroup const& left, ParserGroup const& right)
{
    if (left.get_entry_count() != right.get_entry_count())
        return false;
    for (unsigned int i = 0; i < left.get_entry_count(); ++i) {
        ParserEntry const &one = *left.get_entry(i), &other = *right.get_entry(i);
        if (!(one.get_name() == other.get_name()) || one.get_value_count() != other.get_value_count())
            return false;
        // One past the end as well: there is nothing, in both.
        for (unsigned int index = 0; index <= one.get_value_count(); ++index)
            if (!is_same_value(one, other, index))
                return false;
    }
    return true;
}

void check_error_place(ParserGroup const& group, std::string_view text)
{
    std::size_t const lines = std::size_t(std::count(text.begin(), text.end(), '\n')) + 1;
    require(group.get_error_line() >= 1 && group.get_error_line() <= lines,
            "an error is on a line of the text");
    require(group.get_error_column() >= 1 && group.get_error_column() <= text.size() + 1,
            "an error is in a column of the text");
    require(!group.get_error_text().is_empty(), "an error has a text");
}

/// An application with a list of presets, for the life of the process.
class PresetList {
public:
    PresetList()
    {
        require(ImageIOResolutionPresetManager::static_init(&m_app), "the list of presets starts");
    }
    ~PresetList() { ImageIOResolutionPresetManager::destroy(); }

    void take_file(CoreString const& path)
    {
        m_app.resolution_preset_file_use = true;
        m_app.resolution_preset_file_path = path;
        m_app.raise_event("EVT_ID_APPLICATION_RES_PRESET_FILE_PATH_CHANGED");
    }

    void check()
    {
        auto const& list = *ImageIOResolutionPresetManager::get_instance();
        auto const& presets = list.get_resolution_presets();
        require(list.get_presets_count() == presets.get_count() && presets.get_count() >= 1,
                "there is always a preset");
        require(!presets[0].is_group && presets[0].name == "Custom", "the first preset is the custom one");
        for (unsigned int i = 0; i < presets.get_count(); ++i)
            check_preset(list, i);
    }

private:
    static void check_preset(ImageIOResolutionPresetManager const& list, unsigned int index)
    {
        auto const& preset = list.get_resolution_presets()[index];
        require(list.get_preset_name(index) == preset.name, "a preset has its name");
        require(list.get_preset_index(preset.name) <= index, "a preset is found by its name");
        if (index > 0)  // the first is for sizes that no other has
            require(list.find_preset(preset.width, preset.height) <= index, "a preset is found by its size");
    }

    OfApp m_app;
};

using MetaData = CoreArray<ImageSaveOptions::MetaData>;

/// As texts, since a number that is none equals nothing.
bool is_same_value_of_metadata(CoreVariant const& left, CoreVariant const& right)
{
    return left.get_type() == right.get_type() && left.get_string() == right.get_string();
}

bool begins_with(MetaData const& all, MetaData const& first)
{
    if (all.get_count() < first.get_count())
        return false;
    for (unsigned int i = 0; i < first.get_count(); ++i)
        if (!(all[i].name == first[i].name) ||
            !std::equal(all[i].values.begin(), all[i].values.end(), first[i].values.begin(),
                        first[i].values.end(), is_same_value_of_metadata))
            return false;
    return true;
}

}  // namespace

void parser(Bytes bytes)
{
    std::string_view const text(reinterpret_cast<char const*>(bytes.data()), bytes.size());
    ParserGroup group("root");
    bool const is_read = group.set_text(CoreString(text), default_parser_serial_version, nullptr);
    require(is_read == (group.get_error_line() == 0), "a text is read or has an error");
    if (!is_read) {
        require(group.get_entry_count() == 0, "a text with an error has no entries");
        check_error_place(group, text);
        return;
    }
    ParserGroup again("again");
    require(
        again.set_text(CoreString(std::string_view(written(group))), default_parser_serial_version, nullptr),
        "a written group is read");
    require(is_same(group, again), "a written group is read as the same group");
}

void presets(Bytes bytes)
{
    static PresetList list;
    list.take_file(write_input(bytes, "txt").c_str());
    list.check();
}

void metadata(Bytes bytes)
{
    ByteReader reader(bytes);
    CoreString const prefix{std::string_view(reader.text_to_zero())};
    CoreString const first{std::string_view(reader.text_to_zero())};
    CoreString const second{std::string_view(reader.rest())};

    ImageSaveOptions options;
    options.fill_metadata(prefix, first, true);
    MetaData const before = options.meta_data;
    options.fill_metadata(prefix, second, true);
    require(begins_with(options.meta_data, before), "metadata is appended");
    require(ImageSaveOptions(options, false).meta_data.is_empty(), "a copy leaves metadata out");
    require(begins_with(ImageSaveOptions(options).meta_data, options.meta_data),
            "a copy takes metadata along");
    Imf::Header header(8, 8);
    try {
        ImageIOExrUtils::add_metadata_to_header(&header, options.meta_data);
    } catch (Iex::BaseExc const&) {
        // a name that the header has with another type
    }
    options.fill_metadata(prefix, first, false);
    require(begins_with(options.meta_data, before) && begins_with(before, options.meta_data),
            "metadata takes the place of what there was");
}

}  // namespace zv_fuzz
