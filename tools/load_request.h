#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/image/image_canvas.h"
#include "image_io/load/image_load_options.h"
#include "image_io/load/image_load_report.h"
#include "tools/document.h"
#include "tools/terminal.h"

namespace CLI {
class App;
}
struct ImageHeader;

namespace zvio {

/// The options of the commands that load.
struct LoadRequest {
    std::string color_space = "auto";
    bool premultiply = false;
    int single_channel_mode = 1;
    bool force_alpha = false;
    std::vector<std::string> channels;  // empty: all, under their own names
    std::string repeat = "none,none";
};

/// `space_option` is what the option for the file's colour space is called.
void add_load_request(CLI::App& command, LoadRequest& request,
                      std::string const& space_option = "--color-space");

/// Ends a command that was given a colour space that there is not.
[[noreturn]] void refuse_color_space(std::string const& name);

/// True for two names of one space.
bool is_same_color_space(std::string const& first, std::string const& second);

/// Where a colour space name came from.
struct ColorSpaceChoice {
    std::string name;
    std::string rule;  // "option", "tag", "path", "extension", "default"
};

struct LoadedFile {
    std::unique_ptr<ImageCanvas> canvas;  // null: nothing to show; the document knows
    ImageLoadReport report;
    ColorSpaceChoice color_space;  // of the file
    std::string canvas_space;  // of the canvas: the working space, unless it was to stay in the file's own
};

/// Loads one file as the options say. What went wrong, or was lost, is in the document afterwards.
class Loader {
public:
    /// Throws CommandError for options that name what there is not.
    Loader(LoadRequest const& request, Settings const& settings, Document& document);

    /// Brings the file into the working space. A file whose colours are wanted in its own space afterwards stays in it:
    /// 8-bit samples do not go through another space unharmed.
    LoadedFile load(std::string const& path, std::string const& wanted_space = "");

private:
    ColorSpaceChoice choose_color_space(std::string const& path);
    void check_channel_names(std::string const& path, ImageHeader const& header);
    void tell_losses(std::string const& path, ImageLoadReport const& report);

    LoadRequest const& m_request;
    Settings const& m_settings;
    Document& m_document;
    TerminalApp m_app;
    CoreVector<CoreString> m_channels;
    ImagePixel::RepeatMode m_repeat_u, m_repeat_v;
};

}  // namespace zvio
