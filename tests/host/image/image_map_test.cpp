#include "host/image/image_map.h"

#include "host/core/core_class_info.h"
#include "host/image/image_canvas.h"
#include "host/image/image_tile_factory.h"
#include "tests/host/image/sample_types.h"

namespace {

ImageMapChannel* add(ImageMap& map, char const* name)
{
    return map.add_channel(name, map.m_bit_depth, map.m_bit_type);
}

TEST(ImageMap, InitSetsThePropertiesOfAnEmptyMap)
{
    ImageMap map;
    add(map, "r");

    map.init(ImagePixel::DEPTH_RGB, ImagePixel::BIT_DEPTH_16, ImagePixel::BIT_TYPE_INTEGER, 32);

    EXPECT_EQ(map.m_depth, 3);
    EXPECT_EQ(map.m_bit_depth, 2u);
    EXPECT_EQ(map.m_bit_type, 1u);
    EXPECT_EQ(map.m_tile_size, 32);
    EXPECT_EQ(map.get_channel_count(), 0u);
    EXPECT_EQ(map.m_rgba_channels, nullptr);
}

TEST(ImageMap, ColorNamesTakeTheirSlotAndIndex)
{
    ImageMap map;
    EXPECT_EQ(map.m_rgba_channels, nullptr);

    ImageMapChannel* const alpha = add(map, "a");
    ImageMapChannel* const red = add(map, "r");
    ImageMapChannel* const luminance = add(map, "l");
    ImageMapChannel* const blue = add(map, "b");
    ImageMapChannel* const green = add(map, "g");

    ASSERT_NE(map.m_rgba_channels, nullptr);
    ImageMapChannel* const* const record = &map.m_rgba_channels->m_luminance;
    EXPECT_EQ(record[0], luminance);
    EXPECT_EQ(record[1], red);
    EXPECT_EQ(record[2], green);
    EXPECT_EQ(record[3], blue);
    EXPECT_EQ(record[4], alpha);
    for (ImageMapChannel const* const channel : map.m_channels)
        EXPECT_NE(channel->m_index, 6);
    EXPECT_EQ(map.m_depth, ImagePixel::DEPTH_NONE);
}

TEST(ImageMap, AllOtherNamesAreExtraChannels)
{
    ImageMap map;
    for (char const* const name : {"R", "A", "z", "", "red", "diffuse.r", "rgba", "y"})
        EXPECT_EQ(add(map, name)->m_index, 6) << name;

    EXPECT_EQ(map.m_rgba_channels, nullptr);
    EXPECT_EQ(map.get_channel_count(), 8u);
}

TEST(ImageMap, ADoubledNameIsAppendedAndTheFirstKeepsItsPlace)
{
    ImageMap map;
    ImageMapChannel* const first = add(map, "r");
    ImageMapChannel* const second = add(map, "r");
    ImageMapChannel* const extra = add(map, "z");
    ImageMapChannel* const extra_again = add(map, "z");

    EXPECT_EQ(map.get_channel_count(), 4u);
    EXPECT_EQ(map.m_channels[1], second);
    EXPECT_EQ(map.get_channel_by_name("r"), first);
    EXPECT_EQ(map.m_rgba_channels->m_red, first);
    EXPECT_EQ(map.get_channel_by_name("z"), extra);
    EXPECT_EQ(map.m_channels[3], extra_again);
}

TEST(ImageMap, NamesCompareExactly)
{
    ImageMap map;
    add(map, "diffuse.r");

    EXPECT_EQ(map.get_channel_by_name("Diffuse.r"), nullptr);
    EXPECT_EQ(map.get_channel_by_name("diffuse"), nullptr);
    EXPECT_NE(map.get_channel_by_name("diffuse.r"), nullptr);
}

TEST(ImageMap, ColorChannelsComeInTheOrderOfTheRecord)
{
    ImageMap map;
    CoreVector<ImageMapChannel*> out{nullptr, nullptr};
    map.get_rgba_channels(&out);
    EXPECT_EQ(out.get_count(), 0u);
    for (char const* const name : {"a", "z", "b", "r", "g"})
        add(map, name);

    map.get_rgba_channels(&out);

    ASSERT_EQ(out.get_count(), 4u);
    EXPECT_EQ(out[0]->m_name, "r");
    EXPECT_EQ(out[1]->m_name, "g");
    EXPECT_EQ(out[2]->m_name, "b");
    EXPECT_EQ(out[3]->m_name, "a");
}

TEST(ImageMap, LuminanceComesBeforeAlpha)
{
    ImageMap map;
    add(map, "a");
    add(map, "l");
    CoreVector<ImageMapChannel*> out;

    map.get_rgba_channels(&out);

    ASSERT_EQ(out.get_count(), 2u);
    EXPECT_EQ(out[0]->m_name, "l");
}

TEST(ImageMap, ChannelsPointBackToTheirMap)
{
    ImageMap map;

    EXPECT_EQ(add(map, "x")->m_map, &map);
    EXPECT_EQ(map.m_channels[0]->m_name, "x");
}

TEST(ImageMap, CreatesTilesOfAllChannelsWithoutBuffersUnlessAsked)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[3], {"r", "z"});

    map.create_tiles({0, 0, 100, 70}, false);
    for (ImageMapChannel const* const channel : map.m_channels) {
        EXPECT_EQ(channel->get_tile_count(), 4u);
        EXPECT_EQ(constant_tile_count(*channel), 4u);
        EXPECT_EQ(channel->get_tile(3u).m_tile->get_color(0, 0, false), 0.0f);
    }
    map.create_tiles({0, 0, 100, 70}, true);
    for (ImageMapChannel const* const channel : map.m_channels)
        EXPECT_EQ(constant_tile_count(*channel), 0u);
}

