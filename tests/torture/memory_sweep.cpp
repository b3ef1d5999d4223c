#include "tests/torture/sweeps.h"
namespace zv_torture {
std::unique_ptr<Sweep> make_memory_sweep() { return nullptr; }
std::unique_ptr<Sweep> make_library_memory_sweep() { return nullptr; }
}
