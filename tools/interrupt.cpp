#include "tools/interrupt.h"

#include <csignal>

namespace zvio {

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

void note_interrupt(int signal_number)
{
    g_interrupted = 1;
    std::signal(signal_number, SIG_DFL);
}

}  // namespace

InterruptGuard::InterruptGuard()
{
    g_interrupted = 0;
    m_interrupt_before = std::signal(SIGINT, note_interrupt);
    m_terminate_before = std::signal(SIGTERM, note_interrupt);
}

InterruptGuard::~InterruptGuard()
{
    std::signal(SIGINT, m_interrupt_before);
    std::signal(SIGTERM, m_terminate_before);
}

bool InterruptGuard::is_interrupted()
{
    return g_interrupted != 0;
}

}  // namespace zvio
