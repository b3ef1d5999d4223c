#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "tests/torture/sweep.h"

namespace zv_torture {

/// A way in which a library ended the process.
struct LibraryEnd {
    int count = 0;
    std::string example;
};

/// What came out of all children of one sweep.
struct Result {
    long long cases = 0, all_cases = 0;
    int processes = 0;
    std::map<std::string, std::map<std::string, unsigned long long>> rows;  // row, outcome, count
    std::map<std::string, LibraryEnd> library_ends;                         // by "crash in libfoo: frame"
    std::vector<std::string> faults;

    [[nodiscard]] bool is_good() const { return faults.empty(); }
};

/// Runs the cases of a sweep in child processes, until all were run or the time is over; spread over all of them if they
/// do not fit. A case that ends its process is run again alone, and those behind it in a new process.
/// Several processes work at once where the cases do not mind.
Result drive(std::string const& sweep, Orders const& orders, std::chrono::milliseconds time,
             long long most_cases = -1);

/// A child's part of the cases: those numbered `first` to below `first + count`, times `step`, until the time is over.
struct Share {
    long long first = 0, count = 0, step = 1;
    long long seconds = 0;
    bool is_preparation = false;
    bool is_guarded = false;  // with guarded memory
};

/// The other side: a child of `drive`. Never returns.
[[noreturn]] void run_child(std::string const& sweep, Orders const& orders, std::string const& notes_path,
                            Share const& share);

}  // namespace zv_torture
