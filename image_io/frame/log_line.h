#pragma once

#include "host/core/core_log_handler.h"

namespace zv_image_io {

/// The levels of log lines.
inline constexpr int kLogError = 1;
inline constexpr int kLogWarning = 2;
inline constexpr int kLogInformation = 3;

/// Logs one line made of `pieces`; a handler quieter than `level` costs one comparison.
template <class... Pieces>
void log_line(int level, Pieces const&... pieces)
{
    if (CoreLogHandler::s_main_log_handler.m_level < level)
        return;
    CoreLogStream line;
    ((line.m_text += pieces), ...);
    CoreLogHandler::log(level, line);
}

}  // namespace zv_image_io
