#include <CLI/CLI.hpp>
#include <exception>
#include <functional>
#include <iostream>
#include <iterator>

#include "image_io/frame/version.h"
#include "tools/commands.h"

namespace {

using namespace zvio;

/// The command line as parsed: which command, and what it is to do.
struct CommandLine {
    Settings settings;
    LoadRequest load;
    PixelsRequest pixels;
    std::vector<std::string> paths;
    std::string topic;
    std::string command;
    std::function<void(Document&)> run;
};

void add_command(CLI::App& app, CommandLine& line, std::string const& name, std::string const& description,
                 std::function<void(CLI::App&)> const& add_options, std::function<void(Document&)> run)
{
    CLI::App* const command = app.add_subcommand(name, description);
    add_options(*command);
    add_settings(*command, line.settings);
    command->callback([&line, name, run] {
        line.command = name;
        line.run = run;
    });
}

void add_commands(CLI::App& app, CommandLine& line)
{
    auto const add_paths = [&line](CLI::App& command) {
        command.add_option("FILE", line.paths, "Picture files")->required()->type_name("");
    };
    add_command(app, line, "probe", "Tell what files hold, from their headers", add_paths,
                [&line](Document& document) { run_probe(line.paths, document); });
    add_command(
        app, line, "load", "Load files and tell what came of it",
        [&](CLI::App& command) {
            add_paths(command);
            add_load_request(command, line.load);
        },
        [&line](Document& document) { run_load(line.paths, line.load, line.settings, document); });
    add_command(
        app, line, "pixels", "Load a file and write its colours as an interleaved file",
        [&](CLI::App& command) {
            command.add_option("FILE", line.pixels.path, "A picture file")->required()->type_name("");
            command
                .add_option("-o,--output", line.pixels.output_path,
                            "The file to write; its name tells the format")
                ->required()
                ->type_name("OUT");
            command.add_flag("--float", line.pixels.as_float, "Write 32-bit floats instead of bytes");
            command
                .add_option("--output-space", line.pixels.output_space,
                            "Colour space of the written samples (default: sRGB for bytes, the working space "
                            "for floats)")
                ->type_name("NAME");
            add_load_request(command, line.load);
        },
        [&line](Document& document) { run_pixels(line.pixels, line.load, line.settings, document); });
    add_command(
        app, line, "formats", "List the catalogue of formats",
        [&](CLI::App& command) {
            command
                .add_option("TOPIC", line.topic,
                            "load, save, compression, extensions or filters; all by default")
                ->check(CLI::IsMember(
                            std::vector<std::string>(std::begin(kFormatTopics), std::end(kFormatTopics)))
                            .description(""))
                ->type_name("");
        },
        [&line](Document& document) { run_formats(line.topic, document); });
}

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
    app.footer(
        "Exit codes: 0 success, 1 failure, 2 usage, 3 input missing or unreadable, 7 damage under --strict.");
    CommandLine line;
    add_commands(app, line);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return end_parsing(app, error, argc, argv);
    }
    return run(line);
}
