#pragma once

#include <string>
#include <vector>

namespace zv_fuzz {

/// Small inputs of every kind for one harness; none for a name that no harness has.
std::vector<std::string> seeds_for(std::string const& harness);

}  // namespace zv_fuzz
