#include "host/core/core_log_handler.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

CoreLogStream line_of(char const* text)
{
    CoreLogStream line;
    line.m_text += text;
    return line;
}

/// Puts the sink of before back.
class SinkScope {
public:
    explicit SinkScope(CoreLogHandler::Sink sink)
        : m_before(CoreLogHandler::set_sink(std::move(sink)))
    {
    }
    ~SinkScope() { CoreLogHandler::set_sink(m_before); }

private:
    CoreLogHandler::Sink m_before;
};

TEST(CoreLogHandler, ShowsWarningsAtFirst)
{
    EXPECT_EQ(CoreLogHandler().m_level, 2);
}

TEST(CoreLogHandler, WritesToStandardErrorWithoutASink)
{
    testing::internal::CaptureStderr();
    CoreLogHandler::log(1, line_of("Could not write a.exr\n"));
    CoreLogHandler::log(2, line_of("no line end"));

    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Could not write a.exr\nno line end");
}

TEST(CoreLogHandler, HandsLevelAndTextToTheSink)
{
    std::vector<std::pair<int, std::string>> seen;
    SinkScope const scope(
        [&seen](int level, CoreString const& text) { seen.emplace_back(level, std::string(text.view())); });
    CoreLogHandler::log(1, line_of("error\n"));
    CoreLogHandler::log(3, line_of("information"));

    EXPECT_EQ(seen, (std::vector<std::pair<int, std::string>>{{1, "error\n"}, {3, "information"}}));
}

TEST(CoreLogHandler, GivesTheSinkBeforeBack)
{
    int first_calls = 0;
    SinkScope const scope([&first_calls](int, CoreString const&) { ++first_calls; });
    CoreLogHandler::Sink const before = CoreLogHandler::set_sink([](int, CoreString const&) {});
    CoreLogHandler::log(1, line_of("not for the first"));
    CoreLogHandler::set_sink(before);
    CoreLogHandler::log(1, line_of("for the first"));

    EXPECT_EQ(first_calls, 1);
}

TEST(CoreLogHandler, SwallowsWhatASinkThrows)
{
    SinkScope const scope([](int, CoreString const&) { throw std::runtime_error("full disk"); });

    EXPECT_NO_THROW(CoreLogHandler::log(1, line_of("text")));
}

TEST(CoreLogHandler, ASinkMayLogAndReplaceItself)
{
    std::vector<std::string> seen;
    SinkScope const scope(
        [&seen, owned = std::string("a text of the sink's own, on the heap")](int, CoreString const& text) {
            seen.emplace_back(text.view());
            if (seen.size() == 1) {
                CoreLogHandler::log(1, line_of("second"));
                CoreLogHandler::set_sink([](int, CoreString const&) {});
                seen.push_back(owned);
            }
        });
    CoreLogHandler::log(1, line_of("first"));
    CoreLogHandler::log(1, line_of("for the new sink"));

    EXPECT_EQ(seen, (std::vector<std::string>{"first", "second", "a text of the sink's own, on the heap"}));
}

TEST(CoreLogHandler, TakesWholeMessagesFromManyThreads)
{
    int messages = 0;
    bool is_whole = true;
    SinkScope const scope([&](int, CoreString const& text) {
        ++messages;
        is_whole = is_whole && text == "one message";
    });
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int k = 0; k < 500; ++k)
                CoreLogHandler::log(3, line_of("one message"));
        });
    for (auto& thread : threads)
        thread.join();

    EXPECT_EQ(messages, 2000);
    EXPECT_TRUE(is_whole);
}

TEST(CoreLogStream, IsABaseObject)
{
    EXPECT_TRUE(CoreLogStream().is_kindof(CoreBaseObject::class_info()));
    EXPECT_TRUE(CoreLogStream().m_text.is_empty());
}

}  // namespace
