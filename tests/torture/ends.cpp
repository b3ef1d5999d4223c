#include "tests/torture/ends.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/common_interface_defs.h>
#endif

namespace zv_torture {

namespace {

constexpr int kMaximumFrames = 96;
constexpr int kEndedBadly = 70;

Notes* s_notes = nullptr;
pthread_t s_main_thread;
std::array<char, 1 << 16> s_signal_stack;

char const* base_name(char const* path)
{
    char const* const slash = std::strrchr(path, '/');
    return slash ? slash + 1 : path;
}

bool begins_with(char const* text, char const* begin)
{
    return std::strncmp(text, begin, std::strlen(begin)) == 0;
}

bool is_system(char const* library)
{
    for (char const* name : {"libc.so", "libm.so", "libstdc++", "libgcc_s", "ld-linux", "linux-vdso",
                             "libpthread", "libasan", "libtsan", "libubsan"})
        if (begins_with(library, name))
            return true;
    return false;
}

/// What a handler may say without memory of its own.
struct Place {
    char text[256] = "unknown";
    bool is_ours = false, is_system = false;
};

Place place_of(void* address)
{
    Place place;
    Dl_info info{};
    if (!dladdr(address, &info) || !info.dli_fname)
        return place;
    char const* const library = base_name(info.dli_fname);
    place.is_ours = begins_with(library, "libzv_") || begins_with(library, "zv_torture");
    place.is_system = is_system(library);
    if (info.dli_sname)
        std::snprintf(place.text, sizeof place.text, "%s: %s", library, info.dli_sname);
    else
        std::snprintf(place.text, sizeof place.text, "%s+0x%zx", library,
                      std::size_t(static_cast<char*>(address) - static_cast<char*>(info.dli_fbase)));
    return place;
}

/// Notes the innermost frame that is neither the C library nor one of the first `skipped`.
void note_end(EndKind kind, int skipped)
{
    int expected = END_NONE;
    if (!s_notes || !s_notes->end_kind.compare_exchange_strong(expected, kind))
        return;
    void* frames[kMaximumFrames];
    int const count = backtrace(frames, kMaximumFrames);
    for (int i = skipped; i < count; ++i) {
        Place const place = place_of(frames[i]);
        if (place.is_system)
            continue;
        std::memcpy(s_notes->end_frame, place.text, sizeof place.text);
        s_notes->end_is_ours = place.is_ours;
        // This program stands in front of the allocator and behind everything: it is to blame where nobody else is.
        if (!begins_with(place.text, "zv_torture"))
            return;
    }
}

// note_end and the handler itself.
constexpr int kHandlerFrames = 2;

void on_crash(int signal)
{
    note_end(END_SIGNAL, kHandlerFrames);
    _exit(128 + signal);
}

void on_time(int)
{
    // The load runs on the main thread, and waits there for others.
    if (!pthread_equal(pthread_self(), s_main_thread)) {
        pthread_kill(s_main_thread, SIGPROF);
        return;
    }
    note_end(END_TIME, kHandlerFrames);
    _exit(kEndedBadly);
}

void on_exit_call()
{
    note_end(END_EXIT, kHandlerFrames);
    _exit(kEndedBadly);
}

void handle(int signal, void (*handler)(int))
{
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_ONSTACK;
    sigaction(signal, &action, nullptr);
}

}  // namespace

void watch_ends(Notes& notes)
{
    s_notes = &notes;
    s_main_thread = pthread_self();
    void* warm_up[4];
    backtrace(warm_up, 4);  // loads what it needs
    stack_t stack{};
    stack.ss_sp = s_signal_stack.data();
    stack.ss_size = s_signal_stack.size();
    sigaltstack(&stack, nullptr);
    for (int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS})
        handle(signal, on_crash);
    handle(SIGPROF, on_time);
    rlimit const no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
#if defined(__SANITIZE_ADDRESS__)
    // It ends the process when it has told what it found.
    __sanitizer_set_death_callback([] { note_end(END_SIGNAL, 1); });
#endif
    std::atexit(on_exit_call);
}

void limit_processor_time(int seconds)
{
    itimerval const timer{{0, 0}, {seconds, 0}};
    setitimer(ITIMER_PROF, &timer, nullptr);
}

void leave_process(int code)
{
    std::fflush(nullptr);
    _exit(code);
}

Frame frame_of(void* address)
{
    Place const place = place_of(address);
    return {place.text, place.is_ours, place.is_system};
}

}  // namespace zv_torture
