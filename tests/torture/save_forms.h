#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/of/of_app.h"
#include "image_io/frame/image_io.h"
#include "image_io/save/image_save_options.h"
#include "tests/save/test_canvas.h"
#include "tests/torture/notes.h"

namespace zv_torture {

/// A way to save: a format, its sample type, lines or tiles, whether the picture comes whole, region by region or as a
/// buffer, and whether each of its layers gets a file of its own.
struct SaveForm {
    std::string name;
    std::string group;  // the same for all compressions
    std::string extension;
    ImageIOFileFormat::Save format = ImageIOFileFormat::SAVE_UNKNOWN;
    ImageIOFileFormat::OpenExrCompressionMethod compression = ImageIOFileFormat::COMPRESSION_NONE;
    int tiling_mode = 0;
    bool in_regions = false;
    bool is_split = false;
    bool is_buffer = false;  // through ImageIO::save_image
};

/// Every format that there is a writer for, every OpenEXR compression, lines and tiles, whole, in regions and as buffers, layers
/// in one file and in files of their own.
std::vector<SaveForm> save_forms();
/// Whether the writer takes no picture of this form, disk or no disk.
bool is_refused_form(SaveForm const& form);
/// What a table calls it: its group, and how the picture comes.
std::string row_of(SaveForm const& form);

/// A file as it was saved.
struct SavedFile {
    std::size_t size = 0;
    unsigned long long digest = 0;  // of its samples and metadata: some formats note the time of day
    bool operator==(SavedFile const&) const = default;
};
/// The files of a folder, by name.
using SavedFiles = std::map<std::string, SavedFile>;
SavedFiles saved_files(std::string const& folder);
void empty_folder(std::string const& folder);

/// What a save that must not succeed has to come to: a failure, at least one line that says so, and not the file that
/// was refused; those of other layers may be there, as `whole` has them or, where they `may_be_unfinished`, as far as regions
/// were handed over to them until then. All else is a fault; a good one counts in the row.
void check_failed_save(ImageIO::SavingStatus status, std::size_t line_count, std::string const& folder,
                       SavedFiles const& whole, std::string const& row, Notes& notes,
                       bool may_be_unfinished = false);

/// A disk that takes no more than so many bytes a file, from the beginning of one step of a save in regions to its end: a
/// region, or what comes behind all of them.
struct Refusal {
    int step = 0;
    std::size_t bytes = 0;
};

/// Pictures, with layers and just more than a tile and a strip if nothing else is asked for, and what it takes to save them in
/// any form.
class FormSaver {
public:
    explicit FormSaver(int width = 18, int height = 33);

    /// The largest status of all that was done. Only saves in regions have steps to refuse.
    ImageIO::SavingStatus save(SaveForm const& form, std::string const& path,
                               std::optional<Refusal> const& refusal = std::nullopt);
    /// Of a save in regions.
    [[nodiscard]] int region_count(SaveForm const& form) const;

private:
    zv_test::TestCanvas const& canvas_of(SaveForm const& form) const;
    [[nodiscard]] std::vector<GMathVec4<int>> regions(SaveForm const& form) const;
    ImageIO::SavingStatus save_in_regions(SaveForm const& form, ImageSaveOptions const& options,
                                          CoreString const& path, std::optional<Refusal> const& refusal);
    [[nodiscard]] ImageIO::SavingStatus save_buffer(SaveForm const& form, CoreString const& path) const;

    OfApp m_app;
    zv_test::TestCanvas m_canvas;                         // with layers
    zv_test::TestCanvas m_opaque_canvas, m_depth_canvas;  // for formats that take no other
};

}  // namespace zv_torture
