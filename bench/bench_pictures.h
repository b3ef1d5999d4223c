#pragma once

#include <string>

namespace zv_bench {

inline constexpr int kWidth = 3840, kHeight = 2160;

/// Writes a 4K picture with the file libraries. Smooth shapes with a little noise, so that it compresses as a render does.
/// `tile` 0 makes scanlines. Channels are R, G, B, A and then layers, of half samples.
void write_exr(std::string const& path, int channels, int tile);

/// Half R, G, B, A and a depth Z of 32-bit floats, in scanlines: a map of floats altogether.
void write_mixed_exr(std::string const& path);

/// An RGB picture of 8 bits (HDR: floats) in the format that the name's extension tells.
void write_with_oiio(std::string const& path);

}  // namespace zv_bench
