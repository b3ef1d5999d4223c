#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "host/of/of_app.h"
#include "image_io/frame/image_io.h"
#include "image_io/save/image_save_options.h"
#include "tests/save/test_canvas.h"
#include "tests/torture/notes.h"

namespace zv_torture {

/// A way to save: a format, its sample type, lines or tiles, whether the picture comes whole or region by region, and
/// whether each of its layers gets a file of its own.
struct SaveForm {
    std::string name;
    std::string group;  // the same for all compressions
    std::string extension;
    ImageIOFileFormat::Save format = ImageIOFileFormat::SAVE_UNKNOWN;
    ImageIOFileFormat::OpenExrCompressionMethod compression = ImageIOFileFormat::COMPRESSION_NONE;
    int tiling_mode = 0;
    bool in_regions = false;
    bool is_split = false;
};

/// Every format that there is a writer for, every OpenEXR compression, lines and tiles, whole and in regions, layers in one
/// file and in files of their own.
std::vector<SaveForm> save_forms();

/// The files of a folder, by name, and their sizes.
using FileSizes = std::map<std::string, std::size_t>;
FileSizes file_sizes(std::string const& folder);
void empty_folder(std::string const& folder);

/// What a save that must not succeed has to come to: a failure, at least one line that says so, and not the file that
/// was refused; those of other layers may be there. All else is a fault; a good one counts in the row.
void check_failed_save(ImageIO::SavingStatus status, std::size_t line_count, std::string const& folder,
                       FileSizes const& whole, std::string const& row, Notes& notes);

/// Pictures, small ones with layers if nothing else is asked for, and what it takes to save them in any form.
class FormSaver {
public:
    explicit FormSaver(int width = 24, int height = 35);

    /// The largest status of all that was done. Of a save in regions the disk takes nothing while that one is written.
    ImageIO::SavingStatus save(SaveForm const& form, std::string const& path, int refused_region = -1);
    /// Of a save in regions.
    [[nodiscard]] int region_count(SaveForm const& form) const;

private:
    zv_test::TestCanvas const& canvas_of(SaveForm const& form) const;
    [[nodiscard]] std::vector<GMathVec4<int>> regions(SaveForm const& form) const;
    ImageIO::SavingStatus save_in_regions(SaveForm const& form, ImageSaveOptions const& options,
                                          std::string const& path, int refused_region);

    OfApp m_app;
    zv_test::TestCanvas m_canvas;                         // with layers
    zv_test::TestCanvas m_opaque_canvas, m_depth_canvas;  // for formats that take no other
};

}  // namespace zv_torture
