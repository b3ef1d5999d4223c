#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/of/of_app.h"
#include "image_io/frame/image_io.h"
#include "image_io/save/image_save_options.h"
#include "tests/save/test_canvas.h"
#include "tests/torture/notes.h"

namespace zv_torture {

/// A way to save: a format, its sample type, lines or tiles, and whether the picture comes whole or region by region.
struct SaveForm {
    std::string name;
    std::string group;  // the same for all compressions
    std::string extension;
    ImageIOFileFormat::Save format = ImageIOFileFormat::SAVE_UNKNOWN;
    ImageIOFileFormat::OpenExrCompressionMethod compression = ImageIOFileFormat::COMPRESSION_NONE;
    int tiling_mode = 0;
    bool in_regions = false;
};

/// Every format, every OpenEXR compression, lines and tiles, whole and in regions.
std::vector<SaveForm> save_forms();

/// What a save that must not succeed has to come to: a failure, at least one line that says so, and no file. All else is a
/// fault; a good one counts in the row.
void check_failed_save(ImageIO::SavingStatus status, std::size_t line_count, std::string const& path,
                       std::string const& row, Notes& notes);

/// A small picture with a layer, and what it takes to save it in any form.
class FormSaver {
public:
    FormSaver();

    /// The largest status of all that was done.
    ImageIO::SavingStatus save(SaveForm const& form, std::string const& path);

private:
    ImageIO::SavingStatus save_in_regions(SaveForm const& form, zv_test::TestCanvas const& canvas,
                                          ImageSaveOptions const& options, std::string const& path);

    OfApp m_app;
    zv_test::TestCanvas m_canvas, m_opaque_canvas;  // the second for formats without alpha
};

}  // namespace zv_torture
