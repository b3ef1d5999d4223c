#pragma once

#include <cstddef>

namespace zv_torture {

// Memory whose end is the end of a page, in front of one that nobody may touch. Addresses are never used twice.

/// Whether memory of that size is to be of this kind; false until `guard_allocations`.
bool guards(std::size_t size);
/// Zeros; null if the room is used up.
void* guarded_memory(std::size_t size, std::size_t alignment);
/// Whether that lies in the room of such memory, be it given out, given back or in between.
bool is_guarded(void const* memory);
std::size_t guarded_size(void const* memory);
/// Ends the process by a touch of that memory if it was given back before.
void release_guarded(void* memory);

}  // namespace zv_torture
