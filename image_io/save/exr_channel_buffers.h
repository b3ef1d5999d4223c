#pragma once

#include <ImfPixelType.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "host/colorio/color_io_converter.h"
#include "host/core/core_basic_array.h"
#include "host/core/core_string.h"
#include "image_io/frame/library_names.h"

class ImageMapChannel;

namespace zv_image_io {

struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};

/// What one channel of the map needs on its way into the file.
struct ExrChannelBuffer {
    /// The type in the file; `kUnset` for a null channel, and for one that the header lacks.
    Imf_2_4::PixelType type = kUnset;
    CoreString name;  ///< in the file
    bool is_rgba = false;
    std::unique_ptr<std::uint16_t[], FreeMemory> half_buffer;  ///< of channels that are half in the file
    std::unique_ptr<float[], FreeMemory> float_buffer;

    static constexpr Imf_2_4::PixelType kUnset = Imf_2_4::NUM_PIXELTYPES;

    /// True if the file takes its samples from here. Integers have no road: the library writes zeros for them.
    bool is_written() const { return type == Imf_2_4::HALF || type == Imf_2_4::FLOAT; }
};

/// The buffers of one write call, one entry for each position of the list of channels, null channels included.
///
/// Shape    dense planes of one block each: zeros at first
/// Owns     the buffers; red, green, blue and alpha point into them
struct ExrChannelBuffers {
    std::unique_ptr<ExrChannelBuffer[]> entries;
    unsigned int count = 0;
    // Null where conversion is off or the file has no such channel.
    float* red = nullptr;
    float* green = nullptr;
    float* blue = nullptr;
    float* alpha = nullptr;
    bool convert = false;  ///< there is something to convert

    /// Looks each channel up in the header and makes its buffers. A channel that the header lacks is logged at level 1 and
    /// gets none. Throws std::bad_alloc, also for sizes that memory cannot count.
    ExrChannelBuffers(Imf_2_4::Header const& header, CoreBasicArray<ImageMapChannel*> const& channels,
                      std::size_t block_pixels, bool is_conversion_on);

    /// Brings the colour of a block from the application's space into the converter's, as straight colour. Nothing where
    /// there is nothing to convert.
    void convert_colour(ColorIOConverter const& converter, unsigned int width, unsigned int height);
};

/// The conversion that the pixels of a file need; disabled for an empty name, and for a space that nobody knows.
ColorIOConverter make_save_converter(CoreString const& color_space);

/// Zeros. Throws std::bad_alloc.
template <class Sample>
std::unique_ptr<Sample[], FreeMemory> allocate_plane(std::size_t sample_count)
{
    std::unique_ptr<Sample[], FreeMemory> plane(
        static_cast<Sample*>(std::calloc(sample_count, sizeof(Sample))));
    if (!plane && sample_count != 0)
        throw std::bad_alloc();
    return plane;
}

}  // namespace zv_image_io
