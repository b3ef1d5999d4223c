#include "host/parser/parser_group.h"

#include "tests/support/recording_progress.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace {

bool parse(ParserGroup& group, std::string_view text)
{
    return group.set_text(CoreString(text), default_parser_serial_version, nullptr);
}

/// The group of a text that is expected to be good.
ParserGroup parsed(std::string_view text)
{
    ParserGroup group("");
    EXPECT_TRUE(parse(group, text)) << group.get_error_line() << ":" << group.get_error_column() << " "
                                    << group.get_error_text();
    return group;
}

std::vector<std::string> names_of(ParserGroup const& group)
{
    std::vector<std::string> names;
    for (unsigned int i = 0; i < group.get_entry_count(); ++i)
        names.emplace_back(group.get_entry(i)->get_name().view());
    return names;
}

using Names = std::vector<std::string>;

TEST(ParserGroup, AnEmptyTextHasNoEntries)
{
    for (char const* text : {"", " \n\t\r\n", "# only a comment", "\xEF\xBB\xBF", ";;\n;"})
        EXPECT_EQ(parsed(text).get_entry_count(), 0u) << text;
}

TEST(ParserGroup, KeepsEntriesInTheirOrder)
{
    ParserGroup const group = parsed("b 1\na 2; c 3\n\nb 4\n");

    EXPECT_EQ(names_of(group), (Names{"b", "a", "c", "b"}));
    EXPECT_EQ(group.get_entry("b")->get_int(), 1);
    EXPECT_EQ(group.get_entry(3)->get_int(), 4);
    EXPECT_EQ(group.get_entry(4), nullptr);
    EXPECT_EQ(group.get_entry("d"), nullptr);
}

TEST(ParserGroup, EveryKindOfValueHasItsTest)
{
    ParserGroup const group = parsed(R"(values true 'c' 42 0.5 "text" { a 1 })");
    ParserEntry const& entry = *group.get_entry("values");
    ASSERT_EQ(entry.get_value_count(), 6u);

    for (unsigned int i = 0; i < 6; ++i) {
        EXPECT_EQ(entry.is_value_bool(i), i == 0);
        EXPECT_EQ(entry.is_value_char(i), i == 1);
        EXPECT_EQ(entry.is_value_int(i), i == 2);
        EXPECT_EQ(entry.is_value_double(i), i == 3);
        EXPECT_EQ(entry.is_value_string(i), i == 4);
        EXPECT_EQ(entry.is_value_group(i), i == 5);
    }
    EXPECT_TRUE(entry.get_bool(0));
    EXPECT_EQ(entry.get_char(1), 'c');
    EXPECT_EQ(entry.get_int(2), 42);
    EXPECT_EQ(entry.get_double(3), 0.5);
    EXPECT_EQ(entry.get_string(4), "text");
    EXPECT_EQ(entry.get_group(5)->get_entry("a")->get_int(), 1);
    EXPECT_EQ(entry.get_group(5)->get_name(), "values");
    EXPECT_EQ(entry.get_group(4), nullptr);
}

TEST(ParserGroup, AnEntryMayHaveNoValue)
{
    ParserGroup const group = parsed("approved\nwidth 5\nlast");

    EXPECT_FALSE(group.get_entry("approved")->has_value());
    EXPECT_EQ(group.get_entry("approved")->get_value_count(), 0u);
    EXPECT_FALSE(group.get_entry("approved")->is_value_group(0));
    EXPECT_TRUE(group.get_entry("width")->has_value());
    EXPECT_FALSE(group.get_entry("last")->has_value());
}

TEST(ParserGroup, CommasBlanksAndEqualSignsStandBetween)
{
    for (char const* text :
         {"m 1 2 3", "m 1,2,3", "m = 1, 2, 3", "m=1,2 3", "m 1,\n2,  # more\n\n 3", "m\t1 2\r,3\r\n"}) {
        ParserGroup const group = parsed(text);
        ASSERT_EQ(group.get_entry_count(), 1u) << text;
        ParserEntry const& entry = *group.get_entry("m");
        ASSERT_EQ(entry.get_value_count(), 3u) << text;
        for (unsigned int i = 0; i < 3; ++i)
            EXPECT_EQ(entry.get_int(i), static_cast<int>(i + 1)) << text;
    }
}

TEST(ParserGroup, ASemicolonOrTheEndOfALineEndsAnEntry)
{
    for (char const* text :
         {"a 1; b 2", "a 1\nb 2", "a 1 # one\nb 2 # two", "a 1\r\n\r\nb 2\r\n", "a 1;;\n;b 2;"})
        EXPECT_EQ(names_of(parsed(text)), (Names{"a", "b"})) << text;
}

