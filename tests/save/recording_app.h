#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/of/of_app.h"
#include "tests/support/recording_progress.h"

namespace zv_test {

/// What one bar of a `RecordingApp` was called, "title: call", appended to a list that all bars share.
class SharedProgress : public RecordingProgress {
public:
    SharedProgress(std::string const& title, std::vector<std::string>& log)
        : m_log(log)
    {
        m_title = title.c_str();
    }

    void set_value(float value) override
    {
        note([&] { RecordingProgress::set_value(value); });
    }
    void set_step_count(unsigned int count) override
    {
        note([&] { RecordingProgress::set_step_count(count); });
    }
    void step(unsigned int count) override
    {
        note([&] { RecordingProgress::step(count); });
    }
    void finish() override
    {
        note([&] { RecordingProgress::finish(); });
    }

private:
    /// Of nested calls only the outermost is one of `calls`.
    template <class Call>
    void note(Call const& call)
    {
        std::size_t const before = calls().size();
        call();
        if (calls().size() > before)
            m_log.push_back(m_title.get_data() + std::string(": ") + calls().back());
    }

    std::vector<std::string>& m_log;
};

/// An application whose bars note what they are called, in one list.
class RecordingApp : public OfApp {
public:
    std::vector<std::string> log;
    std::vector<AppProgressBar const*> bars;

protected:
    std::unique_ptr<AppProgressBar> make_progress_bar(CoreString const& title, bool cancellable,
                                                      bool modal) override
    {
        log.push_back("new bar '" + std::string(title.get_data()) + "'" +
                      (cancellable ? " cancellable" : "") + (modal ? " modal" : ""));
        auto bar = std::make_unique<SharedProgress>(title.get_data(), log);
        bars.push_back(bar.get());
        return bar;
    }
};

}  // namespace zv_test
