#include "tests/torture/working_thread.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zv_torture {

namespace {

constexpr char kTasks[] = "/proc/self/task";

/// R for one that works, as the kernel says it.
char state_of(pid_t thread)
{
    char path[64], text[256] = {};
    std::snprintf(path, sizeof path, "%s/%d/stat", kTasks, int(thread));
    int const file = open(path, O_RDONLY | O_CLOEXEC);
    ssize_t const length = file < 0 ? 0 : read(file, text, sizeof text - 1);
    close(file);
    // "number (name) state ..."; the name may hold anything.
    char const* const name_end = length > 0 ? std::strrchr(text, ')') : nullptr;
    return name_end && name_end[1] == ' ' ? name_end[2] : 0;
}

}  // namespace

pid_t working_thread()
{
    // readdir needs memory, which a handler must not ask for.
    alignas(dirent64) char entries[4096];
    int const folder = open(kTasks, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    pid_t const self = gettid();
    pid_t found = 0;
    long length = 0;
    while (!found && (length = syscall(SYS_getdents64, folder, entries, sizeof entries)) > 0)
        for (long at = 0; at < length && !found;) {
            auto const* const entry = reinterpret_cast<dirent64 const*>(entries + at);
            pid_t const thread = std::atoi(entry->d_name);
            if (thread > 0 && thread != self && state_of(thread) == 'R')
                found = thread;
            at += entry->d_reclen;
        }
    close(folder);
    return found;
}

}  // namespace zv_torture
