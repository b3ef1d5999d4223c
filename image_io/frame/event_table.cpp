#include "image_io/frame/event_table.h"

#include "host/event/event_debug_collisions.h"

namespace {

/// Tells the application every identifier while the module loads, so that it can find two names with one.
[[maybe_unused]] bool const kEventsAreNoted = [] {
    bool is_free_of_collisions = true;
    try {
        for (zv_image_io::Event const& event : zv_image_io::kEvents)
            is_free_of_collisions &= event_debug_collisions(event.id, event.name);
    } catch (...) {
        is_free_of_collisions = false;  // no memory for a check that changes nothing
    }
    return is_free_of_collisions;
}();

}  // namespace
