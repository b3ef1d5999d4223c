#pragma once

#include "host/core/core_string.h"

/// Notes the identifier of an event's name, to catch two names with one identifier.
///
/// Returns  true while the identifier has one name, also for a pair that was noted before; false on a
///          collision: the first name keeps the identifier, and the log tells both at level 1
/// Threads  any; it works before any static object is made
bool event_debug_collisions(unsigned int id, CoreString const& name);
