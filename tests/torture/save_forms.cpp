#include "tests/torture/save_forms.h"

#include <algorithm>
#include <filesystem>
#include <optional>

#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "tests/save/file_size_limit.h"
#include "tests/support/pictures.h"
#include "tests/torture/allocations.h"
#include "tests/torture/digest.h"

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

constexpr char const* kExtensions[] = {"hdr",  "png",  "jpg", "sgi", "rla", "fits", "ico",
                                       "heic", "webp", "gif", "dpx", "jp2", "iff",  "zfile",
                                       "tx",   "bmp",  "tga", "tif", "exr"};

/// Formats that have no number of their own: the writer is told by the name. But for PNM, whose writer refuses every strip:
/// its files are headers without pixels, disk or no disk.
void add_unknown_forms(std::vector<SaveForm>& forms, bool in_regions)
{
    for (char const* extension : kExtensions)
        forms.push_back({std::string("unknown ") + extension, "unknown format", std::string(".") + extension,
                         Format::SAVE_UNKNOWN, Format::COMPRESSION_NONE, 0, in_regions});
}

void add_buffer_forms(std::vector<SaveForm>& forms)
{
    SaveForm form;
    form.is_buffer = true;
    form.group = "a buffer";
    for (char const* extension : kExtensions) {
        form.name = std::string("buffer ") + extension;
        form.extension = std::string(".") + extension;
        forms.push_back(form);
    }
}

/// Metadata that a canvas has, and files of formats that take any.
constexpr char kNoteName[] = "note", kNote[] = "a text that is longer than what a string keeps within itself";

/// What two files need not have in common: the time of day, and the text in SGI files, whose writer leaves it as it finds it.
bool is_by_chance(std::string const& attribute, std::string const& path)
{
    return attribute.find("Date") != std::string::npos || attribute.find("Time") != std::string::npos ||
           (attribute == "ImageDescription" && path.ends_with(".sgi"));
}

unsigned long long digest_of_file(std::string const& path)
{
    Digest digest;
    try {
        zv_test::ReadPicture const picture = zv_test::read_picture(path);
        digest.add(picture.samples.data(), picture.samples.size() * sizeof(float));
        for (OIIO::ParamValue const& attribute : picture.spec.extra_attribs) {
            std::string const name = attribute.name().string(), value = attribute.get_string();
            if (is_by_chance(name, path))
                continue;
            digest.add(name.data(), name.size());
            digest.add(value.data(), value.size());
        }
    } catch (std::exception const&) {
        digest.add("a file that does not read", sizeof "a file that does not read");
    }
    return digest.value();
}

}  // namespace

std::vector<SaveForm> save_forms()
{
    std::vector<SaveForm> forms = {{"jpg", "jpg", ".jpg", Format::SAVE_JPEG},
                                   {"bmp", "bmp", ".bmp", Format::SAVE_BMP},
                                   {"tga", "tga", ".tga", Format::SAVE_TARGA},
                                   {"png8", "png8", ".png", Format::SAVE_PNG8},
                                   {"png16", "png16", ".png", Format::SAVE_PNG16},
                                   // Formats that take nothing but a simple picture.
                                   {"png8 iff", "iff", ".iff", Format::SAVE_PNG8},
                                   {"png8 jp2", "jp2", ".jp2", Format::SAVE_PNG8}};
    for (bool in_regions : {false, true}) {
        for (Format::Save format : {Format::SAVE_TIFF8, Format::SAVE_TIFF16, Format::SAVE_TIFF32})
            for (int tiling_mode : {0, 1})
                forms.push_back({Format::get_short_name(format), tiling_mode ? "tiff tiles" : "tiff strips",
                                 ".tif", format, Format::COMPRESSION_NONE, tiling_mode, in_regions});
        add_unknown_forms(forms, in_regions);
    }
    add_exr_forms(forms);
    add_split_forms(forms);
    add_buffer_forms(forms);
    return forms;
}

bool is_refused_form(SaveForm const& form)
{
    return form.format == Format::SAVE_UNKNOWN && !form.is_buffer &&
           (form.extension == ".iff" || form.extension == ".jp2");
}

std::string row_of(SaveForm const& form)
{
    return form.group + (form.is_buffer ? "" : form.in_regions ? ", regions" : ", whole");
}

SavedFiles saved_files(std::string const& folder)
{
    SavedFiles files;
    for (auto const& entry : std::filesystem::directory_iterator(folder))
        files[entry.path().filename().string()] = {entry.file_size(), digest_of_file(entry.path().string())};
    return files;
}

void empty_folder(std::string const& folder)
{
    for (auto const& entry : std::filesystem::directory_iterator(folder))
        std::filesystem::remove(entry.path());
}

