#pragma once

#include <cstdint>

#include "host/gmath/gmath_vec4.h"

class AppBase;
class ImageMap;

/// The in-place pixel pass over the colour channels of a map.
class ImageProcess {
public:
    /// One block of the pass: dense planes of width by height floats, null where the map lacks the channel.
    struct Block {
        float* m_red;
        float* m_green;
        float* m_blue;
        float* m_alpha;
        float* m_luminance;
        unsigned int m_width;
        unsigned int m_height;
    };

    /// Works on the block's planes; true stores them, false leaves the image's block as it is. Called from
    /// several threads at once, for different blocks. `user_words` points to the two of the parameters.
    using Callback = bool (*)(Block* block, std::uintptr_t* user_words);

    struct InPlaceProcessParameters {
        GMathVec4<int> m_region;
        Callback m_callback = nullptr;
        std::uintptr_t m_user_words[2] = {0, 0};
        std::uint32_t m_flags = 0;  ///< 0; the three that follow are free
        std::uint32_t m_reserved = 0;
        std::uint64_t m_reserved_wide = 0;
    };

    /// Runs the callback over each tile of the map in the region: on its part inside the region and the map's
    /// channels, in strips of whole rows where a tile has more than 65,536 pixels. Tiles are walked in
    /// parallel, in no particular order; the strips of one tile follow each other on one thread.
    /// Samples go to floats and back (integers as 0 to 1, rounded and limited); those that the callback
    /// leaves alone keep their bits. A block of equal samples is stored as a constant tile where it covers
    /// its tile. A block that is a constant tile in every channel, and the same as the one before it, gets
    /// what that one became without a call: an answer depends on the block's samples, its size and the user
    /// words alone.
    ///
    /// `single_thread` walks on the calling thread. `app` plays no part and may be null.
    /// Returns  false for what the pass could not do itself: no callback, no memory, an exception from the
    ///          callback. A callback that answers false does not fail the pass.
    static bool apply(ImageMap& map, InPlaceProcessParameters parameters, bool single_thread, AppBase* app);

private:
    class Pass;
};
