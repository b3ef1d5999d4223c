#pragma once

#include <memory>

#include "host/core/core_string.h"

class ColorTransform;

/// A conversion between two colour spaces of the current configuration. It keeps what it was configured with
/// when the configuration changes.
///
/// Shape    see the operations; alpha is never changed and never divided by: colour is unassociated
/// Errors   false, and the data as it was, before and after a failed `configure`; only lack of
///          memory throws: no conversion would mean colours that stay as they are
/// Threads  any number convert at once, none beside `configure`
/// Cost     conversions are cached by pair: the second `configure` of a pair costs microseconds
class ColorIOConverter {
public:
    ColorIOConverter();
    ~ColorIOConverter();
    ColorIOConverter(ColorIOConverter const&) = default;
    ColorIOConverter& operator=(ColorIOConverter const&) = default;

    /// Names as `ColorIO` accepts them. False for an unknown one, and the converter then converts nothing.
    bool configure(CoreString const& source, CoreString const& target);

    /// False if the conversion is the identity, or there is none.
    bool is_enabled() const;

    /// Interleaved, in place, channels as `ColorIO::convert_buffer` tells. The identity gives true.
    bool convert_buffer(float* data, unsigned int width, unsigned int height, unsigned int channels) const;

    /// Planar, in place. A null plane counts as zeros and is not written; two colour planes may be the same
    /// one, which is then left with the later one's result. `alpha` plays no part. The identity gives true.
    bool convert_buffers(float* red, float* green, float* blue, float* alpha, unsigned int width,
                         unsigned int height) const;

private:
    std::shared_ptr<ColorTransform const> m_transform;
};