TEST(ImageCanvas, IsEmptyUntilTheImageIsCreated)
{
    ImageCanvas canvas(false);

    ASSERT_NE(canvas.get_image(), nullptr);
    EXPECT_EQ(canvas.get_map(), canvas.get_image());
    EXPECT_EQ(canvas.get_image()->get_channel_count(), 0u);
    EXPECT_EQ(canvas.m_map, nullptr);
    EXPECT_EQ(canvas.m_meta_data.get_mode(), 0);
    EXPECT_EQ(canvas.get_width(), 0);
    ASSERT_NE(canvas.m_pyramid, nullptr);
    EXPECT_EQ(canvas.m_pyramid->get_image(), canvas.get_image());
}

TEST(ImageCanvas, NullRegionGivesPropertiesWithoutChannels)
{
    ImageCanvas canvas(false);

    EXPECT_TRUE(canvas.create_image(nullptr, ImagePixel::DEPTH_RGBA, ImagePixel::BIT_DEPTH_32,
                                    ImagePixel::BIT_TYPE_FLOAT, 64));

    ImageMap const& map = *canvas.get_image();
    EXPECT_EQ(map.m_depth, 4);
    EXPECT_EQ(map.m_bit_depth, 4u);
    EXPECT_EQ(map.m_bit_type, 2u);
    EXPECT_EQ(map.m_tile_size, 64);
    EXPECT_EQ(map.get_channel_count(), 0u);
    EXPECT_NE(canvas.m_map, nullptr);
}

TEST(ImageCanvas, RegionGivesTheChannelsOfTheDepth)
{
    struct Row {
        ImagePixel::Depth depth;
        std::vector<char const*> names;
    };
    GMathVec4<int> const region{-5, 6, 70, 80};
    for (Row const& row : {Row{ImagePixel::DEPTH_NONE, {}},
                           {ImagePixel::DEPTH_LUMINANCE, {"l"}},
                           {ImagePixel::DEPTH_LUMINANCE_ALPHA, {"l", "a"}},
                           {ImagePixel::DEPTH_RGB, {"r", "g", "b"}},
                           {ImagePixel::DEPTH_RGBA, {"r", "g", "b", "a"}}}) {
        ImageCanvas canvas(false);

        EXPECT_TRUE(canvas.create_image(&region, row.depth, ImagePixel::BIT_DEPTH_8,
                                        ImagePixel::BIT_TYPE_INTEGER, 64));

        ASSERT_EQ(canvas.get_image()->get_channel_count(), row.names.size());
        for (unsigned int i = 0; i < row.names.size(); ++i) {
            EXPECT_EQ(canvas.get_image()->m_channels[i]->m_name, row.names[i]);
            EXPECT_EQ(canvas.get_image()->m_channels[i]->get_region(), region);
        }
        EXPECT_EQ(*canvas.m_map->m_bbox, region);
        EXPECT_EQ(canvas.get_x(), -5);
    }
}

TEST(ImageCanvas, ImpossibleImagesAreRefused)
{
    ImageCanvas canvas(false);
    GMathVec4<int> const empty{0, 0, 0, 10};

    EXPECT_FALSE(canvas.create_image(nullptr, ImagePixel::DEPTH_RGB, ImagePixel::BIT_DEPTH_8,
                                     ImagePixel::BIT_TYPE_INTEGER, 0));
    EXPECT_FALSE(canvas.create_image(&empty, ImagePixel::DEPTH_RGB, ImagePixel::BIT_DEPTH_8,
                                     ImagePixel::BIT_TYPE_INTEGER, 64));
}

TEST(ImageCanvas, KeepsBothWindows)
{
    ImageCanvas canvas(false);
    GMathVec4<int> const display{1, 2, 300, 400};
    GMathVec4<int> const data{-10, -20, 30, 40};

    canvas.set_canvas(display, &data);

    EXPECT_EQ(canvas.get_x(), 1);
    EXPECT_EQ(canvas.get_y(), 2);
    EXPECT_EQ(canvas.get_width(), 300);
    EXPECT_EQ(canvas.get_height(), 400);
    ASSERT_NE(canvas.m_map, nullptr);
    // The record's first word is the data window.
    GMathVec4<int> const* first_word = nullptr;
    std::memcpy(&first_word, canvas.m_map, sizeof first_word);
    EXPECT_EQ(*first_word, data);

    canvas.set_canvas(display, nullptr);
    EXPECT_EQ(*canvas.m_map->m_bbox, display);
}

