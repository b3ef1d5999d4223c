// Saves of 4K OpenEXR pictures against OpenEXR alone: ratios of pairs in one run, and peak memory.
//
//     zv_bench_save [--pairs N] [--only TEXT]     the tables
//     zv_bench_save --peak CHANNELS               bytes that a save, and OpenEXR alone, need above the start

#include <ImfThreading.h>
#include <OpenImageIO/imageio.h>
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_pictures.h"
#include "bench/paired_ratio.h"
#include "bench/raw_saves.h"
#include "host/zv_host.h"
#include "image_io/save/image_save_options.h"
#include "image_io/zv_image_io.h"

namespace {

using namespace zv_bench;
using Format = ImageIOFileFormat;

void set_threads(int count)
{
    OIIO::attribute("threads", count);
    OIIO::attribute("exr_threads", count == 1 ? -1 : count);
    Imf::setGlobalThreadCount(count == 1 ? 0 : count);
}

/// The same picture twice: as a canvas for us, as planes of halves for the floors.
struct Picture {
    explicit Picture(std::string const& path)
        : planes(path)
    {
        ImageLoadOptions options;
        options.color_space = ColorIO::get_default_color_space_name();
        canvas.reset(ImageIO::load_image(path.c_str(), options, nullptr, nullptr,
                                         ImagePixel::REPEAT_MODE_NONE, ImagePixel::REPEAT_MODE_NONE));
        if (!canvas) {
            std::fprintf(stderr, "cannot load %s\n", path.c_str());
            std::exit(1);
        }
        for (unsigned int i = 0; i < canvas->get_image()->get_channel_count(); ++i) {
            CoreString const& name = canvas->get_image()->m_channels[i]->m_name;
            constexpr unsigned int kBytes = 2, kFloat = 2;
            app.get_channel_manager().add_layer(name.split(".", false)[0], kBytes, kFloat);
        }
    }

    /// From memory to a file that is whole, without a conversion of colour.
    void save(std::string const& path, Format::OpenExrCompressionMethod method, bool is_tiled)
    {
        app.tiling_mode = is_tiled;
        ImageSaveOptions options;
        options.color_space = "";
        options.format = Format::SAVE_EXR16;
        options.compression = method;
        if (ImageIO::save(path.c_str(), options, *canvas, &app, nullptr, nullptr) !=
            ImageIO::SAVING_STATUS_SUCCESS)
            std::exit(1);
    }

