#pragma once

/// The version of a text or file format.
struct CoreVersion {
    unsigned int major_number = 0;
    unsigned int minor_number = 0;
    unsigned int patch_number = 0;

    bool operator==(CoreVersion const&) const = default;
};
