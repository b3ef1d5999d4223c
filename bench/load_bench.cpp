// Loads of 4K pictures against the raw file libraries: ratios of pairs in one run, and peak memory.
//
//     zv_bench_load [--pairs N] [--only TEXT]     the tables
//     zv_bench_load --peak FILE                   bytes above the start that one load of FILE needs at its peak

#include <ImfThreading.h>
#include <OpenImageIO/imageio.h>
#include <malloc.h>
#include <tbb/global_control.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_pictures.h"
#include "bench/colour_floor.h"
#include "bench/paired_ratio.h"
#include "bench/raw_floors.h"
#include "host/zv_host.h"
#include "image_io/zv_image_io.h"

namespace {

using namespace zv_bench;

void set_threads(int count)
{
    OIIO::attribute("threads", count);
    OIIO::attribute("exr_threads", count == 1 ? -1 : count);
    Imf::setGlobalThreadCount(count == 1 ? 0 : count);
}

/// A load into the default colour space: reading alone, without a pass over the pixels.
void load(std::string const& path)
{
    ImageLoadOptions options;
    options.color_space = ColorIO::get_default_color_space_name();
    std::unique_ptr<ImageCanvas> const canvas(ImageIO::load_image(
        path.c_str(), options, nullptr, nullptr, ImagePixel::REPEAT_MODE_NONE, ImagePixel::REPEAT_MODE_NONE));
    if (!canvas) {
        std::fprintf(stderr, "cannot load %s\n", path.c_str());
        std::exit(1);
    }
}

struct LoadCase {
    char const* name;
    std::string path;
    int threads;
    void (*floor)(std::string const&);
    double must, aim;
};

void run_loads(std::filesystem::path const& folder, int pairs, std::string const& only)
{
    auto const file = [&](char const* name) { return (folder / name).string(); };
    std::vector<LoadCase> const cases = {
        {"EXR half RGBA zip, scanline, 1 thread", file("rgba.exr"), 1, read_exr_planes_then_tiles, 1.10,
         1.02},
        {"EXR half RGBA zip, scanline, 2 threads", file("rgba.exr"), 2, read_exr_planes_then_tiles, 1.20,
         1.05},
        {"EXR half 40 channels zip, scanline, 1 thread", file("layers.exr"), 1, read_exr_planes_then_tiles,
         1.20, 1.10},
        {"EXR half 40 channels zip, scanline, 2 threads", file("layers.exr"), 2, read_exr_planes_then_tiles,
         1.20, 1.10},
        {"PNG", file("rgb.png"), 1, read_strips_into_tiles, 1.05, 1.00},
        {"JPEG", file("rgb.jpg"), 1, read_strips_into_tiles, 1.05, 1.00},
        {"TIFF", file("rgb.tif"), 1, read_strips_into_tiles, 1.05, 1.00},
        {"HDR", file("rgb.hdr"), 1, read_strips_into_tiles, 1.05, 1.00},
        {"TGA", file("rgb.tga"), 1, read_strips_into_tiles, 1.05, 1.00},
        {"EXR tiled 64, 4 channels", file("rgba_tiled.exr"), 1, read_exr_tile_by_tile, 1.15, 1.05},
        {"EXR tiled 64, 40 channels", file("layers_tiled.exr"), 1, read_exr_tile_by_tile, 1.15, 1.05},
    };
    std::printf(
        "| Load of | ratio | quartiles | floor ms | must | aim | met |\n|---|---|---|---|---|---|---|\n");
    for (LoadCase const& each : cases) {
        if (std::string(each.name).find(only) == std::string::npos)
            continue;
        set_threads(each.threads);
        print_ratio(each.name,
                    paired_ratio(
                        each.threads == 1 ? Clock::processor : Clock::wall, pairs,
                        [&] { each.floor(each.path); }, [&] { load(each.path); }, [] {}),
                    each.must, each.aim);
    }
}

void run_colour(int pairs, std::string const& only)
{
    if (std::string("colour").find(only) == std::string::npos)
        return;
    ColourPass pass(kWidth, kHeight);
    std::printf(
        "\n| Pass over 4K RGBA floats, sRGB to linear | ratio | quartiles | floor ms | must | aim | met |\n"
        "|---|---|---|---|---|---|---|\n");
    print_ratio("canvas, 2 cores / packed buffer, 1 thread",
                paired_ratio(
                    Clock::wall, pairs, [&] { pass.run_packed(); }, [&] { pass.run_on_canvas(); },
                    [&] { pass.restore(); }),
                0.75, 0.75);
}

/// A number of kilobytes from /proc/self/status, in bytes.
std::size_t status_bytes(std::string const& key)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(key))
            return std::strtoull(line.c_str() + key.size() + 1, nullptr, 10) * 1024;
    return 0;
}

