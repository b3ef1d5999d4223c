#pragma once

#include <string>
#include <vector>

#include "tests/torture/driver.h"

namespace zv_torture {

/// What a run of this program is told, or one of its children.
struct Arguments {
    Orders orders;
    double seconds = 60;
    long long most_cases = -1;
    std::vector<std::string> sweeps;
    // Of a child.
    std::string child, notes;
    Share share;
};

/// Throws std::invalid_argument for what it does not know.
Arguments parse(int count, char** words);

}  // namespace zv_torture
