#include <chrono>
#include <filesystem>

#include "image_io/frame/image_io.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/interrupt.h"
#include "tools/save_job.h"
#include "tools/text_table.h"
#include "tools/written_file.h"

namespace zvio {

namespace {

std::uint64_t file_bytes(std::string const& path)
{
    std::error_code error;
    auto const bytes = std::filesystem::file_size(path, error);
    return error ? 0 : bytes;
}

/// Saves what is loaded, pair by pair.
class Converter {
public:
    Converter(SaveRequest const& request, Settings const& settings, Document& document)
        : m_request(request)
        , m_document(document)
        , m_jobs(request, settings, document)
    {
    }

    void run()
    {
        InterruptGuard const guard;
        Json files = Json::array();
        for (FilePair const& pair : m_jobs.pairs()) {
            if (InterruptGuard::is_interrupted())
                break;
            files.push_back(convert(pair));
        }
        if (InterruptGuard::is_interrupted())
            tell_interrupt(files);
        m_document.result() = {{"files", files}, {"files_asked", m_jobs.pairs().size()}};
    }

private:
    Json convert(FilePair const& pair)
    {
        Json result = {{"input", pair.input}, {"output", pair.output}, {"ok", false}};
        auto const job = m_jobs.prepare(pair);
        if (!job)
            return result;
        auto const start = std::chrono::steady_clock::now();
        ImageIO::SavingStatus const status = save(*job);
        double const milliseconds =
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        tell_status(status, pair.output, m_document);
        bool const is_saved = status == ImageIO::SAVING_STATUS_SUCCESS;
        bool const is_right =
            is_saved && (!m_request.write.verify || check_written_files(job->plan, m_document));
        result["ok"] = is_right;
        result["status"] = static_cast<int>(status);
        result["color_space"] = job->color_space;
        result["damaged"] = job->loaded.report.is_damaged();
        result["verified"] = is_right && m_request.write.verify;
        result["milliseconds"] = milliseconds;
        result["written"] = is_saved ? plan_json(job->plan) : Json::array();
        if (is_saved)
            tell_written(*job, milliseconds);
        return result;
    }

    static ImageIO::SavingStatus save(SaveJob& job)
    {
        AppProgressBar* const bar =
            job.app->begin_bar(std::filesystem::path(job.paths.output).filename().string());
        ImageIO::SavingStatus const status =
            ImageIO::save(job.paths.output.c_str(), job.options, *job.loaded.canvas, job.app.get(), bar,
                          job.crop_or_null());
        job.app->end_bar(bar);
        return status;
    }

    void tell_written(SaveJob const& job, double milliseconds)
    {
        TextTable table(0);
        for (PlannedFile const& file : job.plan.files)
            table.add(
                {file.path,
                 std::to_string(file.data_window.width()) + " x " + std::to_string(file.data_window.height()),
                 count_text(file.channels.size(), "channel"),
                 std::to_string(file_bytes(file.path)) + " bytes", job.color_space,
                 milliseconds_text(milliseconds)});
        m_document.print(table.text());
    }

    void tell_interrupt(Json const& files)
    {
        m_document.fail(EXIT_CODE_INTERRUPTED, "interrupted", "",
                        "interrupted after " + std::to_string(files.size()) + " of " +
                            count_text(m_jobs.pairs().size(), "file"));
    }

    SaveRequest const& m_request;
    Document& m_document;
    SaveJobs m_jobs;
};

}  // namespace

void add_convert_command(CLI::App& app, CommandLine& line)
{
    auto const request = std::make_shared<SaveRequest>();
    CLI::App& command =
        add_command(app, line, "convert", "Load files and save them in any format, layers and all",
                    [request, &settings = line.settings](Document& document) {
                        Converter(*request, settings, document).run();
                    });
    add_save_request(command, *request);
}

}  // namespace zvio
