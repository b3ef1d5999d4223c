#pragma once

#include "tools/document.h"

namespace CLI {
class App;
}

namespace zvio {

struct CommandLine;

/// Each adds one command of the program, with its options, to the parser; each stands in a file of its name.
void add_probe_command(CLI::App& app, CommandLine& line);
void add_load_command(CLI::App& app, CommandLine& line);
void add_pixels_command(CLI::App& app, CommandLine& line);
void add_convert_command(CLI::App& app, CommandLine& line);
void add_plan_command(CLI::App& app, CommandLine& line);
void add_render_command(CLI::App& app, CommandLine& line);
void add_compare_command(CLI::App& app, CommandLine& line);
void add_verify_command(CLI::App& app, CommandLine& line);
void add_sheet_command(CLI::App& app, CommandLine& line);
void add_name_command(CLI::App& app, CommandLine& line);
void add_formats_command(CLI::App& app, CommandLine& line);
void add_texture_command(CLI::App& app, CommandLine& line);
void add_share_command(CLI::App& app, CommandLine& line);
void add_plates_command(CLI::App& app, CommandLine& line);
void add_presets_command(CLI::App& app, CommandLine& line);
void add_events_command(CLI::App& app, CommandLine& line);
void add_doctor_command(CLI::App& app, CommandLine& line);

/// A window as an object of x, y, width, height.
template <class Window>
Json window_json(Window const& window)
{
    return {{"x", window.x()}, {"y", window.y()}, {"width", window.width()}, {"height", window.height()}};
}

}  // namespace zvio
