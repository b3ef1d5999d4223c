#pragma once

/// A hash of 128 bits that tells the contents of resources apart; all zero means that there is none.
struct Core128BitHashKey {
    unsigned long long low = 0;
    unsigned long long high = 0;

    bool operator==(Core128BitHashKey const&) const = default;
};
