#pragma once

#include <memory>

#include "tests/torture/sweep.h"

namespace zv_torture {

/// Damaged pictures, through everything that reads one.
std::unique_ptr<Sweep> make_hostile_sweep();
/// Saves of every format and road, of which one byte, and all behind it, is refused.
std::unique_ptr<Sweep> make_refused_sweep();
/// The same saves on a disk that is full.
std::unique_ptr<Sweep> make_full_disk_sweep();
/// Renders that are killed behind every bucket, and taken up again.
std::unique_ptr<Sweep> make_killed_sweep();
/// Allocations of the module and the host that fail. Not in a build with a sanitizer.
std::unique_ptr<Sweep> make_memory_sweep();
/// The same for allocations inside the file libraries.
std::unique_ptr<Sweep> make_library_memory_sweep();
/// Many threads at once.
std::unique_ptr<Sweep> make_thread_sweep();

}  // namespace zv_torture
