#include "tests/fuzz/harness.h"

#include <OpenImageIO/imageio.h>
#include <tbb/global_control.h>

#include <cstdio>
#include <cstdlib>

#include "host/core/core_log_handler.h"

namespace zv_fuzz {

namespace {

constexpr Harness kHarnesses[] = {
    {"probe", probe, false},
    {"load_exr", load_exr, false},
    {"load_tiff", load_tiff, false},
    {"load_png", load_png, false},
    {"load_tga", load_tga, false},
    {"load_hdr", load_hdr, false},
    {"load_bmp", load_bmp, false},
    {"load_jpeg", load_jpeg, false},
    {"load_weak", load_weak, false},
    {"parser", parser, true},
    {"presets", presets, true},
    {"metadata", metadata, true},
    {"output_names", output_names, false},
    {"exr_header", exr_header, false},
    {"hash_table", hash_table, true},
};

}  // namespace

std::span<Harness const> harnesses()
{
    return kHarnesses;
}

Harness const* find_harness(std::string_view name)
{
    for (Harness const& harness : kHarnesses)
        if (harness.name == name)
            return &harness;
    return nullptr;
}

void require(bool is_kept, char const* promise)
{
    if (is_kept)
        return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

void prepare_process()
{
    static tbb::global_control const one_thread(tbb::global_control::max_allowed_parallelism, 1);
    CoreLogHandler::set_sink([](int, CoreString const&) {});
    CoreLogHandler::s_main_log_handler.m_level = 3;
    OIIO::attribute("threads", 1);
    OIIO::attribute("exr_threads", -1);
    // Small: most damaged headers ask for far more, and memory that is cleared is what then takes the time.
    OIIO::attribute("limits:imagesize_MB", 1);
    OIIO::attribute("limits:channels", 64);
}

}  // namespace zv_fuzz
