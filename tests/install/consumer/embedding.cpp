#include <host/zv_host.h>
#include <image_io/zv_image_io.h>
#include <memory>

int main(int, char** argv)
{
    ImageLoadOptions options;
    options.color_space = ImageIO::get_color_space_from_file(argv[1]);
    auto const none = ImagePixel::REPEAT_MODE_NONE;
    std::unique_ptr<ImageCanvas> canvas(ImageIO::load_image(argv[1], options, nullptr, nullptr, none, none));
    return canvas && canvas->get_map()->get_channel_by_name("r") ? 0 : 1;
}
