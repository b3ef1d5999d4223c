#include "tests/equality/noted_bars.h"

#include <cstdio>

namespace zv_equality {

namespace {

std::string exact(float value)
{
    char text[40];
    std::snprintf(text, sizeof text, "%a", static_cast<double>(value));
    return text;
}

}  // namespace

NotedBar::NotedBar(CoreString const& title, std::vector<std::string>& notes)
    : AppProgressBar(title)
    , m_notes(notes)
{
}

NotedBar::~NotedBar()
{
    m_notes.push_back(m_title.get_data() +
                      std::string(m_finished ? ": gone, finished" : ": gone, unfinished"));
}

template <class Call>
void NotedBar::note(std::string const& text, Call const& call)
{
    if (m_depth == 0)
        m_notes.push_back(m_title.get_data() + (": " + text) +
                          (std::this_thread::get_id() == m_thread ? "" : " from another thread"));
    ++m_depth;
    call();
    --m_depth;
}

void NotedBar::begin_task(CoreString const& title, float span, bool flag)
{
    note("begin_task '" + std::string(title.get_data()) + "' " + exact(span) + (flag ? " true" : " false"),
         [&] { AppProgressBar::begin_task(title, span, flag); });
}

void NotedBar::end_task()
{
    note("end_task", [&] { AppProgressBar::end_task(); });
}

void NotedBar::finish()
{
    note("finish", [&] { AppProgressBar::finish(); });
}

void NotedBar::set_task_increment(float increment)
{
    note("set_task_increment " + exact(increment), [&] { AppProgressBar::set_task_increment(increment); });
}

void NotedBar::increment()
{
    note("increment", [&] { AppProgressBar::increment(); });
}

void NotedBar::increment(float amount)
{
    note("increment " + exact(amount), [&] { AppProgressBar::increment(amount); });
}

void NotedBar::set_step_count(unsigned int count)
{
    note("set_step_count " + std::to_string(count), [&] { AppProgressBar::set_step_count(count); });
}

void NotedBar::step(unsigned int count)
{
    note("step " + std::to_string(count), [&] { AppProgressBar::step(count); });
}

void NotedBar::set_value(float value)
{
    note("set_value " + exact(value), [&] { AppProgressBar::set_value(value); });
}

std::unique_ptr<AppProgressBar> NotedApp::make_progress_bar(CoreString const& title, bool cancellable,
                                                            bool modal)
{
    notes.push_back("new bar '" + std::string(title.get_data()) + "'" + (cancellable ? " cancellable" : "") +
                    (modal ? " modal" : ""));
    return std::make_unique<NotedBar>(title, notes);
}

}  // namespace zv_equality
