#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <exception>

#include "tests/torture/driver.h"
#include "tests/torture/ends.h"

namespace zv_torture {

namespace {

void limit_memory(int megabytes)
{
    if (megabytes <= 0)
        return;
    rlimit const limit{rlim_t(megabytes) << 20, rlim_t(megabytes) << 20};
    setrlimit(RLIMIT_AS, &limit);
}

/// What leaves the module as an exception is a fault whatever it is.
void run_case(Sweep& sweep, long long number, Notes& notes)
{
    try {
        sweep.run(number, notes);
    } catch (std::exception const& exception) {
        notes.fault("an exception escaped: " + std::string(exception.what()) + "  [" + notes.what + "]");
    } catch (...) {
        notes.fault("an exception escaped  [" + std::string(notes.what) + "]");
    }
}

void run_cases(Sweep& sweep, Notes& notes, long long first, long long count, long long step)
{
    long long const all = notes.case_count;
    for (long long at = 0; at < count; ++at) {
        long long const number = static_cast<long long>(__int128(first + at) * step % all);
        notes.begin_case(at, sweep.describe(number));
        limit_processor_time(sweep.processor_seconds());
        run_case(sweep, number, notes);
    }
    limit_processor_time(0);
}

}  // namespace

void run_child(std::string const& name, Orders const& orders, std::string const& notes_path, long long first,
               long long count, long long step, bool is_preparation)
{
    SharedNotes const notes(notes_path);
    try {
        watch_ends(*notes);
        auto const sweep = make_sweep(name);
        if (is_preparation)
            sweep->prepare(orders, *notes);
        notes->case_count = sweep->begin(orders, *notes);
        limit_memory(sweep->memory_megabytes());
        run_cases(*sweep, *notes, first, count, step);
        notes->is_done = true;
    } catch (std::exception const& exception) {
        notes->fault("no start: " + std::string(exception.what()));
        notes->is_done = true;
    }
    leave_process(0);
}

}  // namespace zv_torture
