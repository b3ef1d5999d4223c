#pragma once

#include <stdexcept>

#include "host/app_base/app_progress_bar.h"

namespace zv_test {

/// A bar whose display fails once, at the change to which `countdown` leads; several bars may share it. What the base
/// does of itself is done by then.
class ThrowingBar : public AppProgressBar {
public:
    explicit ThrowingBar(int& countdown)
        : AppProgressBar("throwing")
        , m_countdown(countdown)
    {
    }

protected:
    void on_change(float) override
    {
        if (m_countdown-- == 0)
            throw std::runtime_error("no display");
    }

private:
    int& m_countdown;
};

}  // namespace zv_test
