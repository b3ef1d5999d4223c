#pragma once

#include <cstddef>
#include <string>

namespace zv_image_io {

/// What a writer is asked to take.
struct ImageShape {
    std::size_t channels = 0, width = 0, height = 0;
    std::size_t sample_bytes = 1;
    bool has_origin = false;  ///< its first pixel is not (0, 0)
};

/// Why no writer of that format ("jpeg") should see an image of this shape, in words; empty if it is fit.
/// Writers answer some shapes with a crash, or with the end of the process.
std::string find_objection(std::string const& format, ImageShape const& shape);

/// True for OpenImageIO's writers that open their files themselves, and forget what the disk refuses.
bool forgets_refused_bytes(std::string const& format);

/// How many bytes the writer of that format reads where a row of its 8-bit samples begins, if that is more than
/// the row has; 0 of all other writers.
std::size_t row_bytes_read(std::string const& format, ImageShape const& shape);

}  // namespace zv_image_io
