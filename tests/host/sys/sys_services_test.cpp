#include "host/sys/sys_memory.h"
#include "host/sys/sys_statistic.h"
#include "host/sys/sys_thread_lock.h"
#include "host/sys/sys_thread_lock_recursive.h"
#include "host/sys/sys_timer.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace {

struct SizeCase {
    char const* name;
    unsigned long long bytes;
    char const* text;
};

class SysStatisticReadableSize : public testing::TestWithParam<SizeCase> {};

TEST_P(SysStatisticReadableSize, IsNumberAndUnit)
{
    EXPECT_EQ(SysStatistic::get_readable_size(GetParam().bytes), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, SysStatisticReadableSize,
    testing::Values(SizeCase{"none", 0, "0 B"}, SizeCase{"largest_plain", 1023, "1023 B"},
                    SizeCase{"one_kilobyte", 1024, "1.0 KB"}, SizeCase{"and_a_half", 1536, "1.5 KB"},
                    SizeCase{"rounds_up_to_the_next_unit", 1024 * 1024 - 1, "1.0 MB"},
                    SizeCase{"megabytes", 5ull << 20, "5.0 MB"}, SizeCase{"gigabytes", 3ull << 30, "3.0 GB"},
                    SizeCase{"terabytes", 2ull << 40, "2.0 TB"},
                    SizeCase{"beyond", 18446744073709551615ull, "16777216.0 TB"}),
    [](auto const& run) { return run.param.name; });

/// Asks for the lock on another thread, without waiting.
template <class Lock>
bool is_free_elsewhere(Lock& lock)
{
    bool is_free = false;
    std::thread([&] {
        is_free = lock.lock(SysThreadLock::DURATION_TRY);
        if (is_free)
            lock.unlock();
    }).join();
    return is_free;
}

TEST(SysThreadLock, KeepsOthersOutUntilUnlocked)
{
    SysThreadLock lock;
    EXPECT_TRUE(lock.lock(SysThreadLock::Duration(1)));
    EXPECT_FALSE(is_free_elsewhere(lock));
    lock.unlock();
    EXPECT_TRUE(is_free_elsewhere(lock));
}

TEST(SysThreadLock, GuardsACountFromManyThreads)
{
    SysThreadLock lock;
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int k = 0; k < 1000; ++k) {
                lock.lock();
                ++count;
                lock.unlock();
            }
        });
    for (auto& thread : threads)
        thread.join();

    EXPECT_EQ(count, 4000);
}

TEST(SysThreadLock, ACopyIsANewFreeLock)
{
    SysThreadLock lock;
    lock.lock();
    SysThreadLock copy(lock);
    EXPECT_TRUE(copy.lock(SysThreadLock::DURATION_TRY));
    copy.unlock();
    copy = lock;
    EXPECT_TRUE(is_free_elsewhere(copy));
    EXPECT_FALSE(is_free_elsewhere(lock));
    lock.unlock();
}

TEST(SysThreadLockRecursive, IsTakenAgainByItsOwnThread)
{
    SysThreadLockRecursive lock;
    EXPECT_TRUE(lock.lock(SysThreadLock::Duration(1)));
    EXPECT_TRUE(lock.lock(SysThreadLock::Duration(1)));
    lock.unlock();
    EXPECT_FALSE(is_free_elsewhere(lock));
    lock.unlock();
    EXPECT_TRUE(is_free_elsewhere(lock));
}

TEST(SysThreadLockRecursive, ACopyIsANewFreeLock)
{
    SysThreadLockRecursive lock;
    lock.lock();
    SysThreadLockRecursive copy(lock);
    EXPECT_TRUE(is_free_elsewhere(copy));
    lock.unlock();
}

TEST(SysTimer, CountsMilliseconds)
{
    SysTimer const timer;
    double const first = timer.get_elapsed_time();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    double const second = timer.get_elapsed_time();

    EXPECT_GE(first, 0.0);
    EXPECT_GE(second - first, 20.0);
    EXPECT_LT(second, 60'000.0);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(SysMemory, GivesFreeHeapBack)
{
    // Many small blocks grow the heap itself; a few that stay keep its top from shrinking by itself.
    std::vector<std::unique_ptr<char[]>> blocks;
    for (int i = 0; i < 20'000; ++i)
        blocks.push_back(std::make_unique<char[]>(4096));
    for (std::size_t i = 0; i + 1 < blocks.size(); ++i)
        blocks[i].reset();
    auto const pages = [] {
        std::size_t size = 0, resident = 0;
        if (FILE* const file = std::fopen("/proc/self/statm", "r")) {
            if (std::fscanf(file, "%zu %zu", &size, &resident) != 2)
                resident = 0;
            std::fclose(file);
        }
        return resident;
    };
    std::size_t const before = pages();
    sys_release_unused_memory();

    EXPECT_LT(pages() + 10'000, before);
}
#endif

}  // namespace
