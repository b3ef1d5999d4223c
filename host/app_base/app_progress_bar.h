#pragma once

#include "host/core/core_string.h"

#include <atomic>
#include <memory>

/// One bar that tells how far a job has come, from 0 to 1.
///
/// Tasks    a job can be cut into nested tasks, each a share of the one around it; the root task, of span 1,
///          is always there. Values that are set count within the current task, from 0 to 1; what is out of
///          range is clamped.
/// Display  a renderer overrides `on_change`, which hears every new total; the operations are virtual for
///          recorders
/// Owns     its tasks; the application owns the bar and frees it some time after `m_finished` was set
/// Threads  one at a time; only `m_finished` may be read by others
class AppProgressBar {
public:
    /// One open task.
    struct Task {
        CoreString title;
        float span = 1.0f;       ///< share of the whole bar
        float increment = 0.0f;  ///< what `increment()` adds, as a share of the whole bar
        float value = 0.0f;      ///< how far the task has come, from 0 to 1
        float start = 0.0f;      ///< where on the bar it begins
        float share = 1.0f;      ///< share of the parent
        unsigned int step_count = 0;
        std::unique_ptr<Task> parent;
    };

    explicit AppProgressBar(CoreString const& title);
    AppProgressBar(AppProgressBar const&) = delete;
    AppProgressBar& operator=(AppProgressBar const&) = delete;
    virtual ~AppProgressBar();

    /// Opens a task that takes `span` of the current one, beginning where that one stands. The flag is for
    /// the display: true asks it to show the task's title.
    virtual void begin_task(CoreString const& title, float span, bool flag);
    /// Closes the current task as done, however far it came. The root stays open.
    virtual void end_task();
    /// Closes all tasks and fills the bar. `m_finished` is left to the caller, who sets it as its last use of
    /// the bar.
    virtual void finish();

    /// Sets what each later `increment()` of the current task adds, as a share of the whole bar.
    virtual void set_task_increment(float increment);
    /// Adds the increment of the current task.
    virtual void increment();
    /// Adds `amount`, a share of the current task.
    virtual void increment(float amount);
    /// Sets how many steps make the current task, and its increment to one of them.
    virtual void set_step_count(unsigned int count);
    /// Sets the current task to `count` steps done; nothing without a step count.
    virtual void step(unsigned int count);
    virtual void set_value(float value);

    /// How full the whole bar is.
    float get_total() const noexcept { return m_total; }

    CoreString m_title;
    std::atomic<bool> m_finished{false};
    /// The innermost open task; never null.
    Task* m_current_task;

protected:
    /// Called with every new total.
    virtual void on_change(float total);

private:
    void update();

    std::unique_ptr<Task> m_tasks;
    float m_total = 0.0f;
};
