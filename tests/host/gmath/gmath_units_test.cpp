#include "host/gmath/gmath_units.h"

#include <gtest/gtest.h>

namespace {

CoreVector<GMathUnits::UnitType> memory_units()
{
    CoreVector<GMathUnits::UnitType> units;
    GMathUnits::add_unit(units, "memory", "memory", "byte", 9.536743164e-07, "B");
    GMathUnits::add_unit(units, "memory", "memory", "kilobyte", 0.0009765625, "KB");
    GMathUnits::add_unit(units, "memory", "memory", "megabyte", 1.0, "MB");
    GMathUnits::add_unit(units, "memory", "memory", "gigabyte", 1024.0, "GB");
    GMathUnits::add_unit(units, "length", "metric", "metre", 1.0, "m");
    return units;
}

double in_bytes(char const* text)
{
    return GMathUnits::get_value_from_str_with_unit(memory_units(), text, -1.0, "memory", "memory", "byte",
                                                    GMathUnits::Format(0));
}

TEST(GMathUnits, AddUnitKeepsWhatItWasGiven)
{
    auto const units = memory_units();

    ASSERT_EQ(units.get_count(), 5u);
    EXPECT_EQ(units[1].name, "kilobyte");
    EXPECT_EQ(units[1].category, "memory");
    EXPECT_EQ(units[4].family, "metric");
    EXPECT_EQ(units[1].factor, 0.0009765625);
    EXPECT_EQ(units[1].symbol, "KB");
}

TEST(GMathUnits, ConvertsThroughTheFactors)
{
    double const byte = 9.536743164e-07;

    EXPECT_EQ(in_bytes("5.2 MB"), 5.2 * 1.0 / byte);
    EXPECT_EQ(in_bytes("3 KB"), 3 * 0.0009765625 / byte);
    EXPECT_EQ(in_bytes("1.5 GB"), 1.5 * 1024.0 / byte);
    EXPECT_EQ(in_bytes("100 B"), 100.0 * byte / byte);
    EXPECT_EQ(in_bytes("-2 MB"), -2.0 / byte);
}

TEST(GMathUnits, TheRoundedByteIsNotExact)
{
    EXPECT_NE(in_bytes("1 MB"), 1048576.0);
    EXPECT_NEAR(in_bytes("1 MB"), 1048576.0, 0.001);
}

TEST(GMathUnits, ReadsSymbolsNamesAndAnyCase)
{
    double const expected = in_bytes("2 MB");

    for (char const* text :
         {"2MB", "  2 MB ", "2\tmegabyte\n", "2 mb", "2 Megabyte", "+2 MB", "2e0 MB", "2.0 MB"})
        EXPECT_EQ(in_bytes(text), expected) << text;
}

TEST(GMathUnits, TheExactCaseWins)
{
    CoreVector<GMathUnits::UnitType> units;
    GMathUnits::add_unit(units, "c", "f", "millibyte", 1.0, "mB");
    GMathUnits::add_unit(units, "c", "f", "megabyte", 1000.0, "MB");
    auto const value = [&units](char const* text) {
        return GMathUnits::get_value_from_str_with_unit(units, text, 0.0, "c", "f", "mB",
                                                        GMathUnits::FORMAT_NUMBER_UNIT);
    };

    EXPECT_EQ(value("2 MB"), 2000.0);
    EXPECT_EQ(value("2 mB"), 2.0);
    EXPECT_EQ(value("2 mb"), 2.0);
}

TEST(GMathUnits, ANumberAloneIsInTheAskedUnit)
{
    EXPECT_EQ(in_bytes(" 12.5 "), 12.5);
}

TEST(GMathUnits, GivesTheDefaultForWhatItCannotRead)
{
    for (char const* text :
         {"", "   ", "MB", "five MB", "5 parsec", "5 m", "5 MB more", "+-5 MB", "1e999 MB"})
        EXPECT_EQ(in_bytes(text), -1.0) << text;
}

TEST(GMathUnits, GivesTheDefaultForAnUnknownResultUnit)
{
    EXPECT_EQ(GMathUnits::get_value_from_str_with_unit(memory_units(), "5 MB", 7.0, "memory", "memory",
                                                       "parsec", GMathUnits::FORMAT_NUMBER_UNIT),
              7.0);
    EXPECT_EQ(GMathUnits::get_value_from_str_with_unit({}, "5 MB", 7.0, "memory", "memory", "byte",
                                                       GMathUnits::FORMAT_NUMBER_UNIT),
              7.0);
}

}  // namespace
