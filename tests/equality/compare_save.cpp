#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <utility>

#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "image_io/frame/image_io.h"
#include "image_io/save/image_io_output.h"
#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "tests/equality/compare_lists.h"
#include "tests/equality/noted_bars.h"
#include "tests/equality/reference_save.h"
#include "tests/support/pictures.h"

namespace zv_equality {

namespace {

/// What came of a save.
struct Outcome {
    std::vector<int> statuses;
    std::vector<std::string> lines, notes;
    std::map<std::string, std::vector<char>> files;
    bool in_tiles = false;
};

/// Writers of TIFF note the second in which they work, "2026:01:31 12:00:00": the same for all here.
void forget_time(std::vector<char>& bytes)
{
    std::string const form = "dddd:dd:dd dd:dd:dd";
    auto const fits = [](char byte, char wanted) {
        return wanted == 'd' ? byte >= '0' && byte <= '9' : byte == wanted;
    };
    for (auto place = bytes.begin();; ++place) {
        place = std::search(place, bytes.end(), form.begin(), form.end(), fits);
        if (place == bytes.end())
            return;
        std::copy(form.begin(), form.end(), place);
    }
}

/// Reads all files of the folder, and removes them.
std::map<std::string, std::vector<char>> take_files(std::string const& folder)
{
    std::map<std::string, std::vector<char>> files;
    for (auto const& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        std::vector<char>& bytes = files[entry.path().filename().string()];
        bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
        forget_time(bytes);
    }
    for (auto const& file : files)
        std::filesystem::remove(std::filesystem::path(folder) / file.first);
    return files;
}

ImageSaveOptions options_of(SaveOrder const& order, CoreVector<CoreString>& names)
{
    ImageSaveOptions options;
    options.format = order.format;
    options.compression = order.compression;
    options.color_space = order.color_space.c_str();
    options.pixel_aspect_ratio = order.pixel_aspect_ratio;
    options.fill_metadata("", order.metadata.c_str(), false);
    for (std::string const& name : order.layers)
        names.add(name.c_str());
    if (order.has_layers)
        options.layers = &names;
    return options;
}

Place whole_of(ImageCanvas const& canvas)
{
    return {canvas.get_x(), canvas.get_y(), canvas.get_width(), canvas.get_height()};
}

GMathVec4<int> rectangle(Place const& place)
{
    return {place.x, place.y, place.width, place.height};
}

using Save = std::function<std::vector<int>(ImageSaveOptions&, NotedApp&, AppProgressBar*)>;

Outcome run(SaveOrder const& order, std::string const& folder, Save const& save)
{
    Outcome outcome;
    CoreVector<CoreString> names;
    zv_test::LogCapture const log;
    ImageSaveOptions options = options_of(order, names);
    auto app = std::make_unique<NotedApp>();
    if (order.settings)
        order.settings(*app);
    outcome.in_tiles = app->tiling_mode != 0;
    {
        NotedBar bar("bar", app->notes);
        outcome.statuses = save(options, *app, &bar);
    }
    outcome.notes = app->notes;
    outcome.lines = texts_of(log.lines());
    outcome.files = take_files(folder);
    return outcome;
}

std::vector<int> save_in_steps(ImageCanvas const& canvas, SaveOrder const& order, std::string const& path,
                               ImageSaveOptions& options, NotedApp& app, AppProgressBar* bar)
{
    ImageIOOutputs outputs;
    ImageEvalContext context(canvas, 0);
    std::vector<int> statuses = {ImageIOSave::build_outputs(&app, options, path.c_str(), canvas.get_map(),
                                                            *canvas.m_map->m_bbox,
                                                            rectangle(whole_of(canvas)), outputs)};
    for (Place const& region : order.regions)
        statuses.push_back(ImageIOSave::save_region(&app, outputs, context, rectangle(region), bar));
    statuses.push_back(ImageIOSave::save(&app, outputs, context, nullptr));
    return statuses;
}

std::vector<int> plain_save_in_steps(ImageCanvas const& canvas, SaveOrder const& order,
                                     std::string const& path, ImageSaveOptions& options, NotedApp& app,
                                     AppProgressBar* bar)
{
    ReferenceOutputs outputs;
    ImageEvalContext context(canvas, 0);
    std::vector<int> statuses = {reference_build_outputs(
        &app, options, path, *canvas.get_map(), Place(*canvas.m_map->m_bbox), whole_of(canvas), outputs)};
    for (Place const& region : order.regions)
        statuses.push_back(reference_write_region(outputs, context, region, bar));
    statuses.push_back(reference_write_all(&app, outputs, context, nullptr));
    return statuses;
}

/// Tiles of maps of 8 or 16 bits go to OpenImageIO as floats that are taken at the strides of the map: any bits, and values
/// that are not numbers among them. What a conversion makes of those is the compiler's choice.
bool has_arbitrary_samples(ImageCanvas const& canvas, SaveOrder const& order, bool in_tiles)
{
    bool const is_tiff = order.file.find(".tif") != std::string::npos;
    return in_tiles && is_tiff && !order.color_space.empty() && canvas.get_map()->m_bit_depth != 4;
}

/// The bytes from `first`, as they are told in a report.
std::string hex_bytes(std::vector<char> const& bytes, std::ptrdiff_t first)
{
    constexpr std::ptrdiff_t kTold = 8;
    std::string text;
    for (std::ptrdiff_t at = first; at < std::min(std::ptrdiff_t(bytes.size()), first + kTold); ++at) {
        char pair[4];
        std::snprintf(pair, sizeof pair, " %02x",
                      static_cast<unsigned>(static_cast<unsigned char>(bytes[at])));
        text += pair;
    }
    return text;
}

zv_test::ReadPicture picture_of(std::vector<char> const& bytes, std::string const& folder)
{
    std::string const path = folder + "/compared.exr";
    zv_test::write_bytes(path, bytes);
    auto picture = zv_test::read_picture(path);
    std::filesystem::remove(path);
    return picture;
}

/// The sign of a NaN that a conversion of colours makes, of infinities or of others, is the compiler's choice.
bool differ_in_signs_of_nans(std::string const& name, std::vector<char> const& bytes,
                             std::vector<char> const& wanted, std::string const& folder)
{
    if (!name.ends_with(".exr"))
        return false;
    auto const module = picture_of(bytes, folder), plain = picture_of(wanted, folder);
    return module.spec.channelnames == plain.spec.channelnames &&
           std::equal(module.samples.begin(), module.samples.end(), plain.samples.begin(),
                      plain.samples.end(), [](float a, float b) {
                          return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
                      });
}

void compare_files(Outcome const& module, Outcome const& plain, bool with_bytes,
                   std::string const& nan_folder, Differences& differences)
{
    for (auto const& [name, bytes] : module.files) {
        auto const found = plain.files.find(name);
        if (found == plain.files.end()) {
            differences.push_back("file " + name + ": the plain road made none");
            continue;
        }
        auto const& wanted = found->second;
        if (bytes == wanted || !with_bytes)
            continue;
        if (!nan_folder.empty() && differ_in_signs_of_nans(name, bytes, wanted, nan_folder))
            continue;
        auto const place =
            std::mismatch(bytes.begin(), bytes.end(), wanted.begin(), wanted.end()).first - bytes.begin();
        differences.push_back("file " + name + ": " + std::to_string(bytes.size()) + " bytes, plain " +
                              std::to_string(wanted.size()) + ", first other byte " + std::to_string(place) +
                              " (from" + hex_bytes(bytes, place / 4 * 4) + ", plain" +
                              hex_bytes(wanted, place / 4 * 4) + ")");
    }
    for (auto const& file : plain.files)
        if (module.files.count(file.first) == 0)
            differences.push_back("file " + file.first + ": the module made none");
}

}  // namespace

Differences compare_save(ImageCanvas const& canvas, SaveOrder const& order, std::string const& folder,
                         std::size_t* file_count)
{
    std::string const path = folder + "/" + order.file;
    bool const in_steps = !order.regions.empty();
    Outcome const module = run(order, folder, [&](auto& options, NotedApp& app, AppProgressBar* bar) {
        if (in_steps)
            return save_in_steps(canvas, order, path, options, app, bar);
        return std::vector<int>{
            ImageIO::save(path.c_str(), options, canvas, &app, bar, order.has_crop ? &order.crop : nullptr)};
    });
    Outcome const plain = run(order, folder, [&](auto& options, NotedApp& app, AppProgressBar* bar) {
        if (in_steps)
            return plain_save_in_steps(canvas, order, path, options, app, bar);
        return std::vector<int>{
            reference_save(path, options, canvas, &app, bar, order.has_crop ? &order.crop : nullptr)};
    });
    Differences differences;
    for (std::size_t step = 0; step < plain.statuses.size(); ++step)
        if (module.statuses[step] != plain.statuses[step])
            differences.push_back("status of step " + std::to_string(step) + ": " +
                                  std::to_string(module.statuses[step]) + ", plain " +
                                  std::to_string(plain.statuses[step]));
    compare_lists("log line", module.lines, plain.lines, differences);
    compare_lists("progress call", module.notes, plain.notes, differences);
    compare_files(module, plain, !has_arbitrary_samples(canvas, order, plain.in_tiles),
                  order.color_space.empty() ? "" : folder, differences);
    if (file_count)
        *file_count += module.files.size();
    return differences;
}

}  // namespace zv_equality
