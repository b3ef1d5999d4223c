#include "tools/wide_canvas.h"

#include <algorithm>
#include <vector>

#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/of/of_app.h"
#include "image_io/save/image_save_options.h"
#include "tools/output_plan.h"

namespace zvio {

namespace {

void copy_samples(ImageMapChannel const& source, ImageCanvas const& canvas, ImageMapChannel& target)
{
    GMathVec4<int> const region = source.get_region();
    int const rows = target.m_map->m_tile_size;
    std::vector<float> band(std::size_t(region.width()) * rows);
    ImageEvalContext context(canvas, 0);
    target.create_tiles(region, nullptr, 0.0f);
    for (int row = 0; row < region.height(); row += rows) {
        GMathVec4<int> const part(region.x(), region.y() + row, region.width(),
                                  std::min(rows, region.height() - row));
        source.create_float_buffer(&context, part, band.data());
        target.fill_rows(band.data(), sizeof(float), sizeof(float) * std::ptrdiff_t(region.width()), part);
    }
}

}  // namespace

bool needs_wide_samples(ImageCanvas const& canvas, ImageSaveOptions const& options, OfApp const& app)
{
    return app.tiling_mode == 1 && !options.is_file_exr() && !is_simple_format(options) &&
           canvas.get_map()->m_bit_depth != ImagePixel::BIT_DEPTH_32;
}

std::unique_ptr<ImageCanvas> widen_samples(ImageCanvas const& canvas)
{
    ImageMap const& source = *canvas.get_map();
    auto wide = std::make_unique<ImageCanvas>(false);
    wide->create_image(nullptr, source.m_depth, ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_FLOAT,
                       source.m_tile_size);
    for (ImageMapChannel const* channel : source.m_channels)
        if (auto* const target = wide->get_image()->add_channel(channel->m_name, ImagePixel::BIT_DEPTH_32,
                                                                ImagePixel::BIT_TYPE_FLOAT))
            copy_samples(*channel, canvas, *target);
    GMathVec4<int> const display(canvas.get_x(), canvas.get_y(), canvas.get_width(), canvas.get_height());
    wide->set_canvas(display, canvas.m_map->m_bbox);
    wide->m_meta_data = canvas.m_meta_data;
    wide->finalize(true, false);
    return wide;
}

}  // namespace zvio
