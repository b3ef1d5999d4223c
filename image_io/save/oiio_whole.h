#pragma once

#include <OpenImageIO/imageio.h>

#include "host/app_base/app_progress_bar.h"
#include "host/gmath/gmath_vec4.h"

namespace zv_image_io {

/// Writes a whole file by `write_region(region)` and closes it. True if both went well.
template <class WriteRegion>
bool write_whole(OIIO::ImageOutput* output, AppProgressBar* progress, WriteRegion const& write_region)
{
    if (!output)
        return false;
    OIIO::ImageSpec const& spec = output->spec();
    bool const is_written = write_region(GMathVec4<int>(spec.x, spec.y, spec.width, spec.height));
    bool const is_closed = output->close();
    if (progress)
        progress->set_value(1.0f);
    return is_written && is_closed;
}

}  // namespace zv_image_io