    OfApp app;
    std::unique_ptr<ImageCanvas> canvas;
    RawPlanes planes;
};

struct SaveCase {
    char const* name;
    int channels, threads;
    bool is_tiled;
    Format::OpenExrCompressionMethod method;
    Imf::Compression compression;
    double must, aim;
};

constexpr SaveCase kCases[] = {
    {"EXR zip, scanline, 4 half, 1 thread", 4, 1, false, Format::COMPRESSION_ZIP, Imf::ZIP_COMPRESSION, 1.08,
     1.04},
    {"EXR zip, scanline, 4 half, 2 threads", 4, 2, false, Format::COMPRESSION_ZIP, Imf::ZIP_COMPRESSION, 1.30,
     1.18},
    {"EXR zip, scanline, 40 half, 1 thread", 40, 1, false, Format::COMPRESSION_ZIP, Imf::ZIP_COMPRESSION,
     1.06, 1.03},
    {"EXR zip, scanline, 40 half, 2 threads", 40, 2, false, Format::COMPRESSION_ZIP, Imf::ZIP_COMPRESSION,
     1.18, 1.12},
    {"EXR none, scanline, 4 half, 1 thread", 4, 1, false, Format::COMPRESSION_NONE, Imf::NO_COMPRESSION, 2.2,
     1.7},
    {"EXR piz, scanline, 4 half, 1 thread", 4, 1, false, Format::COMPRESSION_PIZ, Imf::PIZ_COMPRESSION, 1.20,
     1.12},
    {"EXR zip, tiled 64, 4 half, 1 thread", 4, 1, true, Format::COMPRESSION_ZIP, Imf::ZIP_COMPRESSION, 1.10,
     1.05},
    {"EXR zip, tiled 64, 4 half, 2 threads", 4, 2, true, Format::COMPRESSION_ZIP, Imf::ZIP_COMPRESSION, 1.25,
     1.12},
};

/// In memory where the system has such a folder: the disk is nobody's cost here.
std::filesystem::path output_folder()
{
    std::filesystem::path const memory = "/dev/shm";
    return std::filesystem::exists(memory) ? memory : std::filesystem::temp_directory_path();
}

std::string source_file(int channels)
{
    std::filesystem::path const folder = std::filesystem::temp_directory_path() / "zv_bench_pictures";
    std::filesystem::create_directories(folder);
    std::string const path = (folder / (channels == 4 ? "rgba.exr" : "layers.exr")).string();
    if (!std::filesystem::exists(path))
        write_exr(path, channels, 0);
    return path;
}

void run_saves(int pairs, std::string const& only)
{
    std::printf(
        "| Save of | ratio | quartiles | floor ms | must | aim | met |\n|---|---|---|---|---|---|---|\n");
    std::string const target = (output_folder() / "zv_bench_save.exr").string();
    std::unique_ptr<Picture> picture;
    int channels = 0;
    for (SaveCase const& each : kCases) {
        if (std::string(each.name).find(only) == std::string::npos)
            continue;
        if (channels != each.channels)
            picture = std::make_unique<Picture>(source_file(channels = each.channels));
        set_threads(each.threads);
        print_ratio(each.name,
                    paired_ratio(
                        each.threads == 1 ? Clock::processor : Clock::wall, pairs,
                        [&] {
                            each.is_tiled ? picture->planes.write_tiles(target, each.compression)
                                          : picture->planes.write_lines(target, each.compression);
                        },
                        [&] { picture->save(target, each.method, each.is_tiled); }, [] {}),
                    each.must, each.aim);
    }
    std::filesystem::remove(target);
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

template <class Work>
std::size_t peak_of(Work const& work)
{
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5\n";
    std::size_t const start = status_bytes("VmRSS:");
    work();
    return status_bytes("VmHWM:") - start;
}

int print_peaks(int channels)
{
    set_threads(1);
    std::string const target = (output_folder() / "zv_bench_save.exr").string();
    Picture picture(source_file(channels));
    std::size_t const floor = peak_of([&] { picture.planes.write_lines(target, Imf::ZIP_COMPRESSION); });
    std::size_t const ours = peak_of([&] { picture.save(target, Format::COMPRESSION_ZIP, false); });
    std::filesystem::remove(target);
    double const most = 3840.0 * 64 * 6 * channels / 1e6 + 1;
    std::printf("| EXR zip, scanline, %2d half | %6.1f | %6.1f | %6.1f | %s |\n", channels,
                double(floor) / 1e6, (double(ours) - double(floor)) / 1e6, most,
                double(ours) - double(floor) <= most * 1e6 ? "yes" : "NO");
    return 0;
}

void run_peaks(std::string const& program, std::string const& only)
{
    if (std::string("peak memory").find(only) == std::string::npos)
        return;
    std::printf(
        "\n| Peak memory of a save of | OpenEXR alone MB | ours above it MB | block buffers + 1 MB | met "
        "|\n|---|---|---|---|---|\n");
    for (char const* channels : {"4", "40"}) {
        std::fflush(stdout);
        if (std::system((program + " --peak " + channels).c_str()) != 0)
            std::printf("| %s channels | failed |\n", channels);
    }
}

}  // namespace

int main(int argument_count, char** arguments)
{
    int pairs = 15;
    std::string only;
    CoreLogHandler::s_main_log_handler.m_level = 1;
    for (int i = 1; i + 1 < argument_count; i += 2) {
        std::string const name = arguments[i], value = arguments[i + 1];
        if (name == "--peak")
            return print_peaks(std::atoi(value.c_str()));
        if (name == "--pairs")
            pairs = std::max(1, std::atoi(value.c_str()));
        if (name == "--only")
            only = value;
    }
    // Memory that is given back stays in the process, for the floors as for us.
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
    run_saves(pairs, only);
    run_peaks(arguments[0], only);
    return 0;
}
