#include "host/image/image_canvas.h"

#include "host/core/core_class_info.h"
#include "host/image/image_map_tile.h"

namespace {

bool destroy_canvas(void* object, bool const& flag)
{
    (void)flag;
    delete static_cast<ImageCanvas*>(object);
    return true;
}

std::span<char const* const> channel_names(ImagePixel::Depth depth)
{
    static constexpr char const* kNames[] = {"l", "a", "r", "g", "b", "a"};
    switch (depth) {
    case ImagePixel::DEPTH_LUMINANCE:
        return {kNames, 1};
    case ImagePixel::DEPTH_LUMINANCE_ALPHA:
        return {kNames, 2};
    case ImagePixel::DEPTH_RGB:
        return {kNames + 2, 3};
    case ImagePixel::DEPTH_RGBA:
        return {kNames + 2, 4};
    case ImagePixel::DEPTH_NONE:
        break;
    }
    return {};
}

unsigned long long text_size(CoreBasicString const& text)
{
    return sizeof(CoreString) + text.m_capacity;
}

}  // namespace

ImageCanvas::ImageCanvas(bool lazy)
    : m_image(std::make_unique<ImageMap>(this))
{
    (void)lazy;
    m_own_pyramid = std::make_unique<ImageMapPyramid>(m_image.get());
    m_pyramid = m_own_pyramid.get();
}

ImageCanvas::~ImageCanvas() = default;

CoreClassInfo const& ImageCanvas::class_info()
{
    static CoreClassInfo const& record =
        CoreClassInfo::new_class("ImageCanvas", destroy_canvas, &ResourceData::class_info(), nullptr);
    return record;
}

CoreClassInfo const& ImageCanvas::get_class_info() const
{
    return class_info();
}

unsigned long long ImageCanvas::get_memory_size() const
{
    unsigned long long bytes = sizeof(ImageCanvas) + sizeof(ImageMapPyramid) + m_image->get_memory_size();
    m_meta_data.for_each([&](CoreString const& name, CoreArray<CoreVariant> const& values) {
        bytes += text_size(name) + sizeof values;
        for (CoreVariant const& value : values)
            bytes += sizeof value +
                     (value.get_type() == CoreVariant::TYPE_STRING ? value.get_string().m_capacity : 0);
    });
    return bytes;
}

bool ImageCanvas::create_image(GMathVec4<int> const* region, ImagePixel::Depth const& depth,
                               ImagePixel::BitDepth const& bit_depth, ImagePixel::BitType const& bit_type,
                               int const& tile_size)
{
    if (tile_size < 1 || (region != nullptr && !zv_host::Bounds(*region).is_valid_region()))
        return false;
    m_image->init(depth, bit_depth, bit_type, tile_size);
    m_record = {&m_data_window, m_image.get()};
    m_map = &m_record;
    m_finalized = false;
    if (region == nullptr)
        return true;
    set_canvas(*region, region);
    for (char const* const name : channel_names(depth))
        if (m_image->add_channel(name, bit_depth, bit_type) == nullptr)
            return false;
    m_image->create_tiles(*region, false);
    return true;
}

void ImageCanvas::set_canvas(GMathVec4<int> const& display_window, GMathVec4<int> const* data_window)
{
    m_display_window = display_window;
    m_data_window = data_window != nullptr ? *data_window : display_window;
    m_record = {&m_data_window, m_image.get()};
    m_map = &m_record;
}

void ImageCanvas::finalize(bool const& release_equal, bool const& prepare_aprons)
{
    for (ImageMapChannel* const channel : m_image->m_channels) {
        if (release_equal)
            channel->release_equal_tiles(nullptr);
        channel->forget_aprons();
        for (unsigned int i = 0; prepare_aprons && i < channel->get_tile_count(); ++i)
            channel->get_tile(i).m_tile->prepare_apron();
    }
    m_finalized = true;
}
