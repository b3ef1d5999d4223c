#include "host/colorio/color_io.h"
#include "image_io/frame/image_io.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/interleaved.h"
#include "tools/load_request.h"
#include "tools/text_table.h"

namespace zvio {

namespace {

struct PixelsRequest {
    std::string path;
    std::string output_path;
    bool as_float = false;
    std::string output_space;  // empty: sRGB for bytes where the configuration has it, else the default space
    LoadRequest load;
};

std::string choose_output_space(PixelsRequest const& request)
{
    std::string const working = ColorIO::get_default_color_space_name().get_data();
    std::string const wanted = !request.output_space.empty() ? request.output_space
                               : request.as_float            ? working
                                                             : "sRGB";
    if (!ColorIO::resolve_name(wanted.c_str()).is_empty())
        return wanted;
    if (!request.output_space.empty())
        throw CommandError(EXIT_CODE_USAGE, "unknown colour space \"" + request.output_space + "\"");
    return working;
}

bool save(PixelsRequest const& request, InterleavedPixels const& pixels)
{
    auto const channels = static_cast<unsigned int>(pixels.channels.size());
    CoreString const path = request.output_path.c_str();
    if (request.as_float)
        return ImageIO::save_image(path, pixels.samples.data(), channels, pixels.width, pixels.height);
    return ImageIO::save_image(path, to_bytes(pixels.samples).data(), channels, pixels.width, pixels.height);
}

void run_pixels(PixelsRequest const& request, Settings const& settings, Document& document)
{
    std::string const space = choose_output_space(request);
    Loader loader(request.load, settings, document);
    document.result() = {{"path", request.path}, {"ok", false}, {"output", request.output_path}};

    LoadedFile const loaded = loader.load(request.path, space);
    if (!loaded.canvas)
        return;
    InterleavedPixels pixels = interleave(*loaded.canvas);
    if (!convert_colors(pixels, loaded.canvas_space, space))
        document.warn("color_space_kept", request.path, "the colours stay in " + loaded.canvas_space);
    if (!save(request, pixels)) {
        document.fail(EXIT_CODE_FAILURE, "not_written", request.output_path, "cannot be written");
        return;
    }
    char const* const type = request.as_float ? "float" : "uint8";
    document.result() = {
        {"path", request.path},
        {"ok", true},
        {"output", request.output_path},
        {"width", pixels.width},
        {"height", pixels.height},
        {"channels", pixels.channels},
        {"type", type},
        {"color_space", {{"name", loaded.color_space.name}, {"rule", loaded.color_space.rule}}},
        {"output_color_space", space},
        {"damaged", loaded.report.is_damaged()}};
    document.print(request.output_path + "  " + std::to_string(pixels.width) + " x " +
                   std::to_string(pixels.height) + ", " + count_text(pixels.channels.size(), "channel") +
                   " of " + type + ", " + space + "\n");
}

}  // namespace

void add_pixels_command(CLI::App& app, CommandLine& line)
{
    auto const request = std::make_shared<PixelsRequest>();
    CLI::App& command =
        add_command(app, line, "pixels", "Load a file and write its colours as an interleaved file",
                    [request, &settings = line.settings](Document& document) {
                        run_pixels(*request, settings, document);
                    });
    command.add_option("FILE", request->path, "A picture file")->required()->type_name("");
    command.add_option("-o,--output", request->output_path, "The file to write; its name tells the format")
        ->required()
        ->type_name("OUT");
    command.add_flag("--float", request->as_float, "Write 32-bit floats instead of bytes");
    command
        .add_option(
            "--output-space", request->output_space,
            "Colour space of the written samples (default: sRGB for bytes, the working space for floats)")
        ->type_name("NAME");
    add_load_request(command, request->load);
}

}  // namespace zvio
