// What callers were compiled against: signatures, and records that are read without a call.
#include <cstddef>
#include <type_traits>

#include <gtest/gtest.h>

#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/image/image_map_pyramid.h"
#include "host/image/image_map_tile.h"
#include "host/image/image_process.h"
#include "host/image/image_tile_factory.h"

namespace {

using Region = GMathVec4<int>;
using Depth = ImagePixel::Depth;
using BitDepth = ImagePixel::BitDepth;
using BitType = ImagePixel::BitType;
using RepeatMode = ImagePixel::RepeatMode;
using Context = ImageEvalContext;
using Handle = ImageMapTileHandle;
using Channel = ImageMapChannel;

template <class Signature, class Operation>
constexpr bool is_operation(Operation)  // for operations of one signature alone
{
    return std::is_same_v<Signature, Operation>;
}

/// Among overloads: the one of that signature.
template <class Signature>
constexpr bool has_operation(Signature operation)
{
    return operation != nullptr;
}

TEST(ImageModelSurface, CanvasOperationsHaveTheirSignatures)
{
    using Canvas = ImageCanvas;
    EXPECT_TRUE((std::is_constructible_v<Canvas, bool>));
    EXPECT_TRUE((std::is_base_of_v<ResourceData, Canvas>));
    EXPECT_TRUE((is_operation<bool (Canvas::*)(Region const*, Depth const&, BitDepth const&, BitType const&,
                                               int const&)>(&Canvas::create_image)));
    EXPECT_TRUE((is_operation<ImageMap* (Canvas::*)() const>(&Canvas::get_image)));
    EXPECT_TRUE((is_operation<ImageMap const* (Canvas::*)() const>(&Canvas::get_map)));
    for (auto const edge : {&Canvas::get_x, &Canvas::get_y, &Canvas::get_width, &Canvas::get_height})
        EXPECT_TRUE((is_operation<int const& (Canvas::*)() const>(edge)));
    EXPECT_TRUE((is_operation<void (Canvas::*)(Region const&, Region const*)>(&Canvas::set_canvas)));
    EXPECT_TRUE((is_operation<void (Canvas::*)(bool const&, bool const&)>(&Canvas::finalize)));
    EXPECT_TRUE((is_operation<unsigned long long (Canvas::*)() const>(&Canvas::get_memory_size)));
}

TEST(ImageModelSurface, MapOperationsHaveTheirSignatures)
{
    EXPECT_TRUE((is_operation<void (ImageMap::*)(Depth const&, BitDepth const&, BitType const&, int const&)>(
        &ImageMap::init)));
    EXPECT_TRUE((is_operation<void (ImageMap::*)()>(&ImageMap::remove_all_channels)));
    EXPECT_TRUE((is_operation<Channel* (ImageMap::*)(CoreString const&, BitDepth const&, BitType const&)>(
        &ImageMap::add_channel)));
    EXPECT_TRUE(
        (is_operation<Channel* (ImageMap::*)(CoreString const&) const>(&ImageMap::get_channel_by_name)));
    EXPECT_TRUE((is_operation<unsigned int const& (ImageMap::*)() const>(&ImageMap::get_channel_count)));
    EXPECT_TRUE(
        (is_operation<void (ImageMap::*)(CoreVector<Channel*>*) const>(&ImageMap::get_rgba_channels)));
    EXPECT_TRUE((is_operation<void (ImageMap::*)(Region const&, bool)>(&ImageMap::create_tiles)));
}

TEST(ImageModelSurface, ChannelOperationsHaveTheirSignatures)
{
    EXPECT_TRUE((is_operation<void (Channel::*)(Region const&, CoreVector<Handle>*, float const&)>(
        &Channel::create_tiles)));
    EXPECT_TRUE((is_operation<unsigned int const& (Channel::*)() const>(&Channel::get_tile_count)));
    EXPECT_TRUE((has_operation<Handle (Channel::*)(unsigned int const&) const>(&Channel::get_tile)));
    EXPECT_TRUE(
        (has_operation<Handle (Channel::*)(Context&, int const&, int const&) const>(&Channel::get_tile)));
    EXPECT_TRUE(
        (is_operation<void (Channel::*)(unsigned char const*, Region const&, bool)>(&Channel::fill_tiles)));
    EXPECT_TRUE(
        (is_operation<void (Channel::*)(float const&, float const&, Region const&)>(&Channel::clamp_values)));
    EXPECT_TRUE(
        (is_operation<bool (Channel::*)(Channel const&, Region const*, bool const&)>(&Channel::copy_from)));
    EXPECT_TRUE((has_operation<float* (Channel::*)(Context*, int const&, int const&, unsigned int const&,
                                                   unsigned int const&, float*) const>(
        &Channel::create_float_buffer)));
    EXPECT_TRUE((has_operation<float* (Channel::*)(Context*, Region const&, float*) const>(
        &Channel::create_float_buffer)));
    EXPECT_TRUE(
        (has_operation<void (Channel::*)(Context&, Region const&, float*, unsigned int, RepeatMode const&,
                                         RepeatMode const&) const>(&Channel::create_float_buffer)));
}

TEST(ImageModelSurface, OtherOperationsHaveTheirSignatures)
{
    EXPECT_TRUE((
        is_operation<float (ImageMapTile::*)(int const&, int const&, bool) const>(&ImageMapTile::get_color)));
    EXPECT_TRUE((is_operation<void (ImageMapPyramid::*)(RepeatMode const&, RepeatMode const&)>(
        &ImageMapPyramid::set_repeat_mode)));
    EXPECT_TRUE((is_operation<ImageMap* (ImageMapPyramid::*)() const>(&ImageMapPyramid::get_image)));
    EXPECT_TRUE((is_operation<void (*)()>(&ImageTileFactory::init)));
    EXPECT_TRUE((is_operation<void (ImageTileFactory::*)(ImageMapTile*, bool)>(
        &ImageTileFactory::allocate_tile_buffer)));
    EXPECT_TRUE((is_operation<void (ImageTileFactory::*)(bool)>(&ImageTileFactory::free_unused_tiles)));
    EXPECT_TRUE((is_operation<bool (*)(ImageMap&, ImageProcess::InPlaceProcessParameters, bool, AppBase*)>(
        &ImageProcess::apply)));
    EXPECT_TRUE((std::is_constructible_v<Context, ImageCanvas const&, unsigned int const&>));
    EXPECT_TRUE(std::is_copy_constructible_v<Context>);
}

TEST(ImageModelSurface, ColorRecordIsLuminanceRedGreenBlueAlpha)
{
    using Record = ImageMapColorChannels;
    EXPECT_EQ(offsetof(Record, m_luminance), 0u);
    EXPECT_EQ(offsetof(Record, m_red), 1 * sizeof(void*));
    EXPECT_EQ(offsetof(Record, m_green), 2 * sizeof(void*));
    EXPECT_EQ(offsetof(Record, m_blue), 3 * sizeof(void*));
    EXPECT_EQ(offsetof(Record, m_alpha), 4 * sizeof(void*));
}

TEST(ImageModelSurface, RecordsBeginWithWhatIsReadDirectly)
{
    EXPECT_EQ(offsetof(ImageCanvas::MapRecord, m_bbox), 0u);
    EXPECT_EQ(offsetof(ImageMapTileHandle, m_tile), 0u);
    EXPECT_EQ(sizeof(ImagePixel::BitDepth), 4u);
}

TEST(ImageModelSurface, BlocksAreRedGreenBlueAlphaLuminanceWidthHeight)
{
    using Block = ImageProcess::Block;
    EXPECT_EQ(offsetof(Block, m_red), 0u);
    EXPECT_EQ(offsetof(Block, m_green), 1 * sizeof(void*));
    EXPECT_EQ(offsetof(Block, m_blue), 2 * sizeof(void*));
    EXPECT_EQ(offsetof(Block, m_alpha), 3 * sizeof(void*));
    EXPECT_EQ(offsetof(Block, m_luminance), 4 * sizeof(void*));
    EXPECT_EQ(offsetof(Block, m_width), 5 * sizeof(void*));
    EXPECT_EQ(offsetof(Block, m_height), 5 * sizeof(void*) + 4);
}

TEST(ImageModelSurface, ProcessParametersAreRegionCallbackWords)
{
    using Parameters = ImageProcess::InPlaceProcessParameters;
    EXPECT_EQ(offsetof(Parameters, m_region), 0u);
    EXPECT_EQ(offsetof(Parameters, m_callback), 16u);
    EXPECT_EQ(offsetof(Parameters, m_user_words), 24u);
    EXPECT_EQ(sizeof(Parameters::m_user_words), 2 * sizeof(void*));
    EXPECT_EQ(offsetof(Parameters, m_flags), 40u);
    EXPECT_EQ(offsetof(Parameters, m_reserved), 44u);
    EXPECT_EQ(offsetof(Parameters, m_reserved_wide), 48u);
    Parameters const fresh;
    EXPECT_EQ(fresh.m_flags, 0u);
    EXPECT_EQ(fresh.m_reserved, 0u);
    EXPECT_EQ(fresh.m_reserved_wide, 0u);
}

}  // namespace
