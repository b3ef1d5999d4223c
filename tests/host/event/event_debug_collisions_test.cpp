#include "host/event/event_debug_collisions.h"

#include "host/core/core_hash.h"
#include "tests/support/log_capture.h"

#include <gtest/gtest.h>

namespace {

// As the initialisers of event identifiers do it, while the program loads.
bool const noted_while_loading = event_debug_collisions(0xDB043DA4, "EVT_ID_DESTROY");

TEST(EventDebugCollisions, WorksBeforeMain)
{
    EXPECT_TRUE(noted_while_loading);
}

TEST(EventDebugCollisions, AcceptsAPairAnyNumberOfTimes)
{
    zv_test::LogCapture const log;
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(event_debug_collisions(0xDB043DA4, "EVT_ID_DESTROY"));

    EXPECT_TRUE(log.lines().empty());
}

TEST(EventDebugCollisions, TellsTwoNamesWithOneIdentifier)
{
    zv_test::LogCapture const log;
    EXPECT_TRUE(event_debug_collisions(77, "EVT_TEST_FIRST"));
    EXPECT_FALSE(event_debug_collisions(77, "EVT_TEST_SECOND"));
    EXPECT_TRUE(event_debug_collisions(77, "EVT_TEST_FIRST"));

    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(
        log.lines()[0],
        (zv_test::LogLine{1, "Event identifier 77 of 'EVT_TEST_SECOND' belongs to 'EVT_TEST_FIRST'\n"}));
}

TEST(EventDebugCollisions, IsSilentBelowTheErrorLevel)
{
    zv_test::LogCapture const log(0);
    event_debug_collisions(78, "EVT_TEST_FIRST");

    EXPECT_FALSE(event_debug_collisions(78, "EVT_TEST_SECOND"));
    EXPECT_TRUE(log.lines().empty());
}

}  // namespace
