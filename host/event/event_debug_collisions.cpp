#include "host/event/event_debug_collisions.h"

#include "host/core/core_log_handler.h"

#include <mutex>
#include <unordered_map>

namespace {

struct KnownNames {
    std::mutex mutex;
    std::unordered_map<unsigned int, CoreString> by_id;
};

/// Made at first use and never destroyed: other static objects note their events while the program loads.
KnownNames& known_names()
{
    static KnownNames& instance = *new KnownNames;
    return instance;
}

}  // namespace

bool event_debug_collisions(unsigned int id, CoreString const& name)
{
    CoreString first;
    {
        std::lock_guard const guard(known_names().mutex);
        first = known_names().by_id.try_emplace(id, name).first->second;
    }
    if (first == name)
        return true;
    if (CoreLogHandler::s_main_log_handler.m_level >= 1) {
        CoreLogStream line;
        line.m_text =
            CoreString("Event identifier ") + id + " of '" + name + "' belongs to '" + first + "'\n";
        CoreLogHandler::log(1, line);
    }
    return false;
}
