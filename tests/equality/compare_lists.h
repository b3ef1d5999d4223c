#pragma once

#include <string>
#include <vector>

#include "tests/equality/comparison.h"
#include "tests/support/log_capture.h"

namespace zv_equality {

/// The first places in which the two lists differ, under the name of what they hold.
void compare_lists(std::string const& what, std::vector<std::string> const& module,
                   std::vector<std::string> const& plain, Differences& differences);
/// Log lines as text, times in milliseconds made equal.
std::vector<std::string> texts_of(std::vector<zv_test::LogLine> const& lines);

}  // namespace zv_equality
