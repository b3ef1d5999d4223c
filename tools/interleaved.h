#pragma once

#include <string>
#include <vector>

class ImageCanvas;

namespace zvio {

/// The data window of a canvas as one buffer, as `ImageIO::save_image` takes it.
struct InterleavedPixels {
    unsigned int width = 0, height = 0;
    std::vector<std::string> channels;  // their names, in the order of the samples
    std::vector<float> samples;
};

/// The colour channels that the canvas has, in the order red, green, blue, alpha, or luminance, alpha; without colour its
/// first channels, up to four.
InterleavedPixels interleave(ImageCanvas const& canvas);

/// Brings the colours from one space to another, around their association with alpha; equal spaces leave every bit alone.
/// False for names that cannot be converted between.
bool convert_colors(InterleavedPixels& pixels, std::string const& source, std::string const& target);

/// From 0 to 1 to 0 to 255, rounded and limited; what is no number becomes 0.
std::vector<unsigned char> to_bytes(std::vector<float> const& samples);

}  // namespace zvio
