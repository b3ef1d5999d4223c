#pragma once

#include <span>

#include "host/colorio/color_io_converter.h"
#include "host/core/core_string.h"

namespace zv_image_io {

/// The colours of a block on the way to one of OpenImageIO's writers.
class OiioColour {
public:
    /// From the default space to `color_space`; empty, or an unknown one, means no conversion.
    explicit OiioColour(CoreString const& color_space);

    [[nodiscard]] bool is_enabled() const { return m_converter.is_enabled(); }

    /// Converts interleaved samples in place. `associated` says that colour was multiplied with alpha; it is
    /// divided before and multiplied after, pixels being taken four floats long whatever `channels` is.
    void convert(std::span<float> samples, unsigned int width, unsigned int height, unsigned int channels,
                 bool associated) const;

private:
    ColorIOConverter m_converter;
};

}  // namespace zv_image_io
