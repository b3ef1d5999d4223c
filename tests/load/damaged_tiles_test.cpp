#include <gtest/gtest.h>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfTileDescription.h>
#include <ImfTiledOutputFile.h>

#include <cstring>

#include "tests/load/loaded_picture.h"
#include "tests/load/native_samples.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"

// Real tiled files, cut, corrupted and half written: all tiles that the file library still reads arrive.

namespace {

using namespace zv_test;
using OIIO::TypeDesc;

constexpr int kWidth = 300, kHeight = 200, kTile = 32, kColumns = 10, kRows = 7;

/// Writes some of the tiles of a grey picture in an order of their own, as a renderer does, and leaves the file so.
void write_tiles(std::string const& path, int step, int count, int x = 0)
{
    std::vector<float> plane;
    for (int y = 0; y < kHeight; ++y)
        for (int column = 0; column < kWidth; ++column)
            plane.push_back(encoded(0, x + column, y));
    Imath::Box2i const window(Imath::V2i(x, 0), Imath::V2i(x + kWidth - 1, kHeight - 1));
    Imf::Header header(window, window);
    header.lineOrder() = Imf::RANDOM_Y;
    header.channels().insert("Y", Imf::Channel(Imf::FLOAT));
    header.setTileDescription(Imf::TileDescription(kTile, kTile));
    Imf::FrameBuffer frame_buffer;
    frame_buffer.insert("Y", Imf::Slice::Make(Imf::FLOAT, plane.data(), window, 4, 4 * kWidth));
    Imf::TiledOutputFile file(path.c_str(), header);
    file.setFrameBuffer(frame_buffer);
    for (int i = 0; i < count; ++i) {
        int const number = i * step % (kColumns * kRows);
        file.writeTile(number % kColumns, number / kColumns);
    }
}

/// Loads the file and compares each tile with what a reader of its own gives of it. Returns how many are lost.
unsigned int check(std::string const& path, int x, int sample_bytes)
{
    LogCapture log;
    LoadedPicture const picture = load_picture(path);
    EXPECT_TRUE(picture);
    if (!picture)
        return 0;
    unsigned int lost = 0;
    for (int ty = 0; ty < kHeight; ty += kTile)
        for (int tx = x; tx < x + kWidth; tx += kTile) {
            auto const input = OIIO::ImageInput::open(path);
            TypeDesc const type = input->spec().format;
            auto const channels = std::size_t(input->spec().nchannels);
            std::vector<std::byte> tile(std::size_t(kTile * kTile) * channels * type.size());
            bool const good = input->read_tile(tx, ty, 0, type, tile.data());
            input->geterror();
            lost += !good;
            for (int y = ty; y < std::min(ty + kTile, kHeight); ++y)
                for (int px = tx; px < std::min(tx + kTile, x + kWidth); ++px)
                    for (std::size_t c = 0; c < channels; ++c) {
                        std::uint32_t wanted = 0;
                        std::size_t const number = std::size_t((y - ty) * kTile + px - tx) * channels + c;
                        if (good)
                            std::memcpy(&wanted, &tile[number * type.size()], std::size_t(sample_bytes));
                        EXPECT_EQ(picture.map().m_channels[unsigned(c)]->get_bits(px, y), wanted);
                        if (testing::Test::HasFailure())
                            return lost;
                    }
        }
    EXPECT_EQ(picture.report.tiles_lost, lost);
    EXPECT_EQ(picture.report.tiles_asked, unsigned(kColumns * kRows));
    EXPECT_EQ(log.lines().size(), lost);
    for (LogLine const& line : log.lines())
        EXPECT_EQ(line.text.rfind("Error while reading tile ", 0), 0u);
    return lost;
}

TEST(DamagedTiles, OfARendererThatWasKilledLeaveAllFinishedOnes)
{
    TempDir folder;
    std::string const path = folder.file("a.exr");
    for (int const x : {0, 10})
        for (int const step : {1, 3, 11})
            for (int const count : {1, 30, 69}) {
                SCOPED_TRACE(testing::Message() << "x " << x << " step " << step << " count " << count);
                write_tiles(path, step, count, x);

                EXPECT_EQ(check(path, x, 4), unsigned(kColumns * kRows - count));
            }
}

TEST(DamagedTiles, OfAFileCutInATileLeaveAllThatAreInFrontOfTheCutWhereverTheyLieInThePicture)
{
    TempDir folder;
    std::string const path = folder.file("a.exr");
    for (int const x : {0, 10})
        for (double const part : {0.3, 0.5, 0.8, 0.95}) {
            write_tiles(path, 11, kColumns * kRows, x);
            cut_file_to(path, part);

            unsigned int const lost = check(path, x, 4);

            EXPECT_GT(lost, 0u);
            EXPECT_LT(lost, unsigned(kColumns * kRows));
        }
}

TEST(DamagedTiles, OfACorruptedFileLeaveTheOthers)
{
    TempDir folder;
    for (auto const& [name, type] : {std::pair("a.exr", TypeDesc::HALF), {"a.tif", TypeDesc::UINT8}}) {
        std::string const path = folder.file(name);
        OIIO::ImageSpec spec = picture_spec(kWidth, kHeight, 3, type, 0, 0, kTile);
        spec.attribute("compression", "zip");
        write_picture(path, spec);
        std::vector<char> bytes = file_bytes(path);
        for (std::size_t i = bytes.size() / 2; i < bytes.size() / 2 + 40; ++i)
            bytes[i] = char(bytes[i] ^ 0x55);
        write_bytes(path, bytes);

        unsigned int const lost = check(path, 0, int(TypeDesc(type).size()));

        EXPECT_GT(lost, 0u) << name;
        EXPECT_LE(lost, 3u) << name;
    }
}

}  // namespace
