#pragma once

#include "host/core/core_string.h"
#include "host/core/core_vector.h"

/// The application's view of colour management: which names there are, which of them it works in, and how
/// names that come from files are read.
///
/// A colour space name is accepted in these forms, the first that is known deciding:
///   1. exactly as the configuration has it, or an alias or a role of it (upper and lower case count the
///   same);
///   2. as the user interface lists it, family and separator in front ("Utility|sRGB");
///   3. without the family that its own name begins with ("ACEScg" for "ACES - ACEScg"), if only one fits;
///   4. as files carry it ("Linear", "srgb", "Rec709"), through the table in docs/colour.md.
///
/// Errors   an unknown or empty name converts nothing and gives false; only lack of memory throws
/// Threads  any number
class ColorIO {
public:
    /// Never null.
    static ColorIO* get_instance();

    /// The attributes of an image file that may name its colour space, in the order to ask them.
    unsigned int get_color_space_tag_count() const;
    /// Empty past the end.
    CoreString const& get_color_space_tag(unsigned int index) const;

    /// The space that the application works in, without its family: the configuration's role "scene_linear",
    /// else "default", else its first space.
    static CoreString get_default_color_space_name();

    /// Converts interleaved floats in place from `source` to `target`.
    ///
    /// Shape    width * height pixels of `channels` floats, packed: 1 or 2 channels, the first is grey;
    ///          3, red, green, blue; 4 and more, the fourth is alpha. Channels past the third never change.
    /// Returns  false, and the data as it was, for unknown names, a null pointer or no channels
    static bool convert_buffer(float* data, unsigned int width, unsigned int height, unsigned int channels,
                               CoreString const& target, CoreString const& source);

    /// The configuration's own name of a colour space given in any of the forms above; empty if unknown.
    static CoreString resolve_name(CoreString const& name);
    /// All colour spaces of the configuration, under its own names and in its order.
    static CoreVector<CoreString> get_color_space_names();
    /// The same as the user interface lists them: family, separator, name.
    static CoreVector<CoreString> get_color_space_labels();

private:
    ColorIO() = default;
};
