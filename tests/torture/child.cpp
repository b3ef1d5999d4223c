#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <stdexcept>

#include "host/core/core_log_handler.h"
#include "tests/torture/allocations.h"
#include "tests/torture/driver.h"
#include "tests/torture/ends.h"
#include "tests/torture/sanitizers.h"

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

/// (number * step) % all without an overflow.
long long number_of(long long number, long long step, long long all)
{
    __extension__ using Wide = __int128;
    return static_cast<long long>(static_cast<Wide>(number) * step % all);
}

void run_cases(Sweep& sweep, Notes& notes, Share const& share)
{
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(share.seconds);
    long long const all = notes.case_count;
    for (long long at = 0; at < share.count; ++at) {
        if (at > 0 && std::chrono::steady_clock::now() > end)
            break;
        long long const number =
            sweep.is_in_order() ? share.first + at : number_of(share.first + at, share.step, all);
        notes.begin_case(at, sweep.describe(number));
        limit_processor_time(sweep.processor_seconds() * (kIsSanitized ? 10 : 1));
        run_case(sweep, number, notes);
    }
    limit_processor_time(0);
}

}  // namespace

void run_child(std::string const& name, Orders const& orders, std::string const& notes_path,
               Share const& share)
{
    SharedNotes const notes(notes_path);
    try {
        watch_ends(*notes);
        watch_sanitizer(*notes);
        if (!std::freopen("/dev/null", "w", stderr))  // the libraries' own words
            throw std::runtime_error("cannot silence the libraries");
        // All lines are formed, and nobody reads them.
        CoreLogHandler::s_main_log_handler.m_level = 3;
        CoreLogHandler::set_sink([](int, CoreString const&) {});
        auto const sweep = sweep_kind(name).make();
        if (share.is_preparation)
            sweep->prepare(orders, *notes);
        notes->case_count = sweep->begin(orders, *notes);
        if (share.is_guarded)
            guard_allocations();
        else if (!kIsSanitized)  // which needs more than any limit
            limit_memory(sweep->memory_megabytes());
        run_cases(*sweep, *notes, share);
        check_sanitizer();
        notes->is_done = true;
    } catch (std::exception const& exception) {
        notes->fault("no start: " + std::string(exception.what()));
        notes->is_done = true;
    }
    leave_process(0);
}

}  // namespace zv_torture
