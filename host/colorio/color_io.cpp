#include "host/colorio/color_io.h"

#include <iterator>
#include <new>

#include "host/colorio/color_io_converter.h"
#include "host/colorio/color_io_manager.h"
#include "host/colorio/color_space_names.h"

namespace OCIO = OCIO_NAMESPACE;

namespace {

char separator()
{
    return ColorIOManager::s_instance->get_color_space_enum_separator();
}

/// The texts live as long as the process: references to them are handed out.
CoreVector<CoreString> const& tags()
{
    static auto const* const kTags = new CoreVector<CoreString>{
        "oiio:ColorSpace",
        "ColorSpace",
    };
    return *kTags;
}

template <class Text>
CoreVector<CoreString> for_each_space(Text const& text)
{
    CoreVector<CoreString> names;
    OCIO::ConstConfigRcPtr const config = ColorIOManager::s_instance->get_config();
    for (int i = 0; i < config->getNumColorSpaces(); ++i)
        names.add(text(*config->getColorSpace(config->getColorSpaceNameByIndex(i))));
    return names;
}

}  // namespace

ColorIO* ColorIO::get_instance()
{
    static ColorIO instance;
    return &instance;
}

unsigned int ColorIO::get_color_space_tag_count() const
{
    return tags().get_count();
}

CoreString const& ColorIO::get_color_space_tag(unsigned int index) const
{
    static CoreString const* const kNone = new CoreString;
    return index < tags().get_count() ? tags()[index] : *kNone;
}

CoreString ColorIO::get_default_color_space_name()
try {
    OCIO::ConstConfigRcPtr const config = ColorIOManager::s_instance->get_config();
    for (char const* const role : {OCIO::ROLE_SCENE_LINEAR, OCIO::ROLE_DEFAULT})
        if (OCIO::ConstColorSpaceRcPtr const space = config->getColorSpace(role))
            return zv_host::color_space_without_family(*config, space->getName(), separator());
    if (config->getNumColorSpaces() == 0)
        return {};
    return zv_host::color_space_without_family(*config, config->getColorSpaceNameByIndex(0), separator());
} catch (std::bad_alloc const&) {
    throw;  // an empty name means another thing: colours that stay as they are
} catch (...) {
    return {};
}

bool ColorIO::convert_buffer(float* data, unsigned int width, unsigned int height, unsigned int channels,
                             CoreString const& target, CoreString const& source)
{
    ColorIOConverter converter;
    return converter.configure(source, target) && converter.convert_buffer(data, width, height, channels);
}

CoreString ColorIO::resolve_name(CoreString const& name)
try {
    return zv_host::resolve_color_space(*ColorIOManager::s_instance->get_config(), name, separator());
} catch (std::bad_alloc const&) {
    throw;  // an empty name means another thing: colours that stay as they are
} catch (...) {
    return {};
}

CoreVector<CoreString> ColorIO::get_color_space_names()
try {
    return for_each_space([](OCIO::ColorSpace const& space) { return CoreString(space.getName()); });
} catch (...) {
    return {};
}

CoreVector<CoreString> ColorIO::get_color_space_labels()
try {
    return for_each_space([](OCIO::ColorSpace const& space) {
        CoreString label(space.getFamily());
        if (!label.is_empty())
            label += separator();
        label += space.getName();
        return label;
    });
} catch (...) {
    return {};
}
