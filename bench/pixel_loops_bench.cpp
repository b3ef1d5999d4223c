// The loops over samples, in samples a second.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/image/half_rows.h"
#include "host/zv_host.h"
#include "image_io/pixels/alpha.h"
#include "image_io/pixels/tile_rows.h"

namespace {

constexpr int kTile = 64;
constexpr std::size_t kSamples = std::size_t(kTile) * kTile;

void count_samples(benchmark::State& state, std::size_t per_iteration)
{
    state.SetItemsProcessed(std::int64_t(state.iterations()) * std::int64_t(per_iteration));
}

void unassociate(benchmark::State& state)
{
    std::vector<float> const alpha(kSamples, 0.5f);
    std::vector<float> factor(kSamples);
    for (auto _ : state) {
        zv_image_io::unassociate_factors(alpha, zv_image_io::kLoadAlpha, factor);
        benchmark::ClobberMemory();
    }
    count_samples(state, kSamples);
}
BENCHMARK(unassociate);

void multiply(benchmark::State& state)
{
    std::vector<float> const factor(kSamples, 1.0f);
    std::vector<float> samples(kSamples, 0.5f);
    for (auto _ : state) {
        zv_image_io::multiply_samples(samples, factor);
        benchmark::ClobberMemory();
    }
    count_samples(state, kSamples);
}
BENCHMARK(multiply);

/// A tile of one channel out of `channels` interleaved ones, of samples of `bytes`.
void copy_tile(benchmark::State& state)
{
    std::size_t const channels = std::size_t(state.range(0)), bytes = std::size_t(state.range(1));
    std::vector<std::byte> const from(kSamples * channels * bytes);
    std::vector<std::byte> into(zv_image_io::tile_row_bytes(kTile, bytes) * (kTile + 2));
    for (auto _ : state) {
        zv_image_io::copy_samples({.from = from.data(),
                                   .from_stride = channels * bytes,
                                   .from_row_stride = channels * bytes * kTile,
                                   .into = zv_image_io::inner_square(into.data(), kTile, bytes),
                                   .into_row_stride = zv_image_io::tile_row_bytes(kTile, bytes),
                                   .width = kTile,
                                   .height = kTile},
                                  bytes);
        benchmark::ClobberMemory();
    }
    count_samples(state, kSamples);
}
BENCHMARK(copy_tile)->Args({1, 2})->Args({4, 1})->Args({4, 2})->Args({4, 4})->Args({40, 2});

/// A band of 64 lines of a 4K picture of `channels` half channels into the tiles of a map.
void fill_band(benchmark::State& state)
{
    int const channels = int(state.range(0)), width = 3840;
    GMathVec4<int> const window(0, 0, width, kTile);
    ImageMap map;
    map.init(ImagePixel::DEPTH_NONE, ImagePixel::BIT_DEPTH_16, ImagePixel::BIT_TYPE_FLOAT, kTile);
    std::vector<std::uint16_t> band(std::size_t(width) * kTile * std::size_t(channels));
    for (std::size_t i = 0; i < band.size(); ++i)
        band[i] = std::uint16_t(i * 31 % 15360);
    std::vector<BandSource> sources;
    for (int c = 0; c < channels; ++c) {
        map.add_channel(CoreString("channel") + c, map.m_bit_depth, map.m_bit_type);
        sources.push_back({band.data() + c, 2 * channels, 2 * std::ptrdiff_t(channels) * width});
    }
    map.create_tiles(window, true);
    for (auto _ : state)
        benchmark::DoNotOptimize(map.fill_rows(sources, window));
    count_samples(state, band.size());
}
BENCHMARK(fill_band)->Arg(1)->Arg(3)->Arg(4)->Arg(40);

}  // namespace

BENCHMARK_MAIN();
