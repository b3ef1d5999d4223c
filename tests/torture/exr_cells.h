#pragma once

#include <string>

namespace zv_torture {

/// Lines or tiles of a file that may lack some, against those of a whole one; read with OpenEXR itself.
struct Cells {
    int right_from_start = 0;  // before the first that does not read
    int wrong = 0;             // read, but other samples
    std::string trouble;       // the file does not open
};
Cells compare_cells(std::string const& path, std::string const& whole_path, bool is_tiled);

/// Empty if both files have the same windows, channels and samples: bit for bit, or each within the tolerance, which is a
/// share of samples above 1.
std::string compare_pictures(std::string const& path, std::string const& other_path, float tolerance = 0);

}  // namespace zv_torture
