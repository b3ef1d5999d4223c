#pragma once

#include <chrono>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/exit_code.h"
#include "tools/settings.h"

namespace zvio {

using Json = nlohmann::ordered_json;

/// Collects what a command has to say and lays it out: the results on standard output, as text or as one JSON document,
/// and the rest on standard error.
///
/// Threads  log lines may come from any; the rest from one
class Document {
public:
    Document(std::string command, Settings const& settings);
    /// Gives the log back to whoever had it.
    ~Document();
    Document(Document const&) = delete;
    Document& operator=(Document const&) = delete;

    /// Text for standard output; nothing under --json.
    void print(std::string const& text);
    /// A remark that leaves the result as it is. Codes are stable; docs/zvio.md lists them. `path` may be empty.
    void warn(std::string const& code, std::string const& path, std::string const& text);
    /// Something that did not work: a warning that counts.
    void fail(ExitCode exit_code, std::string const& code, std::string const& path, std::string const& text);

    /// Becomes "result" of the document.
    Json& result() { return m_result; }
    ExitCode exit_code() const { return m_exit_code; }
    bool wants_json() const { return m_settings.json; }

    /// Writes the document, if one is wanted. False if standard output did not take all of it.
    bool finish();

private:
    void take_log_line(int level, std::string const& text);

    std::string m_command;
    Settings const& m_settings;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    std::mutex m_mutex;
    Json m_result, m_log = Json::array(), m_warnings = Json::array();
    ExitCode m_exit_code = EXIT_CODE_SUCCESS;
};

}  // namespace zvio
