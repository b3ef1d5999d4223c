#pragma once

#include "host/core/core_string.h"

/// Questions to the file system, and the pieces of paths. Separators are '/'; '\' is one only for
/// `format_path`.
///
/// For every path, folder + separator + filename names the same file as the path.
/// Errors   none: what cannot be known is false or empty
/// Threads  any
class SysFilesystem {
public:
    /// True for what exists and can be read as a file: a folder is none.
    static bool file_exists(CoreString const& path);
    /// Time of the last change in nanoseconds since 1970, the nearest that 64 bits can tell; false, and
    /// `time` untouched, if it is unknown.
    static bool get_file_modification_time(CoreString const& path, long long& time);

    /// What stands behind the last separator.
    static CoreString get_filename(CoreString const& path);
    /// What stands before the last separator: "." for a bare name, empty for a file in the root.
    static CoreString get_folder(CoreString const& path);
    static CoreString get_folder_separator();
    /// The path from the root on; a relative one starts in the current folder. An empty path stays empty.
    static CoreString get_full_file_path(CoreString const& path);
    /// Writes the path in its shortest form: '/' for '\', no doubled separators, no "." pieces, no ".." that
    /// a piece before it can answer, no separator at the end but the root's.
    static void format_path(CoreString& path);
};
