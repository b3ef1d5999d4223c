#pragma once

#include <string>

#include "tests/torture/driver.h"

namespace zv_torture {

// The table that a run prints, as Markdown.

void print_heading(Orders const& orders);
void print_result(SweepKind const& kind, Result const& result);
void print_verdict(bool is_good, double seconds);

}  // namespace zv_torture
