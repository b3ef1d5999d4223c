#include "host/colorio/color_io.h"
#include "image_io/frame/image_io.h"
#include "tools/commands.h"
#include "tools/interleaved.h"
#include "tools/text_table.h"

namespace zvio {

namespace {

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

}  // namespace

void run_pixels(PixelsRequest const& pixels_request, LoadRequest const& request, Settings const& settings,
                Document& document)
{
    std::string const space = choose_output_space(pixels_request);
    Loader loader(request, settings, document);
    document.result() = {
        {"path", pixels_request.path}, {"ok", false}, {"output", pixels_request.output_path}};

    LoadedFile const loaded = loader.load(pixels_request.path, space);
    if (!loaded.canvas)
        return;
    InterleavedPixels pixels = interleave(*loaded.canvas);
    if (!convert_colors(pixels, loaded.canvas_space, space))
        document.warn("color_space_kept", pixels_request.path, "the colours stay in " + loaded.canvas_space);
    if (!save(pixels_request, pixels)) {
        document.fail(EXIT_CODE_FAILURE, "not_written", pixels_request.output_path, "cannot be written");
        return;
    }
    char const* const type = pixels_request.as_float ? "float" : "uint8";
    document.result() = {
        {"path", pixels_request.path},
        {"ok", true},
        {"output", pixels_request.output_path},
        {"width", pixels.width},
        {"height", pixels.height},
        {"channels", pixels.channels},
        {"type", type},
        {"color_space", {{"name", loaded.color_space.name}, {"rule", loaded.color_space.rule}}},
        {"output_color_space", space},
        {"damaged", loaded.report.is_damaged()}};
    document.print(pixels_request.output_path + "  " + std::to_string(pixels.width) + " x " +
                   std::to_string(pixels.height) + ", " + count_text(pixels.channels.size(), "channel") +
                   " of " + type + ", " + space + "\n");
}

}  // namespace zvio
