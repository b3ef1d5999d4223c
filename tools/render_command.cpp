#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "host/colorio/color_io.h"
#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "host/image/image_map.h"
#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "tools/bucket_order.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/interrupt.h"
#include "tools/procedural_scene.h"
#include "tools/resume.h"
#include "tools/save_job.h"
#include "tools/save_warnings.h"
#include "tools/text_table.h"
#include "tools/written_file.h"

namespace zvio {

namespace {

namespace fs = std::filesystem;

constexpr int kTile = ImageMap::kDefaultTileSize;
constexpr int kMaximumEdge = 32768;

struct RenderRequest {
    std::string output;
    std::string size = "640x360";
    std::string bucket;  // empty: a tile, or 64 lines
    int aovs = 4;
    BucketOrder order = BucketOrder::ROWS;
    bool scanline = false;
    int kill_after = 0;  // 0: never
    bool resume = false;
    WriteRequest write;
};

struct Size {
    int width = 0, height = 0;
};

/// "640x360", or one number for both.
Size parse_size(std::string const& text, char const* option)
{
    Size size;
    char rest = 0;
    int const count = std::sscanf(text.c_str(), "%dx%d%c", &size.width, &size.height, &rest);
    if (count == 1 && text.find('x') == std::string::npos &&
        text.find_first_not_of("0123456789") == std::string::npos)
        size.height = size.width;
    else if (count != 2)
        size = {};
    if (size.width < 1 || size.height < 1 || size.width > kMaximumEdge || size.height > kMaximumEdge)
        throw CommandError(EXIT_CODE_USAGE,
                           std::string(option) + ": \"" + text + "\" is no size, such as 640x360");
    return size;
}

/// Plays a renderer that hands its picture over bucket by bucket.
class Renderer {
public:
    Renderer(RenderRequest const& request, Settings const& settings, Document& document)
        : m_request(request)
        , m_document(document)
        , m_write(request.write)
        , m_options(m_write.options_for(request.output))
        , m_app(settings.progress)
        , m_size(parse_size(request.size, "--size"))
        , m_scene(m_size.width, m_size.height, request.aovs)
        , m_kept(m_size.width, m_size.height, 0)
    {
        m_write.apply_to(m_app);
        m_app.tiling_mode = request.scanline ? 0 : 1;
        m_scene.add_layers(m_app.get_channel_manager());
        m_bucket = choose_bucket();
        check_buckets();
        m_plan = plan(request.output);
        warn_of_losses({m_request.output, m_plan, m_options, m_app, *m_scene.canvas().get_map(),
                        m_request.write, nullptr, converts_colors(), false, false},
                       m_document);
        m_kept = KeptCells(m_size.width, m_size.height, m_options.is_file_exr() ? m_plan_tile() : 0);
        if (request.resume)
            resume();
    }

    void run()
    {
        m_document.result() = {{"output", m_request.output}, {"ok", false}};
        InterruptGuard const guard;
        ImageIO::SavingStatus status = m_plan.status;
        if (status == ImageIO::SAVING_STATUS_SUCCESS)
            status = write_buckets();
        m_is_interrupted = InterruptGuard::is_interrupted();
        tell_status(status, m_request.output, m_document);
        finish(status);
    }

private:
    int m_plan_tile() const { return m_plan.files.empty() ? 0 : m_plan.files.front().tile_size; }

    bool converts_colors() const
    {
        return !is_same_color_space(m_options.color_space.get_data(),
                                    ColorIO::get_default_color_space_name().get_data());
    }

    bool needs_rows() const { return m_request.scanline || !m_options.is_file_exr(); }

    Size choose_bucket() const
    {
        if (!m_request.bucket.empty())
            return parse_size(m_request.bucket, "--bucket");
        return needs_rows() ? Size{m_size.width, kTile} : Size{kTile, kTile};
    }

