#pragma once

#include <string>
#include <vector>

#include "image_io/load/image_load_options.h"

namespace zv_equality {

/// Samples that try what a picture can hold: ordinary ones, negative, above 1, tiny, infinite, not a number, alphas of
/// and around 0, and areas of one value.
double rough_sample(int channel, int x, int y);

// Each makes pictures in the folder and gives their paths. What the file libraries do not write is left out.
std::vector<std::string> make_exr_shapes(std::string const& folder);
std::vector<std::string> make_exr_compressions(std::string const& folder);
std::vector<std::string> make_exr_oddities(std::string const& folder);
std::vector<std::string> make_tiff_pictures(std::string const& folder);
std::vector<std::string> make_other_formats(std::string const& folder);

/// One way to load.
struct LoadOrder {
    std::string name;
    ImageLoadOptions options;
    CoreVector<CoreString> channels;
    bool has_channels = false;

    /// The options with the list in it; they borrow it.
    ImageLoadOptions get() const
    {
        ImageLoadOptions with_list = options;
        with_list.channels = has_channels ? &channels : nullptr;
        return with_list;
    }
};
/// All ways that give different pictures.
std::vector<LoadOrder> load_orders();

}  // namespace zv_equality
