#pragma once

/// One texture lookup, as the renderer fills it in.
///
/// Units  the picture is 1 by 1, (0, 0) its centre, v upwards; derivatives are per pixel of the screen
struct MapEvalCtx {
    double u = 0.0;
    double v = 0.0;
    double dudx = 0.0;
    double dudy = 0.0;
    double dvdx = 0.0;
    double dvdy = 0.0;
    unsigned int channel_count = 0;
    int* channels = nullptr;  ///< the file's channel numbers, in the order wanted; null for the first four
    double blur = 0.0;        ///< width of the blur, as a share of the picture
};
