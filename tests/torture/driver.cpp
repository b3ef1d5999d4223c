#include "tests/torture/driver.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <thread>

#include "tests/torture/ends.h"
#include "tests/torture/sanitizers.h"
#include "tests/torture/turns.h"

extern char** environ;

namespace zv_torture {

namespace {

using Clock = std::chrono::steady_clock;

constexpr long long kMostFaults = 40;

struct Batch {
    long long first = 0, count = 0, step = 1;
};

class Driver {
public:
    Driver(std::string sweep, Orders const& orders)
        : m_sweep(std::move(sweep))
        , m_orders(orders)
        , m_limits(sweep_kind(m_sweep).make())
    {
    }

    Result run(std::chrono::milliseconds time, long long most_cases)
    {
        m_end = Clock::now() + time;
        run_batch({0, 0, 1}, 0, true);
        long long const all = m_result.all_cases;
        m_case_count = most_cases < 0 ? all : std::min(all, most_cases);
        m_step = spread(all);
        std::vector<std::thread> others;
        int const worker_count =
            m_limits->is_parallel() ? std::max(1, int(std::thread::hardware_concurrency())) : 1;
        for (int worker = 1; worker < worker_count; ++worker)
            others.emplace_back([this, worker] { work(worker); });
        work(0);
        for (std::thread& other : others)
            other.join();
        return std::move(m_result);
    }

private:
    /// Runs one batch after the other, each in a process of its own.
    void work(int worker)
    {
        while (std::optional<Batch> const batch = next_batch()) {
            long long const ran = run_batch(*batch, worker, false);
            if (Batch const rest{batch->first + ran, batch->count - ran, batch->step}; rest.count > 0)
                put_back(rest);
        }
    }

    std::optional<Batch> next_batch()
    {
        std::lock_guard const guard(m_mutex);
        bool const is_late = m_handed_out > 0 && Clock::now() >= m_end;
        if (is_late || static_cast<long long>(m_result.faults.size()) >= kMostFaults)
            return std::nullopt;
        if (!m_rests.empty()) {
            Batch const batch = m_rests.back();
            m_rests.pop_back();
            return batch;
        }
        Batch const batch{m_handed_out,
                          std::min<long long>(m_limits->cases_a_process(), m_case_count - m_handed_out),
                          m_step};
        m_handed_out += std::max(batch.count, 0ll);
        return batch.count > 0 ? std::optional(batch) : std::nullopt;
    }

    /// What a process did not come to, because it ended or had no time.
    void put_back(Batch const& rest)
    {
        std::lock_guard const guard(m_mutex);
        m_rests.push_back(rest);
    }

    /// Runs a batch; gives how many cases of it are done with.
    long long run_batch(Batch const& batch, int worker, bool is_preparation)
    {
        Run run = start(batch, worker, is_preparation, false);
        {
            std::lock_guard const guard(m_mutex);
            collect(*run.notes);
            if (is_preparation)
                m_result.all_cases = run.notes->case_count;
            m_result.cases += run.notes->position + 1;
        }
        if (!run.notes->is_done)
            judge(run, batch, worker, is_preparation);
        return std::max(run.notes->position + 1, 1ll);
    }

    /// A child that has ended.
    struct Run {
        std::unique_ptr<SharedNotes> holder;
        Notes* notes = nullptr;
        bool was_stuck = false;
        int signal = 0;

        [[nodiscard]] bool is_librarys() const
        {
            return notes->end_kind != END_NONE && !notes->end_is_ours && !was_stuck;
        }

        /// Of a run with guarded memory. That is slow and used up sooner, so that running out of time tells nothing, nor does
        /// a library that did not stand its lack: a library is to blame only where it touched what nobody may touch.
        [[nodiscard]] bool tells_who_spoils() const
        {
            return notes->end_kind == END_SIGNAL && (notes->end_is_guarded || !is_librarys());
        }
    };

    Run start(Batch const& batch, int worker, bool is_preparation, bool is_guarded)
    {
        std::string const path = m_orders.folder + "/notes" + std::to_string(worker);
        std::filesystem::remove(path);
        Run run;
        run.holder = std::make_unique<SharedNotes>(path);
        run.notes = &**run.holder;
        run.notes->position = -1;
        spawn_and_wait(batch, worker, path, run, is_preparation, is_guarded);
        std::lock_guard const guard(m_mutex);
        ++m_result.processes;
        return run;
    }

