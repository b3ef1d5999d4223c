#include "tests/save/test_canvas.h"

#include <cmath>
#include <cstdint>

namespace zv_test {

namespace {

template <class T>
std::vector<T> plane_of(int number, CanvasShape const& shape, Sample const& sample, double scale)
{
    std::vector<T> plane;
    for (int y = shape.y; y < shape.y + shape.height; ++y)
        for (int x = shape.x; x < shape.x + shape.width; ++x) {
            double const value = sample(number, x, y) * scale;
            plane.push_back(static_cast<T>(scale == 1 ? value : std::round(value)));
        }
    return plane;
}

}  // namespace

TestCanvas::TestCanvas(CanvasShape const& shape, Sample const& sample)
    : m_canvas(std::make_unique<ImageCanvas>(false))
{
    GMathVec4<int> const window(shape.x, shape.y, shape.width, shape.height);
    bool const has_display = shape.display_window[2] != 0;
    auto const type = shape.bit_depth == ImagePixel::BIT_DEPTH_32 ? ImagePixel::BIT_TYPE_FLOAT
                                                                  : ImagePixel::BIT_TYPE_INTEGER;
    m_canvas->create_image(nullptr, ImagePixel::DEPTH_NONE, shape.bit_depth, type, shape.tile);
    int number = 0;
    for (std::string const& name : shape.channels)
        fill(*map().add_channel(name.c_str(), shape.bit_depth, type), number++, shape, sample);
    m_canvas->set_canvas(has_display ? shape.display_window : window, &window);
    m_canvas->finalize(true, false);
}

void TestCanvas::fill(ImageMapChannel& channel, int number, CanvasShape const& shape, Sample const& sample)
{
    GMathVec4<int> const window(shape.x, shape.y, shape.width, shape.height);
    auto const fill_from = [&](auto const& plane) {
        channel.fill_tiles(reinterpret_cast<unsigned char const*>(plane.data()), window, true);
    };
    if (shape.bit_depth == ImagePixel::BIT_DEPTH_8)
        fill_from(plane_of<std::uint8_t>(number, shape, sample, 255));
    else if (shape.bit_depth == ImagePixel::BIT_DEPTH_16)
        fill_from(plane_of<std::uint16_t>(number, shape, sample, 65535));
    else
        fill_from(plane_of<float>(number, shape, sample, 1));
}

CoreVector<ImageMapChannel*> TestCanvas::channels(std::vector<std::string> const& names) const
{
    CoreVector<ImageMapChannel*> found;
    for (std::string const& name : names)
        found.add(name.empty() ? nullptr : channel(name));
    return found;
}

GMathVec4<int> TestCanvas::canvas_rectangle() const
{
    return {m_canvas->get_x(), m_canvas->get_y(), m_canvas->get_width(), m_canvas->get_height()};
}

}  // namespace zv_test
