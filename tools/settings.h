#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "tools/exit_code.h"

namespace CLI {
class App;
}

namespace zvio {

enum class ProgressMode { AUTO, ALWAYS, NEVER };

/// What every command takes.
struct Settings {
    bool json = false;
    bool strict = false;
    int log_level = 2;
    ProgressMode progress = ProgressMode::AUTO;
    std::string ocio_file;  // empty: $OCIO, else the built-in configuration
    int threads = 0;        // 0: all cores
    int max_image_mb = 0;   // 0: half of the machine's memory
};

/// Ends a command with a message and an exit code.
struct CommandError : std::runtime_error {
    CommandError(ExitCode exit_code, std::string const& text)
        : std::runtime_error(text)
        , code(exit_code)
    {
    }
    ExitCode code;
};

/// Adds the common options to a command.
void add_settings(CLI::App& command, Settings& settings);

/// Takes them into effect for the process: thread pools, the largest picture, the colour configuration. Throws
/// CommandError for a colour configuration that cannot be used.
class Environment {
public:
    explicit Environment(Settings const& settings);
    ~Environment();
    Environment(Environment const&) = delete;
    Environment& operator=(Environment const&) = delete;

private:
    struct Pools;
    std::unique_ptr<Pools> m_pools;
};

}  // namespace zvio
