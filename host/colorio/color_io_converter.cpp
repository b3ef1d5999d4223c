#include "host/colorio/color_io_converter.h"

#include <new>

#include "host/colorio/color_io.h"
#include "host/colorio/color_io_manager.h"
#include "host/colorio/color_transform.h"

ColorIOConverter::ColorIOConverter() = default;
ColorIOConverter::~ColorIOConverter() = default;

bool ColorIOConverter::configure(CoreString const& source, CoreString const& target)
try {
    m_transform.reset();
    CoreString const source_space = ColorIO::resolve_name(source);
    CoreString const target_space = ColorIO::resolve_name(target);
    if (source_space.is_empty() || target_space.is_empty())
        return false;
    m_transform = ColorIOManager::s_instance->get_transform(source_space, target_space);
    return m_transform != nullptr;
} catch (std::bad_alloc const&) {
    throw;  // no answer to whether the pair is known
} catch (...) {
    return false;
}

bool ColorIOConverter::is_enabled() const
{
    return m_transform != nullptr && !m_transform->is_identity();
}

bool ColorIOConverter::convert_buffer(float* data, unsigned int width, unsigned int height,
                                      unsigned int channels) const
{
    if (m_transform == nullptr || data == nullptr || channels == 0)
        return false;
    std::size_t const pixel_count = static_cast<std::size_t>(width) * height;
    return m_transform->is_identity() || m_transform->convert_interleaved(data, pixel_count, channels);
}

bool ColorIOConverter::convert_buffers(float* red, float* green, float* blue, float* alpha,
                                       unsigned int width, unsigned int height) const
{
    if (m_transform == nullptr)
        return false;
    std::size_t const pixel_count = static_cast<std::size_t>(width) * height;
    return m_transform->is_identity() || m_transform->convert_planar(red, green, blue, alpha, pixel_count);
}
