#include <OpenImageIO/thread.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <memory>
#include <thread>
#include <vector>

#include "tests/support/temp_dir.h"
#include "tests/torture/driver.h"
#include "tests/torture/hidden.h"

// What only a sanitizer sees, planted: it has to be told of, and to be called ours. In builds with one only.

namespace {

using namespace zv_torture;

int s_shared = 0;

[[maybe_unused]] void count_without_a_lock()
{
    for (int i = 0; i < 1000; ++i)
        *hidden(&s_shared) += 1;
}

/// The first thread does so much behind it that nobody knows any more where it was then.
[[maybe_unused]] void race_with_one_long_past()
{
    static std::atomic<bool> is_past = false;
    std::thread other([] {
        *hidden(&s_shared) += 1;
        // What is done twice at one place counts once.
        std::vector<int> elsewhere(2000000);
        for (std::size_t i = 0; i < elsewhere.size(); ++i)
            *hidden(&elsewhere[i]) = 1;
        is_past.store(true, std::memory_order_relaxed);
        while (is_past.load(std::memory_order_relaxed))
            std::this_thread::yield();
    });
    while (!is_past.load(std::memory_order_relaxed))
        std::this_thread::yield();
    *hidden(&s_shared) += 1;
    is_past.store(false, std::memory_order_relaxed);
    other.join();
}

/// On two threads of its pool, which learn nothing from each other.
[[maybe_unused]] void let_a_library_call_what_races()
{
    OIIO::thread_pool pool(2);
    std::atomic<int> arrived = 0;
    auto const work = [&](int) {
        auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        arrived.fetch_add(1, std::memory_order_relaxed);
        while (arrived.load(std::memory_order_relaxed) < 2 && std::chrono::steady_clock::now() < end)
            std::this_thread::yield();
        count_without_a_lock();
    };
    auto const one = pool.push(work), other = pool.push(work);
    one.wait();
    other.wait();
}

/// A case that behaves as told, and a part of what has to be said of it.
struct Plant {
    char const* name;
    void (*run)();
    char const* text;
};

Plant const kPlants[] = {
    {"nothing", [] {}, ""},
#if defined(__SANITIZE_ADDRESS__)
    {"a leak", [] { hidden(new int[100]); }, "a leak"},
    {"a read behind the end",
     [] {
         std::unique_ptr<int[]> const memory(new int[10]);
         hidden(memory[std::size_t(hidden(10))]);
     },
     "crash in zv_t"},
    {"a sum that is too large", [] { hidden(hidden(INT_MAX) + hidden(1)); }, "ended by"},
    {"an index behind the end of an array",
     [] {
         int const numbers[4] = {hidden(1), 2, 3, 4};
         hidden(numbers[hidden(4)]);
     },
     "ended by"},
    {"an address that is not aligned",
     [] {
         alignas(int) char bytes[2 * sizeof(int)] = {};
         hidden(*reinterpret_cast<int const*>(hidden(bytes + 1)));
     },
     "ended by"},
#elif defined(__SANITIZE_THREAD__)
    {"a race",
     [] {
         std::thread other(count_without_a_lock);
         count_without_a_lock();
         other.join();
     },
     "data-race: zv_t"},
    {"a race with one long past", race_with_one_long_past, "unknown"},
    {"a race of what a library calls", let_a_library_call_what_races, "data-race: zv_t"},
#endif
};

/// The one that the seed names: of a leak nobody can say which case it was.
class PlantedSweep : public Sweep {
public:
    long long begin(Orders const& orders, Notes&) override
    {
        m_plant = &kPlants[orders.seed];
        return 1;
    }
    std::string describe(long long) const override { return m_plant->name; }
    void run(long long, Notes&) override { m_plant->run(); }

private:
    Plant const* m_plant = nullptr;
};

TEST(Sanitizer, TellsOfWhatIsPlantedAndOfNothingElse)
{
    for (std::size_t i = 0; i < std::size(kPlants); ++i) {
        SCOPED_TRACE(kPlants[i].name);
        zv_test::TempDir const folder;
        Orders orders;
        orders.folder = folder.path().string();
        orders.seed = i;

        Result const result = drive("planted", orders, std::chrono::minutes(5));

        EXPECT_EQ(result.cases, 1);
        EXPECT_EQ(result.faults.empty(), i == 0);
        for (std::string const& fault : result.faults)
            EXPECT_NE(fault.find(kPlants[i].text), std::string::npos) << fault;
    }
}

}  // namespace

namespace zv_torture {

std::vector<SweepKind> const& sweep_kinds()
{
    static std::vector<SweepKind> const kinds = {
        {"planted", "what a sanitizer sees", 1,
         []() -> std::unique_ptr<Sweep> { return std::make_unique<PlantedSweep>(); }}};
    return kinds;
}

}  // namespace zv_torture
