// OpenImageIO takes and gives back a buffer of 64 MB for every few lines that it reads, however small the picture is. To mark
// so much memory as taken and as free is most of what the address sanitizer then does. These blocks are kept out of its sight
// and used again; an overflow of one would have to be found with a smaller picture's buffer.

#include <sys/mman.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t kLarge = std::size_t(1) << 26;
constexpr std::size_t kMapped = kLarge + (std::size_t(1) << 20);
constexpr int kBlocks = 4;

struct Block {
    std::atomic<bool> is_taken;
    std::atomic<void*> memory;
};
Block blocks[kBlocks];

bool is_for_blocks(std::size_t size)
{
    // The library divides 64 MB by the bytes of a line and multiplies again.
    return size > kLarge - kLarge / 8 && size <= kMapped;
}

void* take_block()
{
    for (Block& block : blocks) {
        if (block.is_taken.exchange(true))
            continue;
        if (!block.memory) {
            void* const memory = mmap(nullptr, kMapped, PROT_READ | PROT_WRITE,
                                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
            if (memory == MAP_FAILED) {
                block.is_taken = false;
                return nullptr;
            }
            block.memory = memory;
        }
        return block.memory;
    }
    return nullptr;
}

bool give_back(void* memory)
{
    for (Block& block : blocks)
        if (memory && block.memory == memory) {
            block.is_taken = false;
            return true;
        }
    return false;
}

}  // namespace

void* operator new[](std::size_t size, std::nothrow_t const&) noexcept
{
    if (is_for_blocks(size))
        if (void* const block = take_block())
            return block;
    return std::malloc(size ? size : 1);
}

void* operator new[](std::size_t size)
{
    if (void* const memory = operator new[](size, std::nothrow))
        return memory;
    throw std::bad_alloc();
}

void operator delete[](void* memory) noexcept
{
    if (!give_back(memory))
        std::free(memory);
}

void operator delete[](void* memory, std::nothrow_t const&) noexcept
{
    if (!give_back(memory))
        std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    if (!give_back(memory))
        std::free(memory);
}