int print_peak(std::string const& path)
{
    std::unique_ptr<OIIO::ImageInput> const probe = OIIO::ImageInput::open(path);
    if (!probe)
        return 1;
    probe->close();
    std::ofstream("/proc/self/clear_refs") << "5\n";
    std::size_t const start = status_bytes("VmRSS:");
    load(path);
    std::printf("%zu\n", status_bytes("VmHWM:") - start);
    return 0;
}

std::size_t peak_in_fresh_process(std::string const& program, std::string const& path)
{
    std::unique_ptr<FILE, int (*)(FILE*)> const pipe(popen((program + " --peak '" + path + "'").c_str(), "r"),
                                                     pclose);
    std::size_t bytes = 0;
    return pipe && std::fscanf(pipe.get(), "%zu", &bytes) == 1 ? bytes : 0;
}

void run_peaks(std::filesystem::path const& folder, std::string const& program, std::string const& only)
{
    if (std::string("peak memory").find(only) == std::string::npos)
        return;
    std::printf("\n| Peak memory of a load of | MB | tiles MB | tiles + one plane + 8 MB | met | tiles + 10 "
                "MB | met |\n"
                "|---|---|---|---|---|---|---|\n");
    for (char const* name : {"rgba.exr", "mixed.exr", "rgb.png", "rgb.jpg", "rgb.tif"}) {
        std::string const path = (folder / name).string();
        auto const input = OIIO::ImageInput::open(path);
        // The reader keeps a copy of a band of mixed types; its planes are floats then. A band is at most a plane.
        bool const is_mixed = std::string(name) == "mixed.exr";
        double const sample_bytes = is_mixed ? 4 : double(input->spec().format.size());
        double const plane = double(kWidth) * kHeight * sample_bytes / 1e6;
        double const tile_count = double((kWidth + 63) / 64) * double((kHeight + 63) / 64);
        double const tiles = tile_count * 66 * 66 * sample_bytes * input->spec().nchannels / 1e6;
        double const most = tiles + plane * (is_mixed ? 2 : 1) + 8;
        double const peak = double(peak_in_fresh_process(program, path)) / 1e6;
        std::printf("| %-10s | %6.1f | %6.1f | %6.1f | %s | %6.1f | %s |\n", name, peak, tiles, most,
                    peak > 0 && peak <= most ? "yes" : "NO", tiles + 10,
                    peak > 0 && peak <= tiles + 10 ? "yes" : "no");
        std::fflush(stdout);
    }
}

std::filesystem::path make_pictures()
{
    std::filesystem::path const folder = std::filesystem::temp_directory_path() / "zv_bench_pictures";
    std::filesystem::create_directories(folder);
    auto const missing = [&](char const* name) { return !std::filesystem::exists(folder / name); };
    struct ExrPicture {
        char const* name;
        int channels, tile;
    };
    for (ExrPicture const& each :
         {ExrPicture{"rgba.exr", 4, 0}, ExrPicture{"layers.exr", 40, 0}, ExrPicture{"rgba_tiled.exr", 4, 64},
          ExrPicture{"layers_tiled.exr", 40, 64}})
        if (missing(each.name))
            write_exr((folder / each.name).string(), each.channels, each.tile);
    if (missing("mixed.exr"))
        write_mixed_exr((folder / "mixed.exr").string());
    for (char const* name : {"rgb.png", "rgb.jpg", "rgb.tif", "rgb.hdr", "rgb.tga"})
        if (missing(name))
            write_with_oiio((folder / name).string());
    return folder;
}

}  // namespace

int main(int argument_count, char** arguments)
{
    int pairs = 15;
    std::string only;
    for (int i = 1; i + 1 < argument_count; i += 2) {
        std::string const name = arguments[i], value = arguments[i + 1];
        if (name == "--peak")
            return print_peak(value);
        if (name == "--pairs")
            pairs = std::max(1, std::atoi(value.c_str()));
        if (name == "--only")
            only = value;
    }
    CoreLogHandler::s_main_log_handler.m_level = 1;
    // Memory that is given back stays in the process, for the floors as for us: fresh pages cost as much as decoding.
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
    std::filesystem::path const folder = make_pictures();
    run_loads(folder, pairs, only);
    run_colour(pairs, only);
    run_peaks(folder, arguments[0], only);
    return 0;
}
