#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "image_io/texture/cache_limit.h"
#include "image_io/texture/texture_memory.h"
#include "tests/support/log_capture.h"

// What the stream makes of a texture system that refuses, and of statistics that lack a line.

namespace {

using zv_image_io::get_cache_limit;
using zv_image_io::peak_cache_bytes;
using zv_image_io::peak_cache_memory;
using zv_image_io::set_cache_limit;
using zv_test::LogCapture;
using Lines = std::vector<zv_test::LogLine>;

struct SystemWithALimit {
    bool attribute(char const* name, float megabytes)
    {
        bool const is_taken = answers && std::strcmp(name, "max_memory_MB") == 0;
        if (is_taken)
            limit = megabytes;
        return is_taken;
    }
    bool getattribute(char const* name, float& megabytes) const
    {
        bool const is_told = answers && std::strcmp(name, "max_memory_MB") == 0;
        megabytes = is_told ? limit : 77.0f;
        return is_told;
    }

    bool answers = true;
    float limit = 256.0f;
};

TEST(CacheLimit, GoesIntoTheSystemAndComesBackInSilence)
{
    SystemWithALimit system;
    LogCapture const log;

    set_cache_limit(system, 12.5f);

    EXPECT_EQ(get_cache_limit(&system), 12.5f);
    EXPECT_TRUE(log.lines().empty());
}

TEST(CacheLimit, ThatIsRefusedIsToldAndTheSystemKeepsItsOwn)
{
    SystemWithALimit system;
    system.answers = false;
    LogCapture const log;

    set_cache_limit(system, 12.5f);

    EXPECT_EQ(system.limit, 256.0f);
    EXPECT_EQ(log.lines(), (Lines{{3, "Failed to set texture cache limit\n"}}));
}

TEST(CacheLimit, ThatIsNotToldIsZeroWithAWarning)
{
    SystemWithALimit system;
    system.answers = false;
    LogCapture const log;

    EXPECT_EQ(get_cache_limit(&system), 0.0f);
    EXPECT_EQ(get_cache_limit(static_cast<SystemWithALimit*>(nullptr)), 0.0f);

    zv_test::LogLine const line{2, "Unable to retrieve texture cache size"};
    EXPECT_EQ(log.lines(), (Lines{line, line}));
}

TEST(CacheMemory, OfStatisticsWithoutTheLineIsNone)
{
    for (char const* statistics : {"", "OpenImageIO ImageCache statistics\n  Images : 2 unique\n",
                                   "Peak cache memory : 12 MB", "Peak cache memory: 12 MB\n"}) {
        EXPECT_EQ(peak_cache_memory(statistics), "") << statistics;
        EXPECT_EQ(peak_cache_bytes(statistics), 0u) << statistics;
    }
}

TEST(CacheMemory, IsTheValueOfTheLine)
{
    CoreString const statistics = "first\n    Peak cache memory : 3 MB\nlast\n";

    EXPECT_NEAR(static_cast<double>(peak_cache_bytes(statistics)), 3.0 * 1024 * 1024, 1.0);
    EXPECT_EQ(peak_cache_memory(statistics), "3 MB\nlast\n");
}

TEST(CacheMemory, OfAnEmptyValueIsNone)
{
    EXPECT_EQ(peak_cache_bytes("Peak cache memory : \n"), 0u);
}

}  // namespace
