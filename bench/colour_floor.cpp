#include "bench/colour_floor.h"

#include <algorithm>
#include <string>

#include "host/zv_host.h"
#include "image_io/load/pixel_pass.h"

namespace zv_bench {

namespace {

char const* const kSource = "sRGB";

float sample(int channel, int x, int y)
{
    return 0.1f + 0.8f * float((x * 7 + y * 13 + channel * 31) % 1021) / 1021.0f;
}

}  // namespace

ColourPass::ColourPass(int width, int height)
    : m_width(width)
    , m_height(height)
{
    auto const config = ColorIOManager::s_instance->get_config();
    m_processor =
        config
            ->getProcessor(ColorIO::resolve_name(kSource).get_data(),
                           ColorIO::resolve_name(ColorIO::get_default_color_space_name()).get_data())
            ->getDefaultCPUProcessor();
    m_samples.reserve(std::size_t(width) * std::size_t(height) * 4);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c)
                m_samples.push_back(sample(c, x, y));

    GMathVec4<int> const window(0, 0, width, height);
    m_canvas = std::make_unique<ImageCanvas>(false);
    m_canvas->create_image(&window, ImagePixel::DEPTH_RGBA, ImagePixel::BIT_DEPTH_32,
                           ImagePixel::BIT_TYPE_FLOAT, 64);
}

ColourPass::~ColourPass() = default;

void ColourPass::restore()
{
    m_packed = m_samples;
    ImageMap& map = *m_canvas->get_image();
    std::vector<BandSource> sources;
    for (unsigned int i = 0; i < map.get_channel_count(); ++i) {
        static constexpr char const* kNames[] = {"r", "g", "b", "a"};
        auto const c =
            std::find(kNames, kNames + 4, std::string(map.m_channels[i]->m_name.get_data())) - kNames;
        sources.push_back(
            {m_samples.data() + c, 4 * sizeof(float), std::ptrdiff_t(4 * sizeof(float)) * m_width});
    }
    map.fill_rows(sources, GMathVec4<int>(0, 0, m_width, m_height));
}

void ColourPass::run_packed()
{
    OCIO_NAMESPACE::PackedImageDesc picture(m_packed.data(), m_width, m_height, 4);
    m_processor->apply(picture);
}

void ColourPass::run_on_canvas()
{
    zv_image_io::run_pixel_pass(*m_canvas->get_image(), {0, 0, m_width, m_height}, kSource, false, nullptr);
}

}  // namespace zv_bench
