#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/save/file_size_limit.h"
#include "tests/support/log_capture.h"
#include "tests/torture/byte_order.h"
#include "tests/torture/refused_write.h"
#include "tests/torture/save_forms.h"
#include "tests/torture/sweeps.h"
#include "tests/torture/turns.h"

namespace zv_torture {

namespace {

namespace fs = std::filesystem;

constexpr int kLargeWidth = 200, kLargeHeight = 180;  // more than the buffers of the writers hold
constexpr long long kPauseEvery = 8;                  // cases
// Of each form; odd, so that both kinds of refusal come before it.
constexpr long long kNextSaveEvery = 15;

class RefusedSweep : public Sweep {
public:
    /// Notes what the files of each form are, so that not every process has to save them all first.
    void prepare(Orders const& orders, Notes& notes) override
    {
        make_folder(orders);
        std::ofstream measured(measured_path(orders));
        for (SaveForm const& form : save_forms()) {
            notes.begin_step();
            if (is_refused_form(form)) {
                notes.count("forms that no writer takes", form.name);
                continue;
            }
            SavedFiles const files = save_whole(m_saver, form);
            measured << files.size() << "\n";
            for (auto const& [name, file] : files)
                measured << file.size << " " << file.digest << " " << name << "\n";
        }
    }

    long long begin(Orders const& orders, Notes&) override
    {
        make_folder(orders);
        m_seed = orders.seed;
        std::vector<long long> bytes, pauses;
        std::ifstream measured(measured_path(orders));
        for (SaveForm const& form : save_forms()) {
            if (is_refused_form(form))
                continue;
            m_forms.push_back({form, read_files(measured)});
            bytes.push_back(2 * m_forms.back().size() + 1);  // by a limit and by a write, and the close
            // Icons are never large.
            bool const has_pauses = form.in_regions && form.extension != ".ico";
            pauses.push_back(has_pauses ? m_large_saver.region_count(form) : 0);
        }
        m_bytes = Turns(bytes);
        m_pauses = Turns(pauses);
        return m_bytes.count() + m_pauses.count();
    }

    std::string describe(long long number) const override
    {
        Case const found = case_of(number);
        SaveForm const& form = found.measured->form;
        std::string const text = form.name + ", " + row_of(form);
        if (found.kind == Kind::PAUSE)
            return text + ", region " + std::to_string(found.at);
        return text + ", byte " + std::to_string(found.at) + " of " + std::to_string(found.measured->size()) +
               (found.kind == Kind::ONCE ? ", once" : "");
    }

    void run(long long number, Notes& notes) override
    {
        Case const at = case_of(number);
        empty_folder(m_folder);  // of what a case left that ended early
        switch (at.kind) {
        case Kind::LIMIT:
            limit_bytes(at, notes);
            break;
        case Kind::ONCE:
            refuse_write(at, notes);
            break;
        case Kind::PAUSE:
            refuse_region(at, notes);
        }
        empty_folder(m_folder);
        if (at.has_next_save)
            check_next_save(at, notes);
    }

    int cases_a_process() const override { return 4000; }
    bool is_parallel() const override { return true; }
    bool is_in_order() const override { return true; }

private:
    struct Measured {
        SaveForm form;
        SavedFiles files;

        /// Of the largest.
        [[nodiscard]] long long size() const
        {
            std::size_t largest = 0;
            for (auto const& [name, file] : files)
                largest = std::max(largest, file.size);
            return static_cast<long long>(largest);
        }
    };
    enum class Kind {
        LIMIT,  // the byte and all behind it
        ONCE,   // the write that comes to it
        PAUSE,  // all while one region is written
    };
    struct Case {
        Measured const* measured;
        Kind kind;
        long long at;  // the byte or the region
        bool has_next_save;
    };

    std::string path_of(SaveForm const& form) const { return m_folder + "/saved" + form.extension; }

    static std::string measured_path(Orders const& orders) { return orders.folder + "/refused_measured"; }

    void make_folder(Orders const& orders)
    {
        m_folder = orders.folder + "/refused" + std::to_string(orders.worker);
        fs::create_directories(m_folder);
        empty_folder(m_folder);
    }

    static SavedFiles read_files(std::istream& measured)
    {
        SavedFiles files;
        std::size_t count = 0;
        measured >> count;
        SavedFile file;
        for (std::string name; files.size() < count && measured >> file.size >> file.digest >> name;)
            files[name] = file;
        if (!measured || files.empty())
            throw std::runtime_error("the files of the saves were not measured");
        return files;
    }

    SavedFiles save_whole(FormSaver& saver, SaveForm const& form) const
    {
        zv_test::LogCapture const log(1);
        if (saver.save(form, path_of(form)) != ImageIO::SAVING_STATUS_SUCCESS)
            throw std::runtime_error("cannot save " + form.name + ", " + row_of(form));
        SavedFiles const files = saved_files(m_folder);
        empty_folder(m_folder);
        return files;
    }

    /// Bytes of each form in turn, each once. In between, the pauses.
    Case case_of(long long number) const
    {
        long long const pauses = std::min((number + kPauseEvery - 1) / kPauseEvery, m_pauses.count());
        if (number % kPauseEvery == 0 && number / kPauseEvery < m_pauses.count()) {
            Turns::Turn const turn = m_pauses[number / kPauseEvery];
            return {&m_forms[turn.list], Kind::PAUSE, turn.at, has_next_save(turn)};
        }
        Turns::Turn const turn = m_bytes[number - pauses];
        Measured const& form = m_forms[turn.list];
        if (turn.at == 0)
            return {&form, Kind::ONCE, form.size(), has_next_save(turn)};
        return {&form, turn.at % 2 ? Kind::LIMIT : Kind::ONCE,
                ByteOrder(form.size(), m_seed)[(turn.at - 1) / 2], has_next_save(turn)};
    }

