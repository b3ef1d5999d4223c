#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <stdexcept>

#include "tests/torture/allocations.h"
#include "tests/torture/roads.h"
#include "tests/torture/sweeps.h"
#include "tests/torture/turns.h"

namespace zv_torture {

namespace {

namespace fs = std::filesystem;

constexpr int kRepeats = 24, kRounds = 2;
constexpr long long kLibrariesEvery = 7;

/// One trial: which allocation of which road fails.
struct Trial {
    std::size_t road = 0;
    bool for_ever = false;
    long long allocation = 0;
};

/// Whether the writer loses the memory of its picture where a save ends between the opening and the last line: that of
/// JPEG 2000 does.
bool loses_pictures(Road const& road)
{
    return road.name.ends_with(" jp2");
}

class MemorySweep : public Sweep {
public:
    explicit MemorySweep(Asker asker)
        : m_asker(asker)
    {
    }

    void prepare(Orders const& orders, Notes& notes) override
    {
        fs::create_directories(files(orders));
        make_road_files(files(orders));
        learn_askers();
        m_roads = all_roads(files(orders));
        m_is_warm.assign(m_roads.size(), false);
        std::ofstream file(measured_path(orders));
        for (std::size_t road = 0; road < m_roads.size(); ++road) {
            measure(road, notes);
            file << m_counts.back() << " " << m_outcomes.back().claims_success << " "
                 << m_outcomes.back().digest << "\n";
        }
        m_roads.clear();
    }

    long long begin(Orders const& orders, Notes&) override
    {
        learn_askers();
        m_roads = all_roads(files(orders));
        m_is_warm.assign(m_roads.size(), false);
        m_counts.clear();
        m_outcomes.clear();
        std::vector<long long> trials;
        std::ifstream file(measured_path(orders));
        long long count = 0;
        for (Outcome outcome; file >> count >> outcome.claims_success >> outcome.digest;) {
            m_counts.push_back(count);
            m_outcomes.push_back(outcome);
            trials.push_back((count + 1) * 2);
        }
        if (trials.size() != m_roads.size())
            throw std::runtime_error("the roads were not measured");
        m_trials = Turns(trials);
        return m_trials.count();
    }

    std::string describe(long long number) const override
    {
        Trial const trial = trial_of(number);
        return m_roads[trial.road].name + ", allocation " + std::to_string(trial.allocation) + " of " +
               std::to_string(m_counts[trial.road]) + (trial.for_ever ? " and all behind it" : "");
    }

    void run(long long number, Notes& notes) override
    {
        Trial trial = trial_of(number);
        warm_up(trial.road, notes);
        bool const with_libraries = number % kLibrariesEvery == 0 && !loses_pictures(m_roads[trial.road]);
        // Behind the last one that was measured, in another process: on until none comes any more.
        while (run_trial(trial, with_libraries, notes) && trial.allocation >= m_counts[trial.road]) {
            notes.begin_step();
            ++trial.allocation;
        }
    }

    int cases_a_process() const override { return 500; }
    /// Libraries that lack memory now and then wait for ever: that must not take the time of all other cases.
    int silent_seconds() const override { return m_asker == Asker::LIBRARY ? 5 : Sweep::silent_seconds(); }
    /// A lookup keeps its picture open, and nothing else. A library that lacks memory may lose any number.
    int kept_open(long long number, std::string const& path) const override
    {
        if (m_asker == Asker::LIBRARY)
            return std::numeric_limits<int>::max();
        return m_roads[trial_of(number).road].name == "lookups " + fs::path(path).filename().string() ? 1 : 0;
    }

private:
    std::string files(Orders const& orders) const { return orders.folder + "/memory"; }
    std::string measured_path(Orders const& orders) const
    {
        return files(orders) + (m_asker == Asker::OURS ? "/measured" : "/measured_in_libraries");
    }

    /// False if the allocation did not come, or something escaped.
    bool run_trial(Trial const& trial, bool with_libraries, Notes& notes)
    {
        Outcome outcome;
        forget_live_allocations();
        if (!try_once(trial, outcome, notes))
            return false;
        // A reader that is lost is memory of its library. Libraries keep some at first: that takes all repeats.
        auto const kept = [&] {
            forget_tiles();
            return live_allocations() + (with_libraries ? live_library_allocations() : 0);
        };
        long long leaked = kept();
        // Some things are kept, up to a number or now and then: only what grows with each trial, and again with more of them, is
        // lost.
        for (int round = 0; leaked > 0 && round < kRounds; ++round) {
            for (int again = 0; again < kRepeats; ++again) {
                if (again == kRepeats / 2)
                    leaked = kept();
                if (!try_once(trial, outcome, notes))
                    return false;
            }
            leaked = std::max(0ll, kept() - leaked - kRepeats / 4);
        }
        forget_live_allocations();
        check(trial, outcome, leaked, notes);
        return has_failed();
    }

