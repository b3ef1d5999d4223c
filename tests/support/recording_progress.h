#pragma once

#include <string>
#include <vector>

#include "host/app_base/app_progress_bar.h"

namespace zv_test {

/// A bar that works as any other and notes what was called, as text:
/// `begin_task "read header" 0.1 false`, `end_task`, `finish`, `set_task_increment 0.05`, `increment`,
/// `increment 0.5`, `set_step_count 4`, `step 1`, `set_value 0.1`. Numbers have up to six digits.
class RecordingProgress : public AppProgressBar {
public:
    RecordingProgress()
        : AppProgressBar("recording")
    {
    }

    std::vector<std::string> const& calls() const { return m_calls; }
    /// The calls of one name, in order.
    std::vector<std::string> calls_of(std::string const& name) const;
    /// The bar's fill after each change.
    std::vector<float> const& totals() const { return m_totals; }

    void begin_task(CoreString const& title, float span, bool flag) override;
    void end_task() override;
    void finish() override;
    void set_task_increment(float increment) override;
    void increment() override;
    void increment(float amount) override;
    void set_step_count(unsigned int count) override;
    void step(unsigned int count) override;
    void set_value(float value) override;

protected:
    void on_change(float total) override { m_totals.push_back(total); }

private:
    void note(std::string const& call);

    std::vector<std::string> m_calls;
    std::vector<float> m_totals;
    int m_depth = 0;  // the base's operations may call one another; only the outermost call is noted
    struct Inside;
};

}  // namespace zv_test
