#include "tests/torture/sanitizers.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <string>

#include "tests/torture/ends.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace zv_torture {

namespace {

Notes* s_notes = nullptr;

#if defined(__SANITIZE_THREAD__)
constexpr int kMaximumFrames = 64, kMaximumReports = 512;

/// A report as it comes: nothing may be allocated while one is told.
struct Report {
    char description[64];
    int stack_count;
    void* stacks[4][kMaximumFrames];
};

std::array<Report, kMaximumReports> s_reports;
std::atomic<int> s_report_count = 0;

/// The innermost frame that is of no system library.
Frame innermost(void* const* frames)
{
    for (int i = 0; i < kMaximumFrames && frames[i]; ++i) {
        Frame frame = frame_of(frames[i]);
        if (!frame.is_system)
            return frame;
    }
    return {"unknown", false, true};
}

/// A report is ours if any side of it is: what the libraries do themselves is not looked at, and of a stack that is not known
/// any more nobody can say that it is theirs.
void judge(Report const& report, Notes& notes)
{
    bool is_ours = false;
    std::string text = std::string(report.description) + ": ";
    for (int i = 0; i < report.stack_count; ++i) {
        Frame const frame = innermost(report.stacks[i]);
        is_ours = is_ours || frame.is_ours;
        text += (i ? " and " : "") + frame.text;
    }
    if (is_ours)
        notes.fault(text);
    else
        notes.count("thread sanitizer, of a library", text);
}
#endif

}  // namespace

void watch_sanitizer(Notes& notes)
{
    s_notes = &notes;
}

void check_sanitizer()
{
#if defined(__SANITIZE_ADDRESS__)
    if (s_notes && __lsan_do_recoverable_leak_check())
        s_notes->fault("a leak, which the address sanitizer found");
#elif defined(__SANITIZE_THREAD__)
    for (int i = 0; s_notes && i < std::min(s_report_count.load(), kMaximumReports); ++i)
        judge(s_reports[std::size_t(i)], *s_notes);
    if (s_notes && s_report_count > kMaximumReports)
        s_notes->fault("the thread sanitizer tells more than can be kept");
#endif
}

}  // namespace zv_torture

#if defined(__SANITIZE_ADDRESS__)

/// Memory as limited as elsewhere. Whole stacks: the libraries keep no frame pointers, and who lost something stands far out.
extern "C" char const* __asan_default_options()
{
    return "allocator_may_return_null=1:soft_rss_limit_mb=8192:fast_unwind_on_malloc=0";
}

/// What the file libraries lose of their own, as in tests/support/leaks.supp: by the function that loses it, so that a reader
/// that is lost by us is told of.
extern "C" char const* __lsan_default_suppressions()
{
    return "leak:PNGInput::PngReadCallback\nleak:x265_malloc\n";
}

#endif

#if defined(__SANITIZE_THREAD__)

// The interface of the thread sanitizer's reports; there is no header for it.
extern "C" {
int __tsan_get_report_data(void* report, char const** description, int* count, int* stack_count,
                           int* access_count, int* place_count, int* mutex_count, int* thread_count,
                           int* unique_thread_count, void** sleep_trace, unsigned long trace_size);
int __tsan_get_report_mop(void* report, unsigned long index, int* thread, void** address, int* size,
                          int* is_write, int* is_atomic, void** trace, unsigned long trace_size);
int __tsan_get_report_stack(void* report, unsigned long index, void** trace, unsigned long trace_size);

char const* __tsan_default_options()
{
    return "exitcode=0:history_size=4:allocator_may_return_null=1:soft_rss_limit_mb=8192:"
           "report_mutex_bugs=0";
}

char const* __tsan_default_suppressions()
{
    return
#include "races.supp.inc"
        ;
}

void __tsan_on_report(void* report)
{
    using namespace zv_torture;
    int const number = s_report_count++;
    if (number >= kMaximumReports)
        return;
    Report& kept = s_reports[std::size_t(number)];
    char const* description = "";
    int count = 0, stacks = 0, accesses = 0, places = 0, mutexes = 0, threads = 0, unique_threads = 0;
    void* sleep[1] = {};
    __tsan_get_report_data(report, &description, &count, &stacks, &accesses, &places, &mutexes, &threads,
                           &unique_threads, sleep, 1);
    for (std::size_t i = 0; i + 1 < sizeof kept.description && description[i]; ++i)
        kept.description[i] = description[i];
    kept.stack_count = std::min(accesses > 0 ? accesses : stacks, 4);
    for (int i = 0; i < kept.stack_count; ++i) {
        int thread = 0, size = 0, is_write = 0, is_atomic = 0;
        void* address = nullptr;
        if (accesses > 0)
            __tsan_get_report_mop(report, static_cast<unsigned long>(i), &thread, &address, &size, &is_write,
                                  &is_atomic, kept.stacks[i], kMaximumFrames);
        else
            __tsan_get_report_stack(report, static_cast<unsigned long>(i), kept.stacks[i], kMaximumFrames);
    }
}
}

#endif
