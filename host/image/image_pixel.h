#pragma once

/// The scope of the enumerations that tell what a sample is. Plain enumerations with a fixed type, because
/// their numbers count: a bit depth is multiplied with, a depth is added to.
struct ImagePixel {
    /// Which colour channels a map has; the number is how many of them.
    enum Depth : int {
        DEPTH_NONE = 0,
        DEPTH_LUMINANCE = 1,
        DEPTH_LUMINANCE_ALPHA = 2,
        DEPTH_RGB = 3,
        DEPTH_RGBA = 4
    };

    /// Size of a sample in bytes.
    enum BitDepth : unsigned int { BIT_DEPTH_8 = 1, BIT_DEPTH_16 = 2, BIT_DEPTH_32 = 4 };

    /// Integer samples are unsigned and stand for 0 to 1 when they are read as floats (signed files give the
    /// same pair and are read as unsigned). Floating samples are half at 16 bits and float at 32 bits.
    enum BitType : unsigned int { BIT_TYPE_INTEGER = 1, BIT_TYPE_FLOAT = 2 };

    /// How an image goes on past the edges of its data window.
    enum RepeatMode : int {
        REPEAT_MODE_REPEAT = 0,  ///< starts again at the other edge
        REPEAT_MODE_MIRROR = 1,  ///< comes back, the edge sample twice
        REPEAT_MODE_NONE = 2,    ///< is zero
        REPEAT_MODE_CLAMP = 3    ///< keeps the edge sample
    };
};
