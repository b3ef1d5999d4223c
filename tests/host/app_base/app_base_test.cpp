#include "host/app_base/app_base.h"

#include "host/core/core_class_info.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

/// A bar that counts its living kind.
class CountedBar : public AppProgressBar {
public:
    explicit CountedBar(CoreString const& title)
        : AppProgressBar(title)
    {
        ++alive;
    }
    ~CountedBar() override { --alive; }
    inline static std::atomic<int> alive = 0;
};

class CountingApp : public AppBase {
protected:
    std::unique_ptr<AppProgressBar> make_progress_bar(CoreString const& title, bool, bool) override
    {
        return std::make_unique<CountedBar>(title);
    }
};

void count_event(EventObject&, EventObject::EventInfo const&, void* user_data)
{
    ++*static_cast<int*>(user_data);
}

TEST(AppBase, MakesBarsWithTheirTitle)
{
    AppBase app;
    AppProgressBar* const bar = app.create_progress_bar("Saving (a.exr)", false, false);

    ASSERT_NE(bar, nullptr);
    EXPECT_EQ(bar->m_title, "Saving (a.exr)");
    EXPECT_EQ(app.get_progress_bar_count(), 1u);
}

TEST(AppBase, RaisesAnEventForANewBar)
{
    AppBase app;
    int events = 0;
    EventObject::connect(app, "EVT_ID_APPLICATION_PROGRESS_BARS_CHANGED", count_event, &events);
    app.create_progress_bar("a", false, false);

    EXPECT_EQ(events, 1);
}

TEST(AppBase, FreesFinishedBarsAndNoOthers)
{
    CountingApp app;
    AppProgressBar* const first = app.create_progress_bar("first", false, false);
    AppProgressBar* const second = app.create_progress_bar("second", false, false);
    first->finish();
    EXPECT_EQ(CountedBar::alive, 2);
    app.create_progress_bar("third", false, false);
    EXPECT_EQ(CountedBar::alive, 3);

    first->m_finished = true;
    EXPECT_EQ(CountedBar::alive, 3);
    app.create_progress_bar("fourth", false, false);
    EXPECT_EQ(CountedBar::alive, 3);
    EXPECT_EQ(second->m_title, "second");
}

TEST(AppBase, FreesAllBarsAtItsEnd)
{
    {
        CountingApp app;
        app.create_progress_bar("a", false, false);
        app.create_progress_bar("b", false, false);
        EXPECT_EQ(CountedBar::alive, 2);
    }

    EXPECT_EQ(CountedBar::alive, 0);
}

TEST(AppBase, MakesBarsOnManyThreads)
{
    CountingApp app;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&app] {
            for (int k = 0; k < 200; ++k) {
                AppProgressBar* const bar = app.create_progress_bar("job", false, false);
                bar->set_value(0.5f);
                bar->finish();
                bar->m_finished = true;
            }
        });
    for (auto& thread : threads)
        thread.join();
    app.create_progress_bar("last", false, false);

    EXPECT_EQ(app.get_progress_bar_count(), 1u);
}

TEST(AppBase, IsAnEventObject)
{
    AppBase const app;

    EXPECT_TRUE(app.is_kindof(AppBase::class_info()));
    EXPECT_TRUE(app.is_kindof(EventObject::class_info()));
}

}  // namespace
