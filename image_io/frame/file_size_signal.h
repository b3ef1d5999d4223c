#pragma once

#include <csignal>
#include <ctime>
#include <pthread.h>

namespace zv_image_io {

/// While it lives, a write of this thread past the process's file size limit is an error as any other.
///
/// The system's answer is a signal that ends the process unless the application asked for something else; a library cannot
/// ask on its behalf. The signal is held back, and taken away before the thread's own mask comes back.
class FileSizeSignalHold {
public:
    FileSizeSignalHold()
    {
        sigemptyset(&m_signal);
        sigaddset(&m_signal, SIGXFSZ);
        m_was_pending = is_pending();
        pthread_sigmask(SIG_BLOCK, &m_signal, &m_before);
    }
    ~FileSizeSignalHold()
    {
        timespec const at_once{};
        if (!m_was_pending)
            sigtimedwait(&m_signal, nullptr, &at_once);
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    /// True if a write of this thread was refused since; not if the application ignores the signal.
    [[nodiscard]] bool is_raised() const { return !m_was_pending && is_pending(); }
    FileSizeSignalHold(FileSizeSignalHold const&) = delete;
    FileSizeSignalHold& operator=(FileSizeSignalHold const&) = delete;

private:
    static bool is_pending()
    {
        sigset_t pending;
        return sigpending(&pending) == 0 && sigismember(&pending, SIGXFSZ) == 1;
    }

    sigset_t m_signal, m_before;
    bool m_was_pending;
};

}  // namespace zv_image_io
