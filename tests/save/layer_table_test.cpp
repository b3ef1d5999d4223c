#include "image_io/save/layer_table.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "image_io/save/image_save_options.h"
#include "image_io/save/main_channels.h"
#include "tests/save/jenkins_order.h"
#include "tests/save/test_canvas.h"

namespace {

using namespace zv_test;
using Names = std::vector<std::string>;

/// "layer: channel channel", in the order of a walk.
Names layers_of(std::vector<std::string> const& channels)
{
    CanvasShape shape;
    shape.width = shape.height = 1;
    shape.channels = channels;
    TestCanvas const canvas(shape);
    Names texts;
    zv_image_io::collect_layers(canvas.map()).for_each([&](CoreString const& layer, auto const& list) {
        std::string text = layer.get_data() + std::string(":");
        for (ImageMapChannel const* channel : list)
            text += std::string(" ") + channel->m_name.get_data();
        texts.push_back(text);
    });
    return texts;
}

TEST(LayerTable, GroupsChannelsByWhatStandsBeforeTheFirstDot)
{
    EXPECT_EQ(layers_of({"r", "diffuse.r", "depth", "diffuse.g", "a.b.c", "a"}),
              (Names{"diffuse: diffuse.r diffuse.g", "depth: depth", "a: a.b.c"}));
}

TEST(LayerTable, LeavesOutColoursAndNamesThatBeginWithADot)
{
    EXPECT_EQ(layers_of({"r", "g", "b", "a", "l", ".x", "..", ""}), Names{});
}

TEST(LayerTable, AChannelOfTheCatalogueIsInNoLayerWhateverItsName)
{
    CanvasShape shape;
    shape.channels = {"diffuse.r", "diffuse.g"};
    TestCanvas const canvas(shape);
    canvas.map().m_channels[0]->m_index = ImageMapChannel::kIndexRed;

    auto const table = zv_image_io::collect_layers(canvas.map());

    ASSERT_EQ(table.get_count(), 1u);
    ASSERT_NE(table.find("diffuse"), nullptr);
    EXPECT_EQ(table.find("diffuse")->get_count(), 1u);
}

TEST(LayerTable, PassesOverNullEntries)
{
    CanvasShape shape;
    shape.channels = {"depth"};
    TestCanvas const canvas(shape);
    canvas.map().m_channels.add(nullptr);

    EXPECT_EQ(zv_image_io::collect_layers(canvas.map()).get_count(), 1u);
    canvas.map().m_channels.resize(1);
}

TEST(LayerTable, WalksInOrderOfAppearanceUpTo256Layers)
{
    Names names, expected;
    for (int number = 255; number >= 0; --number) {
        names.push_back("layer" + std::to_string(number) + ".r");
        expected.push_back("layer" + std::to_string(number) + ": layer" + std::to_string(number) + ".r");
    }

    EXPECT_EQ(layers_of(names), expected);
}

TEST(LayerTable, WalksInHashOrderAbove256Layers)
{
    Names names, layers, expected;
    for (int number = 0; number < 300; ++number) {
        layers.push_back("layer" + std::to_string(number));
        names.push_back(layers.back() + ".r");
    }
    for (std::string const& layer : hash_order(layers))
        expected.push_back(layer + ": " + layer + ".r");

    EXPECT_EQ(layers_of(names), expected);
    EXPECT_NE(expected.front(), "layer0: layer0.r");
}

TEST(MainChannels, AreTheColoursOrTheFirstFourNamedOnes)
{
    CanvasShape shape;
    shape.channels = {"depth.z", "a", "b", "g", "r", "x.r"};
    TestCanvas const canvas(shape);
    ImageSaveOptions options;
    auto const names = [&] {
        Names found;
        for (ImageMapChannel const* channel : zv_image_io::main_channels(canvas.map(), options))
            found.push_back(channel->m_name.get_data());
        return found;
    };

    EXPECT_EQ(names(), (Names{"r", "g", "b", "a"}));

    CoreVector<CoreString> const layers{"depth.z", "no such", "a", "a", "x.r"};
    options.layers = &layers;
    EXPECT_EQ(names(), (Names{"depth.z", "a", "a"}));

    CoreVector<CoreString> const none;
    options.layers = &none;
    EXPECT_EQ(names(), Names{});
}

}  // namespace
