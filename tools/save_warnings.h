#pragma once

#include "tools/document.h"

namespace zvio {

struct SaveJob;
struct SaveRequest;

/// Tells, before a save, what its files will not hold as one might expect; docs/zvio.md lists the codes.
void warn_of_losses(SaveJob const& job, SaveRequest const& request, Document& document);

}  // namespace zvio
