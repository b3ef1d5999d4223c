// Trials of the module under conditions that real nights bring: zv_torture [--minutes N] [--total-seconds N]
// [--corpus FOLDER] [--seed S] [--cases N] [--folder FOLDER] [SWEEP...]
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "tests/support/temp_dir.h"
#include "tests/torture/driver.h"
#include "tests/torture/report.h"
#include "tests/torture/sweeps.h"

namespace zv_torture {

namespace {

// At the end of its time a sweep still has a case or two to run again.
constexpr double kLastCases = 0.03;
// A sweep of one long case needs some time for its process to start, and for its files.
constexpr double kStartSeconds = 3;

struct Arguments {
    Orders orders;
    double seconds = 60;
    long long most_cases = -1;
    std::vector<std::string> sweeps;
    // Of a child.
    std::string child, notes;
    Share share;
};

Arguments parse(int count, char** words)
{
    Arguments result;
    for (int i = 1; i < count; ++i) {
        std::string const word = words[i];
        auto const value = [&]() -> std::string {
            if (++i >= count)
                throw std::invalid_argument(word + " needs a value");
            return words[i];
        };
        if (word == "--minutes")
            result.seconds = std::stod(value()) * 60;
        else if (word == "--total-seconds")
            result.seconds = std::stod(value());
        else if (word == "--corpus")
            result.orders.corpus = value();
        else if (word == "--seed")
            result.orders.seed = std::stoull(value());
        else if (word == "--cases")
            result.most_cases = std::stoll(value());
        else if (word == "--folder")
            result.orders.folder = value();
        else if (word == "--seconds")
            result.orders.seconds = std::stoi(value());
        else if (word == "--child")
            result.child = value();
        else if (word == "--worker")
            result.orders.worker = std::stoi(value());
        else if (word == "--notes")
            result.notes = value();
        else if (word == "--first")
            result.share.first = std::stoll(value());
        else if (word == "--count")
            result.share.count = std::stoll(value());
        else if (word == "--step")
            result.share.step = std::stoll(value());
        else if (word == "--seconds-left")
            result.share.seconds = std::stoll(value());
        else if (word == "--prepare")
            result.share.is_preparation = true;
        else if (word == "--guarded")
            result.share.is_guarded = true;
        else if (word[0] != '-')
            result.sweeps.push_back(word);
        else
            throw std::invalid_argument("unknown option " + word);
    }
    return result;
}

int run_sweeps(Arguments arguments)
{
    std::unique_ptr<zv_test::TempDir> own_folder;
    if (arguments.orders.folder.empty()) {
        own_folder = std::make_unique<zv_test::TempDir>();
        arguments.orders.folder = own_folder->path().string();
    }
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
        {"refused", "saves of which one byte, and all behind it, is refused", 1, make_refused_sweep},
        {"full-disk", "the same saves on a disk that is too small", 0.5, make_full_disk_sweep},
        {"killed", "renders that are killed behind a bucket", 1.5, make_killed_sweep},
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
        {"memory", "calls in which an allocation of the module fails", 1.5, make_memory_sweep},
        {"library-memory", "calls in which an allocation of a file library fails", 1,
         make_library_memory_sweep},
#endif
        {"threads", "16 threads at work at once", 1.5, make_thread_sweep},
        {"hostile", "damaged pictures", 10, make_hostile_sweep},
    };
    return kinds;
}

SweepKind const& sweep_kind(std::string const& name)
{
    for (SweepKind const& kind : sweep_kinds())
        if (name == kind.name)
            return kind;
    throw std::invalid_argument("there is no sweep " + name);
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
