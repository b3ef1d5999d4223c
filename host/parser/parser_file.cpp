#include "host/parser/parser_file.h"

#include <algorithm>
#include <fstream>

namespace {

/// Far above any file that people write, and small enough that its entries cannot eat the machine's memory.
constexpr unsigned int kLargestFile = 4u << 20;

/// The bytes of the file, at most one more than the limit; false if it cannot be read.
bool read_bytes(CoreString const& path, CoreString& text)
{
    std::ifstream file(path.get_data(), std::ios::binary);
    char block[4096];
    while (file && text.get_count() <= kLargestFile) {
        file.read(block, sizeof block);
        text.append(block, static_cast<unsigned int>(file.gcount()));
    }
    return file.eof() || text.get_count() > kLargestFile;
}

}  // namespace

ParserFile::ParserFile(CoreString const& path)
    : m_path(path)
    , m_root("")
{
}

bool ParserFile::read(CoreString const& path, CoreString const& password, AppProgressBar* progress)
{
    m_error_text.clear();
    m_root = ParserGroup("");
    if (!password.is_empty())
        return fail("encrypted files are not known");
    CoreString text;
    if (!read_bytes(path.is_empty() ? m_path : path, text))
        return fail("the file cannot be read");
    if (text.get_count() > kLargestFile)
        return fail("the file is larger than 4 MB");
    return m_root.set_text(text, default_parser_serial_version, progress);
}

unsigned int ParserFile::get_error_line() const noexcept
{
    return m_root.get_error_line();
}

unsigned int ParserFile::get_error_column() const noexcept
{
    return m_root.get_error_column();
}

CoreString const& ParserFile::get_error_text() const noexcept
{
    return m_error_text.is_empty() ? m_root.get_error_text() : m_error_text;
}

bool ParserFile::fail(char const* text)
{
    m_error_text = text;
    return false;
}
