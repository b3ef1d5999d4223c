#pragma once

#include <ImfThreading.h>

namespace zv_test {

/// OpenEXR's own threads while it lives; none compress on the calling thread.
class ExrThreads {
public:
    explicit ExrThreads(int count)
        : m_before(Imf::globalThreadCount())
    {
        Imf::setGlobalThreadCount(count);
    }
    ~ExrThreads() { Imf::setGlobalThreadCount(m_before); }
    ExrThreads(ExrThreads const&) = delete;
    ExrThreads& operator=(ExrThreads const&) = delete;

private:
    int m_before;
};

}  // namespace zv_test
