#include "host/image/image_tile_factory.h"

#include <algorithm>
#include <barrier>
#include <thread>

#include "tests/host/image/sample_types.h"

namespace {

/// A map of one channel with some tiles to give buffers to.
class TileFactory : public testing::Test {
protected:
    TileFactory()
    {
        m_factory.free_unused_tiles(false);
        prepare_map(m_map, kSampleTypes[1], {"r"}, 64);
        m_map.create_tiles({0, 0, 64 * 16, 64}, false);
    }
    ~TileFactory() override { m_factory.set_memory_limit(0); }

    ImageMapTile& tile(unsigned int index) { return *m_map.m_channels[0]->get_tile(index).m_tile; }

    static constexpr std::size_t kBytes = 66 * 66 * 2;
    ImageTileFactory& m_factory = ImageTileFactory::get();
    ImageMap m_map;
};

TEST_F(TileFactory, InitSetsThePointerOnce)
{
    ImageTileFactory::init();
    ImageTileFactory* const first = ImageTileFactory::s_factory;
    ImageTileFactory::init();

    ASSERT_NE(first, nullptr);
    EXPECT_EQ(ImageTileFactory::s_factory, first);
    ImageTileFactory::s_factory->allocate_tile_buffer(&tile(0), true);
    EXPECT_NE(tile(0).m_pixels, nullptr);
}

TEST_F(TileFactory, ClearBuffersAreZeroThroughout)
{
    for (int round = 0; round < 2; ++round) {
        m_factory.allocate_tile_buffer(&tile(0), true);
        ASSERT_NE(tile(0).m_pixels, nullptr);

        EXPECT_TRUE(
            std::all_of(tile(0).m_pixels, tile(0).m_pixels + kBytes, [](unsigned char c) { return c == 0; }));

        std::memset(tile(0).m_pixels, 0xcd, kBytes);
        m_factory.release_tile_buffer(&tile(0));
        EXPECT_EQ(tile(0).m_pixels, nullptr);
    }
}

TEST_F(TileFactory, ATileKeepsTheBufferItHas)
{
    m_factory.allocate_tile_buffer(&tile(0), true);
    unsigned char* const buffer = tile(0).m_pixels;
    buffer[5] = 5;

    m_factory.allocate_tile_buffer(&tile(0), true);

    EXPECT_EQ(tile(0).m_pixels, buffer);
    EXPECT_EQ(buffer[5], 5);
    m_factory.allocate_tile_buffer(nullptr, true);
    m_factory.release_tile_buffer(nullptr);
}

TEST_F(TileFactory, ReleasedBuffersServeAgain)
{
    m_factory.allocate_tile_buffer(&tile(0), false);
    unsigned char* const buffer = tile(0).m_pixels;
    auto const used = m_factory.get_statistics();
    m_factory.release_tile_buffer(&tile(0));
    auto const released = m_factory.get_statistics();
    EXPECT_EQ(released.tiles_in_use, used.tiles_in_use - 1);
    EXPECT_EQ(released.bytes_in_use, used.bytes_in_use - kBytes);
    EXPECT_EQ(released.tiles_kept, used.tiles_kept + 1);
    EXPECT_EQ(released.bytes_kept, used.bytes_kept + kBytes);

    m_factory.allocate_tile_buffer(&tile(1), false);

    EXPECT_EQ(tile(1).m_pixels, buffer);
    EXPECT_EQ(m_factory.get_statistics().bytes_kept, used.bytes_kept);
}

TEST_F(TileFactory, SizesDoNotMix)
{
    m_factory.allocate_tile_buffer(&tile(0), false);
    m_factory.release_tile_buffer(&tile(0));
    ImageMap larger;
    prepare_map(larger, kSampleTypes[4], {"r"}, 64);
    larger.create_tiles({0, 0, 1, 1}, true);

    EXPECT_EQ(m_factory.get_statistics().tiles_kept, 1u);
    std::memset(larger.m_channels[0]->get_tile(0u).m_tile->m_pixels, 1, 66 * 66 * 4);
}

TEST_F(TileFactory, FreeingDropsWhatIsKeptAndNothingElse)
{
    for (unsigned int i = 0; i < 16; ++i)
        m_factory.allocate_tile_buffer(&tile(i), true);
    std::memset(tile(3).m_pixels, 0x5a, kBytes);
    for (unsigned int i = 4; i < 16; ++i)
        m_factory.release_tile_buffer(&tile(i));
    auto const before = m_factory.get_statistics();

    m_factory.free_unused_tiles(false);
    m_factory.free_unused_tiles(true);

    auto const after = m_factory.get_statistics();
    EXPECT_EQ(before.tiles_kept, 12u);
    EXPECT_EQ(after.tiles_kept, 0u);
    EXPECT_EQ(after.bytes_kept, 0u);
    EXPECT_EQ(after.tiles_in_use, before.tiles_in_use);
    EXPECT_EQ(tile(3).m_pixels[kBytes - 1], 0x5a);
}

TEST_F(TileFactory, WithoutMemoryTheBufferStaysNull)
{
    m_factory.set_memory_limit(m_factory.get_statistics().bytes_in_use + 2 * kBytes);

    for (unsigned int i = 0; i < 4; ++i)
        m_factory.allocate_tile_buffer(&tile(i), true);

    EXPECT_NE(tile(1).m_pixels, nullptr);
    EXPECT_EQ(tile(2).m_pixels, nullptr);
    EXPECT_EQ(tile(3).m_pixels, nullptr);
    m_factory.release_tile_buffer(&tile(0));
    m_factory.allocate_tile_buffer(&tile(2), true);
    EXPECT_NE(tile(2).m_pixels, nullptr);
}

TEST_F(TileFactory, KeptBuffersMakeRoomUnderALimit)
{
    for (unsigned int i = 0; i < 4; ++i)
        m_factory.allocate_tile_buffer(&tile(i), true);
    for (unsigned int i = 0; i < 4; ++i)
        m_factory.release_tile_buffer(&tile(i));
    m_factory.set_memory_limit(m_factory.get_statistics().bytes_in_use + 66 * 66 * 4);
    ImageMap other;
    prepare_map(other, kSampleTypes[4], {"r"}, 64);

    other.create_tiles({0, 0, 1, 1}, true);

    EXPECT_NE(other.m_channels[0]->get_tile(0u).m_tile->m_pixels, nullptr);
    EXPECT_EQ(m_factory.get_statistics().bytes_kept, 0u);
}

TEST_F(TileFactory, NeverHoldsMoreThanTheBusiestMoment)
{
    for (unsigned int i = 0; i < 16; ++i)
        m_factory.allocate_tile_buffer(&tile(i), false);
    std::size_t const peak = m_factory.get_statistics().peak_bytes_in_use;
    for (int round = 0; round < 3; ++round)
        for (int type : {0, 1, 2}) {
            ImageMap map;
            prepare_map(map, kSampleTypes[type], {"r"}, 128);
            map.create_tiles({0, 0, 640, 640}, true);
        }

    auto const held = m_factory.get_statistics();

    EXPECT_GT(held.tiles_kept, 0u);
    EXPECT_LE(held.bytes_in_use + held.bytes_kept, std::max(peak, held.peak_bytes_in_use));
    EXPECT_NE(tile(15).m_pixels, nullptr);
}

TEST_F(TileFactory, ImpossiblyLargeTilesGetNoBuffer)
{
    ImageMap map;
    prepare_map(map, kSampleTypes[4], {"r"}, 2000000000);

    map.create_tiles({0, 0, 10, 10}, true);

    EXPECT_EQ(map.m_channels[0]->get_tile_count(), 0u);
    EXPECT_EQ(ImageMapTile::get_buffer_size(2000000000, 4), 0u);
    EXPECT_EQ(ImageMapTile::get_buffer_size(0, 4), 0u);
    EXPECT_EQ(ImageMapTile::get_buffer_size(64, 2), kBytes);
}

TEST_F(TileFactory, ManyThreadsAllocateAndRelease)
{
    auto const before = m_factory.get_statistics();
    std::barrier start(4);
    {
        std::vector<std::jthread> threads;
        for (int number = 0; number < 4; ++number)
            threads.emplace_back([&, number] {
                ImageMap map;
                prepare_map(map, kSampleTypes[number % 2 ? 0 : 1], {"r"}, 16);
                map.create_tiles({0, 0, 320, 320}, false);
                ImageMapChannel const& channel = *map.m_channels[0];
                std::size_t const bytes = 18 * 18 * map.m_bit_depth;
                start.arrive_and_wait();
                for (int round = 0; round < 20; ++round) {
                    for (unsigned int i = 0; i < channel.get_tile_count(); ++i) {
                        m_factory.allocate_tile_buffer(channel.get_tile(i).m_tile, round % 2);
                        std::memset(channel.get_tile(i).m_tile->m_pixels, number + 1, bytes);
                    }
                    for (unsigned int i = 0; i < channel.get_tile_count(); ++i) {
                        unsigned char const* const pixels = channel.get_tile(i).m_tile->m_pixels;
                        EXPECT_TRUE(
                            std::all_of(pixels, pixels + bytes, [&](int c) { return c == number + 1; }));
                        m_factory.release_tile_buffer(channel.get_tile(i).m_tile);
                    }
                    if (round == 10)
                        m_factory.free_unused_tiles(false);
                }
            });
    }

    EXPECT_EQ(m_factory.get_statistics().tiles_in_use, before.tiles_in_use);
    EXPECT_EQ(m_factory.get_statistics().bytes_in_use, before.bytes_in_use);
}

}  // namespace
