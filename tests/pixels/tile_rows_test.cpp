#include "image_io/pixels/tile_rows.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using zv_image_io::copy_samples;
using zv_image_io::inner_square;
using zv_image_io::SampleRows;
using zv_image_io::tile_row_bytes;

TEST(TileLayout, HasAnApronOfOneSampleOnAllSides)
{
    for (std::size_t const bytes : {1u, 2u, 4u})
        for (int const size : {1, 16, 64}) {
            std::vector<std::byte> buffer((std::size_t(size) + 2) * (std::size_t(size) + 2) * bytes);

            EXPECT_EQ(tile_row_bytes(size, bytes), (std::size_t(size) + 2) * bytes);
            EXPECT_EQ(inner_square(buffer.data(), size, bytes) - buffer.data(),
                      std::ptrdiff_t((std::size_t(size) + 2 + 1) * bytes));
        }
}

TEST(TileLayout, IsCountedBeyond32Bits)
{
    EXPECT_EQ(tile_row_bytes(2147483647, 4), std::size_t(2147483649) * 4);
}

/// Bytes that differ from their neighbours.
std::vector<std::byte> numbered_bytes(std::size_t count)
{
    std::vector<std::byte> bytes(count);
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = std::byte((i * 37 + i / 251) & 0xff);
    return bytes;
}

class CopySamples : public testing::TestWithParam<std::size_t> {};

TEST_P(CopySamples, TakesOneOfInterleavedChannelsIntoPackedRows)
{
    std::size_t const bytes = GetParam();
    constexpr int kWidth = 13, kHeight = 5, kSourceWidth = 16, kChannels = 3, kTile = 16;
    std::vector<std::byte> const source = numbered_bytes(bytes * kChannels * kSourceWidth * kHeight);
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        std::vector<std::byte> tile((kTile + 2) * (kTile + 2) * bytes, std::byte(0xee));
        std::vector<std::byte> wanted = tile;
        for (std::size_t y = 0; y < kHeight; ++y)
            for (std::size_t x = 0; x < kWidth; ++x)
                std::memcpy(&wanted[((kTile + 2) * (y + 1) + 1 + x) * bytes],
                            &source[((y * kSourceWidth + x) * kChannels + channel) * bytes], bytes);

        copy_samples({.from = source.data() + channel * bytes,
                      .from_stride = kChannels * bytes,
                      .from_row_stride = kChannels * bytes * kSourceWidth,
                      .into = inner_square(tile.data(), kTile, bytes),
                      .into_row_stride = tile_row_bytes(kTile, bytes),
                      .width = kWidth,
                      .height = kHeight},
                     bytes);

        EXPECT_EQ(tile, wanted);
    }
}

TEST_P(CopySamples, OfNoWidthOrHeightCopiesNothing)
{
    std::size_t const bytes = GetParam();
    std::vector<std::byte> const source = numbered_bytes(64);
    for (auto const& [width, height] : {std::pair(0, 3), {3, 0}, {0, 0}}) {
        std::vector<std::byte> target(64, std::byte(0xee));
        std::vector<std::byte> const before = target;

        copy_samples({source.data(), bytes, 8, target.data(), 8, width, height}, bytes);

        EXPECT_EQ(target, before);
    }
}

TEST_P(CopySamples, NeedsNoAlignment)
{
    std::size_t const bytes = GetParam();
    std::vector<std::byte> const source = numbered_bytes(41);
    std::vector<std::byte> target(41, std::byte(0));

    copy_samples({source.data() + 1, bytes, 20, target.data() + 3, 20, 4, 2}, bytes);

    EXPECT_EQ(std::memcmp(target.data() + 3, source.data() + 1, 4 * bytes), 0);
    EXPECT_EQ(std::memcmp(target.data() + 23, source.data() + 21, 4 * bytes), 0);
    EXPECT_EQ(target[2], std::byte(0));
    EXPECT_EQ(target[3 + 4 * bytes], std::byte(0));
}

INSTANTIATE_TEST_SUITE_P(SampleBytes, CopySamples, testing::Values(1, 2, 4));

}  // namespace
