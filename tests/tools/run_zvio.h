#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace zv_test {

/// What a run of the program left.
struct ZvioRun {
    int exit_code = -1;  // 128 and the signal's number if one ended it
    std::string output;  // standard output
    std::string error;   // standard error

    nlohmann::json json() const { return nlohmann::json::parse(output); }
    std::vector<std::string> output_lines() const;
};

/// Runs zvio with these arguments, without a terminal and without $OCIO.
ZvioRun run_zvio(std::vector<std::string> const& arguments);
/// The same; `meanwhile` is called with the process's id once it runs.
ZvioRun run_zvio(std::vector<std::string> const& arguments,
                 std::function<void(int process)> const& meanwhile);

/// Codes of the document's warnings, in order.
std::vector<std::string> warning_codes(nlohmann::json const& document);

}  // namespace zv_test
