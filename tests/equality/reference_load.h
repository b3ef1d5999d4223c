#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tests/equality/plain_samples.h"

class AppProgressBar;
struct ImageLoadOptions;

namespace zv_equality {

/// A channel with its samples as bits, row after row of its place. Without tiles it has no place.
struct PlainChannel {
    std::string name;
    Place place;
    std::vector<std::uint32_t> bits;

    std::uint32_t& at(int x, int y)
    {
        return bits[std::size_t(y - place.y) * std::size_t(place.width) + std::size_t(x - place.x)];
    }
    /// Gives it tiles over the place, all of one sample.
    void create(Place const& over, std::uint32_t sample)
    {
        place = over;
        bits.assign(std::size_t(over.width) * std::size_t(over.height), sample);
    }
};

/// What a load comes to.
struct PlainPicture {
    bool loaded = false;
    Place display_window, data_window;
    int depth = 0;
    SampleType type;
    int tile_size = 64;
    std::vector<PlainChannel> channels;

    // What the report has to say.
    unsigned rows_asked = 0, tiles_asked = 0, tiles_lost = 0;
    bool all_read = true;
    std::set<std::string> errors;

    /// Appends a channel, without tiles.
    PlainChannel& add(std::string const& name);
    /// The first channel of that name, or null.
    PlainChannel* find(std::string const& name);
    void clamp(PlainChannel& channel) const;
};

/// Loads a file whose size the limits of OpenImageIO let pass.
PlainPicture reference_load(std::string const& path, ImageLoadOptions const& options,
                            AppProgressBar* progress);

}  // namespace zv_equality
