#include "tests/equality/comparison.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include <ImfThreading.h>
#include <OpenImageIO/imageio.h>
#include <oneapi/tbb/global_control.h>

#include "host/image/image_canvas.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/image/image_map_tile.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/image_load_report.h"
#include "tests/equality/compare_lists.h"
#include "tests/equality/noted_bars.h"
#include "tests/equality/reference_load.h"

namespace zv_equality {

namespace {

constexpr std::size_t kMostOfAKind = 5;

template <class Value>
void compare(std::string const& what, Value const& module, Value const& plain, Differences& differences)
{
    if (module == plain)
        return;
    std::ostringstream text;
    text << what << ": " << module << ", plain " << plain;
    differences.push_back(text.str());
}

void compare_place(std::string const& what, Place const& module, Place const& plain, Differences& differences)
{
    auto const text = [](Place const& place) {
        return std::to_string(place.width) + "x" + std::to_string(place.height) + " at (" +
               std::to_string(place.x) + "," + std::to_string(place.y) + ")";
    };
    compare(what, text(module), text(plain), differences);
}

/// A sample as it lies in the tile's own memory.
std::uint32_t bits_in(ImageMapTile const& tile, int column, int row, int tile_size, unsigned bytes)
{
    if (!tile.m_pixels)
        return tile.get_constant_bits();
    std::size_t const number = std::size_t(tile_size + 2) * std::size_t(row + 1) + 1 + std::size_t(column);
    std::uint32_t bits = 0;
    for (unsigned byte = 0; byte < bytes; ++byte)
        bits |= std::uint32_t(tile.m_pixels[number * bytes + byte]) << (8 * byte);
    return bits;
}

/// Which of two NaNs comes out of their product is nobody's promise.
bool is_product_of_nans(std::uint32_t module, std::uint32_t plain, SampleType type, PlainChannel* alpha,
                        int x, int y)
{
    auto const is_nan = [&](std::uint32_t bits) { return type.floating && std::isnan(to_float(bits, type)); };
    return alpha && is_nan(module) && is_nan(plain) && is_nan(alpha->at(x, y));
}

void compare_samples(ImageMapChannel const& module, PlainChannel& plain, PlainPicture& picture,
                     Differences& differences)
{
    int const size = picture.tile_size;
    PlainChannel* const alpha = picture.find("a");
    std::size_t found = 0;
    for (unsigned number = 0; number < module.get_tile_count(); ++number) {
        ImageMapTile const& tile = *module.get_tile(number).m_tile;
        for (int row = 0; row < size; ++row)
            for (int column = 0; column < size; ++column) {
                int const x = tile.m_tile_x * size + column, y = tile.m_tile_y * size + row;
                bool const inside = plain.place.holds(x, y);
                if (!inside && !tile.m_pixels)
                    continue;  // a constant counts inside alone
                std::uint32_t const bits = bits_in(tile, column, row, size, picture.type.bytes);
                std::uint32_t const wanted = inside ? plain.at(x, y) : 0;
                if (bits == wanted || (inside && is_product_of_nans(bits, wanted, picture.type, alpha, x, y)))
                    continue;
                if (++found > kMostOfAKind)
                    continue;
                std::ostringstream text;
                text << "channel " << plain.name << " at (" << x << "," << y << "): bits " << std::hex << bits
                     << ", plain " << wanted;
                differences.push_back(text.str());
            }
    }
    if (found > kMostOfAKind)
        differences.push_back("channel " + plain.name + ": " + std::to_string(found) + " samples in all");
}

void compare_channel(ImageMapChannel const& module, PlainChannel& plain, PlainPicture& picture,
                     Differences& differences)
{
    compare("name of a channel", text_of(module.m_name), plain.name, differences);
    static std::string const kSlots = "rgbal";
    bool const has_slot = plain.name.size() == 1 && kSlots.find(plain.name) != std::string::npos &&
                          picture.find(plain.name) == &plain;
    compare("index of channel " + plain.name, module.m_index == 6, !has_slot, differences);
    if (plain.place.width == 0) {
        compare("tiles of channel " + plain.name, module.get_tile_count(), 0u, differences);
        return;
    }
    auto const tiles = [&](int begin, int end) {
        return unsigned(floor_of(end - 1, picture.tile_size) - floor_of(begin, picture.tile_size) + 1);
    };
    unsigned const count =
        tiles(plain.place.x, plain.place.end_x()) * tiles(plain.place.y, plain.place.end_y());
    compare("tiles of channel " + plain.name, module.get_tile_count(), count, differences);
    if (module.get_tile_count() == count)
        compare_samples(module, plain, picture, differences);
}

void compare_canvas(ImageCanvas const& canvas, PlainPicture& picture, Differences& differences)
{
    ImageMap const& map = *canvas.get_map();
    compare_place("display window", {canvas.get_x(), canvas.get_y(), canvas.get_width(), canvas.get_height()},
                  picture.display_window, differences);
    compare_place("data window", Place(*canvas.m_map->m_bbox), picture.data_window, differences);
    compare("depth", int(map.m_depth), picture.depth, differences);
    compare("bit depth", unsigned(map.m_bit_depth), picture.type.bytes, differences);
    compare("bit type", unsigned(map.m_bit_type), picture.type.floating ? 2u : 1u, differences);
    compare("tile size", map.m_tile_size, picture.tile_size, differences);
    compare("number of channels", map.get_channel_count(), unsigned(picture.channels.size()), differences);
    if (map.get_channel_count() != picture.channels.size())
        return;
    for (unsigned number = 0; number < map.get_channel_count(); ++number)
        compare_channel(*map.m_channels[number], picture.channels[number], picture, differences);
}

void compare_report(ImageLoadReport const& report, PlainPicture const& picture,
                    ImageLoadOptions const& options, Differences& differences)
{
    if (!picture.all_read)
        return;
    compare("rows asked", report.rows_asked, picture.rows_asked, differences);
    compare("rows lost", report.rows_lost, 0u, differences);
    compare("tiles asked", report.tiles_asked, picture.tiles_asked, differences);
    compare("tiles lost", report.tiles_lost, 0u, differences);
    compare("errors told", report.errors.get_count() != 0, !picture.errors.empty(), differences);
    compare("colour space of the report", text_of(report.color_space), text_of(options.color_space),
            differences);
}

/// The increments of a map without channels, which has no tiles to count.
std::vector<std::string> without_increment(std::vector<std::string> const& notes, PlainPicture const& picture)
{
    if (!picture.channels.empty())
        return notes;
    std::vector<std::string> kept;
    for (std::string const& note : notes)
        if (note.find("increment") == std::string::npos)
            kept.push_back(note);
    return kept;
}

}  // namespace

struct ThreadCount::State {
    explicit State(int count)
        : tbb(oneapi::tbb::global_control::max_allowed_parallelism, std::size_t(count))
        , exr_before(Imf::globalThreadCount())
    {
        OIIO::getattribute("threads", oiio_before);
        OIIO::attribute("threads", count);
        Imf::setGlobalThreadCount(count == 1 ? 0 : count);
    }
    ~State()
    {
        OIIO::attribute("threads", oiio_before);
        Imf::setGlobalThreadCount(exr_before);
    }

