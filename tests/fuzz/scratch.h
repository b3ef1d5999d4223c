#pragma once

#include <string>
#include <vector>

#include "tests/fuzz/harness.h"

namespace zv_fuzz {

/// A folder of this process's own in TMPDIR, which goes away with the process unless that crashes.
std::string const& scratch_folder();

/// Writes the bytes to the one file of that extension and gives its path.
std::string write_input(Bytes bytes, std::string const& extension);

/// Regular files in the scratch folder.
std::vector<std::string> scratch_files();
/// Takes everything out of the scratch folder.
void empty_scratch_folder();

}  // namespace zv_fuzz
