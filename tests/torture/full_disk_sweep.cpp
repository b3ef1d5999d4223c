#include <sched.h>
#include <sys/mount.h>

#include <algorithm>
#include <filesystem>

#include "tests/support/log_capture.h"
#include "tests/torture/save_forms.h"
#include "tests/torture/sweeps.h"

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
    [[nodiscard]] bool resize(std::size_t pages) const
    {
        std::string const options = "size=" + std::to_string(pages * kPage);
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
        std::string const folder = orders.folder + "/full_disk";
        fs::create_directories(folder);
        m_path = folder + "/saved";
        m_disk = std::make_unique<SmallDisk>(folder);
        if (!m_disk->is_there())
            return 1;
        std::size_t most = 0;
        for (SaveForm const& form : save_forms())
            most = std::max(most, add_form(form));
        return static_cast<long long>(most * m_forms.size());
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
        std::string const path = m_path + at.form->form.extension;
        if (!m_disk->resize(at.pages))
            return notes.fault(std::string("the disk cannot be made smaller  [") + notes.what + "]");
        zv_test::LogCapture const log(1);
        auto const status = m_saver.save(at.form->form, path);
        if (at.pages >= at.form->pages)
            check_success(status, path, *at.form, notes);
        else
            check_failed_save(status, log.lines().size(), path, row(*at.form), notes);
        fs::remove(path);
    }

    int cases_a_process() const override { return 1000; }

private:
    struct Measured {
        SaveForm form;
        std::size_t size, pages;
    };
    struct Case {
        Measured const* form;
        std::size_t pages;
    };

    std::size_t add_form(SaveForm const& form)
    {
        std::string const path = m_path + form.extension;
        if (m_saver.save(form, path) != ImageIO::SAVING_STATUS_SUCCESS)
            throw std::runtime_error("cannot save " + form.name);
        std::size_t const size = fs::file_size(path), pages = (size + kPage - 1) / kPage;
        m_forms.push_back({form, size, pages});
        fs::remove(path);
        return pages;
    }

    /// Disks from one page to those that the file needs.
    Case case_of(long long number) const
    {
        Measured const& form = m_forms[std::size_t(number) % m_forms.size()];
        return {&form, std::size_t(number) / m_forms.size() % form.pages + 1};
    }

    static std::string row(Measured const& measured)
    {
        return "full disk: " + measured.form.group + (measured.form.in_regions ? ", regions" : ", whole");
    }

    static void check_success(ImageIO::SavingStatus status, std::string const& path, Measured const& form,
                              Notes& notes)
    {
        if (status != ImageIO::SAVING_STATUS_SUCCESS || fs::file_size(path) != form.size)
            notes.fault(std::string("a file that just fits is not saved  [") + notes.what + "]");
        else
            notes.count(row(form), "saved where it just fits");
    }

    std::string m_path;
    std::unique_ptr<SmallDisk> m_disk;
    FormSaver m_saver;
    std::vector<Measured> m_forms;
};

}  // namespace

std::unique_ptr<Sweep> make_full_disk_sweep()
{
    return std::make_unique<FullDiskSweep>();
}

}  // namespace zv_torture
