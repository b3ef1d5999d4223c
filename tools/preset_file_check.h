#pragma once

#include <string>
#include <vector>

namespace zvio {

/// Something about a file of presets.
struct PresetProblem {
    bool is_fatal = false;  // the file is refused
    unsigned int line = 0;  // from 1; 0 where it is not known
    unsigned int column = 0;
    std::string text;

    /// "3:14: text", or the text alone.
    std::string full_text() const;
};

/// Looks at a file of presets as the application would, and says what it would only refuse or pass over.
std::vector<PresetProblem> check_preset_file(std::string const& path);

}  // namespace zvio
