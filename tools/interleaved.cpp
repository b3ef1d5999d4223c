#include "tools/interleaved.h"

#include <algorithm>
#include <cmath>

#include "host/colorio/color_io.h"
#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"

namespace zvio {

namespace {

constexpr unsigned int kMaximumChannels = 4;
constexpr int kBandRows = 64;

/// As the module takes alphas: below it there is no colour to find.
constexpr float kSmallestAlpha = 1e-8f;

std::vector<ImageMapChannel const*> choose_channels(ImageMap const& map)
{
    std::vector<ImageMapChannel const*> chosen;
    if (ImageMapColorChannels const* colors = map.m_rgba_channels) {
        if (colors->m_red || colors->m_green || colors->m_blue)
            chosen = {colors->m_red, colors->m_green, colors->m_blue, colors->m_alpha};
        else
            chosen = {colors->m_luminance, colors->m_alpha};
        std::erase(chosen, nullptr);
    }
    if (chosen.empty())
        for (unsigned int index = 0; index < std::min(map.get_channel_count(), kMaximumChannels); ++index)
            chosen.push_back(map.m_channels[index]);
    return chosen;
}

bool has_alpha(InterleavedPixels const& pixels)
{
    return pixels.channels.size() > 1 && pixels.channels.back() == "a";
}

/// Multiplies the colours of each pixel by its alpha, or divides them by it.
void apply_alpha(InterleavedPixels& pixels, bool divide)
{
    std::size_t const count = pixels.channels.size();
    for (std::size_t pixel = 0; pixel < pixels.samples.size(); pixel += count) {
        float const alpha = pixels.samples[pixel + count - 1];
        if (std::abs(alpha) <= kSmallestAlpha)
            continue;
        float const factor = divide ? 1.0f / alpha : alpha;
        for (std::size_t channel = 0; channel + 1 < count; ++channel)
            pixels.samples[pixel + channel] *= factor;
    }
}

}  // namespace

InterleavedPixels interleave(ImageCanvas const& canvas)
{
    GMathVec4<int> const window = *canvas.m_map->m_bbox;
    auto const channels = choose_channels(*canvas.get_map());
    InterleavedPixels pixels;
    pixels.width = static_cast<unsigned int>(window.width());
    pixels.height = static_cast<unsigned int>(window.height());
    pixels.samples.resize(std::size_t(pixels.width) * pixels.height * channels.size());

    ImageEvalContext context(canvas, 0);
    std::vector<float> band(std::size_t(pixels.width) * kBandRows);
    for (std::size_t channel = 0; channel < channels.size(); ++channel) {
        pixels.channels.emplace_back(channels[channel]->m_name.get_data());
        for (int row = 0; row < window.height(); row += kBandRows) {
            int const rows = std::min(kBandRows, window.height() - row);
            GMathVec4<int> const part(window.x(), window.y() + row, window.width(), rows);
            channels[channel]->create_float_buffer(&context, part, band.data());
            float* target =
                pixels.samples.data() + std::size_t(row) * pixels.width * channels.size() + channel;
            for (std::size_t index = 0; index < std::size_t(pixels.width) * rows; ++index)
                target[index * channels.size()] = band[index];
        }
    }
    return pixels;
}

bool convert_colors(InterleavedPixels& pixels, std::string const& source, std::string const& target)
{
    if (ColorIO::resolve_name(source.c_str()) == ColorIO::resolve_name(target.c_str()))
        return true;
    bool const with_alpha = has_alpha(pixels);
    if (with_alpha)
        apply_alpha(pixels, true);
    bool const is_converted = ColorIO::convert_buffer(pixels.samples.data(), pixels.width, pixels.height,
                                                      static_cast<unsigned int>(pixels.channels.size()),
                                                      target.c_str(), source.c_str());
    if (with_alpha)
        apply_alpha(pixels, false);
    return is_converted;
}

std::vector<unsigned char> to_bytes(std::vector<float> const& samples)
{
    std::vector<unsigned char> bytes(samples.size());
    std::transform(samples.begin(), samples.end(), bytes.begin(), [](float sample) {
        return sample > 0.0f ? static_cast<unsigned char>(std::min(sample, 1.0f) * 255.0f + 0.5f) : 0;
    });
    return bytes;
}

}  // namespace zvio
