#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/torture/notes.h"

namespace zv_torture {

/// What a child is told.
struct Orders {
    std::string folder;  // of the run: files that are shared, and the child's own
    std::string corpus;  // pictures of one's own to damage; may be empty
    unsigned long long seed = 1;
    int seconds = 0;  // how long a case may go on that knows no other end
    int worker = 0;   // number of the child among those that run at once
};

/// A kind of trial, in numbered cases. All of it but `prepare` runs in child processes.
class Sweep {
public:
    virtual ~Sweep() = default;

    /// Makes the files that all children share; in the parent's folder, but in a child of its own.
    virtual void prepare(Orders const&, Notes&) {}
    /// What every child does first. Gives the number of cases.
    virtual long long begin(Orders const& orders, Notes& notes) = 0;
    /// A few words for the report.
    virtual std::string describe(long long number) const = 0;
    virtual void run(long long number, Notes& notes) = 0;

    /// How many cases one process takes, and the limits for them: processor seconds a case, seconds without a sign of life,
    /// megabytes of memory.
    virtual int cases_a_process() const { return 200; }
    virtual int processor_seconds() const { return 10; }
    virtual int silent_seconds() const { return 30; }
    virtual int memory_megabytes() const { return 8192; }
    /// How often a case may leave a file open: lookups of textures keep theirs, to look into them again.
    virtual int kept_open(long long /*number*/, std::string const& /*path*/) const { return 0; }
    /// Whether pictures are loaded here that their readers refuse.
    virtual bool has_refused_pictures() const { return false; }
    /// Whether several processes may run cases at once.
    virtual bool is_parallel() const { return false; }
    /// Whether the cases come in the order of their numbers, and not far apart from each other.
    virtual bool is_in_order() const { return false; }
};

/// A kind of trial as it is asked for, and its share of the time of a whole run.
struct SweepKind {
    char const* name;
    char const* what;  // for the table
    double share;
    std::unique_ptr<Sweep> (*make)();
};
std::vector<SweepKind> const& sweep_kinds();
/// Throws std::invalid_argument for an unknown name.
SweepKind const& sweep_kind(std::string const& name);

}  // namespace zv_torture
