#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace zv_torture {

/// What a program may take; shorter than the silence after which the caller is taken for stuck, and it orphaned.
constexpr auto kMostRunTime = std::chrono::seconds(20);
constexpr int kHung = -2;

/// Runs a program without output. Gives its exit code, or 128 and the number of the signal that ended it; -1 if it does
/// not start, `kHung` if it had to be ended.
inline int run_program(std::vector<std::string> words)
{
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int stream : {STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_WRONLY, 0);
    pid_t process = 0;
    int const error = posix_spawn(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        return -1;
    int status = 0;
    auto const end = std::chrono::steady_clock::now() + kMostRunTime;
    while (waitpid(process, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > end) {
            kill(process, SIGKILL);
            waitpid(process, &status, 0);
            return kHung;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace zv_torture
