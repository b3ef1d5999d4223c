#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>

#include "host/core/core_log_handler.h"
#include "tests/torture/allocations.h"
#include "tests/torture/driver.h"
#include "tests/torture/ends.h"
#include "tests/torture/open_files.h"
#include "tests/torture/sanitizers.h"

namespace zv_torture {

namespace {

// What all cases of a process need first may take longer than one of them.
constexpr int kBeginSeconds = 120;

/// Address space, of which guarded memory has a part that it never uses.
void limit_memory(int megabytes, bool is_guarded)
{
    if (is_guarded)
        guard_allocations(std::size_t(megabytes) << 20);
    rlim_t const bytes = (rlim_t(megabytes) << 20) + (is_guarded ? guarded_room() : 0);
    rlimit const limit{bytes, bytes};
    if (!kIsSanitized)  // a sanitizer has a limit of its own
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

/// OpenImageIO's readers of these formats leave files open that they refuse.
bool is_left_open_by_a_library(std::string const& extension)
{
    return extension.starts_with(".rla") || extension.starts_with(".ico");
}

/// Files that are open now and were not before.
void check_open_files(Sweep const& sweep, long long number, std::map<std::string, int> const& before,
                      Notes& notes)
{
    for (auto const& [path, count] : open_files()) {
        auto const found = before.find(path);
        if (count <= std::max(found == before.end() ? 0 : found->second, sweep.kept_open(number, path)))
            continue;
        if (kIsSanitized && path.find("torture-report") != std::string::npos)  // its own words
            continue;
        std::string const extension = path.substr(std::min(path.rfind('.'), path.size()));
        if (sweep.has_refused_pictures() && is_left_open_by_a_library(extension))
            notes.count("files left open by a library", extension);
        else
            notes.fault("left open: " + path + "  [" + notes.what + "]");
    }
}

/// (begin + number * step) % all without an overflow: each seed begins elsewhere.
long long number_of(long long number, long long step, long long all, unsigned long long seed)
{
    __extension__ using Wide = __int128;
    auto const begin = static_cast<Wide>(seed * 0x9e3779b97f4a7c15u >> 1);
    return static_cast<long long>((begin + static_cast<Wide>(number) * step) % all);
}

void run_cases(Sweep& sweep, Notes& notes, Share const& share, unsigned long long seed)
{
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(share.seconds);
    long long const all = notes.case_count;
    for (long long at = 0; at < share.count; ++at) {
        if (at > 0 && std::chrono::steady_clock::now() > end)
            break;
        long long const number =
            sweep.is_in_order() ? share.first + at : number_of(share.first + at, share.step, all, seed);
        notes.begin_case(at, sweep.describe(number));
        limit_processor_time(sweep.processor_seconds() * kSlowness);
        auto const open_before = open_files();
        run_case(sweep, number, notes);
        check_open_files(sweep, number, open_before, notes);
    }
    limit_processor_time(0);
}

}  // namespace

void run_child(std::string const& name, Orders const& orders, std::string const& notes_path,
               Share const& share)
{
    // Who started it may be ended; nobody would wait for it then.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
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
        limit_processor_time(kBeginSeconds * kSlowness);
        if (share.is_preparation)
            sweep->prepare(orders, *notes);
        notes->case_count = sweep->begin(orders, *notes);
        limit_memory(sweep->memory_megabytes(), share.is_guarded);
        run_cases(*sweep, *notes, share, orders.seed);
        check_sanitizer();
        notes->is_done = true;
    } catch (std::exception const& exception) {
        notes->fault("no start: " + std::string(exception.what()));
        notes->is_done = true;
    }
    leave_process(0);
}

}  // namespace zv_torture