    /// What the file cannot take is told before anything is rendered.
    void check_buckets() const
    {
        auto const refuse = [](std::string const& text) { throw CommandError(EXIT_CODE_USAGE, text); };
        if (is_simple_format(m_options))
            refuse("a render is written region by region, to OpenEXR or TIFF files");
        if (needs_rows() && m_request.order != BucketOrder::ROWS)
            refuse("this file takes its lines from the top down: --order rows");
        if (needs_rows() && m_bucket.width < m_size.width)
            refuse("this file takes whole lines: a bucket is at least " + std::to_string(m_size.width) +
                   " pixels wide");
        if (!m_request.scanline && ((m_bucket.width % kTile && m_bucket.width < m_size.width) ||
                                    (m_bucket.height % kTile && m_bucket.height < m_size.height)))
            refuse("a bucket of a tiled file is whole tiles: multiples of " + std::to_string(kTile) +
                   " pixels");
        if (m_request.scanline && !m_options.is_file_exr() && m_bucket.height % kTile &&
            m_bucket.height < m_size.height)
            refuse("a bucket of a TIFF file is whole strips: multiples of " + std::to_string(kTile) +
                   " lines");
        if (m_request.resume && !m_options.is_file_exr())
            refuse("only OpenEXR files can be resumed");
        if (m_request.resume && converts_colors())
            refuse("only files in the working space can be resumed");
        if (m_request.order != BucketOrder::ROWS)
            m_document.warn("out_of_order", m_request.output,
                            "tiles out of turn wait in memory; they are lost if the process is killed");
    }

    OutputPlan plan(std::string const& path)
    {
        return plan_outputs(path, m_options, m_scene.canvas(), {0, 0, m_size.width, m_size.height}, m_app);
    }

    /// The fresh files lie beside the old ones until they take their place.
    void resume()
    {
        for (PlannedFile const& file : m_plan.files)
            if (!fs::exists(file.path))
                throw CommandError(EXIT_CODE_INPUT, "there is no file \"" + file.path + "\" to resume");
        m_kept = KeptCells::load(m_plan, m_scene.canvas());
        fs::path const output = m_request.output;
        m_fresh_path = (output.parent_path() / ("resumed_" + output.filename().string())).string();
        m_fresh_plan = plan(m_fresh_path);
    }

    std::string const& written_path() const { return m_request.resume ? m_fresh_path : m_request.output; }

    std::vector<GMathVec4<int>> buckets() const
    {
        auto all =
            order_buckets(m_size.width, m_size.height, m_bucket.width, m_bucket.height, m_request.order);
        // What is there goes first, so that no end of this run loses it; lines have one order only.
        if (m_kept.is_tiled())
            std::stable_partition(all.begin(), all.end(),
                                  [this](auto const& bucket) { return m_kept.has_all(bucket); });
        return all;
    }

    ImageIO::SavingStatus write_buckets()
    {
        ImageEvalContext context(m_scene.canvas(), 0);
        GMathVec4<int> const whole(0, 0, m_size.width, m_size.height);
        ImageIOOutputs outputs;
        auto status = ImageIOSave::build_outputs(&m_app, m_options, written_path().c_str(),
                                                 m_scene.canvas().get_map(), whole, whole, outputs);
        if (status != ImageIO::SAVING_STATUS_SUCCESS)
            return status;
        auto const all = buckets();
        m_bucket_count = static_cast<int>(all.size());
        AppProgressBar* const bar = m_app.begin_bar(fs::path(m_request.output).filename().string());
        for (GMathVec4<int> const& bucket : all) {
            if (InterruptGuard::is_interrupted() || status != ImageIO::SAVING_STATUS_SUCCESS)
                break;
            render(bucket);
            status = ImageIOSave::save_region(&m_app, outputs, context, bucket, nullptr);
            if (status == ImageIO::SAVING_STATUS_SUCCESS)
                count_bucket(bar);
        }
        if (status == ImageIO::SAVING_STATUS_SUCCESS && !InterruptGuard::is_interrupted())
            status = ImageIOSave::save(&m_app, outputs, context, nullptr);
        m_app.end_bar(bar);
        return status;
    }

    void render(GMathVec4<int> const& bucket)
    {
        auto const parts = m_kept.missing_parts(bucket);
        for (GMathVec4<int> const& part : parts)
            m_scene.render(part);
        m_rendered_buckets += !parts.empty();
    }

    void count_bucket(AppProgressBar* bar)
    {
        ++m_written_buckets;
        if (bar)
            bar->set_value(static_cast<float>(m_written_buckets) / static_cast<float>(m_bucket_count));
        // The hard way: no destructor runs, nothing is closed.
        if (m_request.kill_after > 0 && m_rendered_buckets >= m_request.kill_after)
            kill(getpid(), SIGKILL);
    }

