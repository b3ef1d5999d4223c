// Uses something of every public header of the module, and of the host beside it, from the installed tree alone.
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "host/zv_host.h"
#include "image_io/zv_image_io.h"

namespace {

int failures = 0;

void expect(bool holds, char const* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "not so: %s\n", what);
    ++failures;
}

void write_and_probe(CoreString const& path)
{
    std::vector<unsigned char> const pixels(3 * 2 * 3, 128);
    expect(ImageIO::save_image(path, pixels.data(), 3, 3, 2), "save_image writes");

    ImageHeader header;
    expect(ImageIO::get_image_specs(path, header), "get_image_specs reads");
    expect(header.data_window == GMathVec4<int>(0, 0, 3, 2), "the data window is 3 by 2");
    expect(header.channel_names.get_count() == 3, "there are three channels");

    ColorSpaceRule rule = COLOR_SPACE_RULE_NONE;
    expect(find_file_color_space(path, rule) == ImageIO::get_color_space_from_file(path), "both give one space");
    expect(rule == COLOR_SPACE_RULE_TAG, "a tag tells the space");
}

void load(CoreString const& path)
{
    OfApp app;
    ImageLoadReport report;
    auto const none = ImagePixel::REPEAT_MODE_NONE;
    std::unique_ptr<ImageCanvas> const canvas(
        ImageIO::load_image(path, ImageLoadOptions(), &app, nullptr, none, none, report));
    expect(canvas != nullptr, "load_image loads");
    expect(!report.is_damaged(), "nothing is lost");
    expect(canvas && canvas->get_map()->get_channel_count() == 3, "the map has three channels");

    ImageCanvas other(false);
    other.create_image(nullptr, ImagePixel::DEPTH_RGBA, ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_FLOAT, 64);
    expect(ImageIOLoad::load_image(path, other, ImageLoadOptions(), &app, nullptr), "ImageIOLoad loads");
}

}  // namespace

int main(int count, char** words)
{
    if (count != 2)
        return 2;
    CoreString const path(words[1]);
    write_and_probe(path);
    load(path);
    expect(ImageIOFileFormat::get_save_from_extension("png") == ImageIOFileFormat::SAVE_PNG8, "png is PNG8");
    CoreClassInfo const& record = ImageIOFileFormat::class_info();
    expect(CoreClassInfo::find_class("ImageIOFileFormat") == &record, "the class is known");
    expect(std::strlen(zv_image_io_version()) >= 5, "the version has three numbers");
    return failures ? 1 : 0;
}
