#include <sched.h>
#include <sys/mount.h>

#include <algorithm>
#include <filesystem>

#include "tests/support/log_capture.h"
#include "tests/torture/save_forms.h"
#include "tests/torture/sweeps.h"
#include "tests/torture/turns.h"

namespace zv_torture {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPage = 4096;
constexpr char kSkipped[] = "full disk";

/// A disk of a few pages in memory, which this process alone sees, and which goes with it.
class SmallDisk {
public:
    explicit SmallDisk(std::string folder)
        : m_folder(std::move(folder))
    {
        m_is_there = unshare(CLONE_NEWNS) == 0 &&
                     mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                     mount("tmpfs", m_folder.c_str(), "tmpfs", 0, "size=1m") == 0;
    }
    [[nodiscard]] bool is_there() const { return m_is_there; }
    /// At least one page; false if the system does not want to.
    [[nodiscard]] bool resize(long long pages) const
    {
        std::string const options = "size=" + std::to_string(pages * static_cast<long long>(kPage));
        return mount(nullptr, m_folder.c_str(), nullptr, MS_REMOUNT, options.c_str()) == 0;
    }

private:
    std::string m_folder;
    bool m_is_there = false;
};

class FullDiskSweep : public Sweep {
public:
    long long begin(Orders const& orders, Notes& notes) override
    {
        m_folder = orders.folder + "/full_disk";
        fs::create_directories(m_folder);
        m_disk = std::make_unique<SmallDisk>(m_folder);
        if (!m_disk->is_there())
            return 1;
        std::vector<long long> pages;
        for (SaveForm const& form : save_forms()) {
            notes.begin_step();
            if (!is_refused_form(form))
                pages.push_back(add_form(form));
        }
        m_cases = Turns(pages);
        return m_cases.count();
    }

    std::string describe(long long number) const override
    {
        if (!m_disk->is_there())
            return "a small disk";
        Case const found = case_of(number);
        return found.form->form.name + ", " + row_of(found.form->form) + ", " + std::to_string(found.pages) +
               " pages of " + std::to_string(found.form->pages);
    }

    void run(long long number, Notes& notes) override
    {
        if (!m_disk->is_there())
            return notes.count(kSkipped, "skipped: no file system may be mounted here");
        Case const at = case_of(number);
        if (!m_disk->resize(at.pages))
            return notes.fault(std::string("the disk cannot be made smaller  [") + notes.what + "]");
        zv_test::LogCapture const log(1);
        auto const status = at.form->saver->save(at.form->form, path_of(at.form->form));
        if (at.pages >= at.form->pages)
            check_success(status, *at.form, notes);
        else
            check_failed_save(status, log.lines().size(), m_folder, at.form->files, row(*at.form), notes,
                              at.form->form.in_regions);
        empty_folder(m_folder);
    }

    int cases_a_process() const override { return 1000; }

private:
    struct Measured {
        SaveForm form;
        FormSaver* saver = nullptr;
        SavedFiles files;
        long long pages = 0;
    };
    struct Case {
        Measured const* form;
        long long pages;
    };

    std::string path_of(SaveForm const& form) const { return m_folder + "/saved" + form.extension; }

    /// A picture that a disk of one page takes is none to fill it with.
    long long add_form(SaveForm const& form)
    {
        for (FormSaver* saver : {&m_saver, &m_icon_saver, &m_large_saver}) {
            Measured const measured = measure(form, *saver);
            if (measured.pages < 2)
                continue;
            m_forms.push_back(measured);
            return measured.pages;
        }
        throw std::runtime_error("no disk is too small for " + form.name);
    }

    Measured measure(SaveForm const& form, FormSaver& saver) const
    {
        if (saver.save(form, path_of(form)) != ImageIO::SAVING_STATUS_SUCCESS)
            throw std::runtime_error("cannot save " + form.name + ", " + row_of(form));
        Measured measured{form, &saver, saved_files(m_folder), 0};
        for (auto const& [name, file] : measured.files)
            measured.pages += static_cast<long long>((file.size + kPage - 1) / kPage);
        empty_folder(m_folder);
        return measured;
    }

    /// Disks from one page to those that the files need.
    Case case_of(long long number) const
    {
        Turns::Turn const turn = m_cases[number];
        return {&m_forms[turn.list], turn.at + 1};
    }

    static std::string row(Measured const& measured) { return "full disk: " + row_of(measured.form); }

    void check_success(ImageIO::SavingStatus status, Measured const& form, Notes& notes) const
    {
        if (status != ImageIO::SAVING_STATUS_SUCCESS || saved_files(m_folder) != form.files)
            notes.fault(std::string("a file that just fits is not saved  [") + notes.what + "]");
        else
            notes.count(row(form), "saved where it just fits");
    }

    std::string m_folder;
    std::unique_ptr<SmallDisk> m_disk;
    FormSaver m_saver, m_icon_saver{64, 60}, m_large_saver{200, 180};
    std::vector<Measured> m_forms;
    Turns m_cases;
};

}  // namespace

std::unique_ptr<Sweep> make_full_disk_sweep()
{
    return std::make_unique<FullDiskSweep>();
}

}  // namespace zv_torture
