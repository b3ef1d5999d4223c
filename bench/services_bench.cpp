// Texture lookups and shared images against their bare parts: ratios of pairs in one run.
//
//     zv_bench_services [--pairs N] [--only TEXT]

#include <OpenImageIO/imagebufalgo.h>
#include <OpenImageIO/texture.h>
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "bench/paired_ratio.h"
#include "host/zv_host.h"
#include "image_io/texture/texture_key.h"
#include "image_io/zv_image_io.h"

namespace {

using namespace zv_bench;
using OIIO::TextureOpt;

constexpr int kSize = 4096;
constexpr int kWrap = TextureOpt::WrapPeriodic;

float volatile g_sink;

std::vector<MapEvalCtx> make_lookups(bool coherent, int thread)
{
    constexpr int kEdge = 512;  // of the block that a coherent walk covers, pixel by pixel
    std::mt19937 random(std::mt19937::result_type(7 + thread));
    std::uniform_real_distribution<double> anywhere(-0.5, 0.5);
    std::vector<MapEvalCtx> lookups(kEdge * kEdge);
    for (int number = 0; number < kEdge * kEdge; ++number) {
        MapEvalCtx& ctx = lookups[std::size_t(number)];
        ctx.u = coherent ? (number % kEdge + thread * kEdge) / double(kSize) : anywhere(random);
        ctx.v = coherent ? (number / kEdge) / double(kSize) : anywhere(random);
        ctx.dudx = ctx.dvdy = 1.5 / kSize;
    }
    return lookups;
}

/// The library by name, with options that are kept from lookup to lookup.
void look_up_directly(OIIO::TextureSystem& system, UniqueString name, std::vector<MapEvalCtx> const& lookups)
{
    TextureOpt options;
    options.fill = 1.0f;
    options.swrap = options.twrap = TextureOpt::WrapPeriodic;
    options.interpmode = TextureOpt::InterpSmartBicubic;
    options.mipmode = TextureOpt::MipModeTrilinear;
    float result[4], sum = 0.0f;
    for (MapEvalCtx const& ctx : lookups) {
        system.texture(name, options, float(ctx.u + 0.5), float(0.5 - ctx.v), float(ctx.dudx),
                       float(-ctx.dvdx), float(ctx.dudy), float(-ctx.dvdy), 4, result);
        sum += result[0];
    }
    g_sink = sum;
}

void look_up_by_stream(ImageIOTextureStream& stream, UniqueString const& name,
                       std::vector<MapEvalCtx>& lookups)
{
    float result[4], sum = 0.0f;
    for (MapEvalCtx& ctx : lookups) {
        stream.evaluate(name, ctx, kWrap, kWrap, 3, 3, result);
        sum += result[0];
    }
    g_sink = sum;
}

void on_threads(int count, std::function<void(int thread)> const& work)
{
    std::vector<std::thread> others;
    for (int thread = 1; thread < count; ++thread)
        others.emplace_back(work, thread);
    work(0);
    for (std::thread& thread : others)
        thread.join();
}

void run_lookups(std::filesystem::path const& folder, int pairs, std::string const& only)
{
    std::string const path = (folder / "texture.exr").string();
    OIIO::ImageBuf picture =
        OIIO::ImageBufAlgo::noise("uniform", 0.0f, 1.0f, false, 1, OIIO::ROI(0, kSize, 0, kSize, 0, 1, 0, 4));
    OIIO::ImageSpec spec(kSize, kSize, 4, OIIO::TypeDesc::HALF);
    spec.tile_width = spec.tile_height = 64;
    OIIO::ImageBufAlgo::make_texture(OIIO::ImageBufAlgo::MakeTxTexture, picture, path, spec);
    picture.clear();

    UniqueString const name(path);
    ImageIOTextureStream::set_cache_size(4000.0);
    ImageIOTextureStream& stream = *ImageIOTextureStream::get_texture_stream();
    for (bool coherent : {true, false})
        for (int threads : {1, 2}) {
            std::string const label = std::string(coherent ? "coherent" : "random") + " lookups, " +
                                      std::to_string(threads) + (threads == 1 ? " thread" : " threads");
            if (label.find(only) == std::string::npos)
                continue;
            // Each thread has its own, as in a render: two that walk the same lookups in step measure the
            // library's locks.
            std::vector<std::vector<MapEvalCtx>> lookups;
            for (int thread = 0; thread < threads; ++thread)
                lookups.push_back(make_lookups(coherent, thread));
            auto const floor = [&] {
                on_threads(threads, [&](int thread) {
                    look_up_directly(*stream.get_oiio_texture_system(), name, lookups[std::size_t(thread)]);
                });
            };
            auto const ours = [&] {
                on_threads(threads, [&](int thread) {
                    look_up_by_stream(stream, name, lookups[std::size_t(thread)]);
                });
            };
            print_ratio(
                label.c_str(),
                paired_ratio(threads == 1 ? Clock::processor : Clock::wall, pairs, floor, ours, [] {}),
                coherent ? 1.10 : 1.03, coherent ? 1.05 : 1.02);
        }
    ImageIOTextureStream::destroy();
}

/// Users of files that do not exist: items like all others, but for their canvas.
struct SharedItems {
    static constexpr int kCount = 10000;

