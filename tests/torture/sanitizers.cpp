#include "tests/torture/sanitizers.h"

#include <algorithm>
#include <string>

#include "tests/torture/ends.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace zv_torture {

namespace {

Notes* s_notes = nullptr;

#if defined(__SANITIZE_THREAD__)
constexpr int kMaximumFrames = 64;

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
#endif

}  // namespace

void watch_sanitizer(Notes& notes)
{
    s_notes = &notes;
}

void check_for_leaks()
{
#if defined(__SANITIZE_ADDRESS__)
    if (s_notes && __lsan_do_recoverable_leak_check())
        s_notes->fault("a leak, which the address sanitizer found");
#endif
}

}  // namespace zv_torture

#if defined(__SANITIZE_ADDRESS__)

/// What the file libraries lose of their own, which cannot be mended from outside: their readers leave with longjmp
/// (libpng, the JPEG library) or an exception (OpenEXR) while they hold memory.
extern "C" char const* __lsan_default_suppressions()
{
    return "leak:libOpenImageIO\nleak:libOpenEXR\nleak:libtiff\nleak:libpng\nleak:libheif\n";
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
    return "exitcode=0:log_path=/dev/null:history_size=4";
}

/// A race is ours if both accesses are: what one of our threads hands to a library's, or takes from it, is handed over
/// under locks and atomics of the library, which cannot be seen from outside.
void __tsan_on_report(void* report)
{
    using namespace zv_torture;
    if (!s_notes)
        return;
    char const* description = "";
    int count = 0, stacks = 0, accesses = 0, places = 0, mutexes = 0, threads = 0, unique_threads = 0;
    void* sleep[1] = {};
    __tsan_get_report_data(report, &description, &count, &stacks, &accesses, &places, &mutexes, &threads,
                           &unique_threads, sleep, 1);
    bool is_ours = true;
    std::string text;
    for (int i = 0; i < std::max(accesses, stacks); ++i) {
        void* frames[kMaximumFrames] = {};
        if (accesses > 0) {
            if (i >= accesses)
                break;
            int thread = 0, size = 0, is_write = 0, is_atomic = 0;
            void* address = nullptr;
            __tsan_get_report_mop(report, static_cast<unsigned long>(i), &thread, &address, &size, &is_write,
                                  &is_atomic, frames, kMaximumFrames);
        } else {
            __tsan_get_report_stack(report, static_cast<unsigned long>(i), frames, kMaximumFrames);
        }
        Frame const frame = innermost(frames);
        is_ours = is_ours && frame.is_ours;
        text += (i ? " and " : "") + frame.text;
    }
    if (is_ours)
        s_notes->fault(std::string(description) + ": " + text);
    else
        s_notes->count("thread sanitizer, of a library", std::string(description) + ": " + text);
}
}

#endif
