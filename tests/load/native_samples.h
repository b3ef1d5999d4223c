#pragma once

#include <OpenImageIO/imageio.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

class ImageMapChannel;

namespace zv_test {

/// A file as OpenImageIO's own reader gives it in one call, in its own sample type, interleaved.
struct NativePicture {
    OIIO::ImageSpec spec;
    OIIO::TypeDesc type;
    std::vector<std::byte> bytes;

    /// A sample of 1, 2 or 4 bytes as bits.
    std::uint32_t bits(int channel, int x, int y) const;
    /// The number of the channel with exactly that name; -1 if there is none.
    int channel_number(std::string const& name) const;
};

/// Throws std::runtime_error with the reader's text when the file does not read. Alpha as the files hold it where
/// `straight_alpha`; UNKNOWN takes the file's own sample type.
NativePicture read_native_picture(std::string const& path, bool straight_alpha = false,
                                  OIIO::TypeDesc type = OIIO::TypeDesc::UNKNOWN);

/// Compares all samples of a channel with those of the file, bit for bit; rows for which `is_lost` says true are to
/// be zero instead.
void expect_native_samples(ImageMapChannel const* channel, NativePicture const& picture, int file_channel,
                           std::function<bool(int y)> const& is_lost = {});

}  // namespace zv_test
