#pragma once

#include "host/core/core_string.h"
#include "image_io/pixels/window.h"

class ImageMap;
class OfApp;

namespace zv_image_io {

/// Brings the pixels of the window from `color_space` into the default one, with associated alpha.
///
/// The conversion sees unassociated colour: where `has_straight_alpha` is false it is divided by alpha first (above
/// 1e-8), and it is multiplied with it afterwards in both cases. An identity conversion leaves associated pixels as they are.
/// Returns  false if the pass could not be done
bool run_pixel_pass(ImageMap& map, Window const& window, CoreString const& color_space,
                    bool has_straight_alpha, OfApp* app);

}  // namespace zv_image_io
