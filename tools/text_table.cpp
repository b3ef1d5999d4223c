#include "tools/text_table.h"

#include <algorithm>
#include <cstdio>

namespace zvio {

namespace {

/// Characters of a UTF-8 text: bytes that do not continue one.
std::size_t character_count(std::string const& text)
{
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

}  // namespace

TextTable::TextTable(int indent, std::vector<Align> columns)
    : m_indent(indent)
    , m_columns(std::move(columns))
{
}

std::string TextTable::text() const
{
    std::vector<std::size_t> widths;
    for (auto const& row : m_rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], character_count(row[column]));
    }
    std::string text;
    for (auto const& row : m_rows) {
        std::string line(static_cast<std::size_t>(m_indent), ' ');
        for (std::size_t column = 0; column < row.size(); ++column) {
            std::string const gap(widths[column] - character_count(row[column]), ' ');
            bool const right = column < m_columns.size() && m_columns[column] == RIGHT;
            line += (column ? "  " : "") + (right ? gap + row[column] : row[column] + gap);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

std::string window_text(int x, int y, int width, int height)
{
    return std::to_string(width) + " x " + std::to_string(height) + " at (" + std::to_string(x) + ", " +
           std::to_string(y) + ")";
}

std::string number_text(double number)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", number);
    return text;
}

std::string milliseconds_text(double milliseconds)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f ms", milliseconds);
    return text;
}

std::string count_text(unsigned long long count, std::string const& noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace zvio
