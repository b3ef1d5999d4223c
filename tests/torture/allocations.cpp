#include "tests/torture/allocations.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <malloc.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "tests/torture/ends.h"
#include "tests/torture/guard_pages.h"
#include "tests/torture/live_table.h"

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace zv_torture {

namespace {

struct Range {
    std::uintptr_t begin, end;
    int kind;  // 0 ours, 1 a file library, 2 the C++ library or this program
};
constexpr int kMaximumRanges = 512, kMaximumFrames = 48;
Range s_ranges[kMaximumRanges];
int s_range_count = 0;

std::atomic<bool> s_is_armed = false, s_is_counting = false;
Asker s_asker = Asker::OURS;
std::atomic<long long> s_count = 0;
long long s_failing = -1;
bool s_for_ever = false;
std::atomic<bool> s_has_failed = false;
LiveTable s_live, s_library_live;
void* s_failed_frames[kMaximumFrames];
int s_failed_frame_count = 0;
thread_local bool t_is_inside = false;  // the unwinder may allocate

/// oneTBB is a library here, since it needs memory of its own, though in stacks it only does what others ask for.
int kind_of_library(char const* name)
{
    if (std::strstr(name, "libzv_"))
        return 0;
    for (char const* part : {"libc.so", "libm.so", "libstdc++", "libgcc_s", "ld-linux", "linux-vdso"})
        if (std::strstr(name, part))
            return 2;
    return name[0] == 0 ? 2 : 1;  // the program has no name
}

int add_library(dl_phdr_info* info, std::size_t, void*)
{
    for (int i = 0; i < info->dlpi_phnum && s_range_count < kMaximumRanges; ++i) {
        auto const& part = info->dlpi_phdr[i];
        if (part.p_type == PT_LOAD && (part.p_flags & PF_X))
            s_ranges[s_range_count++] = {info->dlpi_addr + part.p_vaddr,
                                         info->dlpi_addr + part.p_vaddr + part.p_memsz,
                                         kind_of_library(info->dlpi_name)};
    }
    return 0;
}

int kind_of(void* address)
{
    auto const at = reinterpret_cast<std::uintptr_t>(address);
    for (int i = 0; i < s_range_count; ++i)
        if (at >= s_ranges[i].begin && at < s_ranges[i].end)
            return s_ranges[i].kind;
    return 2;
}

Asker asker_of(void* caller)
{
    int kind = kind_of(caller);
    if (kind == 2) {
        void* frames[kMaximumFrames];
        int const count = backtrace(frames, kMaximumFrames);
        for (int i = 0; i < count && kind == 2; ++i)
            kind = kind_of(frames[i]);
    }
    return kind == 0 ? Asker::OURS : kind == 1 ? Asker::LIBRARY : Asker::OTHER;
}

/// What is known of one allocation before it is made.
struct Request {
    bool fails = false;
    LiveTable* owner = nullptr;  // who remembers it
};

Request judge(void* caller)
{
    if (!s_is_counting || t_is_inside)
        return {};
    t_is_inside = true;
    Asker const asker = asker_of(caller);
    t_is_inside = false;
    Request request;
    request.owner = asker == Asker::OURS ? &s_live : asker == Asker::LIBRARY ? &s_library_live : nullptr;
    if (asker == s_asker) {
        long long const number = s_count++;
        request.fails = s_failing >= 0 && (number == s_failing || (s_for_ever && number > s_failing));
        if (request.fails && !s_has_failed.exchange(true))
            s_failed_frame_count = backtrace(s_failed_frames, kMaximumFrames);
    }
    return request;
}

template <class Allocate>
void* allocate(void* caller, Allocate const& make)
{
    Request const request = judge(caller);
    void* const memory = request.fails ? nullptr : make();
    if (request.owner && memory)
        request.owner->add(memory);
    if (!memory)
        errno = ENOMEM;
    return memory;
}

void* plain(std::size_t size)
{
    return guards(size) ? guarded_memory(size, alignof(std::max_align_t)) : __libc_malloc(size);
}

void* aligned(std::size_t alignment, std::size_t size)
{
    return guards(size) && alignment <= 4096 ? guarded_memory(size, alignment)
                                             : __libc_memalign(alignment, size);
}

void forget(void* memory)
{
    s_live.remove(memory);
    s_library_live.remove(memory);
}

void release(void* memory)
{
    if (!memory)
        return;
    forget(memory);
    if (is_guarded(memory))
        release_guarded(memory);
    else
        __libc_free(memory);
}

void* cleared(std::size_t count, std::size_t size)
{
    std::size_t bytes = 0;
    if (__builtin_mul_overflow(count, size, &bytes))
        return nullptr;
    return guards(bytes) ? guarded_memory(bytes, alignof(std::max_align_t)) : __libc_calloc(count, size);
}

void* resized(void* memory, std::size_t size)
{
    if (!is_guarded(memory)) {
        forget(memory);
        return __libc_realloc(memory, size);
    }
    void* const other = plain(size);
    if (other)
        std::memcpy(other, memory, std::min(size, guarded_size(memory)));
    if (other || size == 0)
        release(memory);
    return other;
}

void* new_memory(void* caller, std::size_t size)
{
    return allocate(caller, [&] { return plain(size ? size : 1); });
}

void* new_aligned(void* caller, std::size_t size, std::align_val_t alignment)
{
    return allocate(caller, [&] { return aligned(std::size_t(alignment), size ? size : 1); });
}

void* or_throw(void* memory)
{
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

}  // namespace

void enter_module()
{
    s_is_counting = s_is_armed.load();
}

void leave_module()
{
    s_is_counting = false;
}

void learn_askers()
{
    s_range_count = 0;
    dl_iterate_phdr(add_library, nullptr);
    void* frames[4];
    backtrace(frames, 4);  // loads what it needs
}

void fail_allocation(Asker asker, long long number, bool for_ever)
{
    s_asker = asker;
    s_failing = number;
    s_for_ever = for_ever;
    s_count = 0;
    s_has_failed = false;
    s_is_armed = true;
}

void count_allocations(Asker asker)
{
    fail_allocation(asker, -1, false);
}

long long stop_counting()
{
    s_is_armed = s_is_counting = false;
    return s_count;
}

bool has_failed()
{
    return s_has_failed;
}

std::string failed_at()
{
    std::string text;
    for (int i = 0, found = 0; i < s_failed_frame_count && found < 4; ++i)
        if (kind_of(s_failed_frames[i]) != 2) {
            text += (found++ ? " < " : "") + frame_of(s_failed_frames[i]).text;
        }
    return text;
}

long long live_allocations()
{
    return s_live.count();
}

long long live_library_allocations()
{
    return s_library_live.count();
}

void forget_live_allocations()
{
    s_live.clear();
    s_library_live.clear();
}

}  // namespace zv_torture

using namespace zv_torture;

#define ZV_CALLER __builtin_return_address(0)

extern "C" {
void* malloc(std::size_t size)
{
    return allocate(ZV_CALLER, [&] { return plain(size); });
}
void* calloc(std::size_t count, std::size_t size)
{
    return allocate(ZV_CALLER, [&] { return cleared(count, size); });
}
void* realloc(void* memory, std::size_t size)
{
    return allocate(ZV_CALLER, [&] { return memory ? resized(memory, size) : plain(size); });
}
void* memalign(std::size_t alignment, std::size_t size)
{
    return allocate(ZV_CALLER, [&] { return aligned(alignment, size); });
}
void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return allocate(ZV_CALLER, [&] { return aligned(alignment, size); });
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size)
{
    *memory = allocate(ZV_CALLER, [&] { return aligned(alignment, size); });
    return *memory ? 0 : ENOMEM;
}
std::size_t malloc_usable_size(void* memory)
{
    if (memory && is_guarded(memory))
        return guarded_size(memory);
    static auto const real = reinterpret_cast<std::size_t (*)(void*)>(dlsym(RTLD_NEXT, "malloc_usable_size"));
    return memory ? real(memory) : 0;
}
void free(void* memory)
{
    release(memory);
}
}

void* operator new(std::size_t size)
{
    return or_throw(new_memory(ZV_CALLER, size));
}
void* operator new[](std::size_t size)
{
    return or_throw(new_memory(ZV_CALLER, size));
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept
{
    return new_memory(ZV_CALLER, size);
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept
{
    return new_memory(ZV_CALLER, size);
}
void* operator new(std::size_t size, std::align_val_t alignment)
{
    return or_throw(new_aligned(ZV_CALLER, size, alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment)
{
    return or_throw(new_aligned(ZV_CALLER, size, alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept
{
    return new_aligned(ZV_CALLER, size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept
{
    return new_aligned(ZV_CALLER, size, alignment);
}
void operator delete(void* memory) noexcept
{
    release(memory);
}
void operator delete[](void* memory) noexcept
{
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
    release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept
{
    release(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept
{
    release(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept
{
    release(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    release(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept
{
    release(memory);
}
void operator delete(void* memory, std::nothrow_t const&) noexcept
{
    release(memory);
}
void operator delete[](void* memory, std::nothrow_t const&) noexcept
{
    release(memory);
}
