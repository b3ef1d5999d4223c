#pragma once

#include "host/core/core_string.h"
#include "host/core/core_vector.h"
#include "image_io/frame/export.h"

/// What a load asked of its file and what it did not get. Every load starts it afresh.
struct ZV_IMAGE_IO_EXPORT ImageLoadReport {
    /// Rows of a scanline file, or tiles of a tiled one, that were asked for; the other pair stays 0.
    unsigned int rows_asked = 0;
    unsigned int rows_lost = 0;
    unsigned int tiles_asked = 0;
    unsigned int tiles_lost = 0;
    /// What the readers said, each text once, in the order of its first appearance. A reader that leaves a text behind
    /// after a read that it calls good has its say here too.
    CoreVector<CoreString> errors;
    /// There was something to say, and no memory to keep it.
    bool has_dropped_errors = false;
    /// A channel or tiles, or the whole picture, are missing because there was no memory for them; the errors say so, too.
    bool has_lacked_memory = false;
    /// The colour space in which the pixels were taken.
    CoreString color_space;
    double milliseconds = 0.0;

    [[nodiscard]] bool is_damaged() const
    {
        return rows_lost != 0 || tiles_lost != 0 || errors.get_count() != 0 || has_dropped_errors ||
               has_lacked_memory;
    }
};
