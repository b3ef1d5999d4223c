#include <filesystem>

#include "tests/save/file_size_limit.h"
#include "tests/support/log_capture.h"
#include "tests/torture/save_forms.h"
#include "tests/torture/sweeps.h"

namespace zv_torture {

namespace {

namespace fs = std::filesystem;

class RefusedSweep : public Sweep {
public:
    long long begin(Orders const& orders, Notes&) override
    {
        m_folder = orders.folder + "/refused";
        fs::create_directories(m_folder);
        std::size_t largest = 0;
        for (SaveForm const& form : save_forms())
            largest = std::max(largest, add_form(form));
        return static_cast<long long>(largest * m_forms.size());
    }

    std::string describe(long long number) const override
    {
        Case const found = case_of(number);
        return found.form->form.name + ", " + row(*found.form) + ", byte " + std::to_string(found.byte) +
               " of " + std::to_string(found.form->size);
    }

    void run(long long number, Notes& notes) override
    {
        Case const at = case_of(number);
        std::string const path = m_folder + "/refused" + at.form->form.extension;
        std::string const row_name = row(*at.form);
        std::size_t line_count = 0;
        auto status = ImageIO::SAVING_STATUS_SUCCESS;
        {
            zv_test::LogCapture const log(1);
            zv_test::FileSizeLimit const limit(at.byte);
            status = m_saver.save(at.form->form, path);
            line_count = log.lines().size();
        }
        check_failed_save(status, line_count, path, row_name, notes);
        fs::remove(path);
        if (number % 16 == 0)
            check_next_save(at.form->form, path, at.form->size, notes);
    }

    int cases_a_process() const override { return 4000; }

private:
    struct Measured {
        SaveForm form;
        std::size_t size = 0;
    };
    struct Case {
        Measured const* form;
        std::size_t byte;
    };

    std::size_t add_form(SaveForm const& form)
    {
        std::string const path = m_folder + "/whole" + form.extension;
        zv_test::LogCapture const log(1);
        if (m_saver.save(form, path) != ImageIO::SAVING_STATUS_SUCCESS) {
            std::string const reason = log.lines().empty() ? "" : log.lines().front().text;
            throw std::runtime_error("cannot save " + form.name + (form.in_regions ? " in regions: " : ": ") +
                                     reason);
        }
        std::size_t const size = fs::file_size(path);
        m_forms.push_back({form, size});
        fs::remove(path);
        return size;
    }

    /// As many cases for each form; of a small file each byte comes several times.
    Case case_of(long long number) const
    {
        Measured const& form = m_forms[std::size_t(number) % m_forms.size()];
        return {&form, std::size_t(number) / m_forms.size() % form.size};
    }

    static std::string row(Measured const& measured)
    {
        return "refused byte: " + measured.form.group + (measured.form.in_regions ? ", regions" : ", whole");
    }

    void check_next_save(SaveForm const& form, std::string const& path, std::size_t size, Notes& notes)
    {
        auto const status = m_saver.save(form, path);
        if (status != ImageIO::SAVING_STATUS_SUCCESS || fs::file_size(path) != size)
            notes.fault(std::string("the next save does not work  [") + notes.what + "]");
        fs::remove(path);
    }

    std::string m_folder;
    FormSaver m_saver;
    std::vector<Measured> m_forms;
};

}  // namespace

std::unique_ptr<Sweep> make_refused_sweep()
{
    return std::make_unique<RefusedSweep>();
}

}  // namespace zv_torture
