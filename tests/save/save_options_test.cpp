#include "image_io/save/image_save_options.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/image/image_canvas.h"
#include "host/sys/sys_timer.h"
#include "tests/support/log_capture.h"

namespace {

using zv_test::LogCapture;
using zv_test::LogLine;

using Lines = std::vector<LogLine>;
using MetaData = ImageSaveOptions::MetaData;
using Values = CoreArray<CoreVariant>;

/// "name: value value", a value as its tag and text: "2 7".
std::vector<std::string> told(CoreArray<MetaData> const& items)
{
    std::vector<std::string> texts;
    for (MetaData const& item : items) {
        std::string text = item.name.get_data() + std::string(":");
        for (CoreVariant const& value : item.values)
            text += " (" + std::to_string(value.get_type()) + " " + value.get_string().get_data() + ")";
        texts.push_back(text);
    }
    return texts;
}

using Told = std::vector<std::string>;

TEST(ImageSaveOptions, BeginsWithTheDefaultsThatItHas)
{
    ImageSaveOptions const options;

    EXPECT_EQ(options.pixel_aspect_ratio, 1.0f);
    EXPECT_EQ(options.color_space, "sRGB");
    EXPECT_EQ(options.layers, nullptr);
    EXPECT_EQ(options.meta_data.get_count(), 0u);
}

class ImageSaveOptionsCopy : public testing::Test {
protected:
    ImageSaveOptionsCopy()
    {
        options.pixel_aspect_ratio = 2.0f;
        options.color_space = "ACEScg";
        options.layers = &layers;
        options.format = ImageIOFileFormat::SAVE_TIFF16;
        options.compression = ImageIOFileFormat::COMPRESSION_PIZ;
        options.meta_data = {{"artist", {CoreVariant("me")}}, {"take", {CoreVariant(3)}}};
    }

    void expect_fields(ImageSaveOptions const& copy) const
    {
        EXPECT_EQ(copy.pixel_aspect_ratio, 2.0f);
        EXPECT_EQ(copy.color_space, "ACEScg");
        EXPECT_EQ(copy.layers, &layers);
        EXPECT_EQ(copy.format, ImageIOFileFormat::SAVE_TIFF16);
        EXPECT_EQ(copy.compression, ImageIOFileFormat::COMPRESSION_PIZ);
    }

