#pragma once

#include <memory>
#include <string>

#include "host/image/image_canvas.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/image_load_options.h"

namespace zv_test {

/// Loads a file as the manager does, but for nobody: what it logs and what it leaves behind.
inline void load_and_drop(std::string const& path, ImageLoadOptions const& options)
{
    std::unique_ptr<ImageCanvas> const canvas(ImageIO::load_image(
        path.c_str(), options, nullptr, nullptr, ImagePixel::REPEAT_MODE_NONE, ImagePixel::REPEAT_MODE_NONE));
}

}  // namespace zv_test
