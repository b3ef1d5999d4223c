#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <optional>
#include <set>

#include "tests/load/loaded_picture.h"
#include "tests/load/native_samples.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"

// Real files, cut and corrupted: what arrives is what the file library still reads of them row by row.

namespace {

using namespace zv_test;
using OIIO::TypeDesc;

constexpr int kWidth = 131, kHeight = 200;

struct FileKind {
    char const* name;
    char const* file;
    TypeDesc::BASETYPE type;
    int channels;
    char const* compression;
};

constexpr FileKind kKinds[] = {{"exr_zip", "a.exr", TypeDesc::HALF, 4, "zip"},
                               {"exr_zips", "a.exr", TypeDesc::FLOAT, 3, "zips"},
                               {"exr_piz", "a.exr", TypeDesc::HALF, 3, "piz"},
                               {"exr_none", "a.exr", TypeDesc::HALF, 3, "none"},
                               {"exr_dwaa", "a.exr", TypeDesc::HALF, 3, "dwaa"},
                               {"exr_12_channels", "a.exr", TypeDesc::HALF, 12, "zip"},
                               {"png", "a.png", TypeDesc::UINT8, 4, ""},
                               {"png16", "a.png", TypeDesc::UINT16, 3, ""},
                               {"tiff_lzw", "a.tif", TypeDesc::UINT8, 3, "lzw"},
                               {"tiff_zip", "a.tif", TypeDesc::UINT16, 4, "zip"},
                               {"tiff_plain", "a.tif", TypeDesc::UINT8, 3, "none"},
                               {"bmp", "a.bmp", TypeDesc::UINT8, 3, ""},
                               {"hdr", "a.hdr", TypeDesc::FLOAT, 3, ""}};

double noise(int channel, int x, int y)
{
    std::uint32_t bits = std::uint32_t(channel * 7919 + y * 131 + x) * 2654435761u;
    bits = (bits ^ (bits >> 15)) * 2246822519u;
    return double((bits ^ (bits >> 13)) & 0x7ff) / 2048.0;
}

std::string write_kind(TempDir const& folder, FileKind const& kind)
{
    OIIO::ImageSpec spec = picture_spec(kWidth, kHeight, kind.channels, kind.type);
    if (*kind.compression)
        spec.attribute("compression", kind.compression);
    // Nothing that compresses well: readers take their input in blocks, and a file is to have many.
    write_picture(folder.file(kind.file), spec, noise);
    return folder.file(kind.file);
}

/// The rows that the library reads of a file, one after the other from the top; those that fail are nothing.
struct SurvivingRows {
    explicit SurvivingRows(std::string const& path)
    {
        OIIO::ImageSpec configuration;
        configuration["oiio:UnassociatedAlpha"] = int(path.ends_with(".tif"));
        bool const is_exr = path.ends_with(".exr");
        bool const is_sequential = path.ends_with(".png") || path.ends_with(".hdr");
        auto const input = OIIO::ImageInput::open(path, &configuration);
        if (!input)
            return;
        picture = NativePicture{input->spec(), input->spec().format, {}};
        std::size_t const row_bytes =
            picture->type.size() * std::size_t(kWidth) * std::size_t(picture->spec.nchannels);
        picture->bytes.resize(row_bytes * std::size_t(kHeight));
        for (int y = 0; y < kHeight; ++y) {
            // A row that fails may leave something behind; it is to count as zeros.
            std::vector<std::byte> row(row_bytes);
            auto const read = [&] { return input->read_scanline(y, 0, picture->type, row.data()); };
            // Twice: a reader that failed may fail once more, whatever it is asked for.
            // And where the lines depend on those above them, none counts behind the first bad one.
            bool const good = !(is_sequential && lost_count) && (read() || (is_exr && read()));
            is_lost.push_back(!good);
            lost_count += !good;
            input->geterror();
            if (good)
                std::memcpy(picture->bytes.data() + std::size_t(y) * row_bytes, row.data(), row_bytes);
        }
    }

    std::optional<NativePicture> picture;
    std::vector<bool> is_lost;
    unsigned int lost_count = 0;
};

/// Loads the file and compares it with what the library still reads. Returns whether it loaded.
bool check(std::string const& path)
{
    SurvivingRows const rows(path);
    LogCapture log;

    LoadedPicture const picture = load_picture(path);

    EXPECT_EQ(bool(picture), rows.picture.has_value());
    if (!picture || !rows.picture)
        return false;
    EXPECT_EQ(picture.report.rows_asked, unsigned(kHeight));
    EXPECT_EQ(picture.report.rows_lost, rows.lost_count);
    auto const channels = std::size_t(rows.picture->spec.nchannels);
    EXPECT_EQ(log.lines().size(), rows.lost_count ? channels : 0);
    for (LogLine const& line : log.lines()) {
        EXPECT_EQ(line.level, 3);
        EXPECT_EQ(line.text.rfind("OpenImageIO error: ", 0), 0u);
        EXPECT_EQ(line.text.substr(line.text.size() - 2), ".\n");
    }
    EXPECT_EQ(picture.map().m_channels.get_count(), channels);
    for (std::size_t c = 0; c < channels && !testing::Test::HasFailure(); ++c) {
        // The alpha of our samples lies between 0 and 1, so that its limits change nothing.
        expect_native_samples(picture.map().m_channels[unsigned(c)], *rows.picture, int(c),
                              [&](int y) { return rows.is_lost[std::size_t(y)]; });
    }
    return true;
}

class DamagedFile : public testing::TestWithParam<FileKind> {};

TEST_P(DamagedFile, CutAnywhereShowsTheRowsThatItHolds)
{
    TempDir folder;
    std::string const path = write_kind(folder, GetParam());
    std::vector<char> const whole = file_bytes(path);
    int partial = 0;
    for (double const part : {0.0, 0.001, 0.1, 0.3, 0.6, 0.95, 0.9999}) {
        SCOPED_TRACE(part);
        write_bytes(path, whole);
        cut_file_to(path, part);

        if (check(path)) {
            SurvivingRows const rows(path);
            partial += rows.lost_count > 0 && rows.lost_count < unsigned(kHeight);
        }
    }
    EXPECT_GT(partial, 0) << "no cut left a part of the picture";
}

/// The strips of 32 rows in which a channel differs from the undamaged file.
std::set<int> damaged_strips(LoadedPicture const& picture, NativePicture const& original)
{
    std::set<int> strips;
    for (int c = 0; c < original.spec.nchannels; ++c)
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x)
                if (picture.map().m_channels[unsigned(c)]->get_bits(x, y) != original.bits(c, x, y))
                    strips.insert(y / 32);
    return strips;
}

