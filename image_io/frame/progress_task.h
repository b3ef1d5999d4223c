#pragma once

#include "host/app_base/app_progress_bar.h"

namespace zv_image_io {

/// A task of a progress bar that ends with its scope. Without a bar it does nothing.
///
/// Errors   what the bar throws when the task begins goes on; what it throws when the task ends is dropped
class ProgressTask {
public:
    ProgressTask(AppProgressBar* progress, char const* title, float span)
        : m_progress(progress)
    {
        if (m_progress)
            m_progress->begin_task(title, span, false);
    }
    ~ProgressTask()
    {
        if (!m_progress)
            return;
        try {
            m_progress->end_task();
        } catch (...) {
            // A display that fails must not end the process.
        }
    }
    ProgressTask(ProgressTask const&) = delete;
    ProgressTask& operator=(ProgressTask const&) = delete;

private:
    AppProgressBar* m_progress;
};

}  // namespace zv_image_io
