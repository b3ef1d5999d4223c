#include <climits>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/app_base/app_progress_bar.h"
#include "host/colorio/color_io.h"
#include "host/image/image_map_channel.h"
#include "image_io/frame/log_line.h"
#include "image_io/pixels/alpha.h"
#include "image_io/pixels/window.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_save_options.h"

namespace {

using Channels = CoreBasicArray<ImageMapChannel*>;
using Status = ImageIO::SavingStatus;

constexpr unsigned int kFewestFileChannels = 3;

/// The whole picture, twice: a dense plane a channel, and what goes to the file.
struct Picture {
    unsigned int width, height, count, file_channels;
    std::size_t pixels;
    std::vector<float> planes, interleaved;

    /// Null for a channel that the picture does not have.
    float const* plane(unsigned int channel) const
    {
        return channel < count ? planes.data() + channel * pixels : nullptr;
    }
};

/// All zeros; nothing if its sizes do not fit, or it has none.
std::optional<Picture> make_picture(GMathVec4<int> const& region, unsigned int count)
{
    using zv_image_io::size_product;
    unsigned int const file_channels = std::max(count, kFewestFileChannels);
    if (region[2] < 1 || region[3] < 1)
        return std::nullopt;
    auto const pixels = size_product(region[2], region[3]);
    if (!pixels || *pixels > UINT_MAX || !size_product(*pixels, file_channels, 2 * sizeof(float)))
        return std::nullopt;
    return Picture{static_cast<unsigned int>(region[2]),
                   static_cast<unsigned int>(region[3]),
                   count,
                   file_channels,
                   *pixels,
                   std::vector<float>(*pixels * count),
                   std::vector<float>(*pixels * file_channels)};
}

void fill_planes(Picture& picture, ImageEvalContext& context, Channels const& channels,
                 GMathVec4<int> const& region)
{
    for (unsigned int channel = 0; channel < picture.count; ++channel)
        if (channels[channel])
            channels[channel]->create_float_buffer(
                context, region, picture.planes.data() + channel * picture.pixels,
                static_cast<unsigned int>(picture.pixels), ImagePixel::REPEAT_MODE_NONE,
                ImagePixel::REPEAT_MODE_NONE);
}

/// Packs the planes, three floats a pixel, or four where there are more than three: the planes behind the
/// fourth are left out, though the file has room for them. A single plane becomes red. `straighten` divides
/// by alpha, with no guard against zero.
void interleave(Picture& picture, bool straighten)
{
    float const *const red = picture.plane(0), *const green = picture.plane(1),
                       *const blue = picture.plane(2), *const alpha = picture.plane(3);
    float* into = picture.interleaved.data();
    for (std::size_t pixel = 0; pixel < picture.pixels; ++pixel) {
        float const factor = straighten ? 1.0f / alpha[pixel] : 1.0f;
        *into++ = red ? red[pixel] * factor : 0.0f;
        *into++ = green ? green[pixel] * factor : 0.0f;
        *into++ = blue ? blue[pixel] * factor : 0.0f;
        if (alpha)
            *into++ = alpha[pixel];
    }
}

void convert_colours(Picture& picture, CoreString const& color_space)
{
    // The result plays no part: what cannot be converted is written as it is.
    ColorIO::convert_buffer(picture.interleaved.data(), picture.width, picture.height, picture.file_channels,
                            color_space, ColorIO::get_default_color_space_name());
}

/// From planes to what the file holds, in its colour space.
void assemble(Picture& picture, ImageSaveOptions const& options)
{
    bool const converts =
        !options.color_space.is_empty() && !(options.color_space == ColorIO::get_default_color_space_name());
    bool const has_alpha = converts && options.format != ImageIOFileFormat::SAVE_JPEG && picture.count == 4;
    interleave(picture, has_alpha);
    if (converts)
        convert_colours(picture, options.color_space);
    if (has_alpha)
        zv_image_io::multiply_pixels_by_alpha(picture.interleaved);
}

Status refuse(CoreString const& filename, char const* reason)
{
    zv_image_io::log_line(zv_image_io::kLogError, "Could not write ", filename, ", error = ", reason, "\n");
    return ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE;
}

}  // namespace

ImageIO::SavingStatus ImageIOSave::write_one_aov_per_file(ImageEvalContext context, CoreString filename,
                                                          ImageSaveOptions const& options,
                                                          Channels const& channels,
                                                          GMathVec4<int> const& region,
                                                          AppProgressBar* progress)
try {
    if (progress)
        progress->set_value(0.0f);
    auto picture = make_picture(region, channels.get_count());
    Status status;
    if (picture) {
        fill_planes(*picture, context, channels, region);
        assemble(*picture, options);
        status = write_image_from_buffer(filename, options.format, picture->interleaved.data(),
                                         picture->file_channels, picture->width, picture->height);
    } else {
        status = refuse(filename,
                        region[2] < 1 || region[3] < 1 ? "the image has no size" : "the image is too large");
    }
    if (progress)
        progress->set_value(1.0f);
    return status;
} catch (std::exception const& error) {
    return refuse(filename, error.what());
} catch (...) {
    return refuse(filename, "unknown exception");
}
