#include "tests/torture/allocations.h"

// The sanitizers have an allocator of their own in the place of ours: there nothing is counted, and nothing fails.

namespace zv_torture {

void enter_module() {}

void leave_module() {}

void guard_allocations(std::size_t) {}

std::size_t guarded_room()
{
    return 0;
}

}  // namespace zv_torture
