#pragma once

#include <string>

#include "tools/document.h"

class ImageMap;
class OfApp;
struct ImageSaveOptions;

namespace zvio {

struct OutputPlan;
struct StoredHeader;
struct WriteRequest;

/// A save that is about to begin. Borrows all; `source` may be null.
struct PlannedSave {
    std::string const& path;
    OutputPlan const& plan;
    ImageSaveOptions const& options;
    OfApp const& app;
    ImageMap const& map;
    WriteRequest const& request;
    StoredHeader const* source;
    bool converts_colors;
    bool is_cropped;
    bool keeps_integers;
};

/// Tells, before a save, what its files will not hold as one might expect; docs/zvio.md lists the codes.
void warn_of_losses(PlannedSave const& save, Document& document);

}  // namespace zvio
