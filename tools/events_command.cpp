#include <cstdio>

#include "image_io/frame/event_table.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/text_table.h"

namespace zvio {

namespace {

std::string id_text(unsigned int id)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", id);
    return text;
}

void list_events(Document& document)
{
    TextTable table(0);
    Json events = Json::array();
    for (zv_image_io::Event const& event : zv_image_io::kEvents) {
        table.add({id_text(event.id), event.name});
        events.push_back({{"name", event.name}, {"id", event.id}});
    }
    document.result() = {{"events", events}};
    document.print(table.text());
}

void tell_id(std::string const& name, Document& document)
{
    unsigned int const id = zv_image_io::event_id(name);
    bool const is_known = zv_image_io::is_event(name);
    document.result() = {{"name", name}, {"id", id}, {"known", is_known}};
    document.print(id_text(id) + "\n");
    if (!is_known)
        document.warn("event_unknown", "", "no event of the application is called \"" + name + "\"");
}

}  // namespace

void add_events_command(CLI::App& app, CommandLine& line)
{
    auto const name = std::make_shared<std::string>();
    auto const run = std::make_shared<std::function<void(Document&)>>(list_events);
    CLI::App& command =
        add_command(app, line, "events", "List the events of the application and their identifiers",
                    [run](Document& document) { (*run)(document); });
    command.require_subcommand(0, 1);
    command.add_subcommand("list", "All events")->fallthrough();
    CLI::App& id = *command.add_subcommand("id", "The identifier of any name");
    id.fallthrough();
    id.add_option("NAME", *name, "The name of an event")->required()->type_name("");
    id.callback([name, run] { *run = [name](Document& document) { tell_id(*name, document); }; });
}

}  // namespace zvio
