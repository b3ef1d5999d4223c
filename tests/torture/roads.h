#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/torture/save_forms.h"

namespace zv_torture {

/// What one trip along a road gave.
struct Outcome {
    bool claims_success = false;  // all was done, and nothing was lost
    unsigned long long digest = 0;
    bool leaves_a_file = false;  // of a save that failed
    bool operator==(Outcome const&) const = default;
};

/// One way through the module, from its public door to what it gives.
struct Road {
    std::string name;
    std::function<Outcome()> run;
    bool is_damaged = false;  // its picture: it need not claim success
};

/// Makes the files of the roads in a folder that exists.
void make_road_files(std::string const& folder);
/// Loads of lines, tiles and damaged files, saves, plates, shared images, lookups. The roads live as long as the folder.
/// From now on the log is taken by a sink that counts lines.
std::vector<Road> all_roads(std::string const& folder);

/// Frees the tiles that earlier roads gave back: they would be memory that never fails, and nobody's.
void forget_tiles();

/// Lines of level 1 that this thread has logged.
unsigned long long error_lines();

}  // namespace zv_torture