TEST_P(DamagedFile, CorruptedAnywhereShowsTheRowsThatItHolds)
{
    TempDir folder;
    std::string const path = write_kind(folder, GetParam());
    std::vector<char> const whole = file_bytes(path);
    NativePicture const original = read_native_picture(path, true);
    for (double const part : {0.2, 0.5, 0.65, 0.95}) {
        SCOPED_TRACE(part);
        std::vector<char> bytes = whole;
        auto const at = std::size_t(part * double(bytes.size()));
        for (std::size_t i = at; i < std::min(at + 48, bytes.size()); ++i)
            bytes[i] = char(bytes[i] ^ (0x5b + int(i % 7)));
        write_bytes(path, bytes);

        if (!path.ends_with(".tif")) {
            EXPECT_TRUE(check(path));
            continue;
        }
        // Row by row, the reader of TIFF files gives up where its reader of strips goes on, in part without a word.
        LogCapture log;
        LoadedPicture const picture = load_picture(path);
        ASSERT_TRUE(picture);
        EXPECT_LE(damaged_strips(picture, original).size(), 2u);
        EXPECT_LE(picture.report.rows_lost, 64u);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, DamagedFile, testing::ValuesIn(kKinds),
                         [](auto const& info) { return info.param.name; });

TEST(DamagedFileOf, OpenExrKeepsTheGoodRowThatIsAskedRightBehindAFailedBand)
{
    TempDir folder;
    std::string const path = write_kind(folder, {"", "a.exr", TypeDesc::FLOAT, 1, "zips"});
    NativePicture const original = read_native_picture(path);
    cut_file_to(path, 0.5);
    LogCapture log;

    LoadedPicture const picture = load_picture(path);

    ASSERT_TRUE(picture);
    int const good_rows = kHeight - int(picture.report.rows_lost);
    EXPECT_GT(good_rows, 90);
    expect_native_samples(picture.channel("l"), original, 0, [&](int y) { return y >= good_rows; });
}

TEST(DamagedFileOf, TiffDoesNotPassOverLostStripsThoughItsReaderDoes)
{
    TempDir folder;
    std::string const path = write_kind(folder, {"", "a.tif", TypeDesc::FLOAT, 3, "zip"});
    NativePicture const original = read_native_picture(path);
    cut_file_to(path, 0.5);
    LogCapture log;

    LoadedPicture const picture = load_picture(path);

    ASSERT_TRUE(picture);
    unsigned int const lost = picture.report.rows_lost;
    EXPECT_EQ(lost % 32, unsigned(kHeight) % 32);
    EXPECT_GT(lost, 60u);
    EXPECT_LT(lost, 140u);
    for (int c = 0; c < 3; ++c)
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x)
                ASSERT_EQ(picture.map().m_channels[unsigned(c)]->get_bits(x, y),
                          y < kHeight - int(lost) ? original.bits(c, x, y) : 0u)
                    << c << " at " << x << ", " << y;
    EXPECT_EQ(log.lines().size(), 3u);
}

TEST(DamagedFileOf, JpegShowsWhatTheReaderMakesOfItAndReportsItsText)
{
    TempDir folder;
    std::string const path = write_kind(folder, {"", "a.jpg", TypeDesc::UINT8, 3, ""});
    NativePicture const original = read_native_picture(path);
    cut_file_to(path, 0.5);
    NativePicture const cut = read_native_picture(path);
    LogCapture log;

    LoadedPicture const picture = load_picture(path);

    ASSERT_TRUE(picture);
    for (int c = 0; c < 3; ++c)
        expect_native_samples(picture.map().m_channels[unsigned(c)], cut, c);
    EXPECT_EQ(picture.map().m_channels[0]->get_bits(7, 7), original.bits(0, 7, 7));
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(picture.report.rows_lost, 0u);
    EXPECT_EQ(picture.report.errors.get_count(), 1u);
}

TEST(DamagedFileOf, TgaShowsTheRowsThatItHolds)
{
    TempDir folder;
    std::string const path = write_kind(folder, {"", "a.tga", TypeDesc::UINT8, 3, ""});
    NativePicture const original = read_native_picture(path);
    cut_file_to(path, 0.5);
    LogCapture log;

    LoadedPicture const picture = load_picture(path);

    // The file begins with the lowest row. What the reader gives for the upper ones is its own business.
    ASSERT_TRUE(picture);
    for (int c = 0; c < 3; ++c)
        for (int y = kHeight / 2 + 2; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x)
                ASSERT_EQ(picture.map().m_channels[unsigned(c)]->get_bits(x, y), original.bits(c, x, y));
    EXPECT_EQ(log.lines().size(), 3u);
    EXPECT_TRUE(picture.report.is_damaged());
}

}  // namespace
