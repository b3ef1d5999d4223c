#include "host/colorio/color_io_auto_detection.h"

#include <algorithm>
#include <iterator>
#include <span>

#include "host/colorio/color_io.h"
#include "host/colorio/color_io_manager.h"
#include "host/colorio/color_space_names.h"

namespace {

constinit ColorIOAutoDetection the_detection;

constexpr char const* kLinearExtensions[] = {"exr", "sxr", "mxr", "hdr", "rgbe",
                                             "pfm", "tx",  "txt", "tex", "vdb"};

constexpr char const* kSrgbExtensions[] = {
    "png", "jpg",  "jpeg", "jpe", "jif", "jfif", "jfi",  "bmp",  "dib",  "tga",  "tpic", "tif", "tiff",
    "gif", "webp", "jp2",  "j2k", "j2c", "psd",  "pdd",  "heic", "heif", "avif", "ico",  "ppm", "pgm",
    "pbm", "pnm",  "iff",  "z",   "sgi", "rgb",  "rgba", "bw",   "int",  "inta", "pic"};

bool is_in(std::span<char const* const> extensions, CoreString const& extension)
{
    return std::any_of(extensions.begin(), extensions.end(),
                       [&](char const* known) { return extension == known; });
}

char const* space_of(CoreString const& extension)
{
    if (is_in(kLinearExtensions, extension))
        return "Linear";
    return is_in(kSrgbExtensions, extension) ? "sRGB" : "";
}

}  // namespace

ColorIOAutoDetection* const ColorIOAutoDetection::s_instance = &the_detection;

CoreString ColorIOAutoDetection::get_default_color_space_from_extension(CoreString const& extension) const
try {
    CoreString lowered(extension);
    lowered.lower_case();
    auto const config = ColorIOManager::s_instance->get_config();
    char const separator = ColorIOManager::s_instance->get_color_space_enum_separator();
    CoreString const name = zv_host::resolve_color_space(*config, space_of(lowered), separator);
    return name.is_empty() ? name : zv_host::color_space_without_family(*config, name, separator);
} catch (...) {
    return {};
}
