#pragma once

#include "host/core/core_log_stream.h"

#include <atomic>
#include <functional>

/// Where log messages go.
///
/// Levels   1 errors, 2 warnings, 3 information; the caller tests `m_level` before it builds a message
/// Text     as given: a message holds its own line end
/// Errors   what a sink throws is swallowed; logging never fails
/// Threads  any; the sink sees one message at a time, and may log itself
class CoreLogHandler {
public:
    using Sink = std::function<void(int level, CoreString const& text)>;

    /// The handler of the application; it is ready before any static object is.
    static CoreLogHandler s_main_log_handler;

    /// Hands a message to the sink.
    static void log(int level, CoreLogStream const& stream);
    /// Puts in an application's own sink and gives back the one before; an empty one means standard error.
    static Sink set_sink(Sink sink);

    /// The verbosity: messages of a higher level are not formed.
    std::atomic<int> m_level{2};
};
