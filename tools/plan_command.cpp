#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/save_job.h"
#include "tools/written_file.h"

namespace zvio {

namespace {

void run_plan(SaveRequest const& request, Settings const& settings, Document& document)
{
    SaveJobs jobs(request, settings, document);
    Json files = Json::array();
    for (FilePair const& pair : jobs.pairs()) {
        Json result = {{"input", pair.input}, {"output", pair.output}, {"ok", false}};
        if (auto const job = jobs.prepare(pair)) {
            tell_status(job->plan.status, pair.output, document);
            document.print(plan_text(job->plan));
            result["ok"] = job->plan.status == ImageIO::SAVING_STATUS_SUCCESS;
            result["status"] = static_cast<int>(job->plan.status);
            result["color_space"] = job->color_space;
            result["widened"] = job->is_widened;
            result["files"] = plan_json(job->plan);
            result["left_out"] = job->plan.left_out;
        }
        files.push_back(result);
    }
    document.result() = {{"files", files}};
}

}  // namespace

void add_plan_command(CLI::App& app, CommandLine& line)
{
    auto const request = std::make_shared<SaveRequest>();
    CLI::App& command = add_command(
        app, line, "plan", "Tell which files convert would write, and write nothing",
        [request, &settings = line.settings](Document& document) { run_plan(*request, settings, document); });
    add_save_request(command, *request);
}

}  // namespace zvio
