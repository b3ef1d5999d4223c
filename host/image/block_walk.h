#pragma once

#include <cstddef>
#include <exception>

#if defined(ZV_PLAIN_THREADS)
#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>
#else
#include <tbb/blocked_range.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>
#endif

namespace zv_host {

/// Calls work(number, scratch) for each number below `count`, on all processors, each thread with a `Scratch`
/// of its own that lives for the whole walk. False if the walk could not be set up or the work threw.
///
/// ZV_PLAIN_THREADS walks with plain threads, for the thread sanitizer, which cannot see how oneTBB's library
/// hands work over.
template <class Scratch, class Work>
bool walk_blocks(std::size_t count, bool single_thread, Work const& work)
try {
    if (single_thread || count < 2) {
        Scratch scratch;
        for (std::size_t number = 0; number < count; ++number)
            work(number, scratch);
        return true;
    }
#if defined(ZV_PLAIN_THREADS)
    std::atomic<std::size_t> next{0};
    auto const walk = [&] {
        Scratch scratch;
        for (std::size_t number = next++; number < count; number = next++)
            work(number, scratch);
    };
    std::vector<std::jthread> helpers;
    for (std::size_t i = 1;
         i < std::min<std::size_t>(count, std::max(2u, std::thread::hardware_concurrency())); ++i)
        helpers.emplace_back(walk);
    walk();
#else
    tbb::enumerable_thread_specific<Scratch> scratches;
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, count),
                      [&](tbb::blocked_range<std::size_t> const& range) {
                          Scratch& scratch = scratches.local();
                          for (std::size_t number = range.begin(); number != range.end(); ++number)
                              work(number, scratch);
                      });
#endif
    return true;
} catch (...) {
    return false;
}

}  // namespace zv_host
