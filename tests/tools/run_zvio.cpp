#include "tests/tools/run_zvio.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>
#include <stdexcept>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"

namespace zv_test {

namespace {

void redirect(std::string const& path, int target)
{
    int const file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (file < 0 || dup2(file, target) < 0)
        _exit(126);
}

std::string content(std::string const& path)
{
    auto const bytes = file_bytes(path);
    return {bytes.begin(), bytes.end()};
}

}  // namespace

std::vector<std::string> ZvioRun::output_lines() const
{
    std::vector<std::string> lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

ZvioRun run_zvio(std::vector<std::string> const& arguments)
{
    return run_zvio(arguments, {});
}

ZvioRun run_zvio(std::vector<std::string> const& arguments, std::function<void(int process)> const& meanwhile)
{
    TempDir const folder;
    std::string const output = folder.file("output"), error = folder.file("error");
    std::vector<char*> words = {const_cast<char*>(ZVIO_PATH)};
    for (auto const& argument : arguments)
        words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);

    pid_t const process = fork();
    if (process < 0)
        throw std::runtime_error("cannot start a process");
    if (process == 0) {
        redirect(output, STDOUT_FILENO);
        redirect(error, STDERR_FILENO);
        unsetenv("OCIO");
        execv(ZVIO_PATH, words.data());
        _exit(127);
    }
    if (meanwhile)
        meanwhile(process);
    int status = 0;
    waitpid(process, &status, 0);
    int const exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return {exit_code, content(output), content(error)};
}

std::vector<std::string> warning_codes(nlohmann::json const& document)
{
    std::vector<std::string> codes;
    for (auto const& warning : document["warnings"])
        codes.push_back(warning["code"]);
    return codes;
}

}  // namespace zv_test
