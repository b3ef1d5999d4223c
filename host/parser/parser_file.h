#pragma once

#include "host/core/core_string.h"
#include "host/parser/parser_group.h"

class AppProgressBar;

/// A text file of named entries.
///
/// Errors   a file that cannot be read, is larger than 4 MB or has an error in its syntax gives false and an
///          empty root
class ParserFile {
public:
    explicit ParserFile(CoreString const& path);

    /// Reads the file, or the one at `path` if that is not empty. Encrypted files are not known: any password
    /// but the empty one is refused. `progress` may be null.
    bool read(CoreString const& path, CoreString const& password, AppProgressBar* progress);

    ParserGroup& get_root() noexcept { return m_root; }
    ParserGroup const& get_root() const noexcept { return m_root; }

    /// Place and kind of the first error, as `ParserGroup` tells it; line 0 for a file that could not be
    /// read.
    unsigned int get_error_line() const noexcept;
    unsigned int get_error_column() const noexcept;
    CoreString const& get_error_text() const noexcept;

private:
    bool fail(char const* text);

    CoreString m_path;
    ParserGroup m_root;
    CoreString m_error_text;
};
