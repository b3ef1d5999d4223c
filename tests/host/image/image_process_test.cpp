#include "host/image/image_process.h"

#include <atomic>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

#include "host/image/image_canvas.h"
#include "host/image/image_tile_factory.h"
#include "tests/host/image/sample_types.h"

namespace {

using Parameters = ImageProcess::InPlaceProcessParameters;

Parameters parameters_for(GMathVec4<int> const& region, ImageProcess::Callback callback,
                          void* first = nullptr, std::uintptr_t second = 0)
{
    Parameters parameters;
    parameters.m_region = region;
    parameters.m_callback = callback;
    parameters.m_user_words[0] = reinterpret_cast<std::uintptr_t>(first);
    parameters.m_user_words[1] = second;
    return parameters;
}

/// Red becomes 1 - red, alpha half of itself.
bool invert(ImageProcess::Block* block, std::uintptr_t*)
{
    std::size_t const count = std::size_t{block->m_width} * block->m_height;
    for (std::size_t i = 0; i < count; ++i) {
        block->m_red[i] = 1.0f - block->m_red[i];
        if (block->m_alpha != nullptr)
            block->m_alpha[i] *= 0.5f;
    }
    return true;
}

bool answer_true(ImageProcess::Block*, std::uintptr_t*)
{
    return true;
}

bool spoil_and_answer_false(ImageProcess::Block* block, std::uintptr_t*)
{
    block->m_red[0] = 123.0f;
    return false;
}

struct Blocks {
    std::mutex lock;
    std::multiset<std::pair<unsigned int, unsigned int>> sizes;
    std::size_t pixels = 0;
    std::array<bool, 5> present{};
};

bool note_block(ImageProcess::Block* block, std::uintptr_t* words)
{
    auto& blocks = *reinterpret_cast<Blocks*>(words[0]);
    std::lock_guard const lock(blocks.lock);
    blocks.sizes.insert({block->m_width, block->m_height});
    blocks.pixels += std::size_t{block->m_width} * block->m_height;
    blocks.present = {block->m_red != nullptr, block->m_green != nullptr, block->m_blue != nullptr,
                      block->m_alpha != nullptr, block->m_luminance != nullptr};
    return false;
}

class Process : public testing::TestWithParam<SampleType> {
protected:
    /// What a sample becomes when a float is stored in it, told without the code under test.
    std::uint32_t stored(float value) const
    {
        SampleType const& type = GetParam();
        if (type.type == ImagePixel::BIT_TYPE_FLOAT)
            return type.depth == 2 ? half(value).bits() : float_bits(value);
        double const largest = type.depth == 1 ? 255.0 : type.depth == 2 ? 65535.0 : 4294967295.0;
        double const limited = value > 0.0f ? std::min(value, 1.0f) : 0.0;
        return static_cast<std::uint32_t>(std::floor(limited * largest + 0.5));
    }
};

TEST_P(Process, CallbackWorksOnFloatsAndIsStored)
{
    SampleType const& type = GetParam();
    for (GMathVec4<int> const& region :
         {GMathVec4<int>{0, 0, 1, 1}, {0, 0, 47, 33}, {0, 0, 65, 65}, {-70, 33, 150, 140}}) {
        ImageMap map;
        prepare_map(map, type, {"r", "a"});
        std::vector<unsigned char> const pixels = test_pixels(type, region, 2);
        auto const stride = static_cast<std::ptrdiff_t>(2 * type.depth);
        BandSource const sources[] = {{pixels.data(), stride, stride * region.width()},
                                      {pixels.data() + type.depth, stride, stride * region.width()}};
        map.create_tiles(region, false);
        map.fill_rows(sources, region);

        EXPECT_TRUE(ImageProcess::apply(map, parameters_for(region, invert), false, nullptr));

        for (int y = region.y(); y < region.y() + region.height(); ++y)
            for (int x = region.x(); x < region.x() + region.width(); ++x) {
                float const red = expected_float(type, test_bits(type, 0, x, y));
                float const alpha = expected_float(type, test_bits(type, 1, x, y));
                // A unit in the last place of 32 bits is below a float's.
                std::uint32_t const slack =
                    type.type == ImagePixel::BIT_TYPE_INTEGER && type.depth == 4 ? 256 : 0;
                ASSERT_NEAR(map.m_channels[0]->get_bits(x, y), stored(1.0f - red), slack) << x << ", " << y;
                ASSERT_NEAR(map.m_channels[1]->get_bits(x, y), stored(alpha * 0.5f), slack) << x << ", " << y;
            }
    }
}

TEST_P(Process, SamplesThatTheCallbackLeavesAloneKeepTheirBits)
{
    SampleType const& type = GetParam();
    GMathVec4<int> const region{3, 3, 100, 100};
    ImageMap map;
    prepare_map(map, type, {"r"});
    map.m_channels[0]->fill_tiles(test_pixels(type, region, 1).data(), region, true);

    EXPECT_TRUE(ImageProcess::apply(map, parameters_for(region, answer_true), false, nullptr));

    expect_test_samples(type, *map.m_channels[0], 0, region);
}

TEST_P(Process, AnswerFalseLeavesTheBlockAndDoesNotFail)
{
    SampleType const& type = GetParam();
    GMathVec4<int> const region{0, 0, 100, 100};
    ImageMap map;
    prepare_map(map, type, {"r"});
    map.m_channels[0]->fill_tiles(test_pixels(type, region, 1).data(), region, true);

    EXPECT_TRUE(ImageProcess::apply(map, parameters_for(region, spoil_and_answer_false), false, nullptr));

    expect_test_samples(type, *map.m_channels[0], 0, region);
}

TEST_P(Process, ConstantTilesStayConstant)
{
    GMathVec4<int> const region{0, 0, 200, 100};
    ImageMap map;
    prepare_map(map, GetParam(), {"r", "a"});
    map.m_channels[0]->create_tiles(region, nullptr, 0.25f);
    map.m_channels[1]->create_tiles(region, nullptr, 1.0f);
    float const red = map.m_channels[0]->get_tile(0u).m_tile->get_color(0, 0, false);

    EXPECT_TRUE(ImageProcess::apply(map, parameters_for(region, invert), false, nullptr));

    EXPECT_EQ(constant_tile_count(*map.m_channels[0]), 8u);
    EXPECT_EQ(constant_tile_count(*map.m_channels[1]), 8u);
    EXPECT_EQ(map.m_channels[0]->get_bits(199, 99), stored(1.0f - red));
    EXPECT_EQ(map.m_channels[1]->get_bits(199, 99), stored(0.5f));
}

TEST_P(Process, OneThreadGivesTheSame)
{
    SampleType const& type = GetParam();
    GMathVec4<int> const region{-5, -5, 300, 200};
    ImageMap many, one;
    for (ImageMap* const map : {&many, &one}) {
        prepare_map(*map, type, {"r"});
        map->m_channels[0]->fill_tiles(test_pixels(type, region, 1).data(), region, true);
    }

    ImageProcess::apply(many, parameters_for(region, invert), false, nullptr);
    ImageProcess::apply(one, parameters_for(region, invert), true, nullptr);

    for (int y = -5; y < 195; ++y)
        for (int x = -5; x < 295; ++x)
            ASSERT_EQ(many.m_channels[0]->get_bits(x, y), one.m_channels[0]->get_bits(x, y));
}

INSTANTIATE_TEST_SUITE_P(Types, Process, testing::ValuesIn(kSampleTypes), sample_type_name);

TEST(ImageProcess, BlocksAreTheVisiblePartsOfTiles)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[0], {"g", "l"});
    map.create_tiles({10, 20, 100, 70}, false);
    Blocks blocks;

    EXPECT_TRUE(
        ImageProcess::apply(map, parameters_for({10, 20, 100, 70}, note_block, &blocks), false, nullptr));

    std::multiset<std::pair<unsigned int, unsigned int>> const expected{
        {54, 44}, {46, 44}, {54, 26}, {46, 26}};
    EXPECT_EQ(blocks.sizes, expected);
    EXPECT_EQ(blocks.present, (std::array<bool, 5>{false, true, false, false, true}));
}

