#include "host/core/core_string.h"

#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

std::vector<std::string> pieces_of(CoreString const& text, char const* separator, bool skip_empty)
{
    std::vector<std::string> pieces;
    for (CoreString const& piece : text.split(separator, skip_empty))
        pieces.emplace_back(piece.view());
    return pieces;
}

using Pieces = std::vector<std::string>;

TEST(CoreString, IsAsSmallAsItsBase)
{
    EXPECT_EQ(sizeof(CoreString), 16u);
}

TEST(CoreString, TakesTextUpToTheTerminator)
{
    CoreString text;
    text.set_data("hello", 2);
    EXPECT_EQ(text, "he");
    text.set_data("hello", -1);
    EXPECT_EQ(text, "hello");
    text.set_data("hello");
    EXPECT_EQ(text, "hello");
    text.set_data(nullptr);
    EXPECT_TRUE(text.is_empty());
}

TEST(CoreString, TakesAPieceOfItself)
{
    CoreString text("0123456789");
    text.set_data(text.get_data() + 4, 3);
    EXPECT_EQ(text, "456");

    for (int i = 0; i < 8; ++i)
        text += text;
    EXPECT_EQ(text.get_count(), 768u);
    EXPECT_EQ(text.sub_string(765), "456");
}

TEST(CoreString, AppendsEveryKindOfPiece)
{
    CoreString text;
    text += "a";
    text += CoreString("b");
    text += 'c';
    text += true;
    text += false;
    text += -5;
    text += 4000000000u;
    text += 18446744073709551615ull;
    text.append("xyz", 1);
    text.append("w");

    EXPECT_EQ(text, "abctruefalse-5400000000018446744073709551615xw");
}

TEST(CoreString, PrintsTheEndsOfEveryInteger)
{
    EXPECT_EQ(CoreString() + INT_MIN, "-2147483648");
    EXPECT_EQ(CoreString() + INT_MAX, "2147483647");
    EXPECT_EQ(CoreString() + UINT_MAX, "4294967295");
    EXPECT_EQ(CoreString() + LLONG_MIN, "-9223372036854775808");
    EXPECT_EQ(CoreString() + LONG_MIN, "-9223372036854775808");
    EXPECT_EQ(CoreString() + ULONG_MAX, "18446744073709551615");
    EXPECT_EQ(CoreString() + 0, "0");
}

TEST(CoreString, PlusLeavesItsOperandsAlone)
{
    CoreString const base("base");
    CoreString const sum = base + "/" + base + '.' + 1 + true;

    EXPECT_EQ(base, "base");
    EXPECT_EQ(sum, "base/base.1true");
    EXPECT_EQ("x" + base, "xbase");
}

TEST(CoreString, AppendsZeroBytes)
{
    CoreString text("a");
    text.append("\0b", 2);

    EXPECT_EQ(text.get_count(), 3u);
    EXPECT_EQ(text.m_data[3], '\0');
}

TEST(CoreString, RefusesATextThat32BitsCannotCount)
{
    CoreString text("kept");
    // The bytes are never looked at: the length alone is refused.
    std::string_view const huge(text.get_data(), 0xFFFFFFFFu);

    EXPECT_THROW(CoreString{huge}, std::length_error);
    EXPECT_THROW(text += huge, std::length_error);
    EXPECT_THROW(text += huge.substr(0, 0xFFFFFFFBu), std::length_error);
    EXPECT_EQ(text, "kept");
}

TEST(CoreString, DoublesItsCapacityAsItGrows)
{
    CoreString text;
    unsigned int changes = 0;
    for (int i = 0; i < 10000; ++i) {
        unsigned int const before = text.m_capacity;
        text += 'x';
        changes += text.m_capacity != before;
    }

    EXPECT_LE(changes, 15u);
    EXPECT_GT(text.m_capacity, text.m_length);
}

TEST(CoreString, ClearsToEmpty)
{
    CoreString text("something");
    text.clear();

    EXPECT_EQ(text.m_length, 0u);
    EXPECT_STREQ(text.get_data(), "");
}

TEST(CoreString, ChangesTheCaseOfAsciiOnly)
{
    CoreString text("aZ[`{9\xC3\x84");
    EXPECT_EQ(text.get_upper_case(), "AZ[`{9\xC3\x84");
    EXPECT_EQ(text.get_lower_case(), "az[`{9\xC3\x84");
    EXPECT_EQ(text, "aZ[`{9\xC3\x84");

    text.upper_case();
    EXPECT_EQ(text, "AZ[`{9\xC3\x84");
    text.lower_case();
    EXPECT_EQ(text, "az[`{9\xC3\x84");
}

