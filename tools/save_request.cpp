#include "tools/save_request.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/colorio/color_io.h"
#include "host/colorio/color_io_auto_detection.h"
#include "host/parser/parser_group.h"
#include "tools/stored_picture.h"

namespace zvio {

namespace {

using Format = ImageIOFileFormat;

[[noreturn]] void refuse(std::string const& text)
{
    throw CommandError(EXIT_CODE_USAGE, text);
}

/// In lower case, without its dot.
std::string extension_of(std::string const& path)
{
    std::string const extension = std::filesystem::path(path).extension().string();
    return extension.empty() ? "" : lower_case(extension.substr(1));
}

bool has_extension(Format::Save format, std::string const& extension)
{
    for (CoreString const& known : Format::get_save_extensions(format))
        if (extension == known.get_data())
            return true;
    return false;
}

std::string short_names()
{
    std::string names;
    for (int format = 0; format < Format::SAVE_UNKNOWN; ++format)
        names += std::string(format ? ", " : "") + Format::get_short_name(static_cast<Format::Save>(format));
    return names;
}

/// The whole text as a number.
std::optional<double> read_number(std::string const& text)
{
    char* end = nullptr;
    double const number = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(number))
        return {};
    return number;
}

}  // namespace

void add_write_request(CLI::App& command, WriteRequest& request)
{
    command.add_option("--format", request.format, short_names() + " (default: by the extension)")
        ->type_name("NAME");
    command
        .add_option("--compression", request.compression,
                    "Of OpenEXR files: none, rle, zips, zip (default), piz, pxr24, b44, b44a, dwaa, dwab, "
                    "dwaa:LEVEL, dwab:LEVEL")
        ->type_name("NAME");
    command
        .add_option("--color-space", request.color_space,
                    "Colour space of the written pixels (default: that of the output's extension)")
        ->type_name("NAME");
    command.add_option("--pixel-aspect", request.pixel_aspect, "Pixel aspect ratio (default: the input's)")
        ->check(CLI::PositiveNumber.description(""))
        ->type_name("RATIO");
    command
        .add_option("--metadata", request.metadata,
                    "Metadata as a text (see docs/text-syntax.md), or @FILE; may be repeated")
        ->type_name("TEXT")
        ->allow_extra_args(false);
    command
        .add_option("--metadata-prefix", request.metadata_prefix,
                    "Goes in front of a name that is there already (default: custom)")
        ->type_name("PREFIX");
    command.add_flag("--one-file-per-aov", request.one_file_per_aov, "Each layer goes to a file of its own");
    command.add_flag("--aovs-only", request.aovs_only, "Leave the colours out");
    command.add_flag("--aovs-in-all-formats", request.aovs_in_all_formats,
                     "Formats without layers write them to files of their own");
    // A negated flag, "!--no-verify", would show as "--no-verify{false}" in the help.
    command.add_flag_callback(
        "--no-verify", [&request] { request.verify = false; }, "Do not read back what was written");
}

void add_save_request(CLI::App& command, SaveRequest& request)
{
    command.add_option("IN", request.inputs, "Picture files, shot.####.exr, patterns, folders")
        ->required()
        ->type_name("");
    command.add_option("-o,--output", request.output, "The file, shot.####.png or folder to write")
        ->required()
        ->type_name("OUT");
    command
        .add_option("--frames", request.frames,
                    "Of numbered inputs, such as 1-10x2,15 (default: those that there are)")
        ->type_name("LIST");
    command
        .add_option("--layers", request.layers,
                    "Up to four channels that take the place of the colours in files of colours")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("A,B,C,D");
    command.add_option("--crop", request.crop, "Part of the picture to write, in fractions of its size")
        ->type_name("X,Y,W,H");
    command.add_flag("--tiled", request.write.tiled, "Tiles of 64 by 64 instead of scanlines");
    command.add_flag("--keep-integers", request.keep_integers,
                     "Integer layers stay such in OpenEXR files (where they hold zeros)");
    add_write_request(command, request.write);
    add_load_request(command, request.load, "--input-space");
}

std::optional<GMathVec4<float>> parse_crop(std::string const& text)
{
    if (text.empty())
        return {};
    std::vector<float> numbers;
    std::istringstream stream(text);
    for (std::string piece; std::getline(stream, piece, ',');)
        if (auto const number = read_number(piece))
            numbers.push_back(static_cast<float>(*number));
    if (numbers.size() != 4 || std::count(text.begin(), text.end(), ',') != 3)
        refuse("\"" + text + "\" is no crop, such as 0,0,0.5,1");
    return GMathVec4<float>(numbers[0], numbers[1], numbers[2], numbers[3]);
}