FormSaver::FormSaver(int width, int height)
    : m_canvas(shape(width, height, {"r", "g", "b", "a", "diffuse.r", "depth.z"}))
    , m_opaque_canvas(shape(width, height, {"r", "g", "b"}))
    , m_depth_canvas(shape(width, height, {"r"}))
{
    for (zv_test::TestCanvas const* canvas : {&m_canvas, &m_opaque_canvas, &m_depth_canvas})
        canvas->canvas().m_meta_data.insert(kNoteName, CoreArray<CoreVariant>{CoreVariant(kNote)});
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

ImageIO::SavingStatus FormSaver::save(SaveForm const& form, std::string const& path,
                                      std::optional<Refusal> const& refusal)
{
    CoreString const name = path.c_str();
    if (form.is_buffer)
        return save_buffer(form, name);
    m_app.tiling_mode = form.tiling_mode;
    m_app.output_one_file_per_aov = m_app.output_aovs_in_all_formats = form.is_split;
    ImageSaveOptions options;
    options.format = form.format;
    options.compression = form.compression;
    options.color_space = "sRGB";
    if (form.in_regions)
        return save_in_regions(form, options, name, refusal);
    return in_module(
        [&] { return ImageIO::save(name, options, canvas_of(form).canvas(), &m_app, nullptr, nullptr); });
}

ImageIO::SavingStatus FormSaver::save_in_regions(SaveForm const& form, ImageSaveOptions const& options,
                                                 CoreString const& path,
                                                 std::optional<Refusal> const& refusal)
{
    zv_test::TestCanvas const& canvas = canvas_of(form);
    ImageIOOutputs outputs;
    ImageEvalContext context = canvas.context();
    auto status = in_module([&] {
        return ImageIOSave::build_outputs(&m_app, options, path, &canvas.map(), canvas.data_window(),
                                          canvas.canvas_rectangle(), outputs);
    });
    if (status != ImageIO::SAVING_STATUS_SUCCESS)
        return status;
    int step = 0;
    auto const take_step = [&](auto const& work) {
        std::optional<zv_test::FileSizeLimit> disk;
        if (refusal && step == refusal->step)
            disk.emplace(refusal->bytes);
        ++step;
        status = std::max(status, in_module(work));
    };
    for (GMathVec4<int> const& region : regions(form))
        take_step([&] { return ImageIOSave::save_region(&m_app, outputs, context, region, nullptr); });
    take_step([&] { return ImageIOSave::save(&m_app, outputs, context, nullptr); });
    return status;
}

ImageIO::SavingStatus FormSaver::save_buffer(SaveForm const& form, CoreString const& path) const
{
    zv_test::TestCanvas const& canvas = canvas_of(form);
    auto const width = static_cast<unsigned int>(canvas.data_window().width()),
               height = static_cast<unsigned int>(canvas.data_window().height());
    std::size_t const channels = std::min<std::size_t>(canvas.all_channels().get_count(), 4);
    std::vector<float> samples(channels * width * height);
    for (std::size_t at = 0; at < samples.size(); ++at)
        samples[at] = static_cast<float>(at * 2654435761u >> 7 & 255) / 255;  // little to compress
    bool const is_saved = in_module([&] {
        return ImageIO::save_image(path, samples.data(), static_cast<unsigned int>(channels), width, height);
    });
    return is_saved ? ImageIO::SAVING_STATUS_SUCCESS : ImageIO::SAVING_STATUS_WRITE_FAILED;
}

void check_failed_save(ImageIO::SavingStatus status, std::size_t line_count, std::string const& folder,
                       SavedFiles const& whole, std::string const& row, Notes& notes, bool may_be_unfinished)
{
    if (status == ImageIO::SAVING_STATUS_SUCCESS)
        return notes.fault(std::string("false success  [") + notes.what + "]");
    if (line_count == 0)
        return notes.fault(std::string("a failure without a word  [") + notes.what + "]");
    SavedFiles const left = saved_files(folder);
    bool is_unfinished = false;
    for (auto const& [name, file] : left) {
        auto const found = whole.find(name);
        if (found != whole.end() && found->second == file)
            continue;
        is_unfinished = true;
        if (found == whole.end() || !may_be_unfinished)
            return notes.fault("a broken file was left: " + name + "  [" + notes.what + "]");
    }
    if (!left.empty() && left.size() >= whole.size() && !is_unfinished)
        return notes.fault(std::string("all files are there  [") + notes.what + "]");
    notes.count(row, left.empty()    ? "failed, said so and left nothing"
                     : is_unfinished ? "failed, said so and left regions of other layers"
                                     : "failed, said so and left files of other layers alone");
}

}  // namespace zv_torture