TEST(ImageProcess, TilesAreOneBlockEachOnTheGrid)
{
    GMathVec4<int> const region{0, 0, 640, 320};
    ImageMap map;
    prepare_map(map, kSampleTypes[0], {"r"});
    map.m_channels[0]->fill_tiles(test_pixels(kSampleTypes[0], region, 1).data(), region, true);
    Blocks blocks;

    ImageProcess::apply(map, parameters_for(region, note_block, &blocks), false, nullptr);

    EXPECT_EQ(blocks.sizes.size(), 50u);
    EXPECT_EQ(blocks.sizes.count({64, 64}), 50u);
}

TEST(ImageProcess, EqualConstantBlocksGetTheAnswerOfTheOneBefore)
{
    static std::atomic<int> calls{0};
    GMathVec4<int> const region{0, 0, 640, 128};
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r", "a"});
    map.m_channels[0]->create_tiles(region, nullptr, 0.25f);
    map.m_channels[1]->create_tiles(region, nullptr, 1.0f);
    map.m_channels[0]->get_tile(3u).m_tile->set_constant(0.75f);
    map.m_channels[0]->fill_tiles(std::vector<unsigned char>(16, 0).data(), {64 * 6, 0, 2, 2}, false);
    auto const count_and_invert = [](ImageProcess::Block* block, std::uintptr_t* words) {
        ++calls;
        return invert(block, words);
    };

    EXPECT_TRUE(ImageProcess::apply(map, parameters_for(region, count_and_invert), true, nullptr));

    // The first, the one of another value, the next after it, the one with samples, the rest are known.
    EXPECT_EQ(calls, 4);
    for (int x = 0; x < 640; ++x)
        for (int y : {0, 1, 127}) {
            float const before = x / 64 == 3 && y < 64 ? 0.75f : x >= 384 && x < 386 && y < 2 ? 0.0f : 0.25f;
            ASSERT_EQ(map.m_channels[0]->get_bits(x, y), float_bits(1.0f - before)) << x << ", " << y;
            ASSERT_EQ(map.m_channels[1]->get_bits(x, y), float_bits(0.5f));
        }
}

