#pragma once

#include <span>

namespace zv_host {

/// A name that image files carry, and the names of that space in the usual configurations, in order of
/// preference.
struct FileColorName {
    char const* name;
    std::span<char const* const> candidates;
};

/// The table of docs/colour.md; upper and lower case count the same.
std::span<FileColorName const> file_color_names();

}  // namespace zv_host
