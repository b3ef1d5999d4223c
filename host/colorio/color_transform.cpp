#include "host/colorio/color_transform.h"

#include <algorithm>
#include <array>

namespace {

namespace OCIO = OCIO_NAMESPACE;

// 16 kB: with the planes that it is packed from, a block stays in the first cache.
constexpr std::size_t kBlockPixels = 1024;

struct alignas(64) PackedBlock {
    std::array<float, kBlockPixels * 4> rgba;
};

void apply(OCIO::CPUProcessor const& processor, PackedBlock& block, std::size_t count)
{
    OCIO::PackedImageDesc description(block.rgba.data(), static_cast<long>(count), 1, 4);
    processor.apply(description);
}

void pack_plane(float const* plane, std::size_t count, float* target)
{
    for (std::size_t i = 0; i < count; ++i)
        target[i * 4] = plane != nullptr ? plane[i] : 0.0f;
}

void unpack_plane(float const* source, std::size_t count, float* plane)
{
    if (plane == nullptr)
        return;
    for (std::size_t i = 0; i < count; ++i)
        plane[i] = source[i * 4];
}

// Grey goes to all three colours; of five channels and more the fourth is alpha.
void pack_pixels(float const* data, std::size_t count, std::size_t channels, float* rgba)
{
    std::size_t const green = channels < 3 ? 0 : 1;
    std::size_t const blue = channels < 3 ? 0 : 2;
    for (std::size_t i = 0; i < count; ++i, data += channels, rgba += 4) {
        rgba[0] = data[0];
        rgba[1] = data[green];
        rgba[2] = data[blue];
        rgba[3] = channels > 3 ? data[3] : 0.0f;
    }
}

void unpack_pixels(float const* rgba, std::size_t count, std::size_t channels, float* data)
{
    std::size_t const colors = channels < 3 ? 1 : 3;
    for (std::size_t i = 0; i < count; ++i, data += channels, rgba += 4)
        for (std::size_t c = 0; c < colors; ++c)
            data[c] = rgba[c];
}

}  // namespace

ColorTransform::ColorTransform(OCIO::ConstProcessorRcPtr const& processor)
    : m_processor(processor->getDefaultCPUProcessor())
    , m_identity(m_processor->isNoOp())
{
}

bool ColorTransform::convert_interleaved(float* data, std::size_t pixel_count, std::size_t channels) const
try {
    PackedBlock block;
    for (std::size_t first = 0; first < pixel_count; first += kBlockPixels) {
        std::size_t const count = std::min(kBlockPixels, pixel_count - first);
        pack_pixels(data + first * channels, count, channels, block.rgba.data());
        apply(*m_processor, block, count);
        unpack_pixels(block.rgba.data(), count, channels, data + first * channels);
    }
    return true;
} catch (...) {
    return false;
}

bool ColorTransform::convert_planar(float* red, float* green, float* blue, float const* alpha,
                                    std::size_t pixel_count) const
try {
    PackedBlock block;
    float* const rgba = block.rgba.data();
    auto const from = [](float* plane, std::size_t first) {
        return plane != nullptr ? plane + first : nullptr;
    };
    for (std::size_t first = 0; first < pixel_count; first += kBlockPixels) {
        std::size_t const count = std::min(kBlockPixels, pixel_count - first);
        pack_plane(from(red, first), count, rgba);
        pack_plane(from(green, first), count, rgba + 1);
        pack_plane(from(blue, first), count, rgba + 2);
        pack_plane(alpha != nullptr ? alpha + first : nullptr, count, rgba + 3);
        apply(*m_processor, block, count);
        unpack_plane(rgba, count, from(red, first));
        unpack_plane(rgba + 1, count, from(green, first));
        unpack_plane(rgba + 2, count, from(blue, first));
    }
    return true;
} catch (...) {
    return false;
}