    CoreVector<CoreString> const layers{"r", "g"};
    ImageSaveOptions options;
};

TEST_F(ImageSaveOptionsCopy, KeepsEveryFieldAndItsOwnMetadata)
{
    ImageSaveOptions copy(options);
    copy.meta_data[0].values[0] = CoreVariant("you");

    expect_fields(copy);
    EXPECT_EQ(told(copy.meta_data), (Told{"artist: (4 you)", "take: (2 3)"}));
    EXPECT_EQ(told(options.meta_data), (Told{"artist: (4 me)", "take: (2 3)"}));
}

TEST_F(ImageSaveOptionsCopy, CanLeaveTheMetadataOut)
{
    ImageSaveOptions const copy(options, false);

    expect_fields(copy);
    EXPECT_EQ(copy.meta_data.get_count(), 0u);
}

TEST_F(ImageSaveOptionsCopy, AssignsEveryFieldAndItsOwnMetadata)
{
    ImageSaveOptions target;
    target.meta_data = {{"old", {CoreVariant(1)}}};

    EXPECT_EQ(&(target = options), &target);
    target.meta_data[1].name = "changed";

    expect_fields(target);
    EXPECT_EQ(told(target.meta_data), (Told{"artist: (4 me)", "changed: (2 3)"}));
    EXPECT_EQ(told(options.meta_data), (Told{"artist: (4 me)", "take: (2 3)"}));
}

TEST_F(ImageSaveOptionsCopy, AssignmentToItselfChangesNothing)
{
    ImageSaveOptions& same = options;

    options = same;

    expect_fields(options);
    EXPECT_EQ(told(options.meta_data), (Told{"artist: (4 me)", "take: (2 3)"}));
}

TEST(ImageSaveOptions, OnlyTheTwoFirstFormatsAreOpenExr)
{
    ImageSaveOptions options;

    for (int format = -1; format <= 11; ++format) {
        options.format = static_cast<ImageIOFileFormat::Save>(format);
        EXPECT_EQ(options.is_file_exr(), format == 0 || format == 1) << format;
    }
}

TEST(FillMetadata, TakesEveryKindOfValueUnderItsTag)
{
    ImageSaveOptions options;

    options.fill_metadata("p", "flag true\nletter 'A'\nlow '\\xE9'\ncount -7\nsize 2.5\ntext \"a b\"\n",
                          false);

    EXPECT_EQ(told(options.meta_data), (Told{"flag: (1 true)", "letter: (2 65)", "low: (2 -23)",
                                             "count: (2 -7)", "size: (3 2.5)", "text: (4 a b)"}));
}

TEST(FillMetadata, KeepsTheOrderOfSeveralValues)
{
    ImageSaveOptions options;

    options.fill_metadata("p", "mixed 1 2.5 \"three\" true 'x'\n", false);

    EXPECT_EQ(told(options.meta_data), (Told{"mixed: (2 1) (3 2.5) (4 three) (1 true) (2 120)"}));
}

TEST(FillMetadata, PassesOverGroupsBesideOtherValues)
{
    ImageSaveOptions options;
    LogCapture const log;

    options.fill_metadata("p", "item \"kept\" { inner 1 }\n", false);

    EXPECT_EQ(told(options.meta_data), (Told{"item: (4 kept)"}));
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(FillMetadata, EntriesWithoutValuesKeepAnEmptyItemAndAreLogged)
{
    ImageSaveOptions options;
    LogCapture const log;

    options.fill_metadata("p", "first 1\nnothing\nonly_a_group { inner 1 }\nlast 2\n", false);

    EXPECT_EQ(told(options.meta_data), (Told{"first: (2 1)", ":", ":", "last: (2 2)"}));
    EXPECT_EQ(log.lines(), (Lines{{2, "Ignoring shading variable nothing : no valid values.\n"},
                                  {2, "Ignoring shading variable only_a_group : no valid values.\n"}}));
}

TEST(FillMetadata, IsQuietBelowTheLevelOfWarnings)
{
    ImageSaveOptions options;
    LogCapture const log(1);

    options.fill_metadata("p", "nothing\n", false);

    EXPECT_EQ(log.lines(), Lines{});
    EXPECT_EQ(options.meta_data.get_count(), 1u);
}

TEST(FillMetadata, ANameThatIsTakenGetsThePrefixOnce)
{
    ImageSaveOptions options;

    options.fill_metadata("shot", "take 1\ntake 2\ntake 3\n", false);

    EXPECT_EQ(told(options.meta_data), (Told{"take: (2 1)", "shot_take: (2 2)", "shot_take: (2 3)"}));
}

TEST(FillMetadata, AHundredThousandEntriesAreReadWithoutAWait)
{
    std::string text;
    for (int i = 0; i < 100000; ++i)
        text += "entry" + std::to_string(i) + " 1\n";
    ImageSaveOptions options;
    SysTimer const timer;

    options.fill_metadata("shot", text.c_str(), false);

    EXPECT_LT(timer.get_elapsed_time(), 5000);  // each is not compared with all before it
    EXPECT_EQ(options.meta_data.get_count(), 100000u);
    EXPECT_EQ(options.meta_data[99999].name, "entry99999");
}

TEST(FillMetadata, ComparesWithWhatWasThereCaseAndAll)
{
    ImageSaveOptions options;
    options.meta_data = {{"take", {CoreVariant(0)}}};

    options.fill_metadata("", "Take 1\ntake 2\n", true);

    EXPECT_EQ(told(options.meta_data), (Told{"take: (2 0)", "Take: (2 1)", "_take: (2 2)"}));
}

TEST(FillMetadata, AppendsOrReplaces)
{
    ImageSaveOptions options;
    options.meta_data = {{"old", {CoreVariant(0)}}};

    options.fill_metadata("p", "new 1\n", true);
    EXPECT_EQ(told(options.meta_data), (Told{"old: (2 0)", "new: (2 1)"}));

    options.fill_metadata("p", "newer 2\n", false);
    EXPECT_EQ(told(options.meta_data), (Told{"newer: (2 2)"}));
}

TEST(FillMetadata, EmptyTextEmptiesOrLeavesAsItIs)
{
    ImageSaveOptions options;
    options.meta_data = {{"old", {CoreVariant(0)}}};

    options.fill_metadata("p", "", true);
    EXPECT_EQ(told(options.meta_data), (Told{"old: (2 0)"}));

    options.fill_metadata("p", "", false);
    EXPECT_EQ(options.meta_data.get_count(), 0u);
}

TEST(FillMetadata, ARefusedTextHasNoEntries)
{
    ImageSaveOptions options;
    options.meta_data = {{"old", {CoreVariant(0)}}};
    LogCapture const log;

    options.fill_metadata("p", "good 1\nbad { unclosed\n", true);

    EXPECT_EQ(told(options.meta_data), (Told{"old: (2 0)"}));
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(AddImageCanvasMetaData, AppendsInTheCanvassOrderWhateverTheNames)
{
    ImageCanvas canvas(false);
    canvas.m_meta_data.insert("take", Values{CoreVariant(7), CoreVariant("x")});
    canvas.m_meta_data.insert("artist", Values{CoreVariant("me")});
    ImageSaveOptions options;
    options.meta_data = {{"take", {CoreVariant(1)}}};

    options.add_image_canvas_meta_data(canvas);
    EXPECT_EQ(told(options.meta_data), (Told{"take: (2 1)", "take: (2 7) (4 x)", "artist: (4 me)"}));

    options.add_image_canvas_meta_data(canvas);
    EXPECT_EQ(options.meta_data.get_count(), 5u);
}

TEST(AddImageCanvasMetaData, ACanvasWithoutMetadataAddsNothing)
{
    ImageCanvas const canvas(false);
    ImageSaveOptions options;

    options.add_image_canvas_meta_data(canvas);

    EXPECT_EQ(options.meta_data.get_count(), 0u);
}

TEST(AddImageCanvasMetaData, WalksLargeDictionariesInTheirOwnOrderAndPastGaps)
{
    ImageCanvas canvas(false);
    for (int number = 0; number < 400; ++number)
        canvas.m_meta_data.insert(CoreString("item") + number, Values{CoreVariant(number)});
    for (int number = 0; number < 100; ++number)
        canvas.m_meta_data.remove(CoreString("item") + number);
    Told expected;
    canvas.m_meta_data.for_each([&](CoreString const& name, Values const& values) {
        expected.push_back(name.get_data() + std::string(": (2 ") + values[0].get_string().get_data() + ")");
    });
    ImageSaveOptions options;

    options.add_image_canvas_meta_data(canvas);

    EXPECT_EQ(canvas.m_meta_data.get_mode(), 2);
    EXPECT_EQ(expected.size(), 300u);
    EXPECT_EQ(told(options.meta_data), expected);
}

}  // namespace
