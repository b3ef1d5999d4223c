#pragma once

#include "host/app_base/app_progress_bar.h"
#include "host/event/event_object.h"
#include "host/sys/sys_thread_lock.h"

#include <memory>
#include <vector>

/// What every application has, whatever it is for: its events and its progress bars.
class AppBase : public EventObject {
public:
    AppBase();
    /// Frees all bars, finished or not.
    ~AppBase() override;
    AppBase(AppBase const&) = delete;
    AppBase& operator=(AppBase const&) = delete;

    CoreClassInfo const& get_class_info() const override;
    static CoreClassInfo const& class_info();

    /// A new bar, owned by the application, which frees it some time after its `m_finished` is true. The
    /// flags are for the display: true asks for a way to cancel, and for a bar that blocks the user. Raises
    /// "EVT_ID_APPLICATION_PROGRESS_BARS_CHANGED". Any thread.
    virtual AppProgressBar* create_progress_bar(CoreString const& title, bool cancellable, bool modal);

    /// Bars that are held now, the finished ones that were not freed yet included.
    unsigned int get_progress_bar_count() const;

protected:
    /// Makes the bar itself: an application with a display makes one that draws.
    virtual std::unique_ptr<AppProgressBar> make_progress_bar(CoreString const& title, bool cancellable,
                                                              bool modal);

private:
    mutable SysThreadLock m_lock;
    std::vector<std::unique_ptr<AppProgressBar>> m_progress_bars;
};