    void finish(ImageIO::SavingStatus status)
    {
        bool const is_written = status == ImageIO::SAVING_STATUS_SUCCESS;
        if (m_request.resume)
            is_written ? replace_files() : remove_fresh_files();
        if (m_is_interrupted)
            m_document.fail(EXIT_CODE_INTERRUPTED, "interrupted", m_request.output,
                            "interrupted after " + std::to_string(m_written_buckets) + " of " +
                                count_text(static_cast<unsigned long long>(m_bucket_count), "bucket"));
        bool const is_right = is_written && !m_is_interrupted &&
                              (!m_request.write.verify || check_written_files(m_plan, m_document));
        tell(status, is_right);
    }

    void replace_files()
    {
        for (std::size_t index = 0; index < m_plan.files.size(); ++index) {
            std::error_code error;
            fs::rename(m_fresh_plan.files[index].path, m_plan.files[index].path, error);
            if (error)
                m_document.fail(EXIT_CODE_FAILURE, "not_written", m_plan.files[index].path,
                                "cannot be replaced: " + error.message());
        }
    }

    void remove_fresh_files()
    {
        std::error_code ignored;
        for (PlannedFile const& file : m_fresh_plan.files)
            fs::remove(file.path, ignored);
    }

    void tell(ImageIO::SavingStatus status, bool is_right)
    {
        char const* const noun = m_kept.is_tiled() ? "tile" : "line";
        m_document.result() = {
            {"output", m_request.output},
            {"ok", is_right},
            {"status", static_cast<int>(status)},
            {"width", m_size.width},
            {"height", m_size.height},
            {"buckets", m_bucket_count},
            {"buckets_written", m_written_buckets},
            {"buckets_rendered", m_rendered_buckets},
            {"kept", {{"of", noun}, {"count", m_kept.kept_count()}, {"all", m_kept.cell_count()}}},
            {"verified", is_right && m_request.write.verify},
            {"files", plan_json(m_plan)}};
        if (status != ImageIO::SAVING_STATUS_SUCCESS)
            return;
        std::string text = m_request.output + "  " + std::to_string(m_size.width) + " x " +
                           std::to_string(m_size.height) + ", " + std::to_string(m_written_buckets) + " of " +
                           count_text(static_cast<unsigned long long>(m_bucket_count), "bucket") + " written";
        if (m_request.resume)
            text += ", " + std::to_string(m_kept.kept_count()) + " of " +
                    count_text(static_cast<unsigned long long>(m_kept.cell_count()), noun) + " kept";
        m_document.print(text + "\n");
    }

    RenderRequest const& m_request;
    Document& m_document;
    WriteSettings m_write;
    ImageSaveOptions m_options;
    TerminalApp m_app;
    Size m_size, m_bucket;
    ProceduralScene m_scene;
    OutputPlan m_plan, m_fresh_plan;
    KeptCells m_kept;
    std::string m_fresh_path;
    int m_bucket_count = 0, m_written_buckets = 0, m_rendered_buckets = 0;
    bool m_is_interrupted = false;
};

}  // namespace

void add_render_command(CLI::App& app, CommandLine& line)
{
    auto const request = std::make_shared<RenderRequest>();
    CLI::App& command = add_command(app, line, "render", "Render a small scene and save it bucket by bucket",
                                    [request, &settings = line.settings](Document& document) {
                                        Renderer(*request, settings, document).run();
                                    });
    std::map<std::string, BucketOrder> const orders = {
        {"rows", BucketOrder::ROWS}, {"spiral", BucketOrder::SPIRAL}, {"random", BucketOrder::RANDOM}};
    command.add_option("-o,--output", request->output, "The file to write")->required()->type_name("OUT");
    command.add_option("--size", request->size, "Of the picture (default: 640x360)")->type_name("WxH");
    command.add_option("--bucket", request->bucket, "Of a bucket (default: a tile, or 64 lines)")
        ->type_name("WxH");
    command.add_option("--aovs", request->aovs, "How many layers beside the colours (default: 4)")
        ->check(CLI::Range(0, ProceduralScene::kMaximumLayers).description(""))
        ->type_name("N");
    command.add_option("--order", request->order, "Of the buckets: rows (default), spiral, random")
        ->transform(CLI::CheckedTransformer(orders).description(""))
        ->type_name("NAME");
    command.add_flag("--scanline", request->scanline, "A file of lines instead of tiles");
    command.add_option("--kill-after", request->kill_after, "Kill the process after so many buckets")
        ->check(CLI::Range(1, 1000000).description(""))
        ->type_name("N");
    command.add_flag("--resume", request->resume, "Keep what a half-written file holds, and render the rest");
    add_write_request(command, request->write);
}

}  // namespace zvio
