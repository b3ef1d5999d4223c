#include <CLI/CLI.hpp>
#include <exception>

#include "image_io/frame/version.h"
#include "tools/command_line.h"
#include "tools/commands.h"

namespace {

using namespace zvio;

/// In the order in which the help lists them.
constexpr void (*kCommands[])(CLI::App& app, CommandLine& line) = {
    add_probe_command,   add_load_command,    add_pixels_command, add_convert_command, add_plan_command,
    add_render_command,  add_compare_command, add_verify_command, add_sheet_command,   add_name_command,
    add_formats_command, add_texture_command, add_share_command,  add_plates_command,  add_presets_command,
    add_events_command,  add_doctor_command,
};

/// Runs the command; what it throws becomes a failure in its document.
ExitCode run(CommandLine const& line)
{
    Document document(line.command, line.settings);
    try {
        Environment const environment(line.settings);
        line.run(document);
    } catch (CommandError const& error) {
        document.fail(error.code, error.code == EXIT_CODE_USAGE ? "usage" : "input", "", error.what());
    } catch (std::exception const& error) {
        document.fail(EXIT_CODE_FAILURE, "failure", "", error.what());
    }
    return document.finish() ? document.exit_code() : worse(document.exit_code(), EXIT_CODE_FAILURE);
}

bool asks_for_json(int argc, char** argv)
{
    for (int index = 1; index < argc; ++index)
        if (std::string(argv[index]) == "--json")
            return true;
    return false;
}

/// Help and version go to standard output; all else that ends the parsing is a mistake of the user's.
ExitCode end_parsing(CLI::App const& app, CLI::ParseError const& error, int argc, char** argv)
{
    if (error.get_exit_code() == 0) {
        app.exit(error);
        return EXIT_CODE_SUCCESS;
    }
    Settings settings;
    settings.json = asks_for_json(argc, argv);
    auto const chosen = app.get_subcommands();
    bool const is_unknown = chosen.empty() && argc > 1 && argv[1][0] != '-';
    std::string const text = is_unknown ? std::string("unknown command \"") + argv[1] + "\"" : error.what();
    Document document(chosen.empty() ? "" : chosen.front()->get_name(), settings);
    document.fail(EXIT_CODE_USAGE, "usage", "", text + " (zvio --help tells more)");
    document.finish();
    return EXIT_CODE_USAGE;
}

}  // namespace

int main(int argc, char** argv)
{
    CLI::App app{"Loads picture files into tiled canvases, tells what is in them and writes them out again.",
                 "zvio"};
    app.set_version_flag("--version", std::string("zvio ") + zv_image_io_version());
    app.require_subcommand(1);
    app.footer("Exit codes: 0 success, 1 failure, 2 usage, 3 input missing or unreadable, 4 nothing to save, "
               "5 not writable, 6 failed while writing, 7 damage, "
               "8 differences found, 130 interrupted.");
    CommandLine line;
    for (auto const add : kCommands)
        add(app, line);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return end_parsing(app, error, argc, argv);
    }
    return run(line);
}
