#pragma once

#include "host/core/core_string.h"
#include "host/core/core_version.h"
#include "host/parser/parser_entry.h"

#include <vector>

class AppProgressBar;

/// The version of the text syntax that `ParserGroup::set_text` is given by those who have no other wish.
extern CoreVersion const default_parser_serial_version;

/// A list of named entries, read from a text; docs/text-syntax.md tells the syntax.
///
/// Errors   a text with an error leaves the group without entries; the place and the kind of the first error
///          are kept
/// Owns     its entries, which stay where they are until the next `set_text`
class ParserGroup {
public:
    /// Groups may lie in each other so deep.
    static constexpr unsigned int kDepthLimit = 64;

    explicit ParserGroup(CoreString const& name);
    ParserGroup(ParserGroup&&) noexcept;
    ParserGroup& operator=(ParserGroup&&) noexcept;
    ~ParserGroup();

    CoreString const& get_name() const noexcept { return m_name; }

    /// Replaces the entries with those of `text`, in its order. False after an error, or for a version whose
    /// major number is above `default_parser_serial_version`'s. The bar, which may be null, goes from 0 to 1.
    bool set_text(CoreString const& text, CoreVersion const& version, AppProgressBar* progress);

    unsigned int get_entry_count() const noexcept { return static_cast<unsigned int>(m_entries.size()); }
    /// The entry at that index, or the first of that name; null where there is none.
    ParserEntry* get_entry(unsigned int index) const noexcept;
    ParserEntry* get_entry(CoreString const& name) const noexcept;

    ParserEntry& add_entry(CoreString const& name);

    /// Line and column (in bytes) of the first error of the last `set_text`, counted from 1, and what it was;
    /// 0, 0 and empty without one.
    unsigned int get_error_line() const noexcept { return m_error_line; }
    unsigned int get_error_column() const noexcept { return m_error_column; }
    CoreString const& get_error_text() const noexcept { return m_error_text; }

private:
    CoreString m_name;
    std::vector<std::unique_ptr<ParserEntry>> m_entries;
    unsigned int m_error_line = 0;
    unsigned int m_error_column = 0;
    CoreString m_error_text;
};
