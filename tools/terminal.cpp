#include "tools/terminal.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>

namespace zvio {

namespace {

/// What stands on the last line of standard error.
struct Line {
    std::mutex mutex;
    std::string bar;  // empty: nothing

    void clear() const
    {
        if (!bar.empty())
            std::fputs("\r\033[K", stderr);
    }
    void draw() const
    {
        if (!bar.empty())
            std::fprintf(stderr, "\r%s\033[K", bar.c_str());
    }
};

Line& line()
{
    static Line the_line;
    return the_line;
}

void set_bar(std::string const& bar)
{
    std::lock_guard const guard(line().mutex);
    if (bar.empty())
        line().clear();
    line().bar = bar;
    line().draw();
    std::fflush(stderr);
}

constexpr int kBarCells = 30;
constexpr auto kRedrawInterval = std::chrono::milliseconds(50);

/// "[#########---------------------]  31 %  beauty.exr: read data"
std::string bar_text(float total, std::string const& title, std::string const& task)
{
    int const filled = std::clamp(static_cast<int>(total * kBarCells), 0, kBarCells);
    char percent[16];
    std::snprintf(percent, sizeof percent, "] %3d %%  ", static_cast<int>(total * 100));
    std::string text =
        "[" + std::string(filled, '#') + std::string(kBarCells - filled, '-') + percent + title;
    return task.empty() ? text : text + ": " + task;
}

class TerminalBar : public AppProgressBar {
public:
    explicit TerminalBar(CoreString const& title)
        : AppProgressBar(title)
    {
    }
    ~TerminalBar() override { set_bar({}); }

protected:
    void on_change(float total) override
    {
        auto const now = std::chrono::steady_clock::now();
        if (now - m_drawn < kRedrawInterval && total < 1.0f)
            return;
        m_drawn = now;
        bool const in_task = m_current_task && m_current_task->parent;
        set_bar(bar_text(total, m_title.get_data(), in_task ? m_current_task->title.get_data() : ""));
    }

private:
    std::chrono::steady_clock::time_point m_drawn{};
};

}  // namespace

void write_standard_error(std::string const& text)
{
    std::lock_guard const guard(line().mutex);
    line().clear();
    std::fputs(text.c_str(), stderr);
    line().draw();
    std::fflush(stderr);
}

TerminalApp::TerminalApp(ProgressMode mode)
    : m_draws(mode == ProgressMode::ALWAYS || (mode == ProgressMode::AUTO && isatty(STDERR_FILENO)))
{
}

AppProgressBar* TerminalApp::begin_bar(std::string const& title)
{
    return m_draws ? create_progress_bar(title.c_str(), false, false) : nullptr;
}

void TerminalApp::end_bar(AppProgressBar* bar)
{
    if (!bar)
        return;
    bar->finish();
    set_bar({});
    bar->m_finished = true;
}

std::unique_ptr<AppProgressBar> TerminalApp::make_progress_bar(CoreString const& title, bool, bool)
{
    return std::make_unique<TerminalBar>(title);
}

}  // namespace zvio
