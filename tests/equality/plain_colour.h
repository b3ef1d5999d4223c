#pragma once

#include <memory>
#include <string>

#include <OpenColorIO/OpenColorIO.h>

namespace zv_equality {

/// A conversion between two colour spaces, one pixel a call, straight through OpenColorIO.
class PlainConversion {
public:
    /// No conversion for a name that is unknown or empty.
    PlainConversion(std::string const& source, std::string const& target);

    /// False where nothing would change.
    bool is_enabled() const;
    /// Red, green, blue in place; alpha never changes.
    void convert(float& red, float& green, float& blue, float alpha) const;
    /// One pixel of an interleaved buffer: 1 or 2 channels are grey, from 3 on the first three are colours.
    void convert_pixel(float* pixel, int channels) const;

private:
    OCIO_NAMESPACE::ConstCPUProcessorRcPtr m_processor;
};

std::string default_colour_space();

}  // namespace zv_equality
