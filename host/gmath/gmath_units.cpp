#include "host/gmath/gmath_units.h"

#include <charconv>

namespace {

constexpr std::string_view kBlanks = " \t\r\n\f\v";

std::string_view trimmed(std::string_view text) noexcept
{
    std::size_t const first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

/// The unit of the family whose symbol or name is `text`; the exact case wins over the others.
GMathUnits::UnitType const* find_unit(CoreBasicArray<GMathUnits::UnitType> const& units,
                                      CoreString const& category, CoreString const& family,
                                      CoreString const& text)
{
    CoreString const lower = text.get_lower_case();
    GMathUnits::UnitType const* similar = nullptr;
    for (GMathUnits::UnitType const& unit : units) {
        if (unit.category != category || unit.family != family)
            continue;
        if (unit.symbol == text || unit.name == text)
            return &unit;
        if (!similar && (unit.symbol.get_lower_case() == lower || unit.name.get_lower_case() == lower))
            similar = &unit;
    }
    return similar;
}

}  // namespace

void GMathUnits::add_unit(CoreVector<UnitType>& units, CoreString const& category, CoreString const& family,
                          CoreString const& name, double factor, CoreString const& symbol)
{
    units.add({.name = name, .category = category, .family = family, .factor = factor, .symbol = symbol});
}

double GMathUnits::get_value_from_str_with_unit(CoreBasicArray<UnitType> const& units, CoreString const& text,
                                                double default_value, CoreString const& category,
                                                CoreString const& family, CoreString const& unit, Format)
{
    std::string_view rest = trimmed(text.view());
    if (rest.starts_with('+') && !rest.starts_with("+-"))
        rest.remove_prefix(1);
    double number = 0.0;
    auto const [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    if (error != std::errc())
        return default_value;
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    CoreString const symbol(trimmed(rest));
    if (symbol.is_empty())
        return number;
    UnitType const* const given = find_unit(units, category, family, symbol);
    UnitType const* const wanted = find_unit(units, category, family, unit);
    return given && wanted ? number * given->factor / wanted->factor : default_value;
}