    static bool has_next_save(Turns::Turn const& turn)
    {
        return (turn.at + static_cast<long long>(turn.list)) % kNextSaveEvery == 0;
    }

    /// Writers that open their files themselves get a file in memory. It reaches the disk when all is written, and where a limit
    /// of the process would not let it grow it is not opened.
    static bool is_written_at_its_end(SaveForm const& form)
    {
        for (char const* extension : {".fits", ".heic", ".ico", ".rla", ".sgi", ".zfile"})
            if (form.extension == extension)
                return form.in_regions;
        return false;
    }

    void limit_bytes(Case const& at, Notes& notes)
    {
        SaveForm const& form = at.measured->form;
        auto const byte = static_cast<std::size_t>(at.at);
        std::size_t line_count = 0;
        auto status = ImageIO::SAVING_STATUS_SUCCESS;
        {
            zv_test::LogCapture const log(1);
            if (is_written_at_its_end(form)) {
                status = m_saver.save(form, path_of(form), Refusal{m_saver.region_count(form), byte});
            } else {
                zv_test::FileSizeLimit const limit(byte);
                status = m_saver.save(form, path_of(form));
            }
            line_count = log.lines().size();
        }
        check_failed_save(status, line_count, m_folder, at.measured->files, "refused byte: " + row_of(form),
                          notes, form.in_regions);
        if (form.in_regions)
            check_ends(form, byte, at.measured->files, notes);
    }

    /// What was not taken is missing, though all behind it would be.
    void refuse_write(Case const& at, Notes& notes)
    {
        SaveForm const& form = at.measured->form;
        std::size_t line_count = 0;
        auto status = ImageIO::SAVING_STATUS_SUCCESS;
        std::string refused;
        {
            zv_test::LogCapture const log(1);
            RefusedWrite const refusal(m_folder, static_cast<std::size_t>(at.at));
            status = m_saver.save(form, path_of(form));
            refused = refusal.path();
            line_count = log.lines().size();
        }
        if (refused.empty())
            return notes.fault(std::string("nobody writes that byte  [") + notes.what + "]");
        if (fs::exists(refused))
            notes.fault(std::string("the refused file is still there  [") + notes.what + "]");
        check_failed_save(status, line_count, m_folder, at.measured->files,
                          "refused byte, once: " + row_of(form), notes, form.in_regions);
    }

    /// An unfinished file that ends where the disk does was cut there, if it is longer on a disk of one byte more.
    void check_ends(SaveForm const& form, std::size_t byte, SavedFiles const& whole, Notes& notes)
    {
        for (auto const& [name, file] : saved_files(m_folder)) {
            if (file.size != byte || file == whole.at(name))
                continue;
            empty_folder(m_folder);
            {
                zv_test::LogCapture const log(1);
                zv_test::FileSizeLimit const limit(byte + 1);
                static_cast<void>(m_saver.save(form, path_of(form)));
            }
            if (SavedFiles const again = saved_files(m_folder);
                again.contains(name) && again.at(name).size > byte)
                notes.fault("a file was cut where the disk ends: " + name + "  [" + notes.what + "]");
            return;
        }
    }

    /// Of a picture that is larger than what writers hold back.
    SavedFiles const& large_of(Measured const& measured)
    {
        auto const [found, is_new] = m_large.try_emplace(&measured);
        if (is_new)
            found->second = save_whole(m_large_saver, measured.form);
        return found->second;
    }

    /// What is refused, and would be taken a moment later, is missing in the file all the same.
    void refuse_region(Case const& at, Notes& notes)
    {
        SaveForm const& form = at.measured->form;
        SavedFiles const& large = large_of(*at.measured);
        std::size_t line_count = 0;
        auto status = ImageIO::SAVING_STATUS_SUCCESS;
        {
            zv_test::LogCapture const log(1);
            status = m_large_saver.save(form, path_of(form), Refusal{static_cast<int>(at.at), 0});
            line_count = log.lines().size();
        }
        std::string const row = "refused while one region is written: " + form.group;
        if (status != ImageIO::SAVING_STATUS_SUCCESS)
            check_failed_save(status, line_count, m_folder, large, row, notes, true);
        else if (saved_files(m_folder) != large)
            notes.fault(std::string("false success  [") + notes.what + "]");
        else
            notes.count(row, "saved, since nothing was written meanwhile");
    }

    void check_next_save(Case const& at, Notes& notes)
    {
        Measured const& measured = *at.measured;
        auto const status = m_saver.save(measured.form, path_of(measured.form));
        if (status != ImageIO::SAVING_STATUS_SUCCESS || saved_files(m_folder) != measured.files)
            notes.fault(std::string("the next save does not work  [") + notes.what + "]");
        else
            notes.count("saves behind a refused one, each as the first",
                        at.kind == Kind::LIMIT  ? "refused byte"
                        : at.kind == Kind::ONCE ? "refused byte, once"
                                                : "refused region");
        empty_folder(m_folder);
    }

    std::string m_folder;
    unsigned long long m_seed = 0;
    FormSaver m_saver, m_large_saver{kLargeWidth, kLargeHeight};
    std::vector<Measured> m_forms;
    std::map<Measured const*, SavedFiles> m_large;
    Turns m_bytes, m_pauses;
};

}  // namespace

std::unique_ptr<Sweep> make_refused_sweep()
{
    return std::make_unique<RefusedSweep>();
}

}  // namespace zv_torture
