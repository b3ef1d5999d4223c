#pragma once

#include "host/core/core_string.h"
#include "host/parser/parser_entry.h"

#include <cstddef>
#include <string_view>

class ParserGroup;

namespace zv_host {

/// Reads one text of named entries into a group; docs/text-syntax.md tells the syntax.
///
/// Bytes    any are safe; the reader looks at each a few times at most and nests no deeper than the depth
///          limit
/// Errors   reading stops at the first one, whose place and kind stay in the members
class TextReader {
public:
    explicit TextReader(std::string_view text);

    /// Adds all entries of the text to `root`; false after an error.
    bool read(ParserGroup& root);

    bool has_error() const noexcept { return !m_error_text.is_empty(); }
    unsigned int error_line() const noexcept { return m_error_line; }
    unsigned int error_column() const noexcept { return m_error_column; }
    CoreString const& error_text() const noexcept { return m_error_text; }

private:
    /// Entries up to the end of the text, or up to and with the brace that closes a group.
    void read_entries(ParserGroup& group, unsigned int depth);
    void read_entry(ParserGroup& group, unsigned int depth);
    void read_values(ParserEntry& entry, unsigned int depth);
    void read_value(ParserEntry& entry, unsigned int depth);
    void read_group(ParserEntry& entry, unsigned int depth);
    void read_character(ParserEntry& entry);
    void read_word(ParserEntry& entry);
    CoreString read_name();
    /// The text between two quotes of this kind; the first of them is next.
    CoreString read_quoted(char quote);
    char read_escape();

    void skip_blanks();
    /// Blanks, ends of lines, comments and semicolons.
    void skip_between_entries();
    /// Blanks, ends of lines and comments.
    void skip_lines();
    /// True if an entry ends here; the ends of lines before a brace that opens a group do not count.
    bool is_end_of_entry();

    bool is_at_end() const noexcept { return m_position >= m_text.size(); }
    /// The next byte, 0 at the end.
    char next() const noexcept { return is_at_end() ? '\0' : m_text[m_position]; }
    bool take(char character) noexcept;
    /// Notes the first error, at the byte `position`, and ends the reading.
    void fail(std::size_t position, char const* text);

    std::string_view m_text;
    std::size_t m_position = 0;
    unsigned int m_error_line = 0;
    unsigned int m_error_column = 0;
    CoreString m_error_text;
};

}  // namespace zv_host