TEST(ParserGroup, NamesTakeManyBytes)
{
    ParserGroup const group = parsed("4k 1\ndepth.z 2\ngr\xC3\xB6\xC3\x9F"
                                     "e 3\n\"Digital Video (HD)\" 4\n\"a\\\"b\" 5\n-x:y/+ 6");

    EXPECT_EQ(names_of(group), (Names{"4k", "depth.z",
                                      "gr\xC3\xB6\xC3\x9F"
                                      "e",
                                      "Digital Video (HD)", "a\"b", "-x:y/+"}));
}

TEST(ParserGroup, GroupsNest)
{
    ParserGroup const group = parsed(R"text(
# Resolutions of the show
Film_scans {
    full {
        display_name "Full scan (4096x3112)"
        aspect_ratio 1.0
        width 4096      # pixels
        height 3112
    }
    "half scan" { width 2048; height 1556 }
    none {}
}
Empty
{
}
plain 5
)text");

    EXPECT_EQ(names_of(group), (Names{"Film_scans", "Empty", "plain"}));
    ParserGroup const& film = *group.get_entry("Film_scans")->get_group();
    EXPECT_EQ(names_of(film), (Names{"full", "half scan", "none"}));
    ParserGroup const& full = *film.get_entry("full")->get_group();
    EXPECT_EQ(full.get_entry("display_name")->get_string(), "Full scan (4096x3112)");
    EXPECT_EQ(full.get_entry("aspect_ratio")->get_double(), 1.0);
    EXPECT_EQ(full.get_entry("width")->get_int(), 4096);
    EXPECT_EQ(film.get_entry("half scan")->get_group()->get_entry("height")->get_int(), 1556);
    EXPECT_EQ(film.get_entry("none")->get_group()->get_entry_count(), 0u);
    EXPECT_TRUE(group.get_entry("Empty")->is_value_group(0));
    EXPECT_FALSE(group.get_entry("plain")->is_value_group(0));
}

TEST(ParserGroup, ValuesMayFollowAGroup)
{
    ParserGroup const group = parsed("a { b 1 } 2 { c 3 }\nd 4");

    EXPECT_EQ(group.get_entry("a")->get_value_count(), 3u);
    EXPECT_EQ(group.get_entry("a")->get_int(1), 2);
    EXPECT_EQ(group.get_entry("a")->get_group(2)->get_entry("c")->get_int(), 3);
    EXPECT_EQ(group.get_entry("d")->get_int(), 4);
}

struct NumberCase {
    char const* name;
    char const* text;
    bool is_int;
    double value;
};

class ParserGroupNumbers : public testing::TestWithParam<NumberCase> {};

