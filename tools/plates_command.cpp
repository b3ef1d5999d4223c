#include <algorithm>

#include "host/core/core_log_handler.h"
#include "image_io/plate/plate_image_manager.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/terminal.h"
#include "tools/text_table.h"

namespace zvio {

namespace {

struct PlatesRequest {
    std::vector<std::string> paths;
    unsigned int requesters = 1;
    bool clear = false;
};

/// The catalogue of an application while the command runs, with the events that it raises.
class Catalogue {
public:
    Catalogue(Settings const& settings, Document& document)
        : m_app(settings.progress)
        , m_document(document)
    {
        PlateImageManager::create(m_app);
        for (char const* event :
             {"EVT_ID_PLATE_IMAGE_MANAGER_PATH_ADDED", "EVT_ID_PLATE_IMAGE_MANAGER_PATHS_CLEARED"})
            EventObject::connect(PlateImageManager::get(), event, &Catalogue::note_event, this);
    }
    ~Catalogue() { PlateImageManager::destroy(); }
    Catalogue(Catalogue const&) = delete;
    Catalogue& operator=(Catalogue const&) = delete;

    TerminalApp& app() { return m_app; }
    Json const& events() const { return m_events; }

private:
    static void note_event(EventObject&, EventObject::EventInfo const& info, void* catalogue)
    {
        auto& self = *static_cast<Catalogue*>(catalogue);
        auto* const plate = static_cast<PlateImage*>(info.m_data);
        std::string const path = plate ? plate->get_file_path().get_data() : "";
        self.m_events.push_back({{"name", info.m_name.get_data()}, {"plate", path}});
        self.m_document.print(std::string("event  ") + info.m_name.get_data() +
                              (path.empty() ? "" : "  " + path) + "\n");
    }

    TerminalApp m_app;
    Document& m_document;
    Json m_events = Json::array();
};

/// Takes all lines of the log while it lives.
class LogDetour {
public:
    explicit LogDetour(std::vector<std::string>& lines)
        : m_level_before(CoreLogHandler::s_main_log_handler.m_level)
        , m_sink_before(CoreLogHandler::set_sink([&lines](int, CoreString const& text) {
            lines.emplace_back(text.view().substr(0, text.length() - 1));
        }))
    {
        CoreLogHandler::s_main_log_handler.m_level = 3;
    }
    ~LogDetour()
    {
        CoreLogHandler::set_sink(std::move(m_sink_before));
        CoreLogHandler::s_main_log_handler.m_level = m_level_before;
    }
    LogDetour(LogDetour const&) = delete;
    LogDetour& operator=(LogDetour const&) = delete;

private:
    int m_level_before;
    CoreLogHandler::Sink m_sink_before;
};

/// The lines of the catalogue's own report, whatever the log level is.
std::vector<std::string> report_lines()
{
    std::vector<std::string> lines;
    LogDetour const detour(lines);
    PlateImageManager::get().log_statistics();
    return lines;
}

bool load_plate(PlateImage& plate, TerminalApp& app)
{
    AppProgressBar* const bar =
        app.begin_bar("Loading " + std::string(plate.get_file_base_name().get_data()));
    bool const is_loaded = plate.load(bar);
    app.end_bar(bar);
    return is_loaded;
}

Json plate_json(std::string const& path, PlateImage const* plate)
{
    if (!plate)
        return {{"path", path}, {"ok", false}};
    return {{"path", path},
            {"ok", plate->is_loaded()},
            {"file", plate->get_file_path().get_data()},
            {"width", plate->get_width()},
            {"height", plate->get_height()},
            {"requesters", plate->get_requester_count()},
            {"memory_bytes", plate->get_memory_size()}};
}

PlateImage* take_plate(std::string const& path, PlatesRequest const& request, Catalogue& catalogue,
                       Document& document)
{
    PlateImage* const plate = PlateImageManager::get().get_or_create_plate_image(path.c_str());
    if (!plate) {
        document.fail(EXIT_CODE_INPUT, "missing", path, "there is no such file");
        return nullptr;
    }
    for (unsigned int count = 0; count < request.requesters; ++count)
        plate->add_requester();
    if (!plate->is_loaded() && !load_plate(*plate, catalogue.app()))
        document.fail(EXIT_CODE_INPUT, "unreadable", path, "the plate cannot be loaded");
    return plate;
}

void run_plates(PlatesRequest const& request, Settings const& settings, Document& document)
{
    Catalogue catalogue(settings, document);
    std::vector<PlateImage*> plates;
    Json files = Json::array();
    for (std::string const& path : request.paths) {
        plates.push_back(take_plate(path, request, catalogue, document));
        files.push_back(plate_json(path, plates.back()));
    }
    auto const report = report_lines();
    for (std::string const& line : report)
        document.print(line + "\n");
    for (PlateImage* const plate : plates)
        for (unsigned int count = 0; plate && count < request.requesters; ++count)
            plate->remove_requester();
    bool const all_freed = std::none_of(plates.begin(), plates.end(),
                                        [](PlateImage const* plate) { return plate && plate->is_loaded(); });
    if (!all_freed)
        document.fail(EXIT_CODE_FAILURE, "failure", "", "a plate without requesters kept its pixels");
    if (request.clear)
        PlateImageManager::get().clear(PlateImageManager::CLEAR_MODE_RAISE_EVENT);
    document.result() = {{"plates", files}, {"events", catalogue.events()}, {"report", report}};
}

}  // namespace

void add_plates_command(CLI::App& app, CommandLine& line)
{
    auto const request = std::make_shared<PlatesRequest>();
    CLI::App& command =
        add_command(app, line, "plates", "Load plate images into a catalogue and report on it",
                    [request, &line](Document& document) { run_plates(*request, line.settings, document); });
    command.add_option("PATH", request->paths, "Picture files")->required()->type_name("");
    command.add_option("--requesters", request->requesters, "How many users hold each plate (default 1)")
        ->check(CLI::Range(1, 1000).description(""))
        ->type_name("N");
    command.add_flag("--clear", request->clear, "Clear the catalogue at the end, and hear it tell so");
}

}  // namespace zvio