TEST(ImageCanvas, FinalizeReleasesEqualTilesWrittenDirectly)
{
    GMathVec4<int> const region{0, 0, 64, 64};
    ImageCanvas canvas(false);
    canvas.create_image(&region, ImagePixel::DEPTH_LUMINANCE, ImagePixel::BIT_DEPTH_8,
                        ImagePixel::BIT_TYPE_INTEGER, 64);
    canvas.get_image()->create_tiles(region, true);

    canvas.finalize(false, false);
    EXPECT_EQ(constant_tile_count(*canvas.get_image()->m_channels[0]), 0u);
    canvas.finalize(true, false);

    EXPECT_EQ(constant_tile_count(*canvas.get_image()->m_channels[0]), 1u);
    EXPECT_TRUE(canvas.is_finalized());
}

TEST(ImageCanvas, MemorySizeGrowsWithBuffersAndMetadata)
{
    GMathVec4<int> const region{0, 0, 64, 64};
    ImageCanvas canvas(false);
    canvas.create_image(&region, ImagePixel::DEPTH_LUMINANCE, ImagePixel::BIT_DEPTH_32,
                        ImagePixel::BIT_TYPE_FLOAT, 64);
    unsigned long long const empty = canvas.get_memory_size();

    canvas.get_image()->create_tiles(region, true);
    unsigned long long const filled = canvas.get_memory_size();
    canvas.m_meta_data.insert("owner", CoreArray<CoreVariant>{CoreVariant("somebody with a long name")});

    EXPECT_EQ(filled - empty, 66u * 66 * 4);
    EXPECT_GT(canvas.get_memory_size(), filled + 25);
}

TEST(ImageCanvas, BelongsToItsClass)
{
    ImageCanvas canvas(false);
    EventObject const& object = canvas;

    EXPECT_TRUE(object.is_kindof(ImageCanvas::class_info()));
    EXPECT_TRUE(object.is_kindof(ResourceData::class_info()));
    EXPECT_EQ(object.get_class_info().get_name(), "ImageCanvas");
    EXPECT_EQ(&object.get_class_info(), &ImageCanvas::class_info());
}

TEST(ImageCanvas, DiesThroughItsBaseAndGivesItsTilesBack)
{
    ImageTileFactory& factory = ImageTileFactory::get();
    std::size_t const before = factory.get_statistics().tiles_in_use;
    GMathVec4<int> const region{0, 0, 640, 640};
    auto canvas = std::make_unique<ImageCanvas>(false);
    canvas->create_image(&region, ImagePixel::DEPTH_RGBA, ImagePixel::BIT_DEPTH_32,
                         ImagePixel::BIT_TYPE_FLOAT, 64);
    canvas->get_image()->create_tiles(region, true);
    EXPECT_EQ(factory.get_statistics().tiles_in_use, before + 400);
    std::unique_ptr<ResourceData> resource = std::move(canvas);

    resource.reset();

    EXPECT_EQ(factory.get_statistics().tiles_in_use, before);
}

TEST(ImageMapPyramid, KeepsItsRepeatModes)
{
    ImageCanvas canvas(false);
    EXPECT_EQ(canvas.m_pyramid->get_repeat_mode_u(), ImagePixel::REPEAT_MODE_NONE);

    canvas.m_pyramid->set_repeat_mode(ImagePixel::REPEAT_MODE_MIRROR, ImagePixel::REPEAT_MODE_CLAMP);

    EXPECT_EQ(canvas.m_pyramid->get_repeat_mode_u(), ImagePixel::REPEAT_MODE_MIRROR);
    EXPECT_EQ(canvas.m_pyramid->get_repeat_mode_v(), ImagePixel::REPEAT_MODE_CLAMP);
}

TEST(ImagePixel, NumbersAreThoseOfTheFiles)
{
    EXPECT_EQ(ImagePixel::REPEAT_MODE_REPEAT, 0);
    EXPECT_EQ(ImagePixel::REPEAT_MODE_MIRROR, 1);
    EXPECT_EQ(ImagePixel::REPEAT_MODE_NONE, 2);
    EXPECT_EQ(ImagePixel::REPEAT_MODE_CLAMP, 3);
    EXPECT_EQ(ImagePixel::BIT_DEPTH_8 * 10, 10u);
    EXPECT_EQ(ImagePixel::BIT_DEPTH_32 * 10, 40u);
    EXPECT_EQ(ImagePixel::BIT_TYPE_INTEGER, 1u);
    EXPECT_EQ(ImagePixel::BIT_TYPE_FLOAT, 2u);
    EXPECT_EQ(ImagePixel::DEPTH_RGBA, 4);
}

}  // namespace
