#pragma once

#include <OpenImageIO/imageio.h>

#include "tests/equality/reference_load.h"

namespace zv_equality {

/// One call of the reader a channel, for the whole picture.
bool read_scanlines(OIIO::ImageInput& input, OIIO::ImageSpec const& spec, PlainPicture& picture,
                    ImageLoadOptions const& options, AppProgressBar* progress);
/// One call of the reader a tile, with all channels.
bool read_tiles(OIIO::ImageInput& input, OIIO::ImageSpec const& spec, PlainPicture& picture,
                ImageLoadOptions const& options, AppProgressBar* progress);

/// The first channel of the file with that name in lower case; -1 if there is none.
int find_in_file(OIIO::ImageSpec const& spec, std::string const& name);
/// Names in the list that count, which are four at most.
unsigned wanted_count(ImageLoadOptions const& options);
/// A sample of `bytes` bytes at that position of a buffer.
std::uint32_t bits_at(unsigned char const* buffer, std::size_t offset, unsigned bytes);

inline char const* const kColourNames[] = {"r", "g", "b", "a"};

}  // namespace zv_equality
