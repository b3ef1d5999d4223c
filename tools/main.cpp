#include <CLI/CLI.hpp>

#include "image_io/frame/version.h"

int main(int argc, char** argv)
{
    CLI::App app{"Loads picture files into tiled canvases, tells what is in them and writes them out again.", "zvio"};
    app.set_version_flag("--version", std::string("zvio ") + zv_image_io_version());
    CLI11_PARSE(app, argc, argv);
    return 0;
}
