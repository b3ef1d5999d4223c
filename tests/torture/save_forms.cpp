#include "tests/torture/save_forms.h"

#include <algorithm>
#include <filesystem>

#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "tests/torture/allocations.h"

namespace zv_torture {

namespace {

using Format = ImageIOFileFormat;

constexpr int kWidth = 70, kHeight = 97, kTile = 16;
constexpr int kBlock = 32;  // strips of TIFF, whole tiles, whole blocks of most compressions

zv_test::CanvasShape shape(bool has_alpha)
{
    zv_test::CanvasShape result;
    result.width = kWidth;
    result.height = kHeight;
    result.tile = kTile;
    result.channels = {"r", "g", "b", "a"};
    result.channels.resize(has_alpha ? 4 : 3);
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
        for (char const* extension : {"hdr", "png", "jpg"})
            forms.push_back({std::string("unknown ") + extension, "unknown format",
                             std::string(".") + extension, Format::SAVE_UNKNOWN, Format::COMPRESSION_NONE, 0,
                             in_regions});
    }
    add_exr_forms(forms);
    return forms;
}

FormSaver::FormSaver()
    : m_canvas(shape(true))
    , m_opaque_canvas(shape(false))
{
}

ImageIO::SavingStatus FormSaver::save(SaveForm const& form, std::string const& path)
{
    m_app.tiling_mode = form.tiling_mode;
    zv_test::TestCanvas const& canvas = form.extension == ".hdr" ? m_opaque_canvas : m_canvas;
    ImageSaveOptions options;
    options.format = form.format;
    options.compression = form.compression;
    options.color_space = "sRGB";
    if (form.in_regions)
        return save_in_regions(form, canvas, options, path);
    CoreString const name = path.c_str();
    return in_module([&] { return ImageIO::save(name, options, canvas.canvas(), &m_app, nullptr, nullptr); });
}

ImageIO::SavingStatus FormSaver::save_in_regions(SaveForm const& form, zv_test::TestCanvas const& canvas,
                                                 ImageSaveOptions const& options, std::string const& path)
{
    ImageIOOutputs outputs;
    ImageEvalContext context = canvas.context();
    CoreString const name = path.c_str();
    auto status = in_module([&] {
        return ImageIOSave::build_outputs(&m_app, options, name, &canvas.map(), canvas.data_window(),
                                          canvas.canvas_rectangle(), outputs);
    });
    if (status != ImageIO::SAVING_STATUS_SUCCESS)
        return status;
    int const block_width = form.tiling_mode ? kBlock : kWidth;
    for (int y = 0; y < kHeight; y += kBlock)
        for (int x = 0; x < kWidth; x += block_width) {
            GMathVec4<int> const region(x, y, std::min(block_width, kWidth - x),
                                        std::min(kBlock, kHeight - y));
            status = std::max(status, in_module([&] {
                                  return ImageIOSave::save_region(&m_app, outputs, context, region, nullptr);
                              }));
        }
    return std::max(status, in_module([&] { return ImageIOSave::save(&m_app, outputs, context, nullptr); }));
}

void check_failed_save(ImageIO::SavingStatus status, std::size_t line_count, std::string const& path,
                       std::string const& row, Notes& notes)
{
    if (status == ImageIO::SAVING_STATUS_SUCCESS)
        notes.fault(std::string("false success  [") + notes.what + "]");
    else if (line_count == 0)
        notes.fault(std::string("a failure without a word  [") + notes.what + "]");
    else if (std::filesystem::exists(path))
        notes.fault(std::string("a broken file was left  [") + notes.what + "]");
    else
        notes.count(row, "failed, said so and left nothing");
}

}  // namespace zv_torture
