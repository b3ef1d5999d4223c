#include "tools/document.h"

#include <iostream>

#include "host/core/core_log_handler.h"
#include "tools/terminal.h"

namespace zvio {

namespace {

double milliseconds_since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

Document::Document(std::string command, Settings const& settings)
    : m_command(std::move(command))
    , m_settings(settings)
{
    CoreLogHandler::s_main_log_handler.m_level = settings.log_level;
    CoreLogHandler::set_sink(
        [this](int level, CoreString const& text) { take_log_line(level, std::string(text.view())); });
}

Document::~Document()
{
    CoreLogHandler::set_sink({});
}

void Document::take_log_line(int level, std::string const& text)
{
    std::string line = text;
    while (!line.empty() && line.back() == '\n')
        line.pop_back();
    {
        std::lock_guard const guard(m_mutex);
        m_log.push_back({{"level", level}, {"text", line}});
    }
    write_standard_error(line + "\n");
}

void Document::print(std::string const& text)
{
    if (!m_settings.json)
        std::cout << text << std::flush;
}

void Document::warn(std::string const& code, std::string const& path, std::string const& text)
{
    {
        std::lock_guard const guard(m_mutex);
        m_warnings.push_back({{"code", code}, {"path", path}, {"text", text}});
    }
    if (!m_settings.json)
        write_standard_error("zvio: " + (path.empty() ? "" : path + ": ") + text + "\n");
}

void Document::fail(ExitCode exit_code, std::string const& code, std::string const& path,
                    std::string const& text)
{
    warn(code, path, text);
    m_exit_code = worse(m_exit_code, exit_code);
}

bool Document::finish()
{
    if (m_settings.json) {
        std::lock_guard const guard(m_mutex);
        Json const document = {{"schema", "zvio/1"},
                               {"command", m_command},
                               {"ok", m_exit_code == EXIT_CODE_SUCCESS},
                               {"exit_code", static_cast<int>(m_exit_code)},
                               {"elapsed_ms", milliseconds_since(m_start)},
                               {"result", m_result},
                               {"log", m_log},
                               {"warnings", m_warnings}};
        // Paths and error texts may hold any bytes; what is no UTF-8 is shown as such.
        std::cout << document.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
    }
    std::cout.flush();
    return std::cout.good();
}

}  // namespace zvio
