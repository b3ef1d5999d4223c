// Writes the first regions of a picture and dies the hard way: killed_render FILE TILING_MODE COMPRESSION COUNT
#include <csignal>
#include <cstdlib>

#include "tests/save/killed_picture.h"

int main(int argument_count, char** arguments)
{
    if (argument_count != 5)
        return 2;
    OfApp app;
    app.tiling_mode = std::atoi(arguments[2]);
    zv_test::SavePicture picture(zv_test::killed_shape());
    auto const output = picture.output(arguments[1]);
    auto const options = zv_test::exr_options(
        ImageIOFileFormat::SAVE_EXR16, ImageIOFileFormat::OpenExrCompressionMethod(std::atoi(arguments[3])));
    if (!output->open(&app, options, picture.window, picture.window, zv_test::kKilledTile))
        return 1;
    for (int i = 0; i < std::atoi(arguments[4]); ++i)
        if (output->write_region(picture.context, zv_test::killed_region(app.tiling_mode, i), nullptr) !=
            ImageIO::SAVING_STATUS_SUCCESS)
            return 1;
    std::raise(SIGKILL);
}