    SharedItems()
    {
        CoreLogHandler::s_main_log_handler.m_level = 0;
        ImageIOTextureManager::init();
        for (int number = 0; number < kCount; ++number) {
            paths.push_back(
                ("/no/such/folder/of/textures/texture_" + std::to_string(number) + ".exr").c_str());
            users.push_back(std::make_unique<ResourceUser>());
            load(number);
        }
    }
    ~SharedItems() { ImageIOTextureManager::destroy(); }

    ImageCanvas* load(int number)
    {
        return ImageIOTextureManager::get_texture_manager()->load_image(
            *users[std::size_t(number)], paths[std::size_t(number)], options, nullptr, nullptr,
            ImagePixel::REPEAT_MODE_NONE, ImagePixel::REPEAT_MODE_NONE);
    }

    ImageLoadOptions options;
    std::vector<CoreString> paths;
    std::vector<std::unique_ptr<ResourceUser>> users;
};

CoreString key_text(CoreString const& path, ImageLoadOptions const& options)
{
    return zv_image_io::texture_key(path, options, ImagePixel::REPEAT_MODE_NONE,
                                    ImagePixel::REPEAT_MODE_NONE);
}

struct BareItem {
    ResourceUser* requester;
};

void run_manager(int pairs, std::string const& only)
{
    if (std::string("texture manager").find(only) == std::string::npos)
        return;
    SharedItems shared;
    CoreHashTable<CoreString, BareItem*> table;
    std::vector<std::unique_ptr<BareItem>> items;
    for (int number = 0; number < SharedItems::kCount; ++number) {
        items.push_back(std::make_unique<BareItem>(BareItem{shared.users[std::size_t(number)].get()}));
        table.insert(key_text(shared.paths[std::size_t(number)], shared.options), items.back().get());
    }
    std::recursive_mutex lock;
    auto const bare_hits = [&] {
        for (CoreString const& path : shared.paths) {
            CoreString const key = key_text(path, shared.options);
            std::lock_guard const guard(lock);
            g_sink = g_sink + float((*table.find(key))->requester != nullptr);
        }
    };
    auto const hits = [&] {
        for (int number = 0; number < SharedItems::kCount; ++number)
            g_sink = g_sink + float(shared.load(number) != nullptr);
    };
    print_ratio("texture manager: a hit among 10,000",
                paired_ratio(Clock::processor, pairs, bare_hits, hits, [] {}), 1.5, 1.5);

    ResourceUser stranger;
    constexpr int kWalks = 50;
    auto const bare_walks = [&] {
        for (int walk = 0; walk < kWalks; ++walk)
            table.for_each([&](CoreString const&, BareItem* const& item) {
                if (item->requester == &stranger)
                    g_sink = 1.0f;
            });
    };
    auto const removals = [&] {
        for (int walk = 0; walk < kWalks; ++walk)
            ImageIOTextureManager::get_texture_manager()->remove_requester(&stranger);
    };
    print_ratio("texture manager: remove one of 10,000",
                paired_ratio(Clock::processor, pairs, bare_walks, removals, [] {}), 2.0, 2.0);
}

}  // namespace

int main(int argc, char** argv)
{
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    int pairs = 15;
    std::string only;
    for (int index = 1; index + 1 < argc; index += 2) {
        if (std::string(argv[index]) == "--pairs")
            pairs = std::atoi(argv[index + 1]);
        else if (std::string(argv[index]) == "--only")
            only = argv[index + 1];
    }
    auto const folder = std::filesystem::temp_directory_path() / "zv_bench_services";
    std::filesystem::create_directories(folder);
    std::printf(
        "| work | ratio | quartiles | floor ms | must | aim | met |\n|---|---|---|---|---|---|---|\n");
    run_lookups(folder, pairs, only);
    run_manager(pairs, only);
    std::filesystem::remove_all(folder);
}