TEST(CoreString, ReplacesEveryCharacter)
{
    CoreString text("Film_scans_2K");
    text.replace('_', ' ');

    EXPECT_EQ(text, "Film scans 2K");
}

TEST(CoreString, CutsSubStrings)
{
    CoreString const text("0123456789");

    EXPECT_EQ(text.sub_string(2, 3), "234");
    EXPECT_EQ(text.sub_string(8, 100), "89");
    EXPECT_EQ(text.sub_string(3), "3456789");
    EXPECT_EQ(text.sub_string(10, 1), "");
    EXPECT_EQ(text.sub_string(4000000000u, 4000000000u), "");
    EXPECT_EQ(text.sub_string(0, 0), "");
}

TEST(CoreString, SplitKeepsEmptyPieces)
{
    EXPECT_EQ(pieces_of("a.b.c", ".", false), (Pieces{"a", "b", "c"}));
    EXPECT_EQ(pieces_of(".a..b.", ".", false), (Pieces{"", "a", "", "b", ""}));
    EXPECT_EQ(pieces_of("plain", ".", false), (Pieces{"plain"}));
    EXPECT_EQ(pieces_of(".", ".", false), (Pieces{"", ""}));
}

TEST(CoreString, SplitSkipsEmptyPiecesWhenAsked)
{
    EXPECT_EQ(pieces_of(".a..b.", ".", true), (Pieces{"a", "b"}));
    EXPECT_EQ(pieces_of("...", ".", true), Pieces{});
}

TEST(CoreString, SplitOfAnEmptyTextHasNoPieces)
{
    EXPECT_EQ(pieces_of("", ".", false), Pieces{});
    EXPECT_EQ(pieces_of("", ".", true), Pieces{});
}

TEST(CoreString, SplitTakesTheWholeSeparator)
{
    EXPECT_EQ(pieces_of("a, b,c", ", ", false), (Pieces{"a", "b,c"}));
    EXPECT_EQ(pieces_of("abc", "", false), (Pieces{"abc"}));
}

struct NumberCase {
    char const* name;
    char const* text;
    bool is_number;
};

class CoreStringIsNumber : public testing::TestWithParam<NumberCase> {};

TEST_P(CoreStringIsNumber, AcceptsDigitsWithASign)
{
    EXPECT_EQ(CoreString(GetParam().text).is_number(), GetParam().is_number);
}

INSTANTIATE_TEST_SUITE_P(Texts, CoreStringIsNumber,
                         testing::Values(NumberCase{"frame", "0001", true},
                                         NumberCase{"one_digit", "7", true}, NumberCase{"minus", "-12", true},
                                         NumberCase{"plus", "+3", true}, NumberCase{"empty", "", false},
                                         NumberCase{"sign_alone", "-", false},
                                         NumberCase{"two_signs", "--1", false},
                                         NumberCase{"letters", "12a", false},
                                         NumberCase{"blank", " 1", false}, NumberCase{"point", "1.5", false},
                                         NumberCase{"marker", "####", false}),
                         [](auto const& run) { return run.param.name; });

TEST(CoreString, AfterFirstAndLast)
{
    EXPECT_EQ(CoreString::after_first("ACES|lin|sRGB", '|'), "lin|sRGB");
    EXPECT_EQ(CoreString::after_last("/out/beauty.exr", '/'), "beauty.exr");
    EXPECT_EQ(CoreString::after_first("a|", '|'), "");
    EXPECT_EQ(CoreString::after_last("out/", '/'), "");
}

TEST(CoreString, AfterAMissingCharacterStandsTheWholeText)
{
    EXPECT_EQ(CoreString::after_first("sRGB", '|'), "sRGB");
    EXPECT_EQ(CoreString::after_last("beauty.exr", '/'), "beauty.exr");
    EXPECT_EQ(CoreString::after_last("", '/'), "");
}

TEST(CoreString, MoveEmptiesTheSource)
{
    CoreString source("moved");
    CoreString const target(std::move(source));

    EXPECT_EQ(target, "moved");
    EXPECT_TRUE(source.is_empty());
    EXPECT_STREQ(source.get_data(), "");
}

}  // namespace
