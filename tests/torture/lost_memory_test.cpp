#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

#include "host/image/image_canvas.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/image_load_options.h"
#include "image_io/load/image_load_report.h"
#include "tests/torture/live_table.h"
#include "tests/torture/roads_fixture.h"

// What is lost, by the module or by a library on its behalf: a reader or a file that nobody closes is memory of the library.

namespace {

using namespace zv_torture;

constexpr int kWarmUps = 4, kRepeats = 8;

/// What one more call keeps, of whomever, once all that is kept for ever is there: the least of several.
template <class Count, class Call>
long long kept_by_each(Count const& count, Call const& call)
{
    for (int i = 0; i < kWarmUps; ++i)
        call();
    forget_live_allocations();
    count_allocations(Asker::OURS);
    long long least = std::numeric_limits<long long>::max();
    for (int i = 0; i < kRepeats; ++i) {
        long long const before = count();
        call();
        least = std::min(least, count() - before);
    }
    stop_counting();
    forget_live_allocations();
    return least;
}

class LostMemory : public RoadsFixture {};

TEST_F(LostMemory, NoRoadLosesAnything)
{
    for (Road const& each : roads) {
        EXPECT_LE(kept_by_each(live_allocations, each.run), 0) << each.name;
        EXPECT_LE(kept_by_each(live_library_allocations, each.run), 0) << each.name;
    }
}

TEST_F(LostMemory, AWriterThatOpensAndThenFindsNoMemoryLosesNothing)
{
    constexpr int kTrials = 16;
    Road const& save = road("save split planned.png tiles");
    save.run();
    bool has_failed_once = true;
    for (long long number = 0; has_failed_once; ++number) {
        forget_live_allocations();
        for (int trial = 0; trial < kTrials; ++trial) {
            fail_allocation(Asker::OURS, number, false);
            save.run();
            stop_counting();
        }
        has_failed_once = has_failed();
        EXPECT_LT(live_library_allocations(), kTrials)
            << number << " at " << failed_at();  // a few are kept once
    }
}

TEST_F(LostMemory, APictureThatIsLostIsNoticed)
{
    CoreString const path = folder.file("lines.exr").c_str();
    std::vector<std::unique_ptr<ImageCanvas>> lost;

    long long const kept = kept_by_each(live_allocations, [&] {
        ImageLoadReport report;
        lost.emplace_back(in_module([&] {
            return ImageIO::load_image(path, {}, nullptr, nullptr, ImagePixel::REPEAT_MODE_CLAMP,
                                       ImagePixel::REPEAT_MODE_CLAMP, report);
        }));
    });

    EXPECT_GT(kept, 0);
}

TEST_F(LostMemory, AReaderThatIsLostIsNoticed)
{
    std::string const path = folder.file("strips.tif");
    std::vector<std::unique_ptr<OIIO::ImageInput>> lost;

    long long const kept = kept_by_each(live_library_allocations, [&] {
        lost.push_back(in_module([&] { return OIIO::ImageInput::open(path); }));
    });

    EXPECT_GT(kept, 0);
}

TEST(LiveTableOfAddresses, KnowsWhatWasAddedAndNotRemoved)
{
    static LiveTable table;
    int places[3] = {};

    for (int& place : places)
        table.add(&place);
    table.remove(&places[1]);
    table.remove(&places[1]);
    EXPECT_EQ(table.count(), 2);

    table.add(&places[1]);
    EXPECT_EQ(table.count(), 3);
    table.clear();
    EXPECT_EQ(table.count(), 0);
}

}  // namespace
