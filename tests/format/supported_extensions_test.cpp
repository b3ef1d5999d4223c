#include <OpenImageIO/imageio.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "image_io/format/extension_list.h"
#include "image_io/format/image_io_file_format.h"

namespace {

using zv_image_io::ExtensionList;
using zv_image_io::parse_extension_list;

std::vector<std::string> texts(CoreVector<CoreString> const& strings)
{
    std::vector<std::string> result;
    for (CoreString const& string : strings)
        result.emplace_back(string.view());
    return result;
}

struct ListCase {
    char const* label;
    char const* list;
    std::vector<std::string> extensions;
};

class ParseExtensionList : public testing::TestWithParam<ListCase> {};

TEST_P(ParseExtensionList, TakesWhatStandsBehindTheColons)
{
    EXPECT_EQ(texts(parse_extension_list(GetParam().list)), GetParam().extensions);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, ParseExtensionList,
    testing::Values(ListCase{"order_is_kept", "tiff:tif,tiff;bmp:bmp", {"tif", "tiff", "bmp"}},
                    ListCase{"doubles_stay", "a:x,y;b:x", {"x", "y", "x"}},
                    ListCase{"entry_without_colon_is_skipped", "a:x;odd;b:y", {"x", "y"}},
                    ListCase{"behind_a_second_colon_is_ignored", "a:x,y:z;b:w", {"x", "y", "w"}},
                    ListCase{"format_without_extensions", "a:;b:w", {"w"}},
                    ListCase{"separator_at_the_end", "a:x;", {"x"}}, ListCase{"empty", "", {}}),
    [](auto const& row) { return row.param.label; });

TEST(ExtensionList, IsFilledOnce)
{
    int asked = 0;
    ExtensionList list([&](CoreString& text) {
        ++asked;
        text = "a:x,y";
        return true;
    });

    CoreVector<CoreString>& first = list.get();
    CoreVector<CoreString>& second = list.get();

    EXPECT_EQ(&first, &second);
    EXPECT_EQ(texts(first), (std::vector<std::string>{"x", "y"}));
    EXPECT_EQ(asked, 1);
}

TEST(ExtensionList, AsksAgainWhileTheSourceGivesNothing)
{
    int asked = 0;
    ExtensionList list([&](CoreString& text) {
        text = asked == 1 ? "" : "a:x";
        return ++asked > 1;  // refuses, then gives an empty text, then a list
    });

    EXPECT_TRUE(list.get().is_empty());
    EXPECT_TRUE(list.get().is_empty());
    EXPECT_EQ(texts(list.get()), (std::vector<std::string>{"x"}));
    EXPECT_EQ(texts(list.get()), (std::vector<std::string>{"x"}));
    EXPECT_EQ(asked, 3);
}

TEST(ExtensionList, WithoutAnAnswerContainsNothing)
{
    bool answers = false;
    ExtensionList list([&](CoreString& text) {
        text = "a:exr,tif";
        return answers;
    });

    for (char const* extension : {"exr", "tif", "a", ""})
        EXPECT_FALSE(list.contains(extension)) << extension;
    answers = true;
    EXPECT_TRUE(list.contains("exr"));
    EXPECT_TRUE(list.contains("tif"));
    EXPECT_FALSE(list.contains("a"));
}

TEST(ExtensionList, SurvivesASourceThatThrows)
{
    bool throws = true;
    ExtensionList list([&](CoreString& text) {
        if (throws)
            throw std::bad_alloc();
        text = "a:x";
        return true;
    });

    EXPECT_TRUE(list.get().is_empty());
    throws = false;
    EXPECT_EQ(texts(list.get()), (std::vector<std::string>{"x"}));
}

TEST(ExtensionList, SecondThreadWaitsForTheFirstFillAndDoesNotParseAgain)
{
    std::atomic<int> asked{0};
    std::latch inside(1), go_on(1);
    ExtensionList list([&](CoreString& text) {
        ++asked;
        inside.count_down();
        go_on.wait();
        text = "a:x,y";
        return true;
    });
    std::atomic<unsigned int> counts[2] = {0, 0};
    std::atomic<bool> second_is_back{false};

    std::thread first([&] { counts[0] = list.get().get_count(); });
    inside.wait();
    std::thread second([&] {
        counts[1] = list.get().get_count();
        second_is_back = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    bool const second_waited = !second_is_back;
    go_on.count_down();
    first.join();
    second.join();

    EXPECT_TRUE(second_waited);
    EXPECT_EQ(counts[0], 2u);
    EXPECT_EQ(counts[1], 2u);
    EXPECT_EQ(asked, 1);
}

TEST(SupportedExtensions, AreThoseOfOpenImageIOInItsOrder)
{
    std::string const list(OIIO::get_string_attribute("extension_list"));
    ASSERT_FALSE(list.empty());

    std::vector<std::string> expected;
    for (std::string const& entry : OIIO::Strutil::splits(list, ";")) {
        auto const pieces = OIIO::Strutil::splits(entry, ":");
        ASSERT_GE(pieces.size(), 2u) << entry;
        for (std::string const& extension : OIIO::Strutil::splits(pieces[1], ","))
            expected.push_back(extension);
    }

    EXPECT_EQ(texts(ImageIOFileFormat::get_supported_extensions()), expected);
    EXPECT_EQ(&ImageIOFileFormat::get_supported_extensions(), &ImageIOFileFormat::get_supported_extensions());
}

TEST(SupportedExtensions, AreComparedExactly)
{
    EXPECT_TRUE(ImageIOFileFormat::is_extension_valid("exr"));
    EXPECT_TRUE(ImageIOFileFormat::is_extension_valid("tiff"));
    EXPECT_FALSE(ImageIOFileFormat::is_extension_valid("EXR"));
    EXPECT_FALSE(ImageIOFileFormat::is_extension_valid(".exr"));
    EXPECT_FALSE(ImageIOFileFormat::is_extension_valid(""));
    EXPECT_FALSE(ImageIOFileFormat::is_extension_valid("zzz"));
}

TEST(SupportedExtensions, AreNotThoseOfTheLoadTable)
{
    auto const extensions = ImageIOFileFormat::get_load_extensions(ImageIOFileFormat::LOAD_TX);

    ASSERT_EQ(extensions.get_count(), 3u);
    EXPECT_TRUE(ImageIOFileFormat::is_extension_valid(extensions[0]));
    EXPECT_FALSE(ImageIOFileFormat::is_extension_valid(extensions[1]));
    EXPECT_FALSE(ImageIOFileFormat::is_extension_valid(extensions[2]));
}

}  // namespace