TEST_P(ParserGroupNumbers, AreIntsOrDoubles)
{
    ParserGroup const group = parsed(std::string("x ") + GetParam().text);
    ParserEntry const& entry = *group.get_entry("x");

    EXPECT_EQ(entry.is_value_int(), GetParam().is_int);
    EXPECT_EQ(entry.is_value_double(), !GetParam().is_int);
    EXPECT_EQ(entry.get_double(), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ParserGroupNumbers,
    testing::Values(NumberCase{"zero", "0", true, 0}, NumberCase{"negative", "-7", true, -7},
                    NumberCase{"plus", "+3", true, 3}, NumberCase{"leading_zeros", "0010", true, 10},
                    NumberCase{"largest", "2147483647", true, INT_MAX},
                    NumberCase{"smallest", "-2147483648", true, INT_MIN},
                    NumberCase{"one_more", "2147483648", false, 2147483648.0},
                    NumberCase{"fraction", "0.5", false, 0.5}, NumberCase{"no_zero", ".5", false, 0.5},
                    NumberCase{"no_digits_behind", "5.", false, 5.0},
                    NumberCase{"exponent", "-1e-3", false, -1e-3},
                    NumberCase{"plus_double", "+2.5", false, 2.5},
                    NumberCase{"infinity", "inf", false, HUGE_VAL}),
    [](auto const& run) { return run.param.name; });

TEST(ParserGroup, EscapesStandForBytes)
{
    ParserGroup const group = parsed(R"(t "a\n\t\r\\\"\'\x41\xff#;" '\n' '\x00' '"' '\'')");
    ParserEntry const& entry = *group.get_entry("t");

    EXPECT_EQ(entry.get_string(0), "a\n\t\r\\\"'A\xFF#;");
    EXPECT_EQ(entry.get_char(1), '\n');
    EXPECT_EQ(entry.get_char(2), '\0');
    EXPECT_EQ(entry.get_char(3), '"');
    EXPECT_EQ(entry.get_char(4), '\'');
}

TEST(ParserGroup, TextsKeepAnyByte)
{
    ParserGroup const group = parsed(std::string_view("t \"a\0\x01\xFF\"", 8));

    EXPECT_EQ(group.get_entry("t")->get_string().view(), std::string_view("a\0\x01\xFF", 4));
}

struct ErrorCase {
    char const* name;
    std::string_view text;
    unsigned int line, column;
    char const* error;
};

class ParserGroupErrors : public testing::TestWithParam<ErrorCase> {};

TEST_P(ParserGroupErrors, KeepPlaceAndKind)
{
    ParserGroup group("");
    EXPECT_FALSE(parse(group, GetParam().text));

    EXPECT_EQ(group.get_entry_count(), 0u);
    EXPECT_EQ(group.get_error_line(), GetParam().line);
    EXPECT_EQ(group.get_error_column(), GetParam().column);
    EXPECT_EQ(group.get_error_text(), GetParam().error);
}

constexpr char const* kBadValue = "a value is a number, true, false, a text in quotes, or a group";

INSTANTIATE_TEST_SUITE_P(
    Texts, ParserGroupErrors,
    testing::Values(
        ErrorCase{"no_name_before_equals", "a 1\n  = 5", 2, 3, "a name is missing"},
        ErrorCase{"group_without_name", "{ a 1 }", 1, 1, "a name is missing"},
        ErrorCase{"empty_name", "\"\" 5", 1, 1, "a name is missing"},
        ErrorCase{"comma_first", ", 5", 1, 1, "a name is missing"},
        ErrorCase{"control_character", "\x01", 1, 1, "a name is missing"},
        ErrorCase{"zero_byte", std::string_view("\0a 1", 4), 1, 1, "a name is missing"},
        ErrorCase{"nothing_behind_equals", "a =\nb 1", 1, 4, "a value is missing behind '='"},
        ErrorCase{"nothing_behind_comma", "a 1, }", 1, 6, "a value is missing behind ','"},
        ErrorCase{"end_behind_comma", "a 1,\n", 2, 1, "a value is missing behind ','"},
        ErrorCase{"two_commas", "a 1,, 2", 1, 5, "a value is missing behind ','"},
        ErrorCase{"bare_word", "a 1\nspace sRGB", 2, 7, kBadValue},
        ErrorCase{"word_case", "a True", 1, 3, kBadValue},
        ErrorCase{"digits_and_letters", "a 12px", 1, 3, kBadValue},
        ErrorCase{"two_signs", "a +-5", 1, 3, kBadValue},
        ErrorCase{"second_equals", "a = = 5", 1, 5, kBadValue},
        ErrorCase{"out_of_range", "a 1e999", 1, 3, "a number is out of range"},
        ErrorCase{"empty_character", "a ''", 1, 3, "a character is one byte between single quotes"},
        ErrorCase{"long_character", "a 'ab'", 1, 3, "a character is one byte between single quotes"},
        ErrorCase{"open_text", "a 1\nb \"abc\nc 2", 2, 3, "a quote is not closed on its line"},
        ErrorCase{"open_text_at_end", "b \"abc\\", 1, 7, "an unknown escape"},
        ErrorCase{"open_name", "\"abc", 1, 1, "a quote is not closed on its line"},
        ErrorCase{"unknown_escape", "a \"x\\q\"", 1, 5, "an unknown escape"},
        ErrorCase{"short_hexadecimal", "a \"\\x4\"", 1, 4, "two hexadecimal digits follow \\x"},
        ErrorCase{"open_group", "a {\n  b 1\n", 3, 1, "a '}' is missing"},
        ErrorCase{"closed_twice", "a { b 1 } }", 1, 11, "a '}' without a '{'"},
        ErrorCase{"first_error_counts", "a sRGB\n}", 1, 3, kBadValue}),
    [](auto const& run) { return run.param.name; });

std::string nested(unsigned int depth)
{
    std::string text;
    for (unsigned int i = 0; i < depth; ++i)
        text += "a{";
    return text + std::string(depth, '}');
}

TEST(ParserGroup, GroupsLie64Deep)
{
    ParserGroup group("");
    EXPECT_TRUE(parse(group, nested(64)));
    EXPECT_FALSE(parse(group, nested(65)));
    EXPECT_EQ(group.get_error_text(), "groups lie too deep in each other");
    EXPECT_EQ(group.get_error_column(), 130u);
    EXPECT_FALSE(parse(group, nested(1'000'000)));
}

TEST(ParserGroup, ANewTextReplacesEntriesAndError)
{
    ParserGroup group("");
    EXPECT_FALSE(parse(group, "a sRGB"));
    EXPECT_TRUE(parse(group, "b 1"));
    EXPECT_EQ(names_of(group), Names{"b"});
    EXPECT_EQ(group.get_error_line(), 0u);
    EXPECT_EQ(group.get_error_column(), 0u);
    EXPECT_TRUE(group.get_error_text().is_empty());
    EXPECT_FALSE(parse(group, "c sRGB"));
    EXPECT_EQ(group.get_entry_count(), 0u);
}

TEST(ParserGroup, RefusesANewerMajorVersion)
{
    ParserGroup group("");

    EXPECT_FALSE(
        group.set_text("a 1", CoreVersion{default_parser_serial_version.major_number + 1, 0, 0}, nullptr));
    EXPECT_EQ(group.get_entry_count(), 0u);
    EXPECT_EQ(group.get_error_text(), "the text is of a newer version of the syntax");
    EXPECT_TRUE(
        group.set_text("a 1", CoreVersion{default_parser_serial_version.major_number, 99, 0}, nullptr));
}

TEST(ParserGroup, FillsTheProgressBar)
{
    ParserGroup group("");
    zv_test::RecordingProgress progress;
    group.set_text("a 1", default_parser_serial_version, &progress);

    EXPECT_EQ(progress.calls(), (std::vector<std::string>{"set_value 0", "set_value 1"}));
}

TEST(ParserEntry, ConvertsBetweenKinds)
{
    ParserGroup const group = parsed(R"(v true 'A' 42 2.75 "7 up" { a 1 } -1e10)");
    ParserEntry const& entry = *group.get_entry("v");

    std::vector<int> integers;
    std::vector<double> doubles;
    std::vector<bool> bools;
    std::vector<std::string> texts;
    for (unsigned int i = 0; i < 8; ++i) {
        integers.push_back(entry.get_int(i));
        doubles.push_back(entry.get_double(i));
        bools.push_back(entry.get_bool(i));
        texts.emplace_back(entry.get_string(i).view());
    }
    EXPECT_EQ(integers, (std::vector<int>{1, 65, 42, 2, 0, 0, INT_MIN, 0}));
    EXPECT_EQ(doubles, (std::vector<double>{1, 65, 42, 2.75, 0, 0, -1e10, 0}));
    EXPECT_EQ(bools, (std::vector<bool>{true, true, true, true, false, false, true, false}));
    EXPECT_EQ(texts, (Names{"true", "A", "42", "2.75", "7 up", "", "-1e+10", ""}));
    EXPECT_EQ(entry.get_char(2), '*');
    EXPECT_EQ(entry.get_char(6), '\0');
}

TEST(ParserEntry, CharactersAreSigned)
{
    ParserGroup const group = parsed(R"(v '\xFE')");

    EXPECT_EQ(group.get_entry("v")->get_char(), '\xFE');
    EXPECT_EQ(group.get_entry("v")->get_int(), -2);
}

TEST(ParserGroup, SurvivesAnyBytes)
{
    std::mt19937 random(7);
    std::string const pieces = "a1.-+e{}{}\"'\\x,;=# \n\t\r\0\x01\xFF";
    unsigned int refused = 0;
    for (int run = 0; run < 20'000; ++run) {
        std::string text;
        for (unsigned int i = random() % 40; i > 0; --i)
            text += pieces[random() % pieces.size()];
        ParserGroup group("");
        bool const is_read = parse(group, text);
        EXPECT_EQ(is_read, group.get_error_text().is_empty());
        EXPECT_EQ(is_read, group.get_error_line() == 0);
        refused += !is_read;
    }

    EXPECT_GT(refused, 1000u);
    EXPECT_LT(refused, 20'000u);
}

TEST(ParserGroup, ReadsLongTextsInTimeThatGrowsWithThem)
{
    std::string text;
    for (int i = 0; i < 50'000; ++i)
        text += "a\n\n\n# comment\n";
    std::string const hostile = "a" + std::string(1'000'000, '\n') + "b" + std::string(1'000'000, ',');

    EXPECT_EQ(parsed(text).get_entry_count(), 50'000u);
    ParserGroup group("");
    EXPECT_FALSE(parse(group, hostile));
    EXPECT_EQ(group.get_error_line(), 1'000'001u);
}

}  // namespace