    oneapi::tbb::global_control tbb;
    int exr_before;
    int oiio_before = 0;
};

ThreadCount::ThreadCount(int count)
    : m_state(std::make_unique<State>(count))
{
}
ThreadCount::~ThreadCount() = default;

void compare_lists(std::string const& what, std::vector<std::string> const& module,
                   std::vector<std::string> const& plain, Differences& differences)
{
    if (module == plain)
        return;
    std::size_t found = 0;
    for (std::size_t number = 0; number < std::max(module.size(), plain.size()); ++number) {
        std::string const left = number < module.size() ? module[number] : "(none)";
        std::string const right = number < plain.size() ? plain[number] : "(none)";
        if (left != right && ++found <= kMostOfAKind)
            differences.push_back(what + " " + std::to_string(number) + ": " + left + " | plain: " + right);
    }
}

std::vector<std::string> texts_of(std::vector<zv_test::LogLine> const& lines)
{
    std::vector<std::string> texts;
    for (zv_test::LogLine const& line : lines) {
        std::string text = line.text;
        std::string const before = "' saved in ";
        if (std::size_t const found = text.find(before); found != std::string::npos)
            text = text.substr(0, found + before.size()) + "some ms.\n";
        texts.push_back(std::to_string(line.level) + " " + text);
    }
    return texts;
}

Differences compare_load(std::string const& path, ImageLoadOptions const& options)
{
    auto const none = ImagePixel::REPEAT_MODE_NONE;
    Differences differences;
    std::vector<std::string> module_notes, plain_notes, module_lines, plain_lines;
    std::unique_ptr<ImageCanvas> canvas;
    ImageLoadReport report;
    {
        zv_test::LogCapture const log;
        NotedBar bar("bar", module_notes);
        canvas.reset(ImageIO::load_image(path.c_str(), options, nullptr, &bar, none, none, report));
        module_lines = texts_of(log.lines());
    }
    PlainPicture picture;
    {
        zv_test::LogCapture const log;
        NotedBar bar("bar", plain_notes);
        picture = reference_load(path, options, &bar);
        plain_lines = texts_of(log.lines());
    }
    compare("loaded", canvas != nullptr, picture.loaded, differences);
    compare_lists("log line", module_lines, plain_lines, differences);
    compare_lists("progress call", without_increment(module_notes, picture),
                  without_increment(plain_notes, picture), differences);
    if (!canvas || !picture.loaded)
        return differences;
    compare_canvas(*canvas, picture, differences);
    compare_report(report, picture, options, differences);
    return differences;
}

std::unique_ptr<ImageCanvas> load_canvas(std::string const& path, ImageLoadOptions const& options)
{
    auto const none = ImagePixel::REPEAT_MODE_NONE;
    return std::unique_ptr<ImageCanvas>(
        ImageIO::load_image(path.c_str(), options, nullptr, nullptr, none, none));
}

std::string report(Differences const& differences)
{
    std::string text;
    for (std::string const& difference : differences)
        text += difference + "\n";
    return text;
}

}  // namespace zv_equality
