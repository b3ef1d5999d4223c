#pragma once

#if defined(ZV_PLAIN_THREADS)
#include <thread>
#else
#include <oneapi/tbb/parallel_for.h>
#endif

namespace zvio {

/// Calls work(row) for each row, or band of rows, below `count`, on all threads that zvio may use.
///
/// With ZV_PLAIN_THREADS on two plain ones, for the thread sanitizer, which cannot see how oneTBB's library hands work over;
/// what the work throws then ends the process.
template <class Work>
void parallel_rows(int count, Work const& work)
{
#if defined(ZV_PLAIN_THREADS)
    auto const every_second = [&](int row) {
        for (; row < count; row += 2)
            work(row);
    };
    std::jthread const other(every_second, 1);
    every_second(0);
#else
    oneapi::tbb::parallel_for(0, count, work);
#endif
}

}  // namespace zvio
