#include "image_io/frame/version.h"

char const* zv_image_io_version() noexcept
{
    return ZV_IMAGE_IO_VERSION;
}
