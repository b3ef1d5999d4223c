#pragma once

#include <string>
#include <vector>

#include "tools/document.h"
#include "tools/load_request.h"
#include "tools/settings.h"

namespace zvio {

/// Tells what the headers of files say.
void run_probe(std::vector<std::string> const& paths, Document& document);

/// Loads files and tells what came of it.
void run_load(std::vector<std::string> const& paths, LoadRequest const& request, Settings const& settings,
              Document& document);

struct PixelsRequest {
    std::string path;
    std::string output_path;
    bool as_float = false;
    std::string output_space;  // empty: sRGB for bytes where the configuration has it, else the default space
};

/// Loads a file and writes it as an interleaved one.
void run_pixels(PixelsRequest const& pixels, LoadRequest const& request, Settings const& settings,
                Document& document);

/// The tables of the format catalogue; `topic` is one of `kFormatTopics` or empty for all.
void run_formats(std::string const& topic, Document& document);
inline constexpr char const* kFormatTopics[] = {"load", "save", "compression", "extensions", "filters"};

/// A window as an object of x, y, width, height.
template <class Window>
Json window_json(Window const& window)
{
    return {{"x", window.x()}, {"y", window.y()}, {"width", window.width()}, {"height", window.height()}};
}

}  // namespace zvio
