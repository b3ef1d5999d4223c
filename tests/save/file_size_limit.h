#pragma once

#include <sys/resource.h>

#include <cstddef>

namespace zv_test {

/// No file of this process grows past `bytes` while it lives: a full disk that can be had anywhere.
class FileSizeLimit {
public:
    explicit FileSizeLimit(std::size_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit const limit{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_before); }
    FileSizeLimit(FileSizeLimit const&) = delete;
    FileSizeLimit& operator=(FileSizeLimit const&) = delete;

private:
    rlimit m_before;
};

}  // namespace zv_test
