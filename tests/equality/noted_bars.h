#pragma once

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/app_base/app_progress_bar.h"
#include "host/of/of_app.h"

namespace zv_equality {

/// A bar that works as any other and notes every call, numbers to the last bit, in a list that it shares with others:
/// `title: set_value 0x1p+0`. A call from another thread than the one that made the bar says so.
class NotedBar : public AppProgressBar {
public:
    NotedBar(CoreString const& title, std::vector<std::string>& notes);
    ~NotedBar() override;

    void begin_task(CoreString const& title, float span, bool flag) override;
    void end_task() override;
    void finish() override;
    void set_task_increment(float increment) override;
    void increment() override;
    void increment(float amount) override;
    void set_step_count(unsigned int count) override;
    void step(unsigned int count) override;
    void set_value(float value) override;

private:
    template <class Call>
    void note(std::string const& text, Call const& call);

    std::vector<std::string>& m_notes;
    std::thread::id m_thread = std::this_thread::get_id();
    int m_depth = 0;  // operations call one another; only the outermost call is noted
};

/// Apart, so that it outlives the bars, which the application frees last.
struct Notes {
    std::vector<std::string> notes;
};

/// An application whose bars are noted ones.
class NotedApp : public Notes, public OfApp {
protected:
    std::unique_ptr<AppProgressBar> make_progress_bar(CoreString const& title, bool cancellable,
                                                      bool modal) override;
};

}  // namespace zv_equality
