#include <filesystem>

#include "tests/save/file_size_limit.h"
#include "tests/support/log_capture.h"
#include "tests/torture/save_forms.h"
#include "tests/torture/sweeps.h"
#include "tests/torture/turns.h"

namespace zv_torture {

namespace {

namespace fs = std::filesystem;

constexpr long long kEnd = 1024;                      // bytes at either end of a file that come first
constexpr int kLargeWidth = 200, kLargeHeight = 180;  // more than the buffers of the writers hold
constexpr long long kPauseEvery = 8;                  // cases

class RefusedSweep : public Sweep {
public:
    void prepare(Orders const& orders, Notes& notes) override
    {
        begin(orders, notes);
        for (SaveForm const& form : save_forms())
            if (is_refused_form(form))
                notes.count("forms that no writer takes", form.name);
        m_forms.clear();
    }

    long long begin(Orders const& orders, Notes& notes) override
    {
        m_folder = orders.folder + "/refused" + std::to_string(orders.worker);
        m_seed = static_cast<long long>(orders.seed % 1000003);
        fs::create_directories(m_folder);
        empty_folder(m_folder);
        std::vector<long long> bytes, pauses;
        for (SaveForm const& form : save_forms()) {
            if (is_refused_form(form))
                continue;
            notes.begin_step();
            bytes.push_back(add_form(form));
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
        return form.name + ", " + row_of(form) +
               (found.is_pause
                    ? ", region " + std::to_string(found.at)
                    : ", byte " + std::to_string(found.at) + " of " + std::to_string(found.measured->size));
    }

    void run(long long number, Notes& notes) override
    {
        Case const at = case_of(number);
        empty_folder(m_folder);  // of what a case left that ended early
        if (at.is_pause)
            refuse_region(at, notes);
        else
            refuse_byte(at, notes);
        empty_folder(m_folder);
        if (number % 16 == 0)
            check_next_save(*at.measured, notes);
    }

    int cases_a_process() const override { return 4000; }
    bool is_parallel() const override { return true; }
    bool is_in_order() const override { return true; }

private:
    struct Measured {
        SaveForm form;
        SavedFiles files;
        long long size = 0;  // of the largest
    };
    struct Case {
        Measured const* measured;
        bool is_pause;
        long long at;  // the byte, or the region while which nothing is taken
    };

    std::string path_of(SaveForm const& form) const { return m_folder + "/saved" + form.extension; }

    /// Gives the number of bytes that there are to refuse.
    long long add_form(SaveForm const& form)
    {
        Measured measured{form, save_whole(m_saver, form), 0};
        for (auto const& [name, file] : measured.files)
            measured.size = std::max(measured.size, static_cast<long long>(file.size));
        m_forms.push_back(measured);
        return measured.size;
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
            return {&m_forms[turn.list], true, turn.at};
        }
        Turns::Turn const turn = m_bytes[number - pauses];
        Measured const& form = m_forms[turn.list];
        return {&form, false, byte_of(turn.at, form.size)};
    }

    /// By turns one of the first and the last bytes, from outside inwards, and one of those between them, far from each other
    /// and, of each seed, others.
    [[nodiscard]] long long byte_of(long long turn, long long size) const
    {
        long long const ends = std::min(2 * kEnd, size), inner = size - ends,
                        in_turn = 2 * std::min(ends, inner);
        bool const is_end = turn < in_turn ? turn % 2 == 0 : ends > inner;
        long long const at = turn < in_turn ? turn / 2 : turn - in_turn / 2;
        if (is_end)
            return at % 2 == 0 ? at / 2 : size - 1 - at / 2;
        return kEnd + (at * spread(inner) + m_seed) % inner;
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

    void refuse_byte(Case const& at, Notes& notes)
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

    void check_next_save(Measured const& measured, Notes& notes)
    {
        auto const status = m_saver.save(measured.form, path_of(measured.form));
        if (status != ImageIO::SAVING_STATUS_SUCCESS || saved_files(m_folder) != measured.files)
            notes.fault(std::string("the next save does not work  [") + notes.what + "]");
        empty_folder(m_folder);
    }

    std::string m_folder;
    long long m_seed = 0;
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