TEST(ImageProcess, BlocksOfAnotherSizeAreNotTheOneBefore)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"});
    map.m_channels[0]->create_tiles({0, 0, 100, 40}, nullptr, 0.5f);
    Blocks blocks;

    ImageProcess::apply(map, parameters_for({0, 0, 100, 40}, note_block, &blocks), true, nullptr);

    std::multiset<std::pair<unsigned int, unsigned int>> const expected{{64, 40}, {36, 40}};
    EXPECT_EQ(blocks.sizes, expected);
}

TEST(ImageProcess, HugeTilesComeInStrips)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[0], {"r"}, 1024);
    GMathVec4<int> const region{-100, 0, 1500, 1100};
    std::vector<unsigned char> const plane = test_pixels(kSampleTypes[0], region, 1);
    map.m_channels[0]->fill_tiles(plane.data(), region, true);
    Blocks blocks;

    ImageProcess::apply(map, parameters_for(region, note_block, &blocks), false, nullptr);
    EXPECT_TRUE(ImageProcess::apply(map, parameters_for(region, invert), false, nullptr));

    EXPECT_EQ(blocks.pixels, 1500u * 1100);
    for (auto const& [width, height] : blocks.sizes)
        EXPECT_LE(width * height, 65536u);
    for (std::size_t i = 0; i < plane.size(); i += 97)
        ASSERT_EQ(map.m_channels[0]->get_bits(-100 + static_cast<int>(i % 1500), static_cast<int>(i / 1500)),
                  255u - plane[i]);
}

