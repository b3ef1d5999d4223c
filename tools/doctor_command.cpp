#include <OpenColorIO/OpenColorIO.h>
#include <OpenEXRConfig.h>
#include <OpenImageIO/imageio.h>
#include <openexr_base.h>
#include <unistd.h>

#include <ImfThreading.h>

#include <sstream>
#include <thread>

#include "host/colorio/color_io.h"
#include "host/colorio/color_io_manager.h"
#include "host/version.h"
#include "image_io/frame/version.h"
#include "image_io/texture/image_io_texture_stream.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/text_table.h"

namespace zvio {

namespace {

/// A library as it was when this program was built, and as it is now.
struct Library {
    char const* name;
    std::string built, found;
};

std::string openimageio_found()
{
    int const number = OIIO::openimageio_version();  // 20407 for 2.4.7
    return std::to_string(number / 10000) + "." + std::to_string(number / 100 % 100) + "." +
           std::to_string(number % 100);
}

std::string openexr_found()
{
    int major = 0, minor = 0, patch = 0;
    char const* extra = "";
    exr_get_library_version(&major, &minor, &patch, &extra);
    return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
}

std::vector<Library> libraries()
{
    std::string const oiio_built = std::to_string(OIIO_VERSION_MAJOR) + "." +
                                   std::to_string(OIIO_VERSION_MINOR) + "." +
                                   std::to_string(OIIO_VERSION_PATCH);
    return {{"zv_image_io", zv_image_io_version(), zv_image_io_version()},
            {"zv_host", zv_image_io_version(), zv_host_version()},
            {"OpenImageIO", oiio_built, openimageio_found()},
            {"OpenEXR", OPENEXR_VERSION_STRING, openexr_found()},
            {"OpenColorIO", OCIO_VERSION, OCIO_NAMESPACE::GetVersion()}};
}

/// The formats of a list like "openexr,tiff,jpeg". OpenImageIO fills it when it looks at the first extension.
std::vector<std::string> format_names(char const* list)
{
    OIIO::get_string_attribute("extension_list");
    std::stringstream stream(OIIO::get_string_attribute(list));
    std::vector<std::string> names;
    for (std::string format; std::getline(stream, format, ',');)
        names.push_back(format);
    return names;
}

Json colour_json()
{
    CoreString const file = ColorIOManager::s_instance->get_config_file();
    return {{"configuration", file.is_empty() ? "built in" : file.get_data()},
            {"spaces", ColorIO::get_color_space_names().get_count()},
            {"working_space", ColorIO::get_default_color_space_name().get_data()}};
}

Json limits_json()
{
    return {{"cores", std::thread::hardware_concurrency()},
            {"openimageio_threads", OIIO::get_int_attribute("threads")},
            {"openexr_threads", Imf::globalThreadCount()},
            {"picture_megabytes", OIIO::get_int_attribute("limits:imagesize_MB")},
            {"channels", OIIO::get_int_attribute("limits:channels")},
            {"texture_cache_megabytes", ImageIOTextureStream::get_cache_size()}};
}

std::string plain_text(Json const& value)
{
    return value.is_string() ? value.get<std::string>() : value.dump();
}

void print_section(char const* title, Json const& values, Document& document)
{
    TextTable table(2);
    for (auto const& [key, value] : values.items())
        table.add({key, plain_text(value)});
    document.print(std::string(title) + "\n" + table.text());
}

void print_libraries(std::vector<Library> const& all, Document& document)
{
    TextTable table(2);
    table.add({"library", "built with", "found"});
    for (Library const& library : all)
        table.add({library.name, library.built, library.found});
    document.print("versions\n" + table.text());
}

void print_formats(char const* title, std::vector<std::string> const& names, Document& document)
{
    std::string text = std::string(title) + "\n ";
    for (std::string const& name : names)
        text += " " + name;
    document.print(text + "\n");
}

void run_doctor(Document& document)
{
    std::vector<Library> const all = libraries();
    auto const readers = format_names("input_format_list"), writers = format_names("output_format_list");
    Json versions = Json::array();
    for (Library const& library : all) {
        versions.push_back({{"name", library.name}, {"built", library.built}, {"found", library.found}});
        if (library.built != library.found)
            document.warn("version_differs", "",
                          std::string(library.name) + " " + library.found + " is found, but " +
                              library.built + " was there when this was built");
    }
    Json const colour = colour_json(), limits = limits_json();
    document.result() = {{"versions", versions},
                         {"colour", colour},
                         {"limits", limits},
                         {"reads", readers},
                         {"writes", writers}};
    print_libraries(all, document);
    print_section("colour", colour, document);
    print_section("threads and limits", limits, document);
    print_formats("reads", readers, document);
    print_formats("writes", writers, document);
    if (readers.empty() || writers.empty())
        document.fail(EXIT_CODE_FAILURE, "no_formats", "", "OpenImageIO has no formats");
}

}  // namespace

void add_doctor_command(CLI::App& app, CommandLine& line)
{
    add_command(app, line, "doctor", "Tell what this installation has and can do", run_doctor);
}

}  // namespace zvio
