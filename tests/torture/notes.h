#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>

namespace zv_torture {

/// What a child process leaves behind, however it ends: a piece of memory that its parent sees, too.
///
/// Threads  any; a reader in another process sees whole labels only
struct Notes {
    static constexpr std::size_t kTallies = 320, kFaults = 24;

    /// A row of the table and an outcome, and how often it was met.
    struct Tally {
        std::atomic<int> state;  // 0 free, 1 being written, 2 good
        char row[64], outcome[192];
        std::atomic<unsigned long long> count;
    };

    std::atomic<long long> case_count;  // of the sweep
    std::atomic<long long> position;  // of the case that runs, in the order of the child; -1 before the first
    std::atomic<int> beats;           // grows with every step
    std::atomic<bool> is_done;

    std::atomic<int> end_kind;  // EndKind, written by the process that ends
    std::atomic<bool> end_is_ours;
    std::atomic<bool> end_is_guarded;  // by a touch of guarded memory that nobody may touch
    char end_frame[256];
    char what[256];  // the case that runs

    Tally tallies[kTallies];
    std::atomic<unsigned> fault_count;
    char faults[kFaults][512];

    void count(std::string_view row, std::string_view outcome, unsigned long long times = 1);
    /// Something that must not be: the run fails.
    void fault(std::string const& text);
    void begin_case(long long at, std::string const& description);
    void begin_step() { ++beats; }
};

enum EndKind : int { END_NONE = 0, END_SIGNAL = 1, END_TIME = 2, END_EXIT = 3 };

/// A mapped file that holds `Notes`, all zero when it is new.
class SharedNotes {
public:
    explicit SharedNotes(std::string const& path);
    ~SharedNotes();
    SharedNotes(SharedNotes const&) = delete;
    SharedNotes& operator=(SharedNotes const&) = delete;

    Notes& operator*() const { return *m_notes; }
    Notes* operator->() const { return m_notes; }

private:
    Notes* m_notes = nullptr;
};

}  // namespace zv_torture
