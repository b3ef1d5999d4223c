#include "host/parser/text_reader.h"

#include "host/parser/parser_group.h"

#include <algorithm>
#include <charconv>
#include <memory>

namespace zv_host {

namespace {

bool is_blank(char character) noexcept
{
    return character == ' ' || character == '\t' || character == '\r';
}

/// Bytes that end a name or a word, beside the end of the text.
bool is_delimiter(char character) noexcept
{
    return is_blank(character) || std::string_view("\n,;={}#\"'").find(character) != std::string_view::npos;
}

bool is_control(char character) noexcept
{
    auto const byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7F;
}

int hexadecimal_digit(char character) noexcept
{
    if (character >= '0' && character <= '9')
        return character - '0';
    if (character >= 'a' && character <= 'f')
        return character - 'a' + 10;
    return character >= 'A' && character <= 'F' ? character - 'A' + 10 : -1;
}

}  // namespace

TextReader::TextReader(std::string_view text)
    : m_text(text)
{
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (m_text.starts_with(kByteOrderMark))
        m_text.remove_prefix(kByteOrderMark.size());
}

bool TextReader::read(ParserGroup& root)
{
    read_entries(root, 0);
    return !has_error();
}

void TextReader::read_entries(ParserGroup& group, unsigned int depth)
{
    for (;;) {
        skip_between_entries();
        if (is_at_end()) {
            if (depth > 0)
                fail(m_position, "a '}' is missing");
            return;
        }
        if (next() == '}') {
            if (depth == 0)
                fail(m_position, "a '}' without a '{'");
            ++m_position;
            return;
        }
        read_entry(group, depth);
    }
}

void TextReader::read_entry(ParserGroup& group, unsigned int depth)
{
    std::size_t const start = m_position;
    CoreString const name = read_name();
    if (has_error())
        return;
    if (name.is_empty()) {
        fail(start, "a name is missing");
        return;
    }
    ParserEntry& entry = group.add_entry(name);
    skip_blanks();
    bool const needs_value = take('=');
    read_values(entry, depth);
    if (needs_value && !entry.has_value())
        fail(m_position, "a value is missing behind '='");
}

void TextReader::read_values(ParserEntry& entry, unsigned int depth)
{
    while (!is_end_of_entry()) {
        read_value(entry, depth);
        skip_blanks();
        if (take(',')) {
            skip_lines();
            if (is_at_end() || next() == '}' || next() == ';' || next() == ',')
                fail(m_position, "a value is missing behind ','");
        }
    }
}

void TextReader::read_value(ParserEntry& entry, unsigned int depth)
{
    switch (next()) {
    case '{':
        read_group(entry, depth);
        break;
    case '"':
        entry.add_value(read_quoted('"'));
        break;
    case '\'':
        read_character(entry);
        break;
    default:
        read_word(entry);
    }
}

void TextReader::read_group(ParserEntry& entry, unsigned int depth)
{
    if (depth == ParserGroup::kDepthLimit) {
        fail(m_position, "groups lie too deep in each other");
        return;
    }
    ++m_position;
    auto group = std::make_unique<ParserGroup>(entry.get_name());
    read_entries(*group, depth + 1);
    entry.add_value(std::move(group));
}

void TextReader::read_character(ParserEntry& entry)
{
    std::size_t const start = m_position;
    CoreString const text = read_quoted('\'');
    if (text.get_count() == 1)
        entry.add_value(text.view().front());
    else
        fail(start, "a character is one byte between single quotes");
}

void TextReader::read_word(ParserEntry& entry)
{
    std::size_t const start = m_position;
    while (!is_at_end() && !is_delimiter(next()))
        ++m_position;
    std::string_view word = m_text.substr(start, m_position - start);
    if (word == "true" || word == "false") {
        entry.add_value(word == "true");
        return;
    }
    if (word.starts_with('+') && !word.starts_with("+-"))
        word.remove_prefix(1);
    char const* const end = word.data() + word.size();
    int integer = 0;
    if (auto const result = std::from_chars(word.data(), end, integer);
        result.ptr == end && result.ec == std::errc()) {
        entry.add_value(integer);
        return;
    }
    double number = 0.0;
    auto const result = std::from_chars(word.data(), end, number);
    if (result.ptr != end || word.empty())
        fail(start, "a value is a number, true, false, a text in quotes, or a group");
    else if (result.ec != std::errc())
        fail(start, "a number is out of range");
    else
        entry.add_value(number);
}

CoreString TextReader::read_name()
{
    if (next() == '"')
        return read_quoted('"');
    std::size_t const start = m_position;
    while (!is_at_end() && !is_delimiter(next()) && !is_control(next()))
        ++m_position;
    return CoreString(m_text.substr(start, m_position - start));
}

CoreString TextReader::read_quoted(char quote)
{
    std::size_t const start = m_position++;
    CoreString result;
    while (!has_error() && !take(quote)) {
        if (is_at_end() || next() == '\n')
            fail(start, "a quote is not closed on its line");
        else if (take('\\'))
            result += read_escape();
        else
            result += m_text[m_position++];
    }
    return result;
}

char TextReader::read_escape()
{
    std::size_t const start = m_position - 1;
    char const kind = next();
    ++m_position;
    switch (kind) {
    case 'n':
        return '\n';
    case 't':
        return '\t';
    case 'r':
        return '\r';
    case '\\':
    case '"':
    case '\'':
        return kind;
    case 'x':
        break;
    default:
        fail(start, "an unknown escape");
        return '\0';
    }
    int const high = hexadecimal_digit(next());
    m_position += high >= 0;
    int const low = hexadecimal_digit(next());
    m_position += low >= 0;
    if (high < 0 || low < 0)
        fail(start, "two hexadecimal digits follow \\x");
    return static_cast<char>(high * 16 + low);
}

void TextReader::skip_blanks()
{
    while (!is_at_end() && is_blank(next()))
        ++m_position;
    if (next() == '#')
        m_position = std::min(m_text.find('\n', m_position), m_text.size());
}

void TextReader::skip_lines()
{
    do
        skip_blanks();
    while (take('\n'));
}

void TextReader::skip_between_entries()
{
    do
        skip_lines();
    while (take(';'));
}

bool TextReader::is_end_of_entry()
{
    skip_blanks();
    if (next() == '\n') {
        std::size_t const end_of_line = m_position;
        skip_lines();
        if (next() == '{')
            return false;
        m_position = end_of_line;
        return true;
    }
    return is_at_end() || next() == ';' || next() == '}';
}

bool TextReader::take(char character) noexcept
{
    if (is_at_end() || next() != character)
        return false;
    ++m_position;
    return true;
}

void TextReader::fail(std::size_t position, char const* text)
{
    if (has_error())
        return;
    std::string_view const before = m_text.substr(0, std::min(position, m_text.size()));
    std::size_t const line_start = before.rfind('\n') + 1;
    m_error_line = static_cast<unsigned int>(std::count(before.begin(), before.end(), '\n') + 1);
    m_error_column = static_cast<unsigned int>(before.size() - line_start + 1);
    m_error_text = text;
    m_position = m_text.size();
}

}  // namespace zv_host
