#pragma once

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace zv_bench {

/// Which clock tells the cost: of the process where one thread counts, on the wall where several do.
enum class Clock { processor, wall };

inline double seconds(Clock clock)
{
    timespec time{};
    clock_gettime(clock == Clock::processor ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC, &time);
    return double(time.tv_sec) + 1e-9 * double(time.tv_nsec);
}

/// Cost of `ours` divided by that of `floor`, over pairs that run one right behind the other.
struct PairedRatio {
    double median, lower_quartile, upper_quartile;
    double floor_seconds;  ///< median of the floor alone
};

/// The machines are shared: only neighbours in time can be compared, and who goes first takes turns. `prepare` runs in
/// front of each of both, off the clock.
template <class Floor, class Ours, class Prepare>
PairedRatio paired_ratio(Clock clock, int pairs, Floor&& floor, Ours&& ours, Prepare&& prepare)
{
    auto const cost = [&](auto& run) {
        prepare();
        double const start = seconds(clock);
        run();
        return seconds(clock) - start;
    };
    cost(floor);
    cost(ours);
    std::vector<double> ratios, floors;
    for (int i = 0; i < pairs; ++i) {
        double first = 0, second = 0;
        if (i % 2 == 0) {
            first = cost(floor);
            second = cost(ours);
        } else {
            second = cost(ours);
            first = cost(floor);
        }
        floors.push_back(first);
        ratios.push_back(second / first);
    }
    std::sort(ratios.begin(), ratios.end());
    std::sort(floors.begin(), floors.end());
    std::size_t const count = ratios.size();
    return {ratios[count / 2], ratios[count / 4], ratios[count * 3 / 4], floors[count / 2]};
}

inline void print_ratio(char const* name, PairedRatio const& ratio, double must, double aim)
{
    std::printf("| %-44s | %5.3f | %5.3f to %5.3f | %8.1f | %4.2f | %4.2f | %s |\n", name, ratio.median,
                ratio.lower_quartile, ratio.upper_quartile, ratio.floor_seconds * 1e3, must, aim,
                ratio.median <= must ? "yes" : "NO");
    std::fflush(stdout);
}

}  // namespace zv_bench