TEST(ImageProcess, RegionCutsTheTiles)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"});
    map.m_channels[0]->create_tiles({0, 0, 128, 128}, nullptr, 0.25f);

    EXPECT_TRUE(ImageProcess::apply(map, parameters_for({60, 60, 10, 5}, invert), false, nullptr));

    for (int y = 50; y < 80; ++y)
        for (int x = 50; x < 80; ++x) {
            bool const inside = x >= 60 && x < 70 && y >= 60 && y < 65;
            ASSERT_EQ(map.m_channels[0]->get_bits(x, y), float_bits(inside ? 0.75f : 0.25f))
                << x << ", " << y;
        }
}

TEST(ImageProcess, WhereThereAreNoTilesThereAreNoBlocks)
{
    int const largest = std::numeric_limits<int>::max();
    int const least = std::numeric_limits<int>::min();
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"});
    EXPECT_TRUE(ImageProcess::apply(map, parameters_for({0, 0, 100, 100}, invert), false, nullptr));
    map.m_channels[0]->create_tiles({0, 0, 10, 10}, nullptr, 0.25f);

    for (GMathVec4<int> const& region : {GMathVec4<int>{-100, -100, 300, 300},
                                         {least, least, largest, largest},
                                         {0, 0, largest, largest},
                                         {20, 0, 5, 5}})
        EXPECT_TRUE(ImageProcess::apply(map, parameters_for(region, invert), false, nullptr));

    EXPECT_EQ(map.m_channels[0]->get_bits(9, 9), float_bits(0.25f));
    EXPECT_EQ(map.m_channels[0]->get_bits(10, 10), 0u);
    EXPECT_EQ(map.m_channels[0]->get_tile_count(), 1u);
}

TEST(ImageProcess, ChannelsOfAnotherPlaceReadZero)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r", "a"});
    map.m_channels[0]->create_tiles({0, 0, 10, 10}, nullptr, 0.25f);
    map.m_channels[1]->create_tiles({200, 0, 10, 10}, nullptr, 0.5f);

    EXPECT_TRUE(ImageProcess::apply(map, parameters_for({0, 0, 210, 10}, invert), false, nullptr));

    EXPECT_EQ(map.m_channels[0]->get_bits(9, 9), float_bits(0.75f));
    EXPECT_EQ(map.m_channels[0]->get_bits(205, 5), 0u);
    EXPECT_EQ(map.m_channels[1]->get_bits(205, 5), float_bits(0.25f));
}

TEST(ImageProcess, MapWithoutColorsGivesEmptyBlocks)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"z"});
    map.create_tiles({0, 0, 70, 10}, false);
    Blocks blocks;

    EXPECT_TRUE(
        ImageProcess::apply(map, parameters_for({0, 0, 70, 10}, note_block, &blocks), false, nullptr));

    EXPECT_EQ(blocks.sizes.size(), 2u);
    EXPECT_EQ(blocks.present, (std::array<bool, 5>{}));
}

TEST(ImageProcess, UserWordsReachTheCallback)
{
    static std::atomic<bool> seen{false};
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"});
    map.create_tiles({0, 0, 1, 1}, false);
    int first = 0;

    ImageProcess::apply(map,
                        parameters_for(
                            {0, 0, 1, 1},
                            [](ImageProcess::Block*, std::uintptr_t* words) {
                                seen = words[1] == 42 && *reinterpret_cast<int*>(words[0]) == 0;
                                return false;
                            },
                            &first, 42),
                        false, nullptr);

    EXPECT_TRUE(seen);
}

