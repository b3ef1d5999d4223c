#include "tests/support/temp_dir.h"

#include <stdlib.h>

#include <stdexcept>

namespace zv_test {

TempDir::TempDir()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "zv_test_XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("cannot make a temporary folder at " + pattern);
    m_path = pattern;
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

}  // namespace zv_test
