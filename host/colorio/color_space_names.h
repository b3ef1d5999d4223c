#pragma once

#include <OpenColorIO/OpenColorIO.h>

#include "host/core/core_string.h"

namespace zv_host {

/// Names of colour spaces in one configuration; the forms are those of `ColorIO`.
///
/// Errors   an empty answer; what OpenColorIO throws passes
/// Threads  any

/// The configuration's own name, or empty.
CoreString resolve_color_space(OCIO_NAMESPACE::Config const& config, CoreString const& name, char separator);

/// The configuration's own name without the family that it begins with, as long as that name leads back to
/// the same space; else unchanged.
CoreString color_space_without_family(OCIO_NAMESPACE::Config const& config, CoreString const& name,
                                      char separator);

}  // namespace zv_host
