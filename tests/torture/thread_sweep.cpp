#include <malloc.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <numeric>
#include <thread>

#include "image_io/texture/image_io_texture_manager.h"
#include "image_io/texture/image_io_texture_stream.h"
#include "tests/torture/damage.h"
#include "tests/torture/open_files.h"
#include "tests/torture/roads.h"
#include "tests/torture/sanitizers.h"
#include "tests/torture/sweeps.h"

namespace zv_torture {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kThreads = 16;
constexpr char kRow[] = "16 threads";
// Pools, caches and stacks fill in the first half. What grows behind that without an end grows past this: what is allocated,
// or, with holes in it, what lies in memory.
constexpr long long kMostInUse = 4ll << 20, kMostResident = 24ll << 20;

struct Memory {
    long long resident = resident_bytes();
    long long in_use = [] {
        auto const state = mallinfo2();
        return static_cast<long long>(state.uordblks + state.hblkhd);
    }();
};

/// All roads, for a thread of its own: savers hold settings of one save. Each round has an order of its own.
class Walker {
public:
    Walker(std::string const& folder, std::uint64_t seed)
        : m_roads(all_roads(folder))
        , m_random(seed)
        , m_order(m_roads.size())
    {
        std::iota(m_order.begin(), m_order.end(), std::size_t(0));
    }
    std::size_t count() const { return m_roads.size(); }
    std::size_t next()
    {
        std::size_t const at = m_at++ % m_order.size();
        if (at == 0)
            for (std::size_t last = m_order.size() - 1; last > 0; --last)
                std::swap(m_order[last], m_order[m_random.below(last + 1)]);
        return m_order[at];
    }
    Road const& operator[](std::size_t number) const { return m_roads[number]; }

private:
    std::vector<Road> m_roads;
    Random m_random;
    std::vector<std::size_t> m_order;
    std::size_t m_at = 0;
};

class ThreadSweep : public Sweep {
public:
    void prepare(Orders const& orders, Notes&) override
    {
        fs::create_directories(orders.folder + "/threads");
        make_road_files(orders.folder + "/threads");
    }

    long long begin(Orders const& orders, Notes&) override
    {
        m_folder = orders.folder + "/threads";
        m_seconds = orders.seconds;
        m_seed = orders.seed * 1000003u;
        return 1;
    }

    std::string describe(long long) const override { return "mixed work on 16 threads"; }

    void run(long long, Notes& notes) override
    {
        Walker alone(m_folder, 0);
        for (std::size_t i = 0; i < alone.count(); ++i) {
            m_wanted.push_back(alone[i].run());
            if (!m_wanted.back().claims_success && !alone[i].is_damaged)
                notes.fault("does not work: " + alone[i].name);
        }
        double const one = walk(1, m_seconds / 8.0, notes);
        int const files_before = count_open_files();
        double const first_half = walk(kThreads, m_seconds * 7 / 16.0, notes);
        int const files = count_open_files();
        forget_tiles();  // those of the savers, who are gone; the first half had as many
        Memory const before;
        double const second_half = walk(kThreads, m_seconds * 7 / 16.0, notes);
        forget_tiles();
        check_growth(files_before, files, before, notes);
        notes.count(kRow, "calls a second on one thread", static_cast<unsigned long long>(one));
        notes.count(kRow, "calls a second on 16 threads",
                    static_cast<unsigned long long>((first_half + second_half) / 2));
    }

    int processor_seconds() const override { return 0; }
    /// The pictures, which are looked up there, and nothing that is saved.
    int kept_open(long long, std::string const& path) const override
    {
        return fs::path(path).parent_path() == fs::canonical(m_folder) ? 1 : 0;
    }
    int cases_a_process() const override { return 1; }

private:
    /// Gives how many roads were walked in a second.
    double walk(int thread_count, double seconds, Notes& notes)
    {
        auto const start = Clock::now();
        auto const end = start + std::chrono::duration<double>(seconds);
        std::atomic<unsigned long long> done = 0;
        std::vector<std::thread> threads;
        for (int number = 0; number < thread_count; ++number)
            threads.emplace_back([&, number] {
                Walker walker(m_folder, m_seed + std::uint64_t(number));
                while (Clock::now() < end)
                    step(walker, number, done++, notes);
            });
        for (std::thread& thread : threads)
            thread.join();
        std::chrono::duration<double> const taken = Clock::now() - start;
        notes.count(kRow, "calls, each with the result of one thread alone", done);
        if (thread_count > 1)
            notes.count(kRow, "seconds of 16 threads", static_cast<unsigned long long>(taken.count()));
        return double(done) / taken.count();
    }

    void step(Walker& walker, int thread, unsigned long long done, Notes& notes) const
    {
        notes.begin_step();
        std::size_t const number = walker.next();
        if (walker[number].run() != m_wanted[number])
            notes.fault("another result than on one thread: " + walker[number].name);
        if (thread == 0 && done % 16 == 0) {
            if (auto* const stream = ImageIOTextureStream::get_texture_stream())
                done % 32 ? stream->invalidate_all(true)
                          : stream->invalidate(UniqueString((m_folder + "/tiles.exr").c_str()));
            ImageIOTextureManager::get_texture_manager()->check_external_file_modification();
            notes.count(kRow, "times all was invalidated meanwhile");
        }
    }

    static void check_growth(int files_before, int files, Memory const& before, Notes& notes)
    {
        int const more_files = count_open_files() - files;
        Memory const now;
        long long const more_resident = now.resident - before.resident,
                        more_in_use = now.in_use - before.in_use;
        notes.count(kRow, "open files more at the end than half way",
                    static_cast<unsigned long long>(std::max(more_files, 0)));
        notes.count(kRow, "MB more in memory at the end than half way",
                    static_cast<unsigned long long>(std::max(more_resident, 0ll) >> 20));
        notes.count(kRow, "kB more allocated at the end than half way",
                    static_cast<unsigned long long>(std::max(more_in_use, 0ll) >> 10));
        // The cache of textures keeps its files open, a few of them.
        if (more_files > 3)
            notes.fault("open files grow: " + std::to_string(files_before) + ", " + std::to_string(files) +
                        ", " + std::to_string(files + more_files));
        // The sanitizers keep what was freed, and what happened.
        if ((more_resident > kMostResident || more_in_use > kMostInUse) && !kIsSanitized)
            notes.fault("memory grows by " + std::to_string(more_resident >> 20) + " MB, of which " +
                        std::to_string(more_in_use >> 10) + " kB are allocated, in the second half");
    }

    std::string m_folder;
    int m_seconds = 10;
    std::uint64_t m_seed = 0;
    std::vector<Outcome> m_wanted;
};

}  // namespace

std::unique_ptr<Sweep> make_thread_sweep()
{
    return std::make_unique<ThreadSweep>();
}

}  // namespace zv_torture
