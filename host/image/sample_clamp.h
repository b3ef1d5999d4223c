#pragma once

#include <cstddef>

#include "host/image/sample_rows.h"

namespace zv_host {

/// Limits rows that begin `row_stride` samples apart; NaN stays. Samples inside the limits keep their bits.
/// Bounds are floats as `row_to_float` gives them. Returns true if a sample was changed.
bool clamp_rows(SampleKind kind, void* first, std::size_t row_stride, std::size_t width, std::size_t height,
                float low, float high);

}  // namespace zv_host
