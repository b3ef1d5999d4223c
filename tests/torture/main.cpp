// Trials of the module under conditions that real nights bring: zv_torture [--minutes N] [--total-seconds N]
// [--corpus FOLDER] [--seed S] [--cases N] [--folder FOLDER] [SWEEP...]
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "tests/support/temp_dir.h"
#include "tests/torture/arguments.h"
#include "tests/torture/report.h"
#include "tests/torture/sweeps.h"

namespace zv_torture {

namespace {

// At the end of its time a sweep still has a case or two to run again.
constexpr double kLastCases = 0.03;
// A sweep of one long case needs some time for its process to start, and for its files.
constexpr double kStartSeconds = 3;

int run_sweeps(Arguments arguments)
{
    std::unique_ptr<zv_test::TempDir> own_folder;
    if (arguments.orders.folder.empty()) {
        own_folder = std::make_unique<zv_test::TempDir>();
        arguments.orders.folder = own_folder->path().string();
    }
    if (!arguments.orders.corpus.empty() && !std::filesystem::is_directory(arguments.orders.corpus))
        throw std::invalid_argument("there is no folder " + arguments.orders.corpus);
    std::vector<SweepKind> kinds;
    for (std::string const& name : arguments.sweeps)
        kinds.push_back(sweep_kind(name));
    if (kinds.empty())
        kinds = sweep_kinds();
    double shares = 0;
    for (SweepKind const& kind : kinds)
        shares += kind.share;
    auto const start = std::chrono::steady_clock::now();
    bool is_good = true;
    print_heading(arguments.orders);
    for (SweepKind const& kind : kinds) {
        // The time that a sweep does not need goes to those behind it.
        std::chrono::duration<double> const used = std::chrono::steady_clock::now() - start;
        double const seconds =
            std::max(1.0, (arguments.seconds * (1 - kLastCases) - used.count()) * kind.share / shares);
        shares -= kind.share;
        Orders orders = arguments.orders;
        orders.seconds = std::max(1, int(seconds - kStartSeconds));
        Result const result =
            drive(kind.name, orders, std::chrono::milliseconds(int(seconds * 1000)), arguments.most_cases);
        print_result(kind, result);
        is_good = is_good && result.is_good();
    }
    std::chrono::duration<double> const used = std::chrono::steady_clock::now() - start;
    print_verdict(is_good, used.count());
    return is_good ? 0 : 1;
}

}  // namespace

std::vector<SweepKind> const& sweep_kinds()
{
    static std::vector<SweepKind> const kinds = {
        {"refused", "saves of which a byte is refused, with all behind it or once", 1, make_refused_sweep},
        {"full-disk", "the same saves on a disk that is too small", 0.5, make_full_disk_sweep},
        {"killed", "renders that are killed behind a bucket", 1.5, make_killed_sweep},
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
        {"memory", "calls in which an allocation of the module fails", 1.5, make_memory_sweep},
        {"library-memory", "calls in which an allocation of a file library fails", 1,
         make_library_memory_sweep},
#endif
        {"equality", "loads and saves beside the plain road", 1.5, make_equality_sweep},
        {"threads", "16 threads at work at once", 2.5, make_thread_sweep},
        {"hostile", "damaged pictures", 10, make_hostile_sweep},
    };
    return kinds;
}

}  // namespace zv_torture

int main(int count, char** words)
try {
    using namespace zv_torture;
    Arguments const arguments = parse(count, words);
    if (!arguments.child.empty())
        run_child(arguments.child, arguments.orders, arguments.notes, arguments.share);
    return run_sweeps(arguments);
} catch (std::exception const& exception) {
    std::cerr << "zv_torture: " << exception.what() << "\n";
    return 2;
}