    void spawn_and_wait(Batch const& batch, int worker, std::string const& path, Run& run,
                        bool is_preparation, bool is_guarded) const
    {
        long long const seconds_left =
            std::chrono::duration_cast<std::chrono::seconds>(m_end - Clock::now()).count();
        std::vector<std::string> words = {"zv_torture",
                                          "--child",
                                          m_sweep,
                                          "--notes",
                                          path,
                                          "--folder",
                                          m_orders.folder,
                                          "--corpus",
                                          m_orders.corpus,
                                          "--seed",
                                          std::to_string(m_orders.seed),
                                          "--seconds",
                                          std::to_string(m_orders.seconds),
                                          "--worker",
                                          std::to_string(worker),
                                          "--first",
                                          std::to_string(batch.first),
                                          "--count",
                                          std::to_string(batch.count),
                                          "--seconds-left",
                                          std::to_string(std::max(seconds_left, 0ll)),
                                          "--step",
                                          std::to_string(batch.step)};
        if (is_preparation)
            words.push_back("--prepare");
        if (is_guarded)
            words.push_back("--guarded");
        std::vector<char*> arguments;
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        pid_t process = 0;
        if (posix_spawn(&process, "/proc/self/exe", nullptr, nullptr, arguments.data(), environ) != 0)
            throw std::runtime_error("cannot start a process");
        wait_for(process, run);
    }

    void wait_for(pid_t process, Run& run) const
    {
        // A process that neither works nor uses up its processor time waits for something that does not come.
        std::chrono::seconds const most_silence(m_limits->silent_seconds() * kSlowness);
        auto last_beat = Clock::now();
        int beats = -1, status = 0;
        while (waitpid(process, &status, WNOHANG) == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            if (run.notes->beats != beats) {
                beats = run.notes->beats;
                last_beat = Clock::now();
            } else if (Clock::now() - last_beat > most_silence) {
                // It says where it waits, if it can.
                kill(process, SIGPROF);
                std::this_thread::sleep_for(std::chrono::seconds(1));
                kill(process, SIGKILL);
                waitpid(process, &status, 0);
                run.was_stuck = run.notes->end_kind == END_NONE;
                return;
            }
        }
        run.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }

    void collect(Notes const& notes)
    {
        for (Notes::Tally const& tally : notes.tallies)
            if (tally.state == 2)
                m_result.rows[tally.row][tally.outcome] += tally.count;
        for (unsigned i = 0; i < std::min<unsigned>(notes.fault_count, Notes::kFaults); ++i)
            m_result.faults.push_back(notes.faults[i]);
        if (notes.fault_count > Notes::kFaults)
            m_result.faults.push_back("and " + std::to_string(notes.fault_count - Notes::kFaults) + " more");
    }

    static std::string end_text(Run const& run)
    {
        if (run.was_stuck)
            return "waits for ever";
        switch (run.notes->end_kind) {
        case END_SIGNAL:
            return std::string("crash in ") + run.notes->end_frame;
        case END_TIME:
            return std::string("time used up in ") + run.notes->end_frame;
        case END_EXIT:
            return std::string("exit by ") + run.notes->end_frame;
        }
        return "ended by signal " + std::to_string(run.signal);
    }

    void judge(Run const& run, Batch const& batch, int worker, bool is_preparation)
    {
        // The notes of this worker's next child take the place of these.
        std::string const what = run.notes->what;
        std::string found = end_text(run);
        bool is_librarys = run.is_librarys();
        bool const has_case = !is_preparation && run.notes->position >= 0;
        if (has_case) {
            Batch const alone{batch.first + run.notes->position, 1, batch.step};
            Run const again = start(alone, worker, false, false);
            count_again(again);
            if (!again.notes->is_done && is_librarys) {
                found = end_text(again);
                is_librarys = again.is_librarys();
            }
            // Whoever needs memory finds the heap that another has spoilt: with guarded memory the other one is found,
            // be it a library or ours.
            if (!kIsSanitized)
                if (Run const guarded = start(alone, worker, false, true); guarded.tells_who_spoils()) {
                    found = end_text(guarded);
                    is_librarys = guarded.is_librarys();
                }
        }
        std::lock_guard const guard(m_mutex);
        if (has_case && is_librarys) {
            LibraryEnd& end = m_result.library_ends[found];
            ++end.count;
            end.example = what;
        } else {
            m_result.faults.push_back(found + "  [" + what + "]");
        }
    }

    void count_again(Run const& again)
    {
        std::lock_guard const guard(m_mutex);
        m_result.rows["cases run again alone"][again.notes->is_done ? "passed" : "ended again"] += 1;
    }

    std::string m_sweep;
    Orders m_orders;
    std::unique_ptr<Sweep> m_limits;
    Result m_result;
    Clock::time_point m_end;
    long long m_case_count = 0, m_step = 1;

    std::mutex m_mutex;  // of what follows
    long long m_handed_out = 0;
    std::vector<Batch> m_rests;
};

}  // namespace

SweepKind const& sweep_kind(std::string const& name)
{
    for (SweepKind const& kind : sweep_kinds())
        if (name == kind.name)
            return kind;
    throw std::invalid_argument("there is no sweep " + name);
}

Result drive(std::string const& sweep, Orders const& orders, std::chrono::milliseconds time,
             long long most_cases)
{
    return Driver(sweep, orders).run(time, most_cases);
}

}  // namespace zv_torture
