#include <OpenImageIO/imageio.h>

#include "host/app_base/app_progress_bar.h"
#include "host/image/image_map.h"
#include "image_io/load/image_io_load.h"
#include "image_io/load/sample_type.h"

namespace zv_image_io {

namespace {

constexpr int kScanlineTileSize = 64;

/// A half file with channels of other types is read as float altogether; its mix is not kept.
void widen_mixed_channels(OIIO::ImageSpec& spec)
{
    if (spec.format != OIIO::TypeDesc(OIIO::TypeDesc::HALF))
        return;
    for (int i = 1; i < spec.nchannels; ++i) {
        if (spec.channelformat(i) != spec.channelformat(0)) {
            spec.format = OIIO::TypeDesc::FLOAT;
            return;
        }
    }
}

ImagePixel::Depth depth_of(ImageMapColorChannels const* channels)
{
    if (!channels)
        return ImagePixel::DEPTH_NONE;
    bool const has_alpha = channels->m_alpha != nullptr;
    if (channels->m_red)
        return has_alpha ? ImagePixel::DEPTH_RGBA : ImagePixel::DEPTH_RGB;
    if (channels->m_luminance)
        return has_alpha ? ImagePixel::DEPTH_LUMINANCE_ALPHA : ImagePixel::DEPTH_LUMINANCE;
    return ImagePixel::DEPTH_NONE;
}

}  // namespace

}  // namespace zv_image_io

bool ImageIOLoad::read_data(OIIO::ImageInput* input, OIIO::ImageSpec& spec, ImageMap& map,
                            GMathVec4<int>& data_window, ImageLoadOptions const& options, bool accept_partial,
                            OfApp* app, AppProgressBar* progress, ImageLoadReport& report)
{
    using namespace zv_image_io;
    if (progress)
        progress->set_value(0.1f);
    if (spec.nchannels == 0)
        return false;
    widen_mixed_channels(spec);
    auto const type = sample_type_of(OIIO::TypeDesc::BASETYPE(spec.format.basetype));
    // Only square tiles; the test refuses a width of 0 beside a height as well.
    if (!type || spec.tile_width != spec.tile_height)
        return false;

    bool good;
    if (spec.tile_width == 0) {
        map.init(ImagePixel::DEPTH_NONE, type->bit_depth, type->bit_type, kScanlineTileSize);
        good =
            read_scanline_data(input, spec, map, data_window, options, accept_partial, app, progress, report);
    } else {
        map.remove_all_channels();
        // The file's tile size, so that its tiles and the map's coincide.
        map.init(ImagePixel::DEPTH_NONE, type->bit_depth, type->bit_type, spec.tile_width);
        good = read_tiled_data(input, spec, map, data_window, options, app, progress, report);
    }
    map.m_depth = depth_of(map.m_rgba_channels);
    return good;
}
