#include "host/core/core_variant.h"

#include <gtest/gtest.h>

#include <climits>
#include <limits>

namespace {

TEST(CoreVariant, TagsAreFixedNumbers)
{
    EXPECT_EQ(CoreVariant().get_type(), 0u);
    EXPECT_EQ(CoreVariant(true).get_type(), 1u);
    EXPECT_EQ(CoreVariant(5).get_type(), 2u);
    EXPECT_EQ(CoreVariant(0.5).get_type(), 3u);
    EXPECT_EQ(CoreVariant(CoreBasicString("a")).get_type(), 4u);
    EXPECT_EQ(CoreVariant("a").get_type(), 4u);
}

TEST(CoreVariant, ACharacterIsAnInteger)
{
    char const negative = -3;
    CoreVariant const value(negative);

    EXPECT_EQ(value.get_type(), CoreVariant::TYPE_INT);
    EXPECT_EQ(value.get_int(), -3);
}

struct ConversionCase {
    char const* name;
    CoreVariant value;
    double number;
    char const* text;
    int integer;
};

class CoreVariantConversion : public testing::TestWithParam<ConversionCase> {};

TEST_P(CoreVariantConversion, GivesNumberAndText)
{
    ConversionCase const& row = GetParam();
    double const number = row.value;
    CoreString const text = row.value;

    EXPECT_EQ(number, row.number);
    EXPECT_EQ(text, row.text);
    EXPECT_EQ(row.value.get_int(), row.integer);
    EXPECT_EQ(row.value.get_bool(), row.number != 0.0);
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();

INSTANTIATE_TEST_SUITE_P(
    Values, CoreVariantConversion,
    testing::Values(ConversionCase{"nothing", CoreVariant(), 0.0, "", 0},
                    ConversionCase{"yes", true, 1.0, "true", 1}, ConversionCase{"no", false, 0.0, "false", 0},
                    ConversionCase{"integer", -7, -7.0, "-7", -7},
                    ConversionCase{"fraction", 0.1, 0.1, "0.1", 0},
                    ConversionCase{"whole_double", 3.0, 3.0, "3", 3},
                    ConversionCase{"negative_fraction", -2.75, -2.75, "-2.75", -2},
                    ConversionCase{"above_int", 1e10, 1e10, "1e+10", INT_MAX},
                    ConversionCase{"below_int", -1e10, -1e10, "-1e+10", INT_MIN},
                    ConversionCase{"infinite", kInfinity, kInfinity, "inf", INT_MAX},
                    ConversionCase{"text_number", "2.5 mm", 2.5, "2.5 mm", 2},
                    ConversionCase{"text_blanks", " \t+4", 4.0, " \t+4", 4},
                    ConversionCase{"text_words", "shot 12", 0.0, "shot 12", 0},
                    ConversionCase{"text_infinite", "-inf", -kInfinity, "-inf", INT_MIN},
                    ConversionCase{"word_like_infinity", "information", 0.0, "information", 0},
                    ConversionCase{"word_like_nan", "nano 3", 0.0, "nano 3", 0},
                    ConversionCase{"text_two_signs", "+-4", 0.0, "+-4", 0},
                    ConversionCase{"text_too_large", "1e999", 0.0, "1e999", 0},
                    ConversionCase{"text_empty", "", 0.0, "", 0}),
    [](auto const& run) { return run.param.name; });

TEST(CoreVariant, NotANumberIsIntegerZero)
{
    EXPECT_EQ(CoreVariant(std::numeric_limits<double>::quiet_NaN()).get_int(), 0);
}

TEST(CoreVariant, AssignmentChangesTagAndValue)
{
    CoreVariant value(5);
    value = CoreVariant("text");
    EXPECT_EQ(value.get_type(), CoreVariant::TYPE_STRING);
    EXPECT_EQ(value.get_string(), "text");
    value = CoreVariant();
    EXPECT_EQ(value.get_type(), CoreVariant::TYPE_NONE);
}

TEST(CoreVariant, EqualMeansSameTagAndValue)
{
    EXPECT_TRUE(CoreVariant(1) == CoreVariant(1));
    EXPECT_FALSE(CoreVariant(1) == CoreVariant(2));
    EXPECT_FALSE(CoreVariant(1) == CoreVariant(true));
    EXPECT_TRUE(CoreVariant("a") == CoreVariant("a"));
    EXPECT_FALSE(CoreVariant(0.5) == CoreVariant(0.25));
}

}  // namespace
