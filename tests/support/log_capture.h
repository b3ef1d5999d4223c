#pragma once

#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "host/core/core_log_handler.h"

namespace zv_test {

struct LogLine {
    int level = 0;
    std::string text;  // as logged, its line end included

    bool operator==(LogLine const&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, LogLine const& line)
{
    return stream << line.level << " \"" << line.text << '"';
}

/// Takes all that the main log handler is given, from any thread, while it lives; what was there before comes
/// back after.
class LogCapture {
public:
    explicit LogCapture(int level = 3)
        : m_level_before(CoreLogHandler::s_main_log_handler.m_level)
    {
        CoreLogHandler::s_main_log_handler.m_level = level;
        m_sink_before = CoreLogHandler::set_sink([this](int line_level, CoreString const& text) {
            std::lock_guard const guard(*m_mutex);
            m_lines.push_back({line_level, std::string(text.get_data(), text.get_count())});
        });
    }
    ~LogCapture()
    {
        CoreLogHandler::set_sink(std::move(m_sink_before));
        CoreLogHandler::s_main_log_handler.m_level = m_level_before;
    }
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    std::vector<LogLine> lines() const
    {
        std::lock_guard const guard(*m_mutex);
        return m_lines;
    }
    void clear()
    {
        std::lock_guard const guard(*m_mutex);
        m_lines.clear();
    }

private:
    int m_level_before;
    CoreLogHandler::Sink m_sink_before;
    // A std::mutex tells nobody of its end. On the stack the thread sanitizer would take it for the one that lay there before, and
    // for a circle of locks; what is freed it forgets.
    std::unique_ptr<std::mutex> m_mutex = std::make_unique<std::mutex>();
    std::vector<LogLine> m_lines;
};

}  // namespace zv_test
