#include <atomic>
#include <stdexcept>
#include <thread>

#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "tests/host/image/sample_types.h"

namespace {

SampleType const& kType = kSampleTypes[4];

/// A lazy channel whose tiles get the test samples.
class LazyChannel : public testing::Test {
protected:
    LazyChannel()
    {
        m_canvas.create_image(nullptr, ImagePixel::DEPTH_NONE, kType.depth, kType.type, 32);
        m_channel = m_canvas.get_image()->add_channel("r", kType.depth, kType.type);
        m_channel->create_tiles(m_region, nullptr, 0.0f);
        m_channel->set_evaluator([this](ImageMapTile& tile, ImageEvalContext& context) {
            ++m_calls;
            m_canvas_seen = context.get_canvas();
            m_quality_seen = context.get_quality();
            if (m_refuse)
                return false;
            GMathVec4<int> const part = m_channel->get_covered_part(tile).region();
            m_channel->fill_tiles(test_pixels(kType, part, 1).data(), part, false);
            return true;
        });
    }

    GMathVec4<int> m_region{-10, -10, 100, 60};
    ImageCanvas m_canvas{true};
    ImageMapChannel* m_channel;
    std::atomic<int> m_calls{0};
    ImageCanvas const* m_canvas_seen = nullptr;
    unsigned int m_quality_seen = 99;
    bool m_refuse = false;
};

TEST_F(LazyChannel, TileIsEvaluatedOnceWhenAskedByGridPosition)
{
    ImageEvalContext context(m_canvas, 3);

    ImageMapTile* const tile = m_channel->get_tile(context, 1, 0).m_tile;
    EXPECT_EQ(m_channel->get_tile(context, 1, 0).m_tile, tile);

    EXPECT_EQ(m_calls, 1);
    EXPECT_EQ(m_canvas_seen, &m_canvas);
    EXPECT_EQ(m_quality_seen, 3u);
    EXPECT_EQ(tile->get_color(2, 3, false), expected_float(kType, test_bits(kType, 0, 34, 3)));
}

TEST_F(LazyChannel, NullContextUsesOneOfTheChannelsOwn)
{
    std::vector<float> plane(100 * 60);

    m_channel->create_float_buffer(nullptr, m_region, plane.data());

    EXPECT_EQ(m_calls, static_cast<int>(m_channel->get_tile_count()));
    EXPECT_EQ(m_canvas_seen, &m_canvas);
    EXPECT_EQ(m_quality_seen, 0u);
    for (int i = 0; i < 6000; ++i)
        ASSERT_EQ(plane[static_cast<std::size_t>(i)],
                  expected_float(kType, test_bits(kType, 0, -10 + i % 100, -10 + i / 100)));
}

TEST_F(LazyChannel, OnlyTheTilesOfTheRegionAreEvaluated)
{
    float sample = 0.0f;

    m_channel->create_float_buffer(nullptr, {40, 20, 1, 1}, &sample);

    EXPECT_EQ(m_calls, 1);
}

TEST_F(LazyChannel, RefusalIsAskedAgain)
{
    ImageEvalContext context(m_canvas, 0);
    m_refuse = true;
    EXPECT_EQ(m_channel->get_tile(context, 0, 0).m_tile->get_color(0, 0, false), 0.0f);

    m_refuse = false;
    m_channel->get_tile(context, 0, 0);

    EXPECT_EQ(m_calls, 2);
    expect_test_samples(kType, *m_channel, 0, {0, 0, 32, 32});
}

TEST_F(LazyChannel, ExceptionCountsAsRefusal)
{
    m_channel->set_evaluator(
        [](ImageMapTile&, ImageEvalContext&) -> bool { throw std::runtime_error("no"); });
    float sample = 5.0f;

    EXPECT_NO_THROW(m_channel->create_float_buffer(nullptr, {0, 0, 1, 1}, &sample));

    EXPECT_EQ(sample, 0.0f);
}

TEST_F(LazyChannel, ManyReadersEvaluateEachTileOnce)
{
    std::vector<std::vector<float>> planes(4, std::vector<float>(100 * 60));
    {
        std::vector<std::jthread> readers;
        for (auto& plane : planes)
            readers.emplace_back([&] { m_channel->create_float_buffer(nullptr, m_region, plane.data()); });
    }

    EXPECT_EQ(m_calls, static_cast<int>(m_channel->get_tile_count()));
    for (auto const& plane : planes)
        EXPECT_EQ(plane, planes[0]);
}

TEST_F(LazyChannel, CopyTakesTheEvaluatedSamples)
{
    ImageMapChannel& copy = *m_canvas.get_image()->add_channel("g", kType.depth, kType.type);

    EXPECT_TRUE(copy.copy_from(*m_channel, nullptr, true));

    EXPECT_FALSE(copy.is_lazy());
    expect_test_samples(kType, copy, 0, m_region);
}

TEST_F(LazyChannel, WithoutEvaluatorItIsAStoredOne)
{
    m_channel->set_evaluator(nullptr);
    float sample = 5.0f;

    m_channel->create_float_buffer(nullptr, {0, 0, 1, 1}, &sample);

    EXPECT_FALSE(m_channel->is_lazy());
    EXPECT_EQ(m_calls, 0);
    EXPECT_EQ(sample, 0.0f);
}

}  // namespace