    /// Runs a road until it has all that it keeps for ever.
    void warm_up(std::size_t road, Notes& notes)
    {
        notes.begin_step();
        if (!m_is_warm[road])
            for (int i = 0; i < 2; ++i)
                m_roads[road].run();
        m_is_warm[road] = true;
    }

    /// False if something escaped.
    bool try_once(Trial const& trial, Outcome& outcome, Notes& notes)
    {
        unsigned long long const lines_before = error_lines();
        forget_tiles();
        fail_allocation(m_asker, trial.allocation, trial.for_ever);
        try {
            outcome = m_roads[trial.road].run();
            stop_counting();
            m_error_lines = error_lines() - lines_before;
            return true;
        } catch (...) {
            stop_counting();
            notes.fault(std::string("an exception escaped  [") + notes.what + "] at " + failed_at());
            return false;
        }
    }

    /// Notes what a road gives and needs.
    void measure(std::size_t number, Notes& notes)
    {
        Road const& road = m_roads[number];
        warm_up(number, notes);
        forget_tiles();
        forget_live_allocations();
        count_allocations(m_asker);
        m_outcomes.push_back(road.run());
        m_counts.push_back(stop_counting());
        if (!m_outcomes.back().claims_success && !road.is_damaged)
            notes.fault("does not work: " + road.name);
        forget_tiles();
        if (live_allocations() != 0)
            notes.fault("a clean run keeps " + std::to_string(live_allocations()) + " allocations  [" +
                        road.name + "]");
        forget_live_allocations();
    }

    Trial trial_of(long long number) const
    {
        Turns::Turn const turn = m_trials[number];
        return {turn.list, turn.at % 2 == 1, turn.at / 2};
    }

    /// One that fails alone leaves memory for a line.
    [[nodiscard]] std::string row(Trial const& trial) const
    {
        std::string const& road = m_roads[trial.road].name;
        return std::string(trial.for_ever ? "failing memory, all from then on: " : "failing memory, once: ") +
               road.substr(0, road.find(' '));
    }

    /// Without memory there may be none for a line, and a file may keep what arrived.
    std::string outcome_text(Outcome const& outcome) const
    {
        if (outcome.claims_success)
            return "false success";
        if (outcome.digest != 0)
            return "a picture whose report tells of losses";
        return std::string("failed, ") + (m_error_lines > 0 ? "and said so" : "without a line") +
               (outcome.leaves_a_file ? ", a file left" : "");
    }

    void check(Trial const& trial, Outcome const& outcome, long long leaked, Notes& notes)
    {
        Road const& road = m_roads[trial.road];
        Outcome const& wanted = m_outcomes[trial.road];
        std::string const what =
            std::string("  [") + notes.what + "]" + (has_failed() ? " at " + failed_at() : "");
        if (m_asker == Asker::OURS && leaked > 0)
            notes.fault("a leak of " + std::to_string(leaked) + " allocations" + what);
        // What a library does not tell nobody can know: that is listed.
        if (m_asker == Asker::OURS && outcome.claims_success && outcome != wanted)
            notes.fault("false success" + what);
        if (outcome.claims_success && outcome != wanted)
            notes.count("failing memory: false success, allocation of",
                        failed_at().substr(0, failed_at().find(" <")));
        if (!has_failed() && outcome != wanted)
            notes.fault("another result, though nothing failed" + what);
        if (road.run() != wanted)
            notes.fault("the next run is another" + what);
        bool const is_silent = !outcome.claims_success && m_error_lines == 0;
        if (m_asker == Asker::OURS && is_silent && !trial.for_ever && road.name.starts_with("save "))
            notes.fault("a save fails without a word, though there was memory for it" + what);
        if (!has_failed())
            notes.count(row(trial), "done before that allocation came");
        else if (outcome == wanted)
            notes.count(row(trial), "done all the same");
        else
            notes.count(row(trial), outcome_text(outcome));
    }

    Asker m_asker;
    std::vector<Road> m_roads;
    std::vector<bool> m_is_warm;
    std::vector<Outcome> m_outcomes;
    std::vector<long long> m_counts;
    Turns m_trials;
    unsigned long long m_error_lines = 0;  // of the last trial
};

}  // namespace

std::unique_ptr<Sweep> make_memory_sweep()
{
    return std::make_unique<MemorySweep>(Asker::OURS);
}

std::unique_ptr<Sweep> make_library_memory_sweep()
{
    return std::make_unique<MemorySweep>(Asker::LIBRARY);
}

}  // namespace zv_torture
