#include "host/core/core_log_handler.h"

#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

namespace {

struct SinkState {
    /// Recursive, so that a sink may log or put in another sink.
    std::recursive_mutex mutex;
    std::shared_ptr<CoreLogHandler::Sink> sink;
};

/// Made at the first message and never destroyed: static objects may log before and after `main`.
SinkState& sink_state()
{
    static SinkState& instance = *new SinkState;
    return instance;
}

void write_to_standard_error(CoreString const& text)
{
    std::fwrite(text.get_data(), 1, text.get_count(), stderr);
}

}  // namespace

constinit CoreLogHandler CoreLogHandler::s_main_log_handler;

void CoreLogHandler::log(int level, CoreLogStream const& stream)
{
    try {
        SinkState& state = sink_state();
        std::lock_guard const guard(state.mutex);
        // A share of its own: the sink may replace itself while it runs.
        std::shared_ptr<Sink> const sink = state.sink;
        if (sink)
            (*sink)(level, stream.m_text);
        else
            write_to_standard_error(stream.m_text);
    } catch (...) {
        // There is nobody left to tell.
    }
}

CoreLogHandler::Sink CoreLogHandler::set_sink(Sink sink)
{
    auto fresh = sink ? std::make_shared<Sink>(std::move(sink)) : nullptr;
    SinkState& state = sink_state();
    std::lock_guard const guard(state.mutex);
    state.sink.swap(fresh);
    return fresh ? *fresh : Sink();
}
