#pragma once

#include "host/core/core_string.h"

/// The colour space that a file has when neither its attributes nor its path tell: by its extension, from the
/// table in docs/colour.md.
///
/// Threads  any number
class ColorIOAutoDetection {
public:
    /// Never null.
    static ColorIOAutoDetection* const s_instance;

    constexpr ColorIOAutoDetection() = default;
    ColorIOAutoDetection(ColorIOAutoDetection const&) = delete;
    ColorIOAutoDetection& operator=(ColorIOAutoDetection const&) = delete;

    /// `extension` without its dot, upper and lower case count the same. The name as the current
    /// configuration knows it; empty for an unknown extension, or where the configuration has no such space.
    CoreString get_default_color_space_from_extension(CoreString const& extension) const;
};
