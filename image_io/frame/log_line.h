#pragma once

#include "host/core/core_log_handler.h"

namespace zv_image_io {

/// The levels of log lines.
inline constexpr int kLogError = 1;
inline constexpr int kLogWarning = 2;
inline constexpr int kLogInformation = 3;

/// Logs one line made of `pieces`; a handler quieter than `level` costs one comparison. A line for which
/// there is no memory is dropped: lines are also logged on the way out of a failure, where nothing may throw.
template <class... Pieces>
void log_line(int level, Pieces const&... pieces) noexcept
{
    if (CoreLogHandler::s_main_log_handler.m_level < level)
        return;
    try {
        CoreLogStream line;
        ((line.m_text += pieces), ...);
        CoreLogHandler::log(level, line);
    } catch (...) {
        // There is nobody left to tell.
    }
}

}  // namespace zv_image_io
