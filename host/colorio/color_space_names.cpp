#include "host/colorio/color_space_names.h"

#include <algorithm>
#include <span>
#include <string_view>

#include "host/colorio/file_color_names.h"

namespace OCIO = OCIO_NAMESPACE;

namespace zv_host {
namespace {

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equal_without_case(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

/// What follows the family and the characters that join it to the rest; the whole name where it does not
/// begin so.
std::string_view without_family(std::string_view name, std::string_view family)
{
    if (family.empty() || name.size() <= family.size() ||
        !equal_without_case(name.substr(0, family.size()), family))
        return name;
    std::string_view const joined = name.substr(family.size());
    std::size_t const rest = joined.find_first_not_of(" -_/|:");
    return rest == 0 || rest == std::string_view::npos ? name : joined.substr(rest);
}

template <class Fits>
CoreString the_only_space(OCIO::Config const& config, Fits const& fits)
{
    CoreString found;
    for (int i = 0; i < config.getNumColorSpaces(); ++i) {
        char const* const name = config.getColorSpaceNameByIndex(i);
        if (!fits(*config.getColorSpace(name)))
            continue;
        if (!found.is_empty())
            return {};
        found = name;
    }
    return found;
}

CoreString exact(OCIO::Config const& config, char const* name)
{
    OCIO::ConstColorSpaceRcPtr const space = config.getColorSpace(name);
    return space != nullptr ? space->getName() : "";
}

CoreString by_label(OCIO::Config const& config, std::string_view name, char separator)
{
    return the_only_space(config, [&](OCIO::ColorSpace const& space) {
        std::string_view const family = space.getFamily();
        return !family.empty() && name.size() > family.size() && name[family.size()] == separator &&
               equal_without_case(name.substr(0, family.size()), family) &&
               equal_without_case(name.substr(family.size() + 1), space.getName());
    });
}

CoreString by_short_name(OCIO::Config const& config, std::string_view name)
{
    return the_only_space(config, [&](OCIO::ColorSpace const& space) {
        return equal_without_case(name, without_family(space.getName(), space.getFamily()));
    });
}

CoreString by_file_name(OCIO::Config const& config, std::string_view name)
{
    for (FileColorName const& row : file_color_names()) {
        if (!equal_without_case(name, row.name))
            continue;
        for (char const* const candidate : row.candidates)
            if (CoreString const found = exact(config, candidate); !found.is_empty())
                return found;
    }
    return {};
}

}  // namespace

CoreString resolve_color_space(OCIO::Config const& config, CoreString const& name, char separator)
{
    if (name.is_empty())
        return {};
    if (CoreString found = exact(config, name.get_data()); !found.is_empty())
        return found;
    if (CoreString found = by_label(config, name.view(), separator); !found.is_empty())
        return found;
    if (CoreString found = by_short_name(config, name.view()); !found.is_empty())
        return found;
    return by_file_name(config, name.view());
}

CoreString color_space_without_family(OCIO::Config const& config, CoreString const& name, char separator)
{
    OCIO::ConstColorSpaceRcPtr const space = config.getColorSpace(name.get_data());
    if (space == nullptr)
        return name;
    CoreString const bare(without_family(space->getName(), space->getFamily()));
    return resolve_color_space(config, bare, separator) == name ? bare : name;
}

}  // namespace zv_host
