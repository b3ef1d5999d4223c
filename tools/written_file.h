#pragma once

#include <string>
#include <vector>

#include "image_io/frame/image_io.h"
#include "tools/document.h"
#include "tools/output_plan.h"
#include "tools/verification.h"

namespace zvio {

/// In which way a file is not what was planned; empty if it is. A file that is not whole is another matter.
std::vector<std::string> differences_from_plan(PlannedFile const& planned, Verification const& found);

/// Reads back the files of a save and tells what is wrong with them. True if they are whole and as planned.
bool check_written_files(OutputPlan const& plan, Document& document);

/// Tells a failed save; nothing for success.
void tell_status(ImageIO::SavingStatus status, std::string const& path, Document& document);

}  // namespace zvio
