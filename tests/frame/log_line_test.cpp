#include "image_io/frame/log_line.h"

#include <new>
#include <vector>

#include <gtest/gtest.h>

#include "image_io/frame/progress_task.h"
#include "image_io/frame/version.h"
#include "tests/support/log_capture.h"
#include "tests/support/recording_progress.h"
#include "tests/support/throwing_bar.h"

namespace {

using zv_image_io::log_line;
using zv_image_io::ProgressTask;
using zv_test::LogCapture;
using zv_test::LogLine;

TEST(LogLine, JoinsItsPiecesIntoOneMessage)
{
    LogCapture const log;

    log_line(2, "tile [", 3, ",", CoreString("four"), "]\n");

    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{2, "tile [3,four]\n"}}));
}

TEST(LogLine, IsFormedOnlyForAHandlerThatWantsIt)
{
    LogCapture const log(2);

    log_line(1, "error\n");
    log_line(2, "warning\n");
    log_line(3, "information\n");

    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{1, "error\n"}, {2, "warning\n"}}));
}

struct PieceWithoutMemory {};

CoreString& operator+=(CoreString&, PieceWithoutMemory const&)
{
    throw std::bad_alloc();
}

TEST(LogLine, IsDroppedWithoutMemory)
{
    LogCapture const log;

    log_line(1, "error ", PieceWithoutMemory(), "\n");
    log_line(1, "next\n");

    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{1, "next\n"}}));
}

TEST(ProgressTask, EndsWithItsScope)
{
    zv_test::RecordingProgress progress;

    {
        ProgressTask const outer(&progress, "outer", 0.5f);
        ProgressTask const inner(&progress, "inner", 0.25f);
    }

    EXPECT_EQ(progress.calls(),
              (std::vector<std::string>{"begin_task \"outer\" 0.5 false", "begin_task \"inner\" 0.25 false",
                                        "end_task", "end_task"}));
}

TEST(ProgressTask, EndsThoughTheDisplayFails)
{
    int countdown = 0;
    zv_test::ThrowingBar progress(countdown);
    AppProgressBar::Task const* const root = progress.m_current_task;

    {
        ProgressTask const task(&progress, "task", 0.5f);
        EXPECT_NE(progress.m_current_task, root);
    }

    EXPECT_LT(countdown, 0) << "the display failed";
    EXPECT_EQ(progress.m_current_task, root);
    EXPECT_EQ(progress.get_total(), 0.5f);
}

TEST(ProgressTask, DoesNothingWithoutABar)
{
    EXPECT_NO_FATAL_FAILURE(ProgressTask(nullptr, "task", 1.0f));
}

TEST(Version, HasThreeNumbers)
{
    int major = -1, minor = -1, patch = -1;

    EXPECT_EQ(std::sscanf(zv_image_io_version(), "%d.%d.%d", &major, &minor, &patch), 3);
    EXPECT_GE(major, 0);
}

}  // namespace
