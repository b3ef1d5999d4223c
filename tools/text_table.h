#pragma once

#include <string>
#include <vector>

namespace zvio {

/// Rows of cells in aligned columns, two blanks apart.
class TextTable {
public:
    enum Align { LEFT, RIGHT };

    /// `indent` blanks in front of each row; columns without an entry in `columns` stand to the left.
    explicit TextTable(int indent, std::vector<Align> columns = {});

    void add(std::vector<std::string> cells) { m_rows.push_back(std::move(cells)); }
    /// A line each, without blanks at its end.
    std::string text() const;

private:
    int m_indent;
    std::vector<Align> m_columns;
    std::vector<std::vector<std::string>> m_rows;
};

/// "1920 x 1080 at (0, 0)".
std::string window_text(int x, int y, int width, int height);
/// Up to six significant digits.
std::string number_text(double number);
/// "12.3 ms".
std::string milliseconds_text(double milliseconds);
/// "s" behind all counts but 1: "1 row", "2 rows".
std::string count_text(unsigned long long count, std::string const& noun);

}  // namespace zvio
