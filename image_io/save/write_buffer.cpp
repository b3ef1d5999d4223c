#include <OpenImageIO/imageio.h>

#include <exception>
#include <optional>
#include <string>

#include "image_io/frame/checked_image_output.h"
#include "image_io/frame/log_exception.h"
#include "image_io/frame/log_line.h"
#include "image_io/frame/writer_limits.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/sample_types.h"

namespace {

using zv_image_io::CheckedImageOutput;

struct FloatBuffer {
    float const* pixels;
    unsigned int channels, width, height;
};

std::string find_objection(OIIO::ImageOutput const& output, FloatBuffer const& buffer)
{
    if (!buffer.pixels)
        return "there are no pixels";
    return zv_image_io::find_objection(output.format_name(),
                                       {buffer.channels, buffer.width, buffer.height, sizeof(float), false});
}

OIIO::ImageSpec describe(CoreString const& filename, ImageIOFileFormat::Save format,
                         FloatBuffer const& buffer)
{
    OIIO::ImageSpec spec(static_cast<int>(buffer.width), static_cast<int>(buffer.height),
                         static_cast<int>(buffer.channels),
                         zv_image_io::buffered_sample_type(format, filename));
    // Anywhere in the name, folders too: TGA files take the samples as they are.
    if (filename.rev_find(".tga") != CoreString::kNotFound)
        spec.attribute("oiio:UnassociatedAlpha", 1);
    return spec;
}

/// Gives the reason of a failure, which may be empty, or nothing after a success.
std::optional<std::string> write_file(CheckedImageOutput& output, CoreString const& filename,
                                      ImageIOFileFormat::Save format, FloatBuffer const& buffer)
{
    if (std::string objection = find_objection(output, buffer); !objection.empty())
        return objection;
    if (!output.open(std::string(filename.view()), describe(filename, format, buffer)))
        return output.geterror();
    bool const is_written = output.write_image(OIIO::TypeDesc::FLOAT, buffer.pixels);
    output.close_and_keep();  // The result plays no part: what was refused on the way is known.
    if (is_written && !output.has_trouble())
        return std::nullopt;
    output.remove_file();
    return output.geterror();
}

}  // namespace

ImageIO::SavingStatus ImageIOSave::write_image_from_buffer(CoreString const& filename,
                                                           ImageIOFileFormat::Save const& format,
                                                           float* pixels, unsigned int channels,
                                                           unsigned int width, unsigned int height)
try {
    using namespace zv_image_io;
    std::optional<std::string> failure;
    try {
        auto const output = CheckedImageOutput::make(std::string(filename.view()));
        if (!output) {
            log_line(kLogError, "Could not write ", filename, "\n");
            return ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE;
        }
        failure = write_file(*output, filename, format, {pixels, channels, width, height});
    } catch (std::exception const& error) {
        failure = error.what();
    }
    if (!failure)
        return ImageIO::SAVING_STATUS_SUCCESS;
    log_line(kLogError, "Could not write ", filename, ", error = ", failure->c_str(), "\n");
    return ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE;
} catch (...) {
    zv_image_io::log_save_exception(filename);
    return ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE;
}
