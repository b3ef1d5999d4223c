#include "host/colorio/color_transform.h"

#include <algorithm>
#include <array>
#include <new>

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

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

void pack_plane(float const* plane, std::size_t begin, std::size_t end, float* target)
{
    for (std::size_t i = begin; i < end; ++i)
        target[i * 4] = plane != nullptr ? plane[i] : 0.0f;
}

void unpack_plane(float const* source, std::size_t begin, std::size_t end, float* plane)
{
    for (std::size_t i = begin; plane != nullptr && i < end; ++i)
        plane[i] = source[i * 4];
}

/// Four pixels at a time, as far as that goes, where all planes are there; the number of pixels done.
std::size_t pack_quads(float const* red, float const* green, float const* blue, float const* alpha,
                       std::size_t count, float* rgba)
{
    std::size_t i = 0;
#if defined(__SSE__)
    for (; red && green && blue && alpha && i + 4 <= count; i += 4) {
        __m128 r = _mm_loadu_ps(red + i);
        __m128 g = _mm_loadu_ps(green + i);
        __m128 b = _mm_loadu_ps(blue + i);
        __m128 a = _mm_loadu_ps(alpha + i);
        _MM_TRANSPOSE4_PS(r, g, b, a);
        _mm_store_ps(rgba + i * 4, r);
        _mm_store_ps(rgba + i * 4 + 4, g);
        _mm_store_ps(rgba + i * 4 + 8, b);
        _mm_store_ps(rgba + i * 4 + 12, a);
    }
#else
    (void)red, (void)green, (void)blue, (void)alpha, (void)count, (void)rgba;
#endif
    return i;
}

std::size_t unpack_quads(float const* rgba, std::size_t count, float* red, float* green, float* blue)
{
    std::size_t i = 0;
#if defined(__SSE__)
    for (; red && green && blue && i + 4 <= count; i += 4) {
        __m128 r = _mm_load_ps(rgba + i * 4);
        __m128 g = _mm_load_ps(rgba + i * 4 + 4);
        __m128 b = _mm_load_ps(rgba + i * 4 + 8);
        __m128 a = _mm_load_ps(rgba + i * 4 + 12);
        _MM_TRANSPOSE4_PS(r, g, b, a);
        _mm_storeu_ps(red + i, r);
        _mm_storeu_ps(green + i, g);
        _mm_storeu_ps(blue + i, b);
    }
#else
    (void)rgba, (void)count, (void)red, (void)green, (void)blue;
#endif
    return i;
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
} catch (std::bad_alloc const&) {
    throw;  // pixels that are not converted are no result
} catch (...) {
    return false;
}

bool ColorTransform::convert_planar(float* red, float* green, float* blue, float const* alpha,
                                    std::size_t pixel_count) const
try {
    PackedBlock block;
    float* const rgba = block.rgba.data();
    auto const from = [](auto* plane, std::size_t first) {
        return plane != nullptr ? plane + first : nullptr;
    };
    for (std::size_t first = 0; first < pixel_count; first += kBlockPixels) {
        std::size_t const count = std::min(kBlockPixels, pixel_count - first);
        float* const planes[] = {from(red, first), from(green, first), from(blue, first)};
        float const* const opacity = from(alpha, first);
        std::size_t const packed = pack_quads(planes[0], planes[1], planes[2], opacity, count, rgba);
        for (std::size_t c = 0; c < 3; ++c)
            pack_plane(planes[c], packed, count, rgba + c);
        pack_plane(opacity, packed, count, rgba + 3);
        apply(*m_processor, block, count);
        std::size_t const unpacked = unpack_quads(rgba, count, planes[0], planes[1], planes[2]);
        for (std::size_t c = 0; c < 3; ++c)
            unpack_plane(rgba + c, unpacked, count, planes[c]);
    }
    return true;
} catch (std::bad_alloc const&) {
    throw;  // pixels that are not converted are no result
} catch (...) {
    return false;
}
