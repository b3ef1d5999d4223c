#pragma once

#include <string>
#include <vector>

namespace zv_torture {

/// Makes small pictures in `folder`: OpenEXR of lines and tiles in all compressions, and of every other format that
/// OpenImageIO writes here. Gives the names of those that their format refused.
std::vector<std::string> make_source_pictures(std::string const& folder);

/// All files in a folder and below, in the order of their names; empty if there is no folder.
std::vector<std::string> files_in(std::string const& folder);

}  // namespace zv_torture
