#include "tests/torture/sweeps.h"
namespace zv_torture {
std::unique_ptr<Sweep> make_thread_sweep() { return nullptr; }
}
