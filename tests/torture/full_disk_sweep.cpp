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
    long long begin(Orders const& orders, Notes&) override
    {
        m_folder = orders.folder + "/full_disk";
        fs::create_directories(m_folder);
        m_disk = std::make_unique<SmallDisk>(m_folder);
        if (!m_disk->is_there())
            return 1;
        std::vector<long long> pages;
        for (SaveForm const& form : save_forms())
            pages.push_back(add_form(form));
        m_cases = Turns(pages);
        return m_cases.count();
    }

    std::string describe(long long number) const override
    {
        if (!m_disk->is_there())
            return "a small disk";
        Case const found = case_of(number);
        return found.form->form.name + (found.form->form.in_regions ? ", regions" : ", whole") + ", " +
               std::to_string(found.pages) + " pages of " + std::to_string(found.form->pages);
    }

    void run(long long number, Notes& notes) override
    {
        if (!m_disk->is_there())
            return notes.count(kSkipped, "skipped: no file system may be mounted here");
        Case const at = case_of(number);
        if (!m_disk->resize(at.pages))
            return notes.fault(std::string("the disk cannot be made smaller  [") + notes.what + "]");
        zv_test::LogCapture const log(1);
        auto const status = m_saver.save(at.form->form, path_of(at.form->form));
        if (at.pages >= at.form->pages)
            check_success(status, *at.form, notes);
        else
            check_failed_save(status, log.lines().size(), m_folder, at.form->files, row(*at.form), notes);
        empty_folder(m_folder);
    }

    int cases_a_process() const override { return 1000; }

private:
    struct Measured {
        SaveForm form;
        FileSizes files;
        long long pages = 0;
    };
    struct Case {
        Measured const* form;
        long long pages;
    };

    std::string path_of(SaveForm const& form) const { return m_folder + "/saved" + form.extension; }

    long long add_form(SaveForm const& form)
    {
        bool const is_saved = m_saver.save(form, path_of(form)) == ImageIO::SAVING_STATUS_SUCCESS;
        if (!is_saved && form.format != ImageIOFileFormat::SAVE_UNKNOWN)  // whose writers need not take it
            throw std::runtime_error("cannot save " + form.name);
        Measured measured{form, {}, 0};
        if (is_saved)
            measured.files = file_sizes(m_folder);
        for (auto const& [name, size] : measured.files)
            measured.pages += static_cast<long long>((size + kPage - 1) / kPage);
        m_forms.push_back(measured);
        empty_folder(m_folder);
        return measured.pages;
    }

    /// Disks from one page to those that the files need.
    Case case_of(long long number) const
    {
        Turns::Turn const turn = m_cases[number];
        return {&m_forms[turn.list], turn.at + 1};
    }

    static std::string row(Measured const& measured)
    {
        return "full disk: " + measured.form.group + (measured.form.in_regions ? ", regions" : ", whole");
    }

    void check_success(ImageIO::SavingStatus status, Measured const& form, Notes& notes) const
    {
        if (status != ImageIO::SAVING_STATUS_SUCCESS || file_sizes(m_folder) != form.files)
            notes.fault(std::string("a file that just fits is not saved  [") + notes.what + "]");
        else
            notes.count(row(form), "saved where it just fits");
    }

    std::string m_folder;
    std::unique_ptr<SmallDisk> m_disk;
    FormSaver m_saver;
    std::vector<Measured> m_forms;
    Turns m_cases;
};

}  // namespace

std::unique_ptr<Sweep> make_full_disk_sweep()
{
    return std::make_unique<FullDiskSweep>();
}

}  // namespace zv_torture
