#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <utility>

#include "image_io/load/image_header.h"
#include "image_io/load/image_io_load.h"
#include "image_io/load/image_load_options.h"
#include "image_io/load/image_load_report.h"

// The records that a host hands over, and the class record of the loader.

namespace {

ImageHeader filled_header()
{
    ImageHeader header;
    header.display_window = GMathVec4<int>(1, 2, 3, 4);
    header.data_window = GMathVec4<int>(5, 6, 7, 8);
    header.channel_count = 2;
    header.channel_names = CoreArray<CoreString>{"first", "a name that is longer than any short buffer"};
    header.is_tiled = true;
    header.color_space = "sRGB";
    header.comment = "a comment";
    header.compression = "zip";
    return header;
}

void expect_filled(ImageHeader const& header)
{
    EXPECT_EQ(header.display_window, GMathVec4<int>(1, 2, 3, 4));
    EXPECT_EQ(header.data_window, GMathVec4<int>(5, 6, 7, 8));
    EXPECT_EQ(header.channel_count, 2);
    ASSERT_EQ(header.channel_names.get_count(), 2u);
    EXPECT_EQ(header.channel_names[0], "first");
    EXPECT_EQ(header.channel_names[1], "a name that is longer than any short buffer");
    EXPECT_TRUE(header.is_tiled);
    EXPECT_EQ(header.color_space, "sRGB");
    EXPECT_EQ(header.comment, "a comment");
    EXPECT_EQ(header.compression, "zip");
}

TEST(ImageHeader, BeginsEmptyAndLeavesCountAndTilesAlone)
{
    alignas(ImageHeader) unsigned char memory[sizeof(ImageHeader)];
    std::memset(memory, 0x5a, sizeof memory);

    ImageHeader* const header = new (memory) ImageHeader;

    EXPECT_EQ(header->display_window, GMathVec4<int>(0, 0, 0, 0));
    EXPECT_EQ(header->data_window, GMathVec4<int>(0, 0, 0, 0));
    EXPECT_EQ(header->channel_names.get_count(), 0u);
    EXPECT_TRUE(header->color_space.is_empty());
    EXPECT_TRUE(header->comment.is_empty());
    EXPECT_TRUE(header->compression.is_empty());
    EXPECT_EQ(memory[offsetof(ImageHeader, channel_count)], 0x5a);
    EXPECT_EQ(memory[offsetof(ImageHeader, is_tiled)], 0x5a);
    header->~ImageHeader();
}

TEST(ImageHeader, HasItsFieldsInOrder)
{
    EXPECT_LT(offsetof(ImageHeader, display_window), offsetof(ImageHeader, data_window));
    EXPECT_LT(offsetof(ImageHeader, data_window), offsetof(ImageHeader, channel_count));
    EXPECT_LT(offsetof(ImageHeader, channel_count), offsetof(ImageHeader, channel_names));
    EXPECT_LT(offsetof(ImageHeader, channel_names), offsetof(ImageHeader, is_tiled));
    EXPECT_LT(offsetof(ImageHeader, is_tiled), offsetof(ImageHeader, color_space));
    EXPECT_LT(offsetof(ImageHeader, color_space), offsetof(ImageHeader, comment));
    EXPECT_LT(offsetof(ImageHeader, comment), offsetof(ImageHeader, compression));
}

TEST(ImageHeader, CopiesDeeply)
{
    ImageHeader const original = filled_header();

    ImageHeader copy(original);
    ImageHeader assigned = filled_header();
    assigned.channel_names = CoreArray<CoreString>{"gone"};
    assigned = original;
    expect_filled(copy);
    expect_filled(assigned);
    copy.channel_names[0] = "changed";
    assigned.channel_names[1] = "changed";
    copy.comment = "changed";

    expect_filled(original);
}

TEST(ImageHeader, MovesItsArrayAndStringsAway)
{
    ImageHeader source = filled_header();
    CoreString const* const names = &source.channel_names[0];

    ImageHeader constructed(std::move(source));

    expect_filled(constructed);
    EXPECT_EQ(&constructed.channel_names[0], names);
    EXPECT_EQ(source.channel_names.get_count(), 0u);  // NOLINT: what is left is told

    ImageHeader assigned;
    assigned = std::move(constructed);

    expect_filled(assigned);
    EXPECT_EQ(&assigned.channel_names[0], names);
    EXPECT_EQ(constructed.channel_names.get_count(), 0u);  // NOLINT
}

TEST(ImageLoadOptions, HasTheseDefaults)
{
    ImageLoadOptions const options;

    EXPECT_EQ(options.color_space, "sRGB");
    EXPECT_FALSE(options.premultiply);
    EXPECT_EQ(options.single_channel_mode, 1);
    EXPECT_FALSE(options.force_alpha);
    EXPECT_EQ(options.channels, nullptr);
}

TEST(ImageLoadOptions, HasItsFieldsInOrder)
{
    EXPECT_LT(offsetof(ImageLoadOptions, color_space), offsetof(ImageLoadOptions, premultiply));
    EXPECT_LT(offsetof(ImageLoadOptions, premultiply), offsetof(ImageLoadOptions, single_channel_mode));
    EXPECT_LT(offsetof(ImageLoadOptions, single_channel_mode), offsetof(ImageLoadOptions, force_alpha));
    EXPECT_LT(offsetof(ImageLoadOptions, force_alpha), offsetof(ImageLoadOptions, channels));
}

TEST(ImageLoadOptions, SharesTheListWithItsCopies)
{
    CoreVector<CoreString> const names{"r"};
    {
        ImageLoadOptions options;
        options.color_space = "ACEScg";
        options.premultiply = true;
        options.single_channel_mode = 3;
        options.force_alpha = true;
        options.channels = &names;
        ImageLoadOptions copy(options), assigned;
        assigned = options;
        ImageLoadOptions moved(std::move(options)), move_assigned;
        move_assigned = ImageLoadOptions(copy);
        for (ImageLoadOptions const* each : {&copy, &assigned, &moved, &move_assigned}) {
            EXPECT_EQ(each->color_space, "ACEScg");
            EXPECT_TRUE(each->premultiply);
            EXPECT_EQ(each->single_channel_mode, 3);
            EXPECT_TRUE(each->force_alpha);
            EXPECT_EQ(each->channels, &names);
        }
        copy.color_space = "sRGB";
        EXPECT_EQ(assigned.color_space, "ACEScg");
    }

    ASSERT_EQ(names.get_count(), 1u);
    EXPECT_EQ(names[0], "r");
}

TEST(ImageLoadReport, IsDamagedByAnythingLostOrSaid)
{
    ImageLoadReport report;
    report.rows_asked = report.tiles_asked = 9;
    EXPECT_FALSE(report.is_damaged());

    ImageLoadReport rows = report, tiles = report, errors = report;
    rows.rows_lost = 1;
    tiles.tiles_lost = 1;
    errors.errors.add("said");

    EXPECT_TRUE(rows.is_damaged());
    EXPECT_TRUE(tiles.is_damaged());
    EXPECT_TRUE(errors.is_damaged());
}

TEST(ImageIOLoad, HasAClassRecordUnderTheCommonBase)
{
    CoreClassInfo const& record = ImageIOLoad::class_info();

    EXPECT_EQ(record.get_name(), "ImageIOLoad");
    EXPECT_EQ(record.get_base(), &CoreBaseType::class_info());
    EXPECT_EQ(&ImageIOLoad().get_class_info(), &record);
    EXPECT_EQ(&ImageIOLoad::class_info(), &record);
    EXPECT_EQ(CoreClassInfo::find_class("ImageIOLoad"), &record);
}

TEST(ImageIOLoad, FreesAnObjectWhateverTheFlagSays)
{
    EXPECT_TRUE(ImageIOLoad::___class_destructor__(new ImageIOLoad, true));
    EXPECT_TRUE(ImageIOLoad::class_info().destroy(new ImageIOLoad, false));
    EXPECT_TRUE(ImageIOLoad::___class_destructor__(nullptr, false));
}

TEST(ImageIOLoad, AssignsNothingAndGivesItself)
{
    ImageIOLoad one;
    ImageIOLoad const other;

    EXPECT_EQ(&(one = other), &one);
    EXPECT_EQ(&(one = ImageIOLoad()), &one);
}

}  // namespace
