#include "image_io/load/color_space_rules.h"

#include <OpenColorIO/OpenColorIO.h>
#include <OpenImageIO/imageio.h>

#include <memory>

#include "host/colorio/color_io.h"
#include "host/colorio/color_io_auto_detection.h"
#include "host/colorio/color_io_manager.h"
#include "image_io/frame/image_io.h"
#include "image_io/frame/log_exception.h"
#include "image_io/load/image_io_load.h"

namespace zv_image_io {

namespace {

CoreString from_tags(OIIO::ImageSpec const& spec)
{
    ColorIO const& color_io = *ColorIO::get_instance();
    CoreString value;
    for (unsigned int i = 0; i < color_io.get_color_space_tag_count() && value.is_empty(); ++i)
        value = CoreString(
            std::string_view(spec.get_string_attribute(color_io.get_color_space_tag(i).get_data())));
    return value;
}

CoreString from_path(CoreString const& path)
{
    if (!ColorIOManager::s_instance)
        return {};
    OCIO_NAMESPACE::ConstConfigRcPtr const config = ColorIOManager::s_instance->get_config();
    if (!config)
        return {};
        // The replacement that OpenColorIO 2 offers answers otherwise: the name of a role, and never nothing.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    char const* const name = config->parseColorSpaceFromString(path.get_data());
#pragma GCC diagnostic pop
    return name;
}

CoreString from_extension(CoreString const& path)
{
    if (!ColorIOAutoDetection::s_instance)
        return {};
    return ColorIOAutoDetection::s_instance->get_default_color_space_from_extension(
        CoreString::after_last(path, '.'));
}

}  // namespace

CoreString color_space_of(OIIO::ImageSpec const& spec, CoreString const& path, ColorSpaceRule& rule)
{
    CoreString answer = from_tags(spec);
    rule = COLOR_SPACE_RULE_TAG;
    if (answer.is_empty()) {
        answer = from_path(path);
        rule = COLOR_SPACE_RULE_PATH;
    }
    if (answer.is_empty()) {
        answer = from_extension(path);
        rule = COLOR_SPACE_RULE_EXTENSION;
    }
    if (answer.is_empty())
        rule = COLOR_SPACE_RULE_NONE;
    return answer;
}

}  // namespace zv_image_io

CoreString find_file_color_space(CoreString const& path, ColorSpaceRule& rule)
{
    rule = COLOR_SPACE_RULE_NONE;
    OIIO::ImageSpec spec(OIIO::TypeDesc::UNKNOWN);
    std::unique_ptr<OIIO::ImageInput> input;
    if (!ImageIOLoad::load_header(path, input, spec))
        return {};
    try {
        CoreString const answer = zv_image_io::color_space_of(spec, path, rule);
        input->close();
        return answer;
    } catch (...) {
        zv_image_io::log_load_exception(path);
        rule = COLOR_SPACE_RULE_NONE;
        return {};
    }
}

CoreString ImageIO::get_color_space_from_file(CoreString const& path)
{
    ColorSpaceRule rule;
    return find_file_color_space(path, rule);
}
