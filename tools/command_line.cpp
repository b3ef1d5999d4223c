#include "tools/command_line.h"

namespace zvio {

CLI::App& add_command(CLI::App& app, CommandLine& line, std::string const& name,
                      std::string const& description, std::function<void(Document&)> run)
{
    CLI::App& command = *app.add_subcommand(name, description);
    add_settings(command, line.settings);
    command.callback([&line, name, run = std::move(run)] {
        line.command = name;
        line.run = run;
    });
    return command;
}

}  // namespace zvio
