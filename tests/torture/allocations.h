#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace zv_torture {

// The program has an allocator of its own in front of the system's. It does nothing special until it is told. In
// a build with a sanitizer it is not there.

/// Whose code asks for memory: what the C++ library and templates ask counts for who called them.
enum class Asker : int { OURS, LIBRARY, OTHER };

/// Runs a call of the module: only there allocations are counted and fail, on all threads.
void enter_module();
void leave_module();
template <class Call>
auto in_module(Call const& call)
{
    struct Inside {
        Inside() { enter_module(); }
        ~Inside() { leave_module(); }
    } const inside;
    return call();
}

/// Finds out where the libraries lie in memory; once, before what follows.
void learn_askers();

/// The `number`-th allocation of `asker` fails from now on, counted from 0, and all that follow if `for_ever`.
void fail_allocation(Asker asker, long long number, bool for_ever);
/// Only counts.
void count_allocations(Asker asker);
/// Ends both. Gives how many there were.
long long stop_counting();
/// Whether one failed since the counting began.
bool has_failed();

/// Where the first one failed: frames of the module and the host, innermost first.
std::string failed_at();

/// Allocations of the module and the host, made while counted, that are not free yet.
long long live_allocations();
/// The same of the file libraries: what they made for the module, and what they keep or lose of their own.
long long live_library_allocations();
/// Forgets all that there are.
void forget_live_allocations();

/// From now on what is 256 bytes or longer ends at a page that nobody may touch: who writes past the end ends the process at
/// once, and not whoever needs memory next. Freed memory stays out of reach. At most so many bytes of it at once.
void guard_allocations(std::size_t most_bytes);
/// Bytes of address space that this takes.
std::size_t guarded_room();

}  // namespace zv_torture
