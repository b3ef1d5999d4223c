#include "tests/torture/ends.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <ucontext.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/common_interface_defs.h>
#endif

#include "tests/torture/guard_pages.h"
#include "tests/torture/working_thread.h"

namespace zv_torture {

namespace {

constexpr int kMaximumFrames = 96;
constexpr int kEndedBadly = 70;

Notes* s_notes = nullptr;
pthread_t s_main_thread;
std::atomic<pid_t> s_asked_thread = 0;  // for whom the main thread waits
double s_processor_seconds = 0, s_main_begin = 0;
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

/// This program, or the test of its judge.
bool is_program(char const* name)
{
    return begins_with(name, "zv_torture") || begins_with(name, "zv_tests_");
}

/// What only does what others ask for, or runs what they hand to it.
bool is_system(char const* library)
{
    for (char const* name : {"libc.so", "libm.so", "libstdc++", "libgcc_s", "ld-linux", "linux-vdso",
                             "libpthread", "libasan", "libtsan", "libubsan", "libtbb.so"})
        if (begins_with(library, name))
            return true;
    return false;
}

/// What a handler may say without memory of its own.
struct Place {
    char text[256] = "unknown";
    bool is_known = false, is_ours = false, is_system = false;
};

Place place_of(void* address)
{
    Place place;
    Dl_info info{};
    if (!dladdr(address, &info) || !info.dli_fname)
        return place;
    char const* const library = base_name(info.dli_fname);
    place.is_known = true;
    place.is_ours = begins_with(library, "libzv_") || is_program(library);
    place.is_system = is_system(library);
    if (info.dli_sname)
        std::snprintf(place.text, sizeof place.text, "%s: %s", library, info.dli_sname);
    else
        std::snprintf(place.text, sizeof place.text, "%s+0x%zx", library,
                      std::size_t(static_cast<char*>(address) - static_cast<char*>(info.dli_fbase)));
    return place;
}

/// Says whose fault it was; true once that is settled.
bool blame(void* address)
{
    Place const place = place_of(address);
    if (!place.is_known || place.is_system)
        return false;
    if (is_program(place.text) && is_program(s_notes->end_frame))
        return false;  // the innermost of its frames stands
    std::memcpy(s_notes->end_frame, place.text, sizeof place.text);
    s_notes->end_is_ours = place.is_ours;
    // This program stands in front of the allocator and behind everything: it is to blame where nobody else is.
    return !is_program(place.text);
}

/// Notes the innermost frame that is neither the C library nor one of the first `skipped`. A stack that leads to nobody is
/// ours: who jumps to nowhere, or spoils the stack, leaves none.
void note_end(EndKind kind, int skipped, void* caller = nullptr)
{
    int expected = END_NONE;
    if (!s_notes || !s_notes->end_kind.compare_exchange_strong(expected, kind))
        return;
    std::strcpy(s_notes->end_frame, "nowhere");
    s_notes->end_is_ours = true;
    if (caller && blame(caller))
        return;
    void* frames[kMaximumFrames];
    int const count = backtrace(frames, kMaximumFrames);
    for (int i = skipped; i < count; ++i)
        if (blame(frames[i]))
            return;
}

/// Who called what is no code: the stack cannot be walked from there, but its last word says where to return to.
void* caller_of_nowhere([[maybe_unused]] void* context)
{
#if defined(__x86_64__)
    auto const& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    if (!place_of(reinterpret_cast<void*>(registers[REG_RIP])).is_known)
        return *reinterpret_cast<void**>(registers[REG_RSP]);
#endif
    return nullptr;
}

// note_end and the handler itself.
constexpr int kHandlerFrames = 2;

void on_crash(int signal, siginfo_t* info, void* context)
{
    if (s_notes && s_notes->end_kind == END_NONE)
        s_notes->end_is_guarded = signal == SIGSEGV && is_guarded(info->si_addr);
    note_end(END_SIGNAL, kHandlerFrames, signal == SIGSEGV ? caller_of_nowhere(context) : nullptr);
    _exit(128 + signal);
}

double seconds_of_this_thread()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) * 1e-9;
}

/// The case runs on the main thread. Where that waits for one that works, that one is asked.
void on_time(int, siginfo_t*, void*)
{
    bool const is_main = pthread_equal(pthread_self(), s_main_thread);
    if (!is_main && s_asked_thread != gettid()) {
        pthread_kill(s_main_thread, SIGPROF);
        return;
    }
    if (is_main && s_asked_thread == 0 &&
        seconds_of_this_thread() - s_main_begin < s_processor_seconds * 0.5) {
        s_asked_thread = working_thread();
        if (s_asked_thread != 0 && tgkill(getpid(), s_asked_thread, SIGPROF) == 0)
            sleep(1);  // it ends the process
    }
    note_end(END_TIME, kHandlerFrames);
    _exit(kEndedBadly);
}

void on_exit_call()
{
    note_end(END_EXIT, kHandlerFrames);
    _exit(kEndedBadly);
}

void handle(int signal, void (*handler)(int, siginfo_t*, void*))
{
    struct sigaction action {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_ONSTACK | SA_SIGINFO;
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
    s_processor_seconds = seconds;
    s_main_begin = seconds_of_this_thread();
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
