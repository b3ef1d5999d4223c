#include <algorithm>
#include <atomic>
#include <filesystem>
#include <map>
#include <mutex>
#include <set>
#include <thread>

#include "host/image/image_canvas.h"
#include "host/resource/resource_user.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/image_load_options.h"
#include "image_io/texture/image_io_texture_manager.h"
#include "image_io/texture/texture_key.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/terminal.h"
#include "tools/text_table.h"

namespace zvio {

namespace {

struct ShareRequest {
    std::vector<std::string> paths;
    int users = 2;
    bool touch = false;
};

/// A resource of an application: it asks for pictures and hears when their files change.
class Resource : public ResourceUser {
public:
    explicit Resource(std::string name)
        : m_name(std::move(name))
    {
    }
    void on_resource_file_changed() override { ++m_times_told; }

    std::string const& name() const { return m_name; }
    int times_told() const { return m_times_told; }

private:
    std::string m_name;
    int m_times_told = 0;
};

using Resources = std::vector<std::unique_ptr<Resource>>;

constexpr auto kRepeat = ImagePixel::REPEAT_MODE_NONE;  // in both directions

ImageIOTextureManager& manager()
{
    return *ImageIOTextureManager::get_texture_manager();
}

/// The manager while the command runs.
struct RunningManager {
    RunningManager() { ImageIOTextureManager::init(); }
    ~RunningManager() { ImageIOTextureManager::destroy(); }
    RunningManager(RunningManager const&) = delete;
    RunningManager& operator=(RunningManager const&) = delete;
};

ImageLoadOptions options_for(std::string const& path)
{
    ImageLoadOptions options;
    CoreString const space = ImageIO::get_color_space_from_file(path.c_str());
    if (!space.is_empty())
        options.color_space = space;
    return options;
}

/// Notices whether a request reads the file: a load shows its progress, an image that is there already has none.
class LoadSensor : public AppProgressBar {
public:
    LoadSensor()
        : AppProgressBar("load")
    {
    }
    void begin_task(CoreString const& title, float span, bool flag) override
    {
        m_has_loaded = true;
        AppProgressBar::begin_task(title, span, flag);
    }
    void set_value(float value) override
    {
        m_has_loaded = true;
        AppProgressBar::set_value(value);
    }
    bool has_loaded() const { return m_has_loaded; }

private:
    bool m_has_loaded = false;
};

/// What came of the requests for one file.
struct Shared {
    std::string key;  // under which the manager knows it
    ImageCanvas* canvas = nullptr;
    int requests = 0, loads = 0;
    bool is_same = true;  // every request got the same image
};

/// Every user asks for every file, on all threads at once.
std::map<std::string, Shared> request_all(ShareRequest const& request, int threads, Resources& users,
                                          TerminalApp& app)
{
    std::map<std::string, Shared> all;
    std::map<std::string, ImageLoadOptions> options;
    for (std::string const& path : request.paths)
        options.try_emplace(path, options_for(path));
    for (auto const& [path, how] : options)
        all[path].key = zv_image_io::texture_key(path.c_str(), how, kRepeat, kRepeat).get_data();
    std::mutex mutex;
    std::atomic<std::size_t> next = 0;
    auto const work = [&] {
        for (std::size_t user; (user = next++) < users.size();)
            for (std::string const& path : request.paths) {
                LoadSensor sensor;
                ImageCanvas* const canvas = manager().load_image(*users[user], path.c_str(), options.at(path),
                                                                 &app, &sensor, kRepeat, kRepeat);
                std::lock_guard const guard(mutex);
                Shared& shared = all.at(path);
                shared.is_same &= shared.requests == 0 || shared.canvas == canvas;
                shared.canvas = canvas;
                ++shared.requests;
                shared.loads += sensor.has_loaded();
            }
    };
    {
        std::vector<std::jthread> others;
        for (int index = 1; index < threads; ++index)
            others.emplace_back(work);
        work();
    }
    return all;
}

Json tell_files(ShareRequest const& request, std::map<std::string, Shared> const& all, Document& document)
{
    TextTable table(
        0, {TextTable::LEFT, TextTable::RIGHT, TextTable::RIGHT, TextTable::RIGHT, TextTable::RIGHT});
    table.add({"file", "requests", "loads", "hits", "bytes", "key"});
    Json files = Json::array();
    for (std::string const& path : request.paths) {
        Shared const& shared = all.at(path);
        unsigned long long const bytes = shared.canvas ? shared.canvas->get_memory_size() : 0;
        table.add({path, std::to_string(shared.requests), std::to_string(shared.loads),
                   std::to_string(shared.requests - shared.loads),
                   shared.canvas ? std::to_string(bytes) : "not loaded", shared.key});
        files.push_back({{"path", path},
                         {"key", shared.key},
                         {"ok", shared.canvas != nullptr},
                         {"requests", shared.requests},
                         {"loads", shared.loads},
                         {"hits", shared.requests - shared.loads},
                         {"shared", shared.is_same},
                         {"memory_bytes", bytes}});
        if (!shared.canvas)
            document.fail(EXIT_CODE_INPUT, "unreadable", path, "the file cannot be loaded");
        if (!shared.is_same)
            document.fail(EXIT_CODE_FAILURE, "failure", path,
                          "users of one file were given different images");
    }
    document.print(table.text());
    return files;
}

/// Gives the files a later time and lets the manager look.
Json touch_files(ShareRequest const& request, Resources const& users, Document& document)
{
    std::set<std::string> const files(request.paths.begin(), request.paths.end());
    for (std::string const& path : files) {
        std::error_code error;
        auto const time = std::filesystem::last_write_time(path, error);
        if (!error)
            std::filesystem::last_write_time(path, time + std::chrono::seconds(1), error);
        if (error)
            document.warn("not_touched", path, error.message());
    }
    manager().check_external_file_modification();
    Json told = Json::array();
    for (auto const& user : users) {
        document.print(user->name() + " was told of " +
                       count_text(unsigned(user->times_told()), "changed file") + "\n");
        told.push_back({{"user", user->name()}, {"changes", user->times_told()}});
    }
    return told;
}

/// The users leave one by one; what is left after each of them.
Json release_users(Resources& users, Document& document)
{
    Json steps = Json::array();
    for (auto& user : users) {
        std::string const name = user->name();
        user.reset();
        unsigned long long const bytes = manager().get_memory_size();
        document.print(name + " left, " + std::to_string(bytes) + " bytes are held\n");
        steps.push_back({{"user", name}, {"memory_bytes", bytes}});
    }
    return steps;
}

void run_share(ShareRequest const& request, Settings const& settings, Document& document)
{
    RunningManager const running;
    TerminalApp app(settings.progress);
    Resources users;
    for (int number = 1; number <= request.users; ++number)
        users.push_back(std::make_unique<Resource>("user " + std::to_string(number)));
    auto const all = request_all(request, std::max(1, settings.threads), users, app);
    Json& result = document.result();
    result["files"] = tell_files(request, all, document);
    result["memory_bytes"] = manager().get_memory_size();
    document.print(count_text(all.size(), "image") + ", " + std::to_string(manager().get_memory_size()) +
                   " bytes in all\n");
    if (request.touch)
        result["told"] = touch_files(request, users, document);
    result["release"] = release_users(users, document);
}

}  // namespace

void add_share_command(CLI::App& app, CommandLine& line)
{
    auto const request = std::make_shared<ShareRequest>();
    CLI::App& command =
        add_command(app, line, "share", "Let several users share loaded pictures",
                    [request, &line](Document& document) { run_share(*request, line.settings, document); });
    command.add_option("FILE", request->paths, "Picture files")->required()->type_name("");
    command.add_option("--users", request->users, "How many ask for every file (default 2)")
        ->check(CLI::Range(1, 10000).description(""))
        ->type_name("N");
    command.add_flag("--touch", request->touch, "Give the files a later time, and see who is told");
}

}  // namespace zvio
