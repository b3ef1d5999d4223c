#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace zv_torture {

/// Runs a program without output, which ends when this one does. Gives its exit code, or 128 and the number of the signal
/// that ended it; 127 if there is no such program, -1 if it does not start.
inline int run_program(std::vector<std::string> words)
{
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t const parent = getpid();
    pid_t const process = fork();
    if (process == 0) {
        // Nobody else would end it: whoever ends a process that is stuck does not know what it waits for.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        int const nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (getppid() != parent || dup2(nowhere, STDOUT_FILENO) < 0 || dup2(nowhere, STDERR_FILENO) < 0)
            _exit(127);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    int status = 0;
    if (process < 0 || waitpid(process, &status, 0) != process)
        return -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace zv_torture