TEST(ImageProcess, FailsForWhatItCannotDo)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"});
    map.create_tiles({0, 0, 100, 100}, false);

    EXPECT_FALSE(ImageProcess::apply(map, parameters_for({0, 0, 10, 10}, nullptr), false, nullptr));
    EXPECT_FALSE(ImageProcess::apply(
        map,
        parameters_for({0, 0, 100, 100},
                       [](ImageProcess::Block*, std::uintptr_t*) -> bool { throw std::runtime_error("no"); }),
        false, nullptr));
    EXPECT_TRUE(ImageProcess::apply(map, parameters_for({0, 0, 0, 10}, invert), false, nullptr));
}

TEST(ImageProcess, FailsWithoutMemoryForTheResult)
{
    ImageTileFactory& factory = ImageTileFactory::get();
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"});
    map.create_tiles({0, 0, 64, 64}, false);
    factory.set_memory_limit(1);

    bool const done = ImageProcess::apply(map,
                                          parameters_for({0, 0, 64, 64},
                                                         [](ImageProcess::Block* block, std::uintptr_t*) {
                                                             block->m_red[7] = 1.0f;
                                                             return true;
                                                         }),
                                          false, nullptr);
    factory.set_memory_limit(0);

    EXPECT_FALSE(done);
    EXPECT_EQ(map.m_channels[0]->get_bits(7, 0), 0u);
}

TEST(ImageProcess, SpecialFloatsPassThroughHalfAndFloatMaps)
{
    for (int index : {3, 4}) {
        SampleType const& type = kSampleTypes[index];
        std::uint32_t const nan = type.depth == 2 ? 0x7d23 : 0x7f812345;
        std::uint32_t const minus_zero = type.depth == 2 ? 0x8000 : 0x80000000;
        unsigned char samples[8] = {};
        store_bits(type, nan, samples);
        store_bits(type, minus_zero, samples + type.depth);
        ImageMap map;
        prepare_map(map, type, {"r"});
        map.m_channels[0]->fill_tiles(samples, {0, 0, 2, 1}, true);

        EXPECT_TRUE(ImageProcess::apply(map, parameters_for({0, 0, 2, 1}, answer_true), false, nullptr));

        EXPECT_EQ(map.m_channels[0]->get_bits(0, 0), nan);
        EXPECT_EQ(map.m_channels[0]->get_bits(1, 0), minus_zero);
    }
}

TEST(ImageProcess, SeveralMapsAtOnce)
{
    GMathVec4<int> const region{0, 0, 500, 300};
    std::vector<std::unique_ptr<ImageMap>> maps;
    for (int i = 0; i < 3; ++i) {
        maps.push_back(std::make_unique<ImageMap>());
        prepare_map(*maps.back(), kSampleTypes[i], {"r"});
        maps.back()->m_channels[0]->fill_tiles(test_pixels(kSampleTypes[i], region, 1).data(), region, true);
    }
    {
        std::vector<std::jthread> threads;
        for (auto& map : maps)
            threads.emplace_back([&map, &region] {
                EXPECT_TRUE(ImageProcess::apply(*map, parameters_for(region, invert), false, nullptr));
            });
    }

    for (int y = 0; y < 300; y += 7)
        for (int x = 0; x < 500; x += 3)
            ASSERT_EQ(maps[0]->m_channels[0]->get_bits(x, y), 255u - test_bits(kSampleTypes[0], 0, x, y));
}

TEST(ImageProcess, LazyChannelsAreEvaluatedFirst)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"});
    map.create_tiles({0, 0, 100, 10}, false);
    map.m_channels[0]->set_evaluator([](ImageMapTile& tile, ImageEvalContext&) {
        tile.set_constant(0.25f);
        return true;
    });

    EXPECT_TRUE(ImageProcess::apply(map, parameters_for({0, 0, 100, 10}, invert), false, nullptr));

    EXPECT_EQ(map.m_channels[0]->get_bits(99, 9), float_bits(0.75f));
}

}  // namespace
