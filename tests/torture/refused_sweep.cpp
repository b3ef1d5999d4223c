#include <filesystem>

#include "tests/save/file_size_limit.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/torture/digest.h"
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
        for (Measured const& measured : m_forms)
            if (measured.size == 0)
                notes.count("forms that no writer takes", measured.form.name);
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
            notes.begin_step();
            bytes.push_back(add_form(form));
            // Icons are never large.
            bool const has_pauses = form.in_regions && bytes.back() > 0 && form.extension != ".ico";
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
        return form.name + ", " + row(*found.measured) +
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
        FileSizes files;
        long long size = 0;  // of the largest
    };
    /// The same of a picture that is larger than what writers hold back.
    struct Large {
        FileSizes files;
        unsigned long long digest = 0;
    };
    struct Case {
        Measured const* measured;
        bool is_pause;
        long long at;  // the byte, or the region while which nothing is taken
    };

    std::string path_of(SaveForm const& form) const { return m_folder + "/saved" + form.extension; }

    /// Gives the number of bytes that there are to refuse: none if the format's writer does not take such a picture.
    long long add_form(SaveForm const& form)
    {
        zv_test::LogCapture const log(1);
        bool const is_saved = m_saver.save(form, path_of(form)) == ImageIO::SAVING_STATUS_SUCCESS;
        if (!is_saved && form.format != ImageIOFileFormat::SAVE_UNKNOWN)
            throw std::runtime_error("cannot save " + form.name + (form.in_regions ? " in regions" : ""));
        Measured measured{form, {}, 0};
        if (is_saved)
            measured.files = file_sizes(m_folder);
        for (auto const& [name, size] : measured.files)
            measured.size = std::max(measured.size, static_cast<long long>(size));
        m_forms.push_back(measured);
        empty_folder(m_folder);
        return measured.size;
    }

    /// The first and the last bytes of each form, from outside inwards, and then all others, far from each other; each
    /// once. In between, the pauses.
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

    long long byte_of(long long turn, long long size) const
    {
        if (turn < 2 * kEnd || size <= 2 * kEnd)
            return turn % 2 == 0 ? turn / 2 : size - 1 - turn / 2;
        long long const inner = size - 2 * kEnd;
        return kEnd + ((turn - 2 * kEnd) * spread(inner) + m_seed) % inner;
    }

    static std::string row(Measured const& measured)
    {
        return "refused byte: " + measured.form.group + (measured.form.in_regions ? ", regions" : ", whole");
    }

    void refuse_byte(Case const& at, Notes& notes)
    {
        std::size_t line_count = 0;
        auto status = ImageIO::SAVING_STATUS_SUCCESS;
        {
            zv_test::LogCapture const log(1);
            zv_test::FileSizeLimit const limit(static_cast<std::size_t>(at.at));
            status = m_saver.save(at.measured->form, path_of(at.measured->form));
            line_count = log.lines().size();
        }
        check_failed_save(status, line_count, m_folder, at.measured->files, row(*at.measured), notes);
    }

    /// Of the samples: some formats note the time of day.
    unsigned long long digest_of_files() const
    {
        Digest digest;
        for (auto const& [name, size] : file_sizes(m_folder)) {
            auto const samples = zv_test::read_picture(m_folder + "/" + name).samples;
            digest.add(samples.data(), samples.size() * sizeof(float));
        }
        return digest.value();
    }

    Large const& large_of(Measured const& measured)
    {
        auto const [found, is_new] = m_large.try_emplace(&measured);
        if (is_new) {
            static_cast<void>(m_large_saver.save(measured.form, path_of(measured.form)));
            found->second = {file_sizes(m_folder), digest_of_files()};
            empty_folder(m_folder);
        }
        return found->second;
    }

    /// What is refused, and would be taken a moment later, is missing in the file all the same.
    void refuse_region(Case const& at, Notes& notes)
    {
        Large const& large = large_of(*at.measured);
        std::size_t line_count = 0;
        auto status = ImageIO::SAVING_STATUS_SUCCESS;
        {
            zv_test::LogCapture const log(1);
            status =
                m_large_saver.save(at.measured->form, path_of(at.measured->form), static_cast<int>(at.at));
            line_count = log.lines().size();
        }
        std::string const row_name = "refused while one region is written: " + at.measured->form.group;
        if (status != ImageIO::SAVING_STATUS_SUCCESS)
            check_failed_save(status, line_count, m_folder, large.files, row_name, notes);
        else if (file_sizes(m_folder) != large.files || digest_of_files() != large.digest)
            notes.fault(std::string("false success  [") + notes.what + "]");
        else
            notes.count(row_name, "saved, since nothing was written meanwhile");
    }

    void check_next_save(Measured const& measured, Notes& notes)
    {
        auto const status = m_saver.save(measured.form, path_of(measured.form));
        if (status != ImageIO::SAVING_STATUS_SUCCESS || file_sizes(m_folder) != measured.files)
            notes.fault(std::string("the next save does not work  [") + notes.what + "]");
        empty_folder(m_folder);
    }

    std::string m_folder;
    long long m_seed = 0;
    FormSaver m_saver, m_large_saver{kLargeWidth, kLargeHeight};
    std::vector<Measured> m_forms;
    std::map<Measured const*, Large> m_large;
    Turns m_bytes, m_pauses;
};

}  // namespace

std::unique_ptr<Sweep> make_refused_sweep()
{
    return std::make_unique<RefusedSweep>();
}

}  // namespace zv_torture
