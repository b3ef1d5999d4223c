#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "tools/document.h"
#include "tools/settings.h"

namespace zvio {

/// The command line as parsed: which command was chosen, and what it is to do.
struct CommandLine {
    Settings settings;
    std::string command;
    std::function<void(Document&)> run;
};

/// Adds a command with the common options. `run` lives as long as the parser; it should own the record that the options
/// of the command write into.
CLI::App& add_command(CLI::App& app, CommandLine& line, std::string const& name,
                      std::string const& description, std::function<void(Document&)> run);

}  // namespace zvio
