#include "host/app_base/app_progress_bar.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace {

/// Keeps every total that the bar shows.
class ShownBar : public AppProgressBar {
public:
    ShownBar()
        : AppProgressBar("Loading")
    {
    }
    std::vector<float> shown;

protected:
    void on_change(float total) override { shown.push_back(total); }
};

TEST(AppProgressBar, StartsEmptyWithARootOfSpanOne)
{
    AppProgressBar const bar("Loading");

    EXPECT_EQ(bar.m_title, "Loading");
    EXPECT_FALSE(bar.m_finished);
    ASSERT_NE(bar.m_current_task, nullptr);
    EXPECT_EQ(bar.m_current_task->span, 1.0f);
    EXPECT_EQ(bar.m_current_task->value, 0.0f);
    EXPECT_EQ(bar.m_current_task->parent, nullptr);
    EXPECT_EQ(bar.get_total(), 0.0f);
}

TEST(AppProgressBar, ShowsEachNewValueOnce)
{
    ShownBar bar;
    for (float value : {0.0f, 0.25f, 0.25f, 0.75f, 0.5f, 1.0f})
        bar.set_value(value);

    EXPECT_EQ(bar.shown, (std::vector<float>{0.25f, 0.75f, 0.5f, 1.0f}));
}

TEST(AppProgressBar, ClampsValues)
{
    AppProgressBar bar("");
    bar.set_value(1.5f);
    EXPECT_EQ(bar.get_total(), 1.0f);
    bar.set_value(-3.0f);
    EXPECT_EQ(bar.get_total(), 0.0f);
    bar.set_value(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(bar.get_total(), 0.0f);
}

TEST(AppProgressBar, ATaskTakesItsSpanOfTheBar)
{
    ShownBar bar;
    bar.begin_task("read header", 0.25f, false);
    EXPECT_EQ(bar.m_current_task->title, "read header");
    EXPECT_EQ(bar.m_current_task->span, 0.25f);
    bar.set_value(0.5f);
    EXPECT_EQ(bar.get_total(), 0.125f);
    bar.end_task();
    EXPECT_EQ(bar.get_total(), 0.25f);
    bar.begin_task("read data", 0.5f, false);
    EXPECT_EQ(bar.get_total(), 0.25f);
    bar.set_value(1.0f);
    EXPECT_EQ(bar.get_total(), 0.75f);
    bar.end_task();

    EXPECT_EQ(bar.shown, (std::vector<float>{0.125f, 0.25f, 0.75f}));
}

TEST(AppProgressBar, EndCompletesTheSpanHoweverFarTheTaskCame)
{
    AppProgressBar bar("");
    bar.begin_task("half done", 0.5f, false);
    bar.set_value(0.25f);
    bar.end_task();

    EXPECT_EQ(bar.get_total(), 0.5f);
    EXPECT_EQ(bar.m_current_task->value, 0.5f);
}

TEST(AppProgressBar, TasksNest)
{
    AppProgressBar bar("");
    bar.begin_task("outer", 0.5f, false);
    bar.set_value(0.5f);
    bar.begin_task("inner", 0.5f, true);
    EXPECT_EQ(bar.m_current_task->span, 0.25f);
    EXPECT_EQ(bar.m_current_task->parent->title, "outer");
    EXPECT_EQ(bar.get_total(), 0.25f);
    bar.set_value(0.5f);
    EXPECT_EQ(bar.get_total(), 0.375f);
    bar.end_task();
    EXPECT_EQ(bar.get_total(), 0.5f);
    bar.end_task();
    EXPECT_EQ(bar.get_total(), 0.5f);
}

TEST(AppProgressBar, AnUnbalancedEndIsHarmless)
{
    AppProgressBar bar("");
    bar.set_value(0.5f);
    bar.end_task();
    bar.end_task();

    EXPECT_EQ(bar.get_total(), 0.5f);
    EXPECT_EQ(bar.m_current_task->span, 1.0f);
}

TEST(AppProgressBar, IncrementAddsTheSizeOfAStepOnTheBar)
{
    AppProgressBar bar("");
    bar.begin_task("read data", 0.5f, false);
    bar.set_task_increment(0.8f / 4 * bar.m_current_task->span);
    for (int i = 0; i < 4; ++i)
        bar.increment();

    EXPECT_NEAR(bar.get_total(), 0.4f, 1e-6f);
    EXPECT_NEAR(bar.m_current_task->value, 0.8f, 1e-6f);
}

TEST(AppProgressBar, EachTaskHasItsOwnIncrement)
{
    AppProgressBar bar("");
    bar.set_task_increment(0.25f);
    bar.begin_task("inner", 0.5f, false);
    bar.increment();
    EXPECT_EQ(bar.get_total(), 0.0f);
    bar.end_task();
    bar.increment();

    EXPECT_EQ(bar.get_total(), 0.75f);
}

TEST(AppProgressBar, IncrementByAnAmountAddsAShareOfTheTask)
{
    AppProgressBar bar("");
    bar.increment(0.25f);
    EXPECT_EQ(bar.get_total(), 0.25f);
    bar.begin_task("inner", 0.5f, false);
    bar.increment(0.5f);
    EXPECT_EQ(bar.get_total(), 0.5f);
    bar.increment(7.0f);
    EXPECT_EQ(bar.get_total(), 0.75f);
}

TEST(AppProgressBar, IncrementsThatAreNoNumbersDoNothing)
{
    AppProgressBar bar("");
    bar.set_value(0.5f);
    bar.set_task_increment(std::numeric_limits<float>::infinity());
    bar.increment();
    bar.increment(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(bar.get_total(), 0.5f);

    bar.begin_task("empty", 0.0f, false);
    bar.set_task_increment(0.1f);
    bar.increment();
    EXPECT_EQ(bar.get_total(), 0.5f);
}

TEST(AppProgressBar, StepsDivideTheTask)
{
    AppProgressBar bar("");
    bar.step(3);
    EXPECT_EQ(bar.get_total(), 0.0f);
    bar.begin_task("read data", 0.5f, false);
    bar.set_step_count(4);
    bar.step(1);
    EXPECT_EQ(bar.get_total(), 0.125f);
    bar.step(4);
    EXPECT_EQ(bar.get_total(), 0.5f);
    bar.step(9);
    EXPECT_EQ(bar.get_total(), 0.5f);
    bar.step(0);
    EXPECT_EQ(bar.get_total(), 0.0f);
    bar.increment();
    EXPECT_EQ(bar.get_total(), 0.125f);
    bar.set_step_count(0);
    bar.step(1);
    EXPECT_EQ(bar.get_total(), 0.125f);
}

TEST(AppProgressBar, FinishClosesAllTasksAndFillsTheBar)
{
    ShownBar bar;
    bar.begin_task("outer", 0.5f, false);
    bar.begin_task("inner", 0.5f, false);
    bar.finish();

    EXPECT_EQ(bar.m_current_task->parent, nullptr);
    EXPECT_EQ(bar.get_total(), 1.0f);
    EXPECT_EQ(bar.shown.back(), 1.0f);
    EXPECT_FALSE(bar.m_finished);
}

TEST(AppProgressBar, SpansBeyondTheTaskAreCut)
{
    AppProgressBar bar("");
    bar.begin_task("too much", 5.0f, false);
    bar.set_value(1.0f);
    bar.end_task();
    bar.begin_task("more", 0.5f, false);
    bar.set_value(1.0f);

    EXPECT_EQ(bar.get_total(), 1.0f);
}

TEST(AppProgressBar, ALoadRunsFromZeroToOne)
{
    ShownBar bar;
    bar.set_value(0.0f);
    bar.begin_task("read header", 0.1f, false);
    bar.end_task();
    bar.begin_task("read data", 0.8f, false);
    bar.set_value(0.1f);
    bar.set_task_increment(static_cast<float>(0.8 / 10) * bar.m_current_task->span);
    for (int i = 0; i < 10; ++i)
        bar.increment();
    bar.end_task();
    bar.set_value(1.0f);

    EXPECT_EQ(bar.shown.back(), 1.0f);
    EXPECT_NEAR(bar.shown[bar.shown.size() - 2], 0.9f, 1e-6f);
    for (std::size_t i = 1; i < bar.shown.size(); ++i)
        EXPECT_GT(bar.shown[i], bar.shown[i - 1]);
}

}  // namespace
