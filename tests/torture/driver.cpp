#include "tests/torture/driver.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <stdexcept>
#include <thread>

#include "tests/torture/ends.h"

extern char** environ;

namespace zv_torture {

namespace {

using Clock = std::chrono::steady_clock;

// A process that neither works nor uses up its processor time waits for something that does not come.
constexpr auto kMostSilence = std::chrono::seconds(30);
constexpr long long kMostFaults = 40;

struct Batch {
    long long first = 0, count = 0, step = 1;
};

class Driver {
public:
    Driver(std::string sweep, Orders const& orders)
        : m_sweep(std::move(sweep))
        , m_orders(orders)
        , m_limits(make_sweep(m_sweep))
    {
    }

    Result run(std::chrono::seconds time, long long most_cases)
    {
        auto const end = Clock::now() + time;
        run_batch({0, 0, 1}, true);
        long long const all = m_result.all_cases;
        long long const count = most_cases < 0 ? all : std::min(all, most_cases);
        long long const step = spread(all);
        for (long long done = 0; done < count && Clock::now() < end && is_worth_going_on();) {
            long long const size = std::min<long long>(m_limits->cases_a_process(), count - done);
            m_seconds_left = std::chrono::duration_cast<std::chrono::seconds>(end - Clock::now()).count() + 1;
            long long const ran = run_batch({done, size, step}, false);
            done += std::max(ran, 1ll);
        }
        return std::move(m_result);
    }

private:
    bool is_worth_going_on() const { return static_cast<long long>(m_result.faults.size()) < kMostFaults; }

    /// A step that meets every case once, the first ones far apart.
    static long long spread(long long all)
    {
        long long step = std::max(1ll, static_cast<long long>(static_cast<double>(all) * 0.618));
        while (std::gcd(step, all) > 1)
            ++step;
        return step;
    }

    /// Runs a batch; gives how many cases of it are done with.
    long long run_batch(Batch const& batch, bool is_preparation)
    {
        std::string const path = m_orders.folder + "/notes";
        std::filesystem::remove(path);
        SharedNotes const notes(path);
        notes->position = -1;
        bool const was_stuck = spawn_and_wait(batch, path, *notes, is_preparation);
        ++m_result.processes;
        collect(*notes);
        if (is_preparation)
            m_result.all_cases = notes->case_count;
        long long const ran = notes->position + 1;
        m_result.cases += ran;
        if (notes->is_done)
            return ran;
        judge(*notes, was_stuck, batch, is_preparation);
        return ran;
    }

    /// True if the child had to be ended.
    bool spawn_and_wait(Batch const& batch, std::string const& path, Notes const& notes, bool is_preparation,
                        bool is_guarded = false)
    {
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
                                          "--first",
                                          std::to_string(batch.first),
                                          "--count",
                                          std::to_string(batch.count),
                                          "--seconds-left",
                                          std::to_string(m_seconds_left),
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
        return wait_for(process, notes);
    }

    bool wait_for(pid_t process, Notes const& notes)
    {
        auto last_beat = Clock::now();
        int beats = -1, status = 0;
        while (waitpid(process, &status, WNOHANG) == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            if (notes.beats != beats) {
                beats = notes.beats;
                last_beat = Clock::now();
            } else if (Clock::now() - last_beat > kMostSilence) {
                // It says where it waits, if it can.
                kill(process, SIGPROF);
                std::this_thread::sleep_for(std::chrono::seconds(1));
                kill(process, SIGKILL);
                waitpid(process, &status, 0);
                return notes.end_kind == END_NONE;
            }
        }
        m_signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
        return false;
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

    static std::string end_text(Notes const& notes, bool was_stuck, int signal)
    {
        if (was_stuck)
            return "waits for ever";
        switch (notes.end_kind) {
        case END_SIGNAL:
            return std::string("crash in ") + notes.end_frame;
        case END_TIME:
            return std::string("time used up in ") + notes.end_frame;
        case END_EXIT:
            return std::string("exit by ") + notes.end_frame;
        }
        return "ended by signal " + std::to_string(signal);
    }

    void judge(Notes const& notes, bool was_stuck, Batch const& batch, bool is_preparation)
    {
        std::string const text = end_text(notes, was_stuck, m_signal);
        bool is_librarys = notes.end_kind != END_NONE && !notes.end_is_ours && !was_stuck;
        if (is_preparation || notes.position < 0) {
            m_result.faults.push_back(text + "  [" + notes.what + "]");
            return;
        }
        std::string const text_alone = run_alone(batch, notes.position, false, is_librarys);
        m_result.rows["cases run again alone"][text_alone.empty() ? "passed" : "ended again"] += 1;
        std::string found = text;
        // Whoever needs memory finds the heap that another has spoilt: with guarded memory the other one is found.
        if (!is_librarys) {
            std::string const guarded = run_alone(batch, notes.position, true, is_librarys);
            if (!guarded.empty())
                found = guarded;
        }
        if (is_librarys) {
            LibraryEnd& end = m_result.library_ends[found];
            ++end.count;
            end.example = notes.what;
        } else {
            m_result.faults.push_back(found + "  [" + notes.what + "]");
        }
    }

    /// The same case in a process of its own: how it ended, or nothing if it did not end early.
    std::string run_alone(Batch const& batch, long long position, bool is_guarded, bool& is_librarys)
    {
        std::string const path = m_orders.folder + "/notes_alone";
        std::filesystem::remove(path);
        SharedNotes const notes(path);
        bool const was_stuck =
            spawn_and_wait({batch.first + position, 1, batch.step}, path, *notes, false, is_guarded);
        ++m_result.processes;
        if (notes->is_done)
            return {};
        is_librarys = notes->end_kind != END_NONE && !notes->end_is_ours && !was_stuck;
        return end_text(*notes, was_stuck, m_signal);
    }

    std::string m_sweep;
    Orders m_orders;
    std::unique_ptr<Sweep> m_limits;
    Result m_result;
    int m_signal = 0;
    long long m_seconds_left = 1;
};

}  // namespace

Result drive(std::string const& sweep, Orders const& orders, std::chrono::seconds time, long long most_cases)
{
    return Driver(sweep, orders).run(time, most_cases);
}

}  // namespace zv_torture
