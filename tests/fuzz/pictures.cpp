#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/color_space_rules.h"
#include "image_io/load/image_header.h"
#include "image_io/load/image_load_options.h"
#include "image_io/load/image_load_report.h"
#include "image_io/plate/plate_image.h"
#include "tests/fuzz/harness.h"
#include "tests/fuzz/scratch.h"

namespace zv_fuzz {

namespace {

constexpr char const* kExtensions[] = {"exr",  "tif", "png", "tga", "hdr",  "bmp", "jpg",
                                       "gif",  "dpx", "ppm", "psd", "webp", "jp2", "fits",
                                       "heic", "tx",  "ico", "iff", "sgi",  "rla", "zfile"};
// Formats with weak readers: files that the module looks at before them, and their like.
constexpr char const* kWeakExtensions[] = {"ico", "iff", "sgi", "rla", "zfile", "dpx", "fits", "psd"};

void check_header(CoreString const& path)
{
    ImageHeader header;
    if (!ImageIO::get_image_specs(path, header))
        return;
    require(header.channel_count == int(header.channel_names.get_count()),
            "a header has a name for each channel");
}

void check_colour_space(CoreString const& path)
{
    ColorSpaceRule rule = COLOR_SPACE_RULE_NONE;
    CoreString const by_rule = find_file_color_space(path, rule);
    require(by_rule == ImageIO::get_color_space_from_file(path), "a file has one colour space");
    require(by_rule.is_empty() == (rule == COLOR_SPACE_RULE_NONE), "a colour space comes of a rule");
}

/// Asks every channel for the upper left corner of the picture and one pixel round it.
void read_samples(ImageCanvas const& canvas)
{
    constexpr int kEdge = 80;
    GMathVec4<int> const window = *canvas.m_map->m_bbox;
    require(window.width() > 0 && window.height() > 0, "a loaded picture has a data window");
    GMathVec4<int> const corner(window.x() - 1, window.y() - 1, std::min(window.width(), kEdge) + 2,
                                std::min(window.height(), kEdge) + 2);
    std::vector<float> samples(std::size_t(corner.width()) * std::size_t(corner.height()));
    ImageEvalContext context(canvas, 0);
    for (ImageMapChannel* const channel : canvas.get_map()->m_channels) {
        require(channel != nullptr, "a loaded picture has no gap in its channels");
        channel->create_float_buffer(&context, corner, samples.data());
    }
}

void check_report(ImageLoadReport const& report)
{
    require(report.rows_lost <= report.rows_asked, "no more rows are lost than were asked for");
    require(report.tiles_lost <= report.tiles_asked, "no more tiles are lost than were asked for");
    require(report.rows_asked == 0 || report.tiles_asked == 0, "a file has either rows or tiles");
}

void check_load(CoreString const& path, ImageLoadOptions const& options)
{
    ImageLoadReport report;
    std::unique_ptr<ImageCanvas> const canvas(ImageIO::load_image(path, options, nullptr, nullptr,
                                                                  ImagePixel::REPEAT_MODE_CLAMP,
                                                                  ImagePixel::REPEAT_MODE_CLAMP, report));
    check_report(report);
    if (canvas)
        read_samples(*canvas);
}

void check_plate(CoreString const& path)
{
    PlateImage plate(path);
    if (!plate.load(nullptr))
        return;
    require(plate.get_pixels() != nullptr, "a loaded plate has pixels");
    require(plate.get_pixel_count() == plate.get_width() * plate.get_height(),
            "a plate is as large as it says");
}

/// Options that differ in every field.
std::array<ImageLoadOptions, 6> const& option_sets()
{
    static CoreVector<CoreString> const names{"r", "depth.z", "b", "none", "a", "g"};
    static CoreVector<CoreString> const one_name{"y"};
    static auto const sets = [] {
        std::array<ImageLoadOptions, 6> all;
        all[1].color_space = "Linear";
        all[2].premultiply = all[2].force_alpha = true;
        all[3].color_space = "Linear";
        all[3].channels = &names;
        all[4].single_channel_mode = 3;
        all[4].color_space = "";
        all[5].single_channel_mode = 0;
        all[5].force_alpha = true;
        all[5].channels = &one_name;
        return all;
    }();
    return sets;
}

/// The length of the file chooses what is done with it, so that every file can be tried as it is.
void load(Bytes bytes, char const* extension)
{
    std::size_t const choice = bytes.size() % (option_sets().size() + 1);
    CoreString const path = write_input(bytes, extension).c_str();
    if (choice < option_sets().size())
        check_load(path, option_sets()[choice]);
    else
        check_plate(path);
}

}  // namespace

std::span<char const* const> probe_extensions()
{
    return kExtensions;
}

void probe(Bytes bytes)
{
    if (bytes.empty())
        return;
    CoreString const path =
        write_input(bytes.subspan(1), kExtensions[bytes[0] % std::size(kExtensions)]).c_str();
    check_header(path);
    check_colour_space(path);
}

std::span<char const* const> weak_extensions()
{
    return kWeakExtensions;
}

void load_weak(Bytes bytes)
{
    if (!bytes.empty())
        load(bytes.subspan(1), kWeakExtensions[bytes[0] % std::size(kWeakExtensions)]);
}

void load_exr(Bytes bytes)
{
    load(bytes, "exr");
}

void load_tiff(Bytes bytes)
{
    load(bytes, "tif");
}

void load_png(Bytes bytes)
{
    load(bytes, "png");
}

void load_tga(Bytes bytes)
{
    load(bytes, "tga");
}

void load_hdr(Bytes bytes)
{
    load(bytes, "hdr");
}

void load_bmp(Bytes bytes)
{
    load(bytes, "bmp");
}

void load_jpeg(Bytes bytes)
{
    load(bytes, "jpg");
}

}  // namespace zv_fuzz
