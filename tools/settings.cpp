#include "tools/settings.h"

#include <ImfThreading.h>
#include <OpenImageIO/imageio.h>
#include <oneapi/tbb/global_control.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <thread>

#include "host/colorio/color_io_manager.h"

namespace zvio {

struct Environment::Pools {
    explicit Pools(int threads)
        : tbb(oneapi::tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads))
    {
    }
    oneapi::tbb::global_control tbb;
};

namespace {

/// All pools that a load may use. OpenEXR counts its helpers beside the calling thread, so that one thread is none.
void set_library_threads(int threads)
{
    int const exr_threads = threads == 1 ? 0 : threads;
    Imf::setGlobalThreadCount(exr_threads);
    // OpenImageIO sets OpenEXR's pool itself at its first file: 0 stands for all cores there, -1 for none.
    OIIO::attribute("exr_threads", exr_threads == 0 ? -1 : exr_threads);
    OIIO::attribute("threads", threads);
}

/// 0 if the system does not tell.
int half_of_the_memory_mb()
{
    long const pages = sysconf(_SC_PHYS_PAGES), page_bytes = sysconf(_SC_PAGE_SIZE);
    if (pages <= 0 || page_bytes <= 0)
        return 0;
    long const megabytes =
        static_cast<long>(static_cast<double>(pages) * static_cast<double>(page_bytes) / 2 / (1 << 20));
    return static_cast<int>(std::clamp(megabytes, 1L, 1L << 30));
}

/// Pictures above the limit are refused by their header.
void limit_picture_size(int megabytes)
{
    if (megabytes > 0)
        OIIO::attribute("limits:imagesize_MB", megabytes);
}

void read_colour_configuration(std::string const& path)
{
    CoreString error;
    if (!ColorIOManager::s_instance->set_config_file(path.c_str(), &error))
        throw CommandError(EXIT_CODE_INPUT,
                           "the colour configuration \"" + path + "\" cannot be used: " + error.get_data());
}

}  // namespace

void add_settings(CLI::App& command, Settings& settings)
{
    std::map<std::string, ProgressMode> const modes = {
        {"auto", ProgressMode::AUTO}, {"always", ProgressMode::ALWAYS}, {"never", ProgressMode::NEVER}};
    auto constexpr kGroup = "Common options";

    command.add_flag("--json", settings.json, "One JSON document on standard output")->group(kGroup);
    command
        .add_option("--log-level", settings.log_level,
                    "0 silent, 1 errors, 2 warnings (default), 3 information")
        ->check(CLI::Range(0, 3).description(""))
        ->type_name("0..3")
        ->group(kGroup);
    command.add_option("--progress", settings.progress, "auto (a bar on a terminal, default), always, never")
        ->transform(CLI::CheckedTransformer(modes).description(""))
        ->type_name("MODE")
        ->group(kGroup);
    command
        .add_option("--ocio", settings.ocio_file,
                    "OpenColorIO configuration (default: $OCIO, else a built-in one)")
        ->type_name("FILE")
        ->group(kGroup);
    command.add_option("--threads", settings.threads, "Size of all thread pools (default: all cores)")
        ->check(CLI::Range(1, 1024).description(""))
        ->type_name("N")
        ->group(kGroup);
    command
        .add_option("--max-image-mb", settings.max_image_mb,
                    "Refuse pictures whose pixels take more (default: half of the memory)")
        ->check(CLI::Range(1, 1 << 30).description(""))
        ->type_name("MB")
        ->group(kGroup);
    command.add_flag("--strict", settings.strict, "Damaged files are failures (exit code 7)")->group(kGroup);
}

Environment::Environment(Settings const& settings)
{
    int const cores = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    int const threads = settings.threads > 0 ? settings.threads : cores;
    set_library_threads(threads);
    limit_picture_size(settings.max_image_mb > 0 ? settings.max_image_mb : half_of_the_memory_mb());
    if (!settings.ocio_file.empty())
        read_colour_configuration(settings.ocio_file);
    m_pools = std::make_unique<Pools>(threads);
}

Environment::~Environment() = default;

}  // namespace zvio
