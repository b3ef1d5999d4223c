#pragma once

#include "host/core/core_basic_array.h"
#include "host/core/core_string.h"
#include "host/core/core_vector.h"

/// Tables of units, and numbers read with a unit behind them.
class GMathUnits {
public:
    /// One unit: how many base units of its family it holds, and how it is written.
    struct UnitType {
        CoreString name;
        CoreString category;
        CoreString family;
        double factor = 1.0;
        CoreString symbol;
    };

    /// How the text is laid out.
    enum Format : unsigned int {
        FORMAT_NUMBER_UNIT = 0,  ///< a decimal number, blanks or none, a unit's symbol or name or none
    };

    /// Appends a unit to the table.
    static void add_unit(CoreVector<UnitType>& units, CoreString const& category, CoreString const& family,
                         CoreString const& name, double factor, CoreString const& symbol);

    /// The number in `text`, in the unit called `unit`. Only units of the category and family count; symbols
    /// and names are looked for as written first, then without regard to case; a number without a unit is in
    /// `unit` already. Gives `default_value` for a text without a number, with an unknown unit, or with
    /// anything behind it.
    static double get_value_from_str_with_unit(CoreBasicArray<UnitType> const& units, CoreString const& text,
                                               double default_value, CoreString const& category,
                                               CoreString const& family, CoreString const& unit,
                                               Format format);
};
