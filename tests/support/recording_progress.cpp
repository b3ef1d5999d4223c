#include "tests/support/recording_progress.h"

#include <cstdio>

namespace zv_test {

namespace {

std::string number(float value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(value));
    return text;
}

}  // namespace

struct RecordingProgress::Inside {
    explicit Inside(int& depth)
        : m_depth(depth)
    {
        ++m_depth;
    }
    ~Inside() { --m_depth; }
    int& m_depth;
};

void RecordingProgress::note(std::string const& call)
{
    if (m_depth == 0)
        m_calls.push_back(call);
}

std::vector<std::string> RecordingProgress::calls_of(std::string const& name) const
{
    std::vector<std::string> found;
    for (auto const& call : m_calls)
        if (call.substr(0, call.find(' ')) == name)
            found.push_back(call);
    return found;
}

void RecordingProgress::begin_task(CoreString const& title, float span, bool flag)
{
    note("begin_task \"" + std::string(title.get_data()) + "\" " + number(span) +
         (flag ? " true" : " false"));
    Inside const inside(m_depth);
    AppProgressBar::begin_task(title, span, flag);
}

void RecordingProgress::end_task()
{
    note("end_task");
    Inside const inside(m_depth);
    AppProgressBar::end_task();
}

void RecordingProgress::finish()
{
    note("finish");
    Inside const inside(m_depth);
    AppProgressBar::finish();
}

void RecordingProgress::set_task_increment(float increment)
{
    note("set_task_increment " + number(increment));
    Inside const inside(m_depth);
    AppProgressBar::set_task_increment(increment);
}

void RecordingProgress::increment()
{
    note("increment");
    Inside const inside(m_depth);
    AppProgressBar::increment();
}

void RecordingProgress::increment(float amount)
{
    note("increment " + number(amount));
    Inside const inside(m_depth);
    AppProgressBar::increment(amount);
}

void RecordingProgress::set_step_count(unsigned int count)
{
    note("set_step_count " + std::to_string(count));
    Inside const inside(m_depth);
    AppProgressBar::set_step_count(count);
}

void RecordingProgress::step(unsigned int count)
{
    note("step " + std::to_string(count));
    Inside const inside(m_depth);
    AppProgressBar::step(count);
}

void RecordingProgress::set_value(float value)
{
    note("set_value " + number(value));
    Inside const inside(m_depth);
    AppProgressBar::set_value(value);
}

}  // namespace zv_test
