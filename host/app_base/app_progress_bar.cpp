#include "host/app_base/app_progress_bar.h"

#include <algorithm>
#include <cmath>

namespace {

float share_of_one(float value) noexcept
{
    return std::isnan(value) ? 0.0f : std::clamp(value, 0.0f, 1.0f);
}

}  // namespace

AppProgressBar::AppProgressBar(CoreString const& title)
    : m_title(title)
    , m_tasks(std::make_unique<Task>())
{
    m_tasks->title = title;
    m_current_task = m_tasks.get();
}

AppProgressBar::~AppProgressBar() = default;

void AppProgressBar::begin_task(CoreString const& title, float span, bool)
{
    auto task = std::make_unique<Task>();
    task->title = title;
    task->share = share_of_one(span);
    task->span = m_current_task->span * task->share;
    task->start = m_current_task->start + m_current_task->span * m_current_task->value;
    task->parent = std::move(m_tasks);
    m_tasks = std::move(task);
    m_current_task = m_tasks.get();
}

void AppProgressBar::end_task()
{
    if (!m_current_task->parent)
        return;
    float const share = m_current_task->share;
    m_tasks = std::move(m_tasks->parent);
    m_current_task = m_tasks.get();
    m_current_task->value = share_of_one(m_current_task->value + share);
    update();
}

void AppProgressBar::finish()
{
    while (m_tasks->parent)
        m_tasks = std::move(m_tasks->parent);
    m_current_task = m_tasks.get();
    set_value(1.0f);
}

void AppProgressBar::set_task_increment(float increment)
{
    m_current_task->increment = std::isfinite(increment) ? increment : 0.0f;
}

void AppProgressBar::increment()
{
    if (m_current_task->span > 0.0f)
        increment(m_current_task->increment / m_current_task->span);
}

void AppProgressBar::increment(float amount)
{
    if (std::isfinite(amount))
        set_value(m_current_task->value + amount);
}

void AppProgressBar::set_step_count(unsigned int count)
{
    m_current_task->step_count = count;
    m_current_task->increment = count ? m_current_task->span / static_cast<float>(count) : 0.0f;
}

void AppProgressBar::step(unsigned int count)
{
    if (m_current_task->step_count)
        set_value(static_cast<float>(count) / static_cast<float>(m_current_task->step_count));
}

void AppProgressBar::set_value(float value)
{
    m_current_task->value = share_of_one(value);
    update();
}

void AppProgressBar::on_change(float) {}

void AppProgressBar::update()
{
    float const total = share_of_one(m_current_task->start + m_current_task->span * m_current_task->value);
    if (total == m_total)
        return;
    m_total = total;
    on_change(total);
}
