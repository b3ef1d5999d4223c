#pragma once

#include "host/app_base/app_base.h"
#include "host/app_base/app_progress_bar.h"

namespace zv_image_io {

/// A bar for a part of a save, named after the bar of the whole; it is finished with its scope. There is none
/// without a bar of the whole, or without an application to make it.
class ChildBar {
public:
    ChildBar(AppBase* app, AppProgressBar const* whole, CoreString const& label_end)
        : m_bar(app && whole ? app->create_progress_bar(whole->m_title + label_end, false, false) : nullptr)
    {
    }
    ~ChildBar()
    {
        if (!m_bar)
            return;
        try {
            m_bar->finish();
        } catch (...) {
            // A display that fails must not end a save.
        }
        m_bar->m_finished = true;  // from here on it is the application's to free
    }
    ChildBar(ChildBar const&) = delete;
    ChildBar& operator=(ChildBar const&) = delete;

    AppProgressBar* get() const { return m_bar; }

private:
    AppProgressBar* m_bar;
};

}  // namespace zv_image_io
