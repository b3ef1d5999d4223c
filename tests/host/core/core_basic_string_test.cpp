#include "host/core/core_basic_string.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

namespace {

constexpr unsigned int kNotFound = 0xFFFFFFFFu;

TEST(CoreBasicString, IsEmptyWithoutABufferAtFirst)
{
    CoreBasicString const text;

    EXPECT_EQ(text.m_data, nullptr);
    EXPECT_EQ(text.m_length, 0u);
    EXPECT_EQ(text.m_capacity, 0u);
    EXPECT_STREQ(text.get_data(), "");
    EXPECT_TRUE(text.is_empty());
}

TEST(CoreBasicString, TakesANullPointerAsEmpty)
{
    EXPECT_TRUE(CoreBasicString(static_cast<char const*>(nullptr)).is_empty());
}

TEST(CoreBasicString, KeepsLengthAndTerminator)
{
    CoreBasicString const text("pixel");

    EXPECT_EQ(text.m_length, 5u);
    EXPECT_EQ(text.length(), 5u);
    EXPECT_EQ(text.get_count(), 5u);
    EXPECT_EQ(text.m_data[5], '\0');
    EXPECT_GE(text.m_capacity, 6u);
}

TEST(CoreBasicString, KeepsZeroBytes)
{
    CoreBasicString const text(std::string_view("a\0b", 3));

    EXPECT_EQ(text.m_length, 3u);
    EXPECT_EQ(text.view(), std::string_view("a\0b", 3));
    EXPECT_NE(text, CoreBasicString("a"));
}

TEST(CoreBasicString, CopiesDeeply)
{
    CoreBasicString first("depth");
    CoreBasicString const copy(first);
    CoreBasicString assigned("something longer than the other");
    assigned = first;
    first.m_data[0] = 'D';

    EXPECT_EQ(copy, "depth");
    EXPECT_EQ(assigned, "depth");
}

TEST(CoreBasicString, AssignsItselfWithoutLoss)
{
    CoreBasicString text("self");
    CoreBasicString& alias = text;
    text = alias;

    EXPECT_EQ(text, "self");
}

TEST(CoreBasicString, MoveEmptiesTheSource)
{
    CoreBasicString source("moved");
    CoreBasicString target(std::move(source));
    EXPECT_EQ(target, "moved");
    EXPECT_EQ(source.m_data, nullptr);
    EXPECT_EQ(source.m_length, 0u);
    EXPECT_EQ(source.m_capacity, 0u);

    CoreBasicString assigned("before");
    assigned = std::move(target);
    EXPECT_EQ(assigned, "moved");
    EXPECT_TRUE(target.is_empty());
}

TEST(CoreBasicString, ComparesBytesAndCase)
{
    EXPECT_TRUE(CoreBasicString("rgba") == CoreBasicString("rgba"));
    EXPECT_TRUE(CoreBasicString("rgba") == "rgba");
    EXPECT_TRUE(CoreBasicString("rgba") != CoreBasicString("RGBA"));
    EXPECT_TRUE(CoreBasicString("rgba") != "rgb");
    EXPECT_TRUE(CoreBasicString() == "");
}

TEST(CoreBasicString, TellsItsEnding)
{
    CoreBasicString const path("beauty.exr");

    EXPECT_TRUE(path.end_with(".exr"));
    EXPECT_TRUE(path.end_with(""));
    EXPECT_TRUE(path.end_with("beauty.exr"));
    EXPECT_FALSE(path.end_with(".EXR"));
    EXPECT_FALSE(path.end_with("a longer beauty.exr"));
}

TEST(CoreBasicString, FindsFromTheStart)
{
    CoreBasicString const text("a.b.a.b");

    EXPECT_EQ(text.find('b'), 2u);
    EXPECT_EQ(text.find('b', 3), 6u);
    EXPECT_EQ(text.find('z'), kNotFound);
    EXPECT_EQ(text.find("a.b", 1), 4u);
    EXPECT_EQ(text.find("a.c"), kNotFound);
    EXPECT_EQ(text.find(CoreBasicString(".")), 1u);
    EXPECT_EQ(text.find(CoreBasicString("."), 4), 5u);
    EXPECT_EQ(text.find('a', 100), kNotFound);
}

TEST(CoreBasicString, FindsFromTheEnd)
{
    CoreBasicString const text("a.b.a.b");

    EXPECT_EQ(text.rev_find('b'), 6u);
    EXPECT_EQ(text.rev_find('b', 5), 2u);
    EXPECT_EQ(text.rev_find('z'), kNotFound);
    EXPECT_EQ(text.rev_find("a.b"), 4u);
    EXPECT_EQ(text.rev_find("a.b", 3), 0u);
    EXPECT_EQ(text.rev_find(CoreBasicString(".")), 5u);
    EXPECT_EQ(CoreBasicString().rev_find('a'), kNotFound);
}

TEST(CoreBasicString, NotFoundIsMinusOne)
{
    EXPECT_EQ(static_cast<int>(CoreBasicString("x").find('y')), -1);
}

TEST(CoreBasicString, PrintsItsBytes)
{
    std::ostringstream stream;
    stream << CoreBasicString("layer");

    EXPECT_EQ(stream.str(), "layer");
}

}  // namespace
