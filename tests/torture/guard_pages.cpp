#include "tests/torture/guard_pages.h"

#include <sys/mman.h>

#include <atomic>
#include <cstdint>
#include <utility>

#include "tests/torture/allocations.h"

namespace zv_torture {

namespace {

constexpr std::size_t kPage = 4096, kRoom = std::size_t(1) << 38, kSmallest = 256;

std::uintptr_t s_begin = 0;
std::size_t* s_sizes = nullptr;  // of what begins in each page
std::atomic<std::size_t> s_used = 0, s_live = 0;
std::size_t s_most_live = 0;

void* reserve(std::size_t bytes, int protection)
{
    void* const memory = mmap(nullptr, bytes, protection, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

std::size_t page_of(void const* memory)
{
    return (reinterpret_cast<std::uintptr_t>(memory) - s_begin) / kPage;
}

std::size_t whole_pages(std::size_t size)
{
    return (size + kPage - 1) / kPage * kPage;
}

}  // namespace

void guard_allocations(std::size_t most_bytes)
{
    s_most_live = most_bytes;
    s_sizes = static_cast<std::size_t*>(reserve(kRoom / kPage * sizeof(std::size_t), PROT_READ | PROT_WRITE));
    if (s_sizes)
        s_begin = reinterpret_cast<std::uintptr_t>(reserve(kRoom, PROT_NONE));
}

std::size_t guarded_room()
{
    return kRoom + kRoom / kPage * sizeof(std::size_t);
}

bool guards(std::size_t size)
{
    return s_begin != 0 && size >= kSmallest;
}

void* guarded_memory(std::size_t size, std::size_t alignment)
{
    if (size > kRoom / 2)
        return nullptr;
    std::size_t const bytes = whole_pages(size);
    if (s_live.load() + bytes > s_most_live)
        return nullptr;
    std::size_t const at = s_used.fetch_add(bytes + kPage);
    if (at + bytes + kPage > kRoom)
        return nullptr;
    void* const pages = reinterpret_cast<void*>(s_begin + at);
    if (mprotect(pages, bytes, PROT_READ | PROT_WRITE) != 0)
        return nullptr;
    void* const memory = reinterpret_cast<void*>((s_begin + at + bytes - size) / alignment * alignment);
    s_sizes[page_of(memory)] = size;
    s_live += bytes;
    return memory;
}

bool is_guarded(void const* memory)
{
    auto const at = reinterpret_cast<std::uintptr_t>(memory);
    return s_begin != 0 && at >= s_begin && at < s_begin + kRoom;
}

std::size_t guarded_size(void const* memory)
{
    return s_sizes[page_of(memory)];
}

void release_guarded(void* memory)
{
    std::size_t& size = s_sizes[page_of(memory)];
    if (size == 0)  // given back twice: the touch ends the process here, where the stack tells by whom
        *static_cast<char volatile*>(memory) = 0;
    std::size_t const bytes = whole_pages(std::exchange(size, 0));
    s_live -= bytes;
    void* const pages = reinterpret_cast<void*>(s_begin + page_of(memory) * kPage);
    madvise(pages, bytes, MADV_DONTNEED);
    mprotect(pages, bytes, PROT_NONE);
}

}  // namespace zv_torture
