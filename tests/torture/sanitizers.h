#pragma once

#include "tests/torture/notes.h"

namespace zv_torture {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kIsSanitized = true;
#else
inline constexpr bool kIsSanitized = false;
#endif
/// So many times longer may a case take.
inline constexpr int kSlowness = kIsSanitized ? 10 : 1;

/// From now on what a sanitizer finds goes into the notes: a fault where the innermost frames are ours, counted where a
/// library, which is built without one, has its part in it. Without a sanitizer nothing happens.
void watch_sanitizer(Notes& notes);
/// Looks for memory that was lost until now, and at the races that were told of.
void check_sanitizer();

}  // namespace zv_torture
