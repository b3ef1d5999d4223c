#include "tests/torture/save_forms.h"

#include <algorithm>
#include <filesystem>
#include <optional>

#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "tests/save/file_size_limit.h"
#include "tests/torture/allocations.h"

namespace zv_torture {

namespace {

using Format = ImageIOFileFormat;

constexpr int kTile = 16;
constexpr int kBlock = 32;  // strips of TIFF, whole tiles, whole blocks of most compressions

zv_test::CanvasShape shape(int width, int height, std::vector<std::string> const& channels)
{
    zv_test::CanvasShape result;
    result.width = width;
    result.height = height;
    result.tile = kTile;
    result.channels = channels;
    return result;
}

void add_exr_forms(std::vector<SaveForm>& forms)
{
    for (int method = Format::COMPRESSION_NONE; method < Format::COMPRESSION_UNKNOWN; ++method)
        for (Format::Save format : {Format::SAVE_EXR16, Format::SAVE_EXR32})
            for (int tiling_mode : {0, 1})
                for (bool in_regions : {false, true}) {
                    auto const compression = Format::OpenExrCompressionMethod(method);
                    std::string const name = std::string(Format::get_short_name(format)) + " " +
                                             Format::get_short_name(compression) +
                                             (tiling_mode ? " tiles" : " lines");
                    std::string const group =
                        std::string(Format::get_short_name(format)) + (tiling_mode ? " tiles" : " lines");
                    forms.push_back({name, group, ".exr", format, compression, tiling_mode, in_regions});
                }
}

/// A file for each layer.
void add_split_forms(std::vector<SaveForm>& forms)
{
    SaveForm form;
    form.is_split = true;
    form.group = "a file a layer";
    form.compression = Format::COMPRESSION_ZIP;
    struct Split {
        char const* extension;
        Format::Save format;
    };
    for (Split const& split : {Split{".exr", Format::SAVE_EXR16}, Split{".tif", Format::SAVE_TIFF16},
                               Split{".png", Format::SAVE_PNG8}, Split{".png", Format::SAVE_UNKNOWN}}) {
        form.format = split.format;
        form.extension = split.extension;
        bool const is_simple = split.format == Format::SAVE_PNG8;
        for (bool in_regions : {false, true})
            for (int tiling_mode : {0, 1}) {
                if (is_simple && (in_regions || tiling_mode))
                    continue;
                form.in_regions = in_regions;
                form.tiling_mode = tiling_mode;
                form.name = std::string("split ") + (is_simple ? "simple" : "planned") + split.extension +
                            (tiling_mode ? " tiles" : " lines");
                forms.push_back(form);
            }
    }
}

/// Formats that have no number of their own: the writer is told by the name. But for PNM, whose writer refuses every strip:
/// its files are headers without pixels, disk or no disk.
void add_unknown_forms(std::vector<SaveForm>& forms, bool in_regions)
{
    for (char const* extension : {"hdr", "png", "jpg", "sgi", "rla", "fits", "ico", "heic", "webp", "gif",
                                  "dpx", "jp2", "iff", "zfile", "tx", "bmp", "tga", "tif", "exr"})
        forms.push_back({std::string("unknown ") + extension, "unknown format", std::string(".") + extension,
                         Format::SAVE_UNKNOWN, Format::COMPRESSION_NONE, 0, in_regions});
}

}  // namespace

std::vector<SaveForm> save_forms()
{
    std::vector<SaveForm> forms = {{"jpg", "jpg", ".jpg", Format::SAVE_JPEG},
                                   {"bmp", "bmp", ".bmp", Format::SAVE_BMP},
                                   {"tga", "tga", ".tga", Format::SAVE_TARGA},
                                   {"png8", "png8", ".png", Format::SAVE_PNG8},
                                   {"png16", "png16", ".png", Format::SAVE_PNG16}};
    for (bool in_regions : {false, true}) {
        for (Format::Save format : {Format::SAVE_TIFF8, Format::SAVE_TIFF16, Format::SAVE_TIFF32})
            for (int tiling_mode : {0, 1})
                forms.push_back({Format::get_short_name(format), tiling_mode ? "tiff tiles" : "tiff strips",
                                 ".tif", format, Format::COMPRESSION_NONE, tiling_mode, in_regions});
        add_unknown_forms(forms, in_regions);
    }
    add_exr_forms(forms);
    add_split_forms(forms);
    return forms;
}

FileSizes file_sizes(std::string const& folder)
{
    FileSizes sizes;
    for (auto const& entry : std::filesystem::directory_iterator(folder))
        sizes[entry.path().filename().string()] = entry.file_size();
    return sizes;
}

void empty_folder(std::string const& folder)
{
    for (auto const& entry : std::filesystem::directory_iterator(folder))
        std::filesystem::remove(entry.path());
}

FormSaver::FormSaver(int width, int height)
    : m_canvas(shape(width, height, {"r", "g", "b", "a", "diffuse.r", "diffuse.g", "diffuse.b", "depth.z"}))
    , m_opaque_canvas(shape(width, height, {"r", "g", "b"}))
    , m_depth_canvas(shape(width, height, {"r"}))
{
}

zv_test::TestCanvas const& FormSaver::canvas_of(SaveForm const& form) const
{
    if (form.extension == ".zfile")
        return m_depth_canvas;
    return form.extension == ".hdr" || form.extension == ".heic" ? m_opaque_canvas : m_canvas;
}

std::vector<GMathVec4<int>> FormSaver::regions(SaveForm const& form) const
{
    GMathVec4<int> const window = canvas_of(form).data_window();
    int const width = form.tiling_mode ? kBlock : window.width();
    std::vector<GMathVec4<int>> result;
    for (int y = 0; y < window.height(); y += kBlock)
        for (int x = 0; x < window.width(); x += width)
            result.emplace_back(x, y, std::min(width, window.width() - x),
                                std::min(kBlock, window.height() - y));
    return result;
}

int FormSaver::region_count(SaveForm const& form) const
{
    return static_cast<int>(regions(form).size());
}

ImageIO::SavingStatus FormSaver::save(SaveForm const& form, std::string const& path, int refused_region)
{
    m_app.tiling_mode = form.tiling_mode;
    m_app.output_one_file_per_aov = m_app.output_aovs_in_all_formats = form.is_split;
    ImageSaveOptions options;
    options.format = form.format;
    options.compression = form.compression;
    options.color_space = "sRGB";
    if (form.in_regions)
        return save_in_regions(form, options, path, refused_region);
    CoreString const name = path.c_str();
    return in_module(
        [&] { return ImageIO::save(name, options, canvas_of(form).canvas(), &m_app, nullptr, nullptr); });
}

ImageIO::SavingStatus FormSaver::save_in_regions(SaveForm const& form, ImageSaveOptions const& options,
                                                 std::string const& path, int refused_region)
{
    zv_test::TestCanvas const& canvas = canvas_of(form);
    ImageIOOutputs outputs;
    ImageEvalContext context = canvas.context();
    CoreString const name = path.c_str();
    auto status = in_module([&] {
        return ImageIOSave::build_outputs(&m_app, options, name, &canvas.map(), canvas.data_window(),
                                          canvas.canvas_rectangle(), outputs);
    });
    if (status != ImageIO::SAVING_STATUS_SUCCESS)
        return status;
    int number = 0;
    for (GMathVec4<int> const& region : regions(form)) {
        std::optional<zv_test::FileSizeLimit> disk;
        if (number++ == refused_region)
            disk.emplace(0);
        status = std::max(status, in_module([&] {
                              return ImageIOSave::save_region(&m_app, outputs, context, region, nullptr);
                          }));
    }
    return std::max(status, in_module([&] { return ImageIOSave::save(&m_app, outputs, context, nullptr); }));
}

void check_failed_save(ImageIO::SavingStatus status, std::size_t line_count, std::string const& folder,
                       FileSizes const& whole, std::string const& row, Notes& notes)
{
    if (status == ImageIO::SAVING_STATUS_SUCCESS)
        return notes.fault(std::string("false success  [") + notes.what + "]");
    if (line_count == 0)
        return notes.fault(std::string("a failure without a word  [") + notes.what + "]");
    FileSizes const left = file_sizes(folder);
    if (left.size() >= whole.size())
        return notes.fault("a broken file was left: " + left.begin()->first + "  [" + notes.what + "]");
    notes.count(row, left.empty() ? "failed, said so and left nothing"
                                  : "failed, said so and left files of other layers alone");
}

}  // namespace zv_torture
