#pragma once

#include <cstddef>

#include <OpenColorIO/OpenColorIO.h>

/// A conversion that OpenColorIO has prepared, with the roads that bring pixels of any layout to it.
///
/// All pixels go through blocks of packed red, green, blue and alpha on the stack: OpenColorIO works on those
/// in place, while its own planar road packs line by line, and a tile's lines are short.
///
/// Shape    as `ColorIOConverter`
/// Errors   false after an exception of the library; pixels in front of it are converted
/// Threads  any number on one object
class ColorTransform {
public:
    /// May throw what OpenColorIO throws.
    explicit ColorTransform(OCIO_NAMESPACE::ConstProcessorRcPtr const& processor);

    [[nodiscard]] bool is_identity() const { return m_identity; }

    bool convert_interleaved(float* data, std::size_t pixel_count, std::size_t channels) const;
    bool convert_planar(float* red, float* green, float* blue, float const* alpha,
                        std::size_t pixel_count) const;

private:
    OCIO_NAMESPACE::ConstCPUProcessorRcPtr m_processor;
    bool m_identity;
};