std::string read_metadata_text(std::string const& argument)
{
    std::string text = argument, origin = "--metadata";
    if (argument.starts_with('@')) {
        origin = argument.substr(1);
        std::ifstream file(origin, std::ios::binary);
        std::ostringstream content;
        std::error_code ignored;
        bool const is_empty = std::filesystem::is_regular_file(origin, ignored) &&
                              std::filesystem::file_size(origin, ignored) == 0;
        if (!file || (!is_empty && !(content << file.rdbuf())))
            throw CommandError(EXIT_CODE_INPUT, "the metadata \"" + origin + "\" cannot be read");
        text = content.str();
    }
    ParserGroup group("");
    if (!group.set_text(text.c_str(), default_parser_serial_version, nullptr))
        refuse(origin + ", line " + std::to_string(group.get_error_line()) + ", column " +
               std::to_string(group.get_error_column()) + ": " + group.get_error_text().get_data());
    return text;
}

WriteSettings::WriteSettings(WriteRequest const& request)
    : m_request(request)
{
    if (!request.format.empty()) {
        m_format = Format::get_save_from_short_name(request.format.c_str());
        if (m_format == Format::SAVE_UNKNOWN)
            refuse("unknown format \"" + request.format + "\"; there are " + short_names());
    }
    if (!request.color_space.empty() && ColorIO::resolve_name(request.color_space.c_str()).is_empty())
        refuse_color_space(request.color_space);
    read_compression();
    for (std::string const& argument : request.metadata)
        m_metadata.push_back(read_metadata_text(argument));
}

void WriteSettings::read_compression()
{
    if (m_request.compression.empty())
        return;
    auto const colon = m_request.compression.find(':');
    std::string const name = m_request.compression.substr(0, colon);
    m_compression = Format::get_compression_from_short_name(name.c_str());
    bool const is_dwa =
        m_compression == Format::COMPRESSION_DWAA || m_compression == Format::COMPRESSION_DWAB;
    if (m_compression == Format::COMPRESSION_UNKNOWN || m_compression == Format::COMPRESSION_DEFAULT)
        refuse("unknown compression \"" + name + "\"; zvio formats compression lists them");
    if (colon == std::string::npos)
        return;
    m_dwa_level = read_number(m_request.compression.substr(colon + 1));
    if (!is_dwa || !m_dwa_level || *m_dwa_level < 0.0)
        refuse("\"" + m_request.compression + "\": a level is a number behind dwaa: or dwab:");
}

ImageIOFileFormat::Save WriteSettings::format_for(std::string const& path) const
{
    std::string const extension = extension_of(path);
    if (m_format == Format::SAVE_UNKNOWN) {
        auto const format = Format::get_save_from_extension(extension.c_str());
        if (format == Format::SAVE_UNKNOWN)
            refuse("the name \"" + path + "\" tells no format; --format takes " + short_names());
        return format;
    }
    // The writer is chosen by the name: a file of another extension would hold another format.
    if (!has_extension(m_format, extension))
        refuse(std::string("files of the format ") + Format::get_short_name(m_format) + " do not end in \"" +
               extension + "\"");
    return m_format;
}

CoreString WriteSettings::color_space_for(std::string const& path) const
{
    if (!m_request.color_space.empty())
        return m_request.color_space.c_str();
    CoreString const space =
        ColorIOAutoDetection::s_instance->get_default_color_space_from_extension(extension_of(path).c_str());
    return space.is_empty() ? ColorIO::get_default_color_space_name() : space;
}

ImageSaveOptions WriteSettings::options_for(std::string const& path) const
{
    ImageSaveOptions options;
    options.format = format_for(path);
    options.compression = m_compression;
    options.color_space = color_space_for(path);
    options.pixel_aspect_ratio = m_request.pixel_aspect.value_or(1.0f);
    for (std::string const& text : m_metadata)
        options.fill_metadata(m_request.metadata_prefix.c_str(), text.c_str(), true);
    return options;
}

void WriteSettings::apply_to(OfApp& app) const
{
    app.tiling_mode = m_request.tiled ? 1 : 0;
    app.output_one_file_per_aov = m_request.one_file_per_aov;
    app.output_aovs_only = m_request.aovs_only;
    app.output_aovs_in_all_formats = m_request.aovs_in_all_formats;
    if (m_dwa_level)
        app.dwa_compression_level = *m_dwa_level;
}

std::string WriteSettings::extension_for(std::string const& input) const
{
    if (m_format != Format::SAVE_UNKNOWN)
        return Format::get_save_extensions(m_format)[0].get_data();
    std::string const extension = extension_of(input);
    if (Format::get_save_from_extension(extension.c_str()) == Format::SAVE_UNKNOWN)
        refuse("\"" + extension + "\" tells no format to write; --format takes " + short_names());
    return extension;
}

}  // namespace zvio
