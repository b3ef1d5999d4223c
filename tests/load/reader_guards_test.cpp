#include "image_io/load/reader_guards.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

#include "host/image/image_canvas.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/image_header.h"
#include "image_io/load/image_load_options.h"
#include "image_io/plate/plate_image.h"
#include "tests/support/handmade_files.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"

// Files that would end the process inside a reader of OpenImageIO. Without the guards each of these tests is the end of
// the program, of its stack, its heap or its patience.

namespace {

using namespace zv_test;
using OIIO::TypeDesc;
using zv_image_io::FileBytes;
using zv_image_io::survives_reading;

class ReaderGuards : public testing::Test {
protected:
    std::string put(std::string const& name, std::vector<char> const& bytes) const
    {
        std::string path = m_folder.file(name);
        write_bytes(path, bytes);
        return path;
    }

    static std::unique_ptr<ImageCanvas> load(std::string const& path)
    {
        return std::unique_ptr<ImageCanvas>(ImageIO::load_image(path.c_str(), ImageLoadOptions(), nullptr,
                                                                nullptr, ImagePixel::REPEAT_MODE_CLAMP,
                                                                ImagePixel::REPEAT_MODE_CLAMP));
    }

    /// By every way in, as a file that does not open.
    static void expect_refused(std::string const& path)
    {
        std::vector<LogLine> const lines = {
            {2, "Failed to load image '" + path + "': could not open file.\n"}};
        ImageHeader header;
        LogCapture log;
        EXPECT_FALSE(ImageIO::get_image_specs(path.c_str(), header));
        EXPECT_EQ(log.lines(), lines);
        EXPECT_TRUE(ImageIO::get_color_space_from_file(path.c_str()).is_empty());
        EXPECT_EQ(load(path), nullptr);
        EXPECT_FALSE(PlateImage(path.c_str()).load(nullptr));
    }

    void expect_refused(std::string const& name, std::vector<char> const& bytes) const
    {
        expect_refused(put(name, bytes));
    }

    /// A file that looks alike and is good.
    void expect_loads(std::string const& name, std::vector<char> const& bytes) const
    {
        std::string const path = put(name, bytes);
        EXPECT_NE(load(path), nullptr) << name;
    }

    /// What the check of one format says of a file, and how often it reads the file's bytes.
    struct Check {
        bool is_safe;
        double readings;
    };
    Check check(bool (*is_safe)(FileBytes&), std::vector<char> const& bytes) const
    {
        FileBytes file(put("checked", bytes).c_str());
        bool const result = is_safe(file);
        return {result, double(file.bytes_read()) / double(file.size())};
    }

    TempDir m_folder;
};

std::vector<char> packets(std::vector<int> const& values)
{
    return {values.begin(), values.end()};
}

std::vector<char> png_file(TempDir const& folder)
{
    write_picture(folder.file("inside.png"), picture_spec(16, 16, 4, TypeDesc::UINT8));
    return file_bytes(folder.file("inside.png"));
}

/// An icon file whose directory leads to these places, in front of `contents`.
std::vector<char> icon_directory(std::vector<std::size_t> const& places, std::vector<char> const& contents)
{
    std::size_t const begin = 6 + places.size() * 16;
    FileBuilder file;
    file.little(0, 2).little(1, 2).little(static_cast<std::uint32_t>(places.size()), 2);
    for (std::size_t const place : places)
        file.little(16, 1).little(16, 1).little(0, 2).little(1, 2).little(32, 2).little(1000, 4).little(
            static_cast<std::uint32_t>(begin + place), 4);
    return file.bytes(contents).get();
}

/// So many PNG files, one behind the other.
std::vector<char> icon_of_pngs(std::vector<char> const& png, std::size_t count)
{
    std::vector<std::size_t> places;
    FileBuilder contents;
    for (std::size_t i = 0; i < count; ++i) {
        places.push_back(contents.get().size());
        contents.bytes(png);
    }
    return icon_directory(places, contents.get());
}

/// So many PNG files with one end, a megabyte of which a chunk of each claims.
std::vector<char> icon_of_entwined_pngs(std::vector<char> const& png, std::size_t count)
{
    constexpr std::size_t kBegin = 33, kMegabyte = 1 << 20;  // signature and first chunk
    std::size_t const each = kBegin + 8;
    std::vector<std::size_t> places;
    FileBuilder contents;
    for (std::size_t i = 0; i < count; ++i) {
        places.push_back(contents.get().size());
        contents.bytes({png.begin(), png.begin() + kBegin});
        contents.big(static_cast<std::uint32_t>((count - 1 - i) * each + kMegabyte), 4).text("juNk");
    }
    contents.fill(kMegabyte + 4).bytes({png.begin() + kBegin, png.end()});
    return icon_directory(places, contents.get());
}

/// An SGI file of one channel whose table holds these beginnings behind the table, and lengths.
std::vector<char> sgi_table(unsigned width, std::vector<std::pair<std::size_t, std::size_t>> const& rows,
                            std::vector<char> const& contents)
{
    std::size_t const begin = 512 + rows.size() * 8;
    FileBuilder file;
    file.big(0x01da, 2).big(1, 1).big(1, 1).big(2, 2);
    file.big(width, 2)
        .big(static_cast<std::uint32_t>(rows.size()), 2)
        .big(1, 2)
        .big(0, 4)
        .big(255, 4)
        .fill_to(512);
    for (auto const& row : rows)
        file.big(static_cast<std::uint32_t>(begin + row.first), 4);
    for (auto const& row : rows)
        file.big(static_cast<std::uint32_t>(row.second), 4);
    return file.bytes(contents).get();
}

/// A FITS header of these cards, and a block of samples.
std::vector<char> fits_file(std::vector<std::string> const& cards)
{
    FileBuilder file;
    for (std::string card : cards) {
        card.resize(80, ' ');
        file.text(card);
    }
    return file.fill_to((file.get().size() + 2879) / 2880 * 2880, ' ').fill(2880).get();
}

TEST_F(ReaderGuards, IconWhoseMaskIsSpreadPastItsLastRowDoesNotSpoilTheHeap)
{
    expect_refused("a.ico", icon_file({.width = 75, .height = 3, .pixels = std::vector<char>(228 * 3)}));
    expect_loads("b.ico", icon_file({.width = 72, .height = 3, .pixels = std::vector<char>(216 * 3)}));
    expect_loads("c.ico",
                 icon_file({.width = 75, .height = 3, .bits = 32, .pixels = std::vector<char>(300 * 3)}));
}

TEST_F(ReaderGuards, IconWithIndicesBehindItsPaletteIsNotReadFromElsewhere)
{
    Icon icon{.bits = 8, .colours = 4, .palette = std::vector<char>(16), .pixels = std::vector<char>(256, 3)};
    expect_loads("good8.ico", icon_file(icon));
    icon.pixels.back() = 4;
    expect_refused("bad8.ico", icon_file(icon));
    icon = {
        .bits = 4, .colours = 4, .palette = std::vector<char>(16), .pixels = std::vector<char>(128, 0x33)};
    expect_loads("good4.ico", icon_file(icon));
    icon.pixels[100] = 0x40;
    expect_refused("bad4.ico", icon_file(icon));
    icon = {.bits = 1, .colours = 1, .palette = std::vector<char>(4), .pixels = std::vector<char>(64)};
    expect_loads("good1.ico", icon_file(icon));
    icon.pixels[0] = 1;
    expect_refused("bad1.ico", icon_file(icon));
}

TEST_F(ReaderGuards, IconWithABrokenPictureInsideIsNoDivisionByZero)
{
    std::vector<char> png = png_file(m_folder);
    expect_loads("good.ico", icon_file(png));
    png.resize(20);
    expect_refused("cut.ico", icon_file(png));
    expect_refused("cut_called_otherwise.png", icon_file(png));
}

TEST_F(ReaderGuards, IconOfMoreThanADozenSizesOpens)
{
    expect_loads("sizes.ico", icon_of_pngs(png_file(m_folder), 20));
    expect_loads("entwined.ico", icon_of_entwined_pngs(png_file(m_folder), 12));
}

TEST_F(ReaderGuards, IconOfManyEntriesForOnePictureIsLookedAtOnce)
{
    std::vector<char> const one = icon_of_entwined_pngs(png_file(m_folder), 1);
    std::vector<char> const png(one.begin() + 22, one.end());  // a megabyte in front of its samples
    std::vector<char> const icon = icon_directory(std::vector<std::size_t>(250), png);

    Check const found = check(zv_image_io::is_ico_safe, icon);

    EXPECT_TRUE(found.is_safe);
    EXPECT_LT(found.readings, 2);
    expect_loads("one.ico", icon);
}

TEST_F(ReaderGuards, IconOfMorePicturesThanAnyHasIsNotLookedThrough)
{
    std::vector<char> const png = png_file(m_folder);
    EXPECT_TRUE(survives_reading(put("most.ico", icon_of_pngs(png, 256)).c_str()));
    expect_refused("more.ico", icon_of_pngs(png, 257));
    expect_refused("one.ico", icon_directory(std::vector<std::size_t>(257), png));
}

TEST_F(ReaderGuards, IconWhosePicturesClaimTheSameBytesIsNotReadOverAndOver)
{
    std::vector<char> const icon = icon_of_entwined_pngs(png_file(m_folder), 250);

    EXPECT_LT(check(zv_image_io::is_ico_safe, icon).readings, 25);
    expect_refused("entwined.ico", icon);
}

TEST_F(ReaderGuards, SgiRunsPastTheirRowAreNotWritten)
{
    expect_loads("good.sgi", sgi_file({.packets = packets({0x83, 1, 2, 3, 5, 9, 0})}));
    expect_refused("run.sgi", sgi_file({.packets = packets({0x83, 1, 2, 3, 6, 9, 0})}));
    expect_refused("literal.sgi", sgi_file({.packets = packets({0x89, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0})}));
}

TEST_F(ReaderGuards, SgiRunsPastTheirBytesAreNotRead)
{
    expect_refused("literal.sgi", sgi_file({.packets = packets({0x88, 1, 2, 3})}));
    expect_refused("run.sgi", sgi_file({.packets = packets({0x83, 1, 2, 3, 5})}));
    expect_loads("good16.sgi", sgi_file({.sample_bytes = 2, .packets = packets({0, 8, 1, 2, 0, 0})}));
    expect_refused("half.sgi", sgi_file({.sample_bytes = 2, .packets = packets({0, 8, 1, 2, 0})}));
}

TEST_F(ReaderGuards, SgiRowsThatAreNotInTheFileAreLeftOut)
{
    std::vector<char> file = sgi_file({.packets = packets({8, 9, 0})});
    file.resize(file.size() - 3);

    expect_loads("cut.sgi", file);
}

TEST_F(ReaderGuards, SgiSamplesOfThreeBytesAreNotTakenForTwo)
{
    std::vector<char> file = sgi_file({.sample_bytes = 3, .packets = packets({8, 9, 0})});
    expect_refused("runs.sgi", file);
    file[2] = 0;
    expect_refused("plain.sgi", file);
}

TEST_F(ReaderGuards, SgiTableThatIsNotThereIsNotLookedInto)
{
    std::vector<char> file = sgi_file({.packets = packets({8, 9, 0})});
    file[10] = file[11] = 0;  // no planes: the table has no rows
    expect_refused("empty.sgi", file);
    file[8] = file[9] = file[10] = file[11] = '\xff';
    expect_refused("long.sgi", file);
}

TEST_F(ReaderGuards, SgiRowsThatAreOneInTheFileAreLookedAtOnce)
{
    constexpr unsigned kWidth = 4000;
    FileBuilder literals;
    for (unsigned left = kWidth; left > 0; left -= std::min(left, 127u))
        literals.big(0x80 | std::min(left, 127u), 1).fill(std::min(left, 127u), 7);
    std::vector<char> const row = literals.fill(1).get();
    std::vector<char> const both = FileBuilder().bytes(row).bytes(row).get();
    std::vector<std::pair<std::size_t, std::size_t>> rows;
    for (std::size_t y = 0; y < 20000; ++y)
        rows.push_back({y % 2 * row.size(), row.size()});
    std::vector<char> const file = sgi_table(kWidth, rows, both);

    Check const shared = check(zv_image_io::is_sgi_safe, file);

    EXPECT_TRUE(shared.is_safe);
    EXPECT_LT(shared.readings * double(file.size()), double(rows.size() * row.size() / 2));
    expect_loads("shared.sgi", file);
}

/// All rows are empty, and of a length.
TEST_F(ReaderGuards, SgiRowsThatClaimTheSameBytesAreNotReadOverAndOver)
{
    constexpr std::size_t kMegabyte = 1 << 20;
    auto const file = [&](std::size_t height, unsigned width, std::size_t step, std::size_t length) {
        std::vector<std::pair<std::size_t, std::size_t>> rows;
        for (std::size_t y = 0; y < height; ++y)
            rows.push_back({y * step, length});
        return sgi_table(width, rows, std::vector<char>(kMegabyte));
    };
    for (std::size_t height : {10, 1000}) {
        bool const is_refused = height == 1000;
        std::vector<char> const overlapping = file(height, 65535, 1, 131072);
        std::vector<char> const long_ones = file(height, 8, 0, kMegabyte);
        std::vector<char> const cut = file(height, 8, 0, 2 * kMegabyte);
        for (auto const* const each : {&overlapping, &long_ones, &cut}) {
            Check const found = check(zv_image_io::is_sgi_safe, *each);
            EXPECT_EQ(found.is_safe, !is_refused);
            EXPECT_LT(found.readings, 25);
        }
        if (is_refused)
            expect_refused("overlapping.sgi", overlapping);
        else
            expect_loads("overlapping.sgi", overlapping);
    }
}

TEST_F(ReaderGuards, IffRunsPastTheirTileAreNotWritten)
{
    // Three planes of 64 samples each.
    expect_loads("good.iff", iff_file({.packets = packets({0xbf, 1, 0xbf, 2, 0xbf, 3})}));
    expect_refused("run.iff", iff_file({.packets = packets({0xbf, 1, 0xc0, 2, 0xbf, 3})}));
}

TEST_F(ReaderGuards, IffRunsPastTheirChunkAreNotRead)
{
    expect_refused("short.iff", iff_file({.packets = packets({0xbf, 1, 0xbf, 2})}));
    expect_refused("literal.iff", iff_file({.packets = packets({0xbf, 1, 0xbf, 2, 0x3f, 3, 3, 3})}));
}

TEST_F(ReaderGuards, IffChunksThatLeadBackAreNotFollowedForEver)
{
    // Passed over from the start of the file, the chunk at 56 leads to itself.
    FileBuilder skipped;
    skipped.text("FOR4").big(0, 4).text("TBMP").text("JUNK").big(56, 4);
    FileBuilder file;
    file.text("FOR4").big(0, 4).text("CIMG").text("TBHD").big(24, 4);
    file.big(8, 4).big(4, 4).big(1, 2).big(1, 2).big(1, 4).big(0, 2).big(2, 2).big(1, 4);
    file.bytes(skipped.get()).fill(56);
    file.text("RGBA").big(104, 4).big(0, 2).big(0, 2).big(7, 2).big(3, 2).fill(96);

    expect_refused("circle.iff", file.get());
}

TEST_F(ReaderGuards, IffChunksThatLeadBackToATileDoNotHaveItReadOverAndOver)
{
    constexpr unsigned kTile = 1024, kTileAt = 56;
    FileBuilder file;
    file.text("FOR4").big(0, 4).text("CIMG").text("TBHD").big(24, 4);
    file.big(30000, 4).big(30000, 4).big(1, 2).big(1, 2).big(1, 4).big(0, 2).big(60000, 2).big(1, 4);
    file.text("FOR4").big(0, 4).text("TBMP");
    ASSERT_EQ(file.get().size(), kTileAt);
    std::uint32_t const runs = kTile * kTile / 128 * 3;
    file.text("RGBA").big(8 + runs * 2, 4).big(0, 2).big(0, 2).big(kTile - 1, 2).big(kTile - 1, 2);
    for (std::uint32_t run = 0; run < runs; ++run)
        file.big(0xff07, 2);
    // Passed over from the start of the file, this leads to the tile.
    file.text("JUNK").big(kTileAt, 4);

    EXPECT_LT(check(zv_image_io::is_iff_safe, file.get()).readings * double(file.get().size()), 30e6);
    expect_refused("back.iff", file.get());
}

/// The table's flags lie at 32, its origin at 44.
TEST_F(ReaderGuards, IffOriginAndFlagsThatTheReaderAssertsOnAreRefused)
{
    std::vector<char> const good = iff_file({.packets = packets({0xbf, 1, 0xbf, 2, 0xbf, 3})});
    std::vector<char> moved = good;
    moved[19] = 32;  // a table with an origin
    moved.insert(moved.begin() + 44, 8, 0);
    expect_loads("unmoved.iff", moved);
    moved[47] = 9;
    expect_refused("moved.iff", moved);
    std::vector<char> black = good;
    black[35] = 0x11;
    expect_refused("black.iff", black);
    std::vector<char> depths = good;
    depths[35] = 4;
    depths[37] = 1;
    expect_refused("depths.iff", depths);
}

TEST_F(ReaderGuards, IffTextsThatAreNotThereTakeNoMemory)
{
    std::vector<char> const good = packets({0xbf, 1, 0xbf, 2, 0xbf, 3});
    std::vector<char> const author = FileBuilder().text("AUTH").big(4, 4).text("anna").get();
    std::vector<char> const nobody = FileBuilder().text("AUTH").big(0xfffffffd, 4).get();
    expect_loads("anna.iff", iff_file({.packets = good, .in_front = author}));
    expect_refused("nobody.iff", iff_file({.packets = good, .in_front = nobody}));
}

TEST_F(ReaderGuards, ReaderThatWasFoundByNameIsGuardedToo)
{
    FileBuilder file;
    file.text("JUNK").big(4, 4).fill(4).bytes(iff_file({.packets = packets({0xbf, 1, 0xc0, 2, 0xbf, 3})}));

    expect_refused("junk.iff", file.get());
}

TEST_F(ReaderGuards, DpxUserDataThatAreNotThereTakeNoMemory)
{
    std::string const path = m_folder.file("a.dpx");
    write_picture(path, picture_spec(33, 17, 3, TypeDesc::UINT8));
    ASSERT_NE(load(path), nullptr);
    std::vector<char> file = file_bytes(path);
    std::fill_n(file.begin() + 32, 4, '\x7f');

    expect_refused("b.dpx", file);
}

TEST_F(ReaderGuards, PsdColourDataThatAreNotThereTakeNoMemory)
{
    FileBuilder file;
    file.text("8BPS").big(1, 2).fill(6).big(3, 2).big(4, 4).big(4, 4).big(8, 2).big(3, 2);
    std::vector<char> const header = file.get();

    expect_refused("long.psd", FileBuilder().bytes(header).big(0x7fffffff, 4).get());
    EXPECT_TRUE(survives_reading(put("none.psd", FileBuilder().bytes(header).big(0, 4).get()).c_str()));
}

/// DPX has its size at 772, two numbers of four bytes.
TEST_F(ReaderGuards, DpxThatDeclaresFarMoreThanItHoldsTakesNoTime)
{
    std::string const path = m_folder.file("a.dpx");
    write_picture(path, picture_spec(64, 64, 3, TypeDesc::UINT16));
    std::vector<char> file = file_bytes(path);
    file.resize(file.size() / 2);
    expect_loads("half.dpx", file);
    std::vector<char> const size =
        file[0] == 'S' ? FileBuilder().big(10000, 4).get() : FileBuilder().little(10000, 4).get();
    std::copy(size.begin(), size.end(), file.begin() + 772);
    std::copy(size.begin(), size.end(), file.begin() + 776);
    std::string const trace = put("trace.dpx", file);
    LogCapture log;

    EXPECT_EQ(load(trace), nullptr);
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{2, "Failed to load image '" + trace +
                                            "': the file holds next to nothing of its pixels.\n"}}));
    EXPECT_FALSE(PlateImage(trace.c_str()).load(nullptr));
}

TEST_F(ReaderGuards, FitsHeaderWithoutAnEndDoesNotUseUpTheStack)
{
    std::vector<char> file = fits_file({"SIMPLE  =                    T", "BITPIX  =                    8",
                                        "NAXIS   =                    2", "NAXIS1  =                   10",
                                        "NAXIS2  =                   10", "END"});
    expect_loads("good.fits", file);
    std::fill_n(file.begin() + 400, 3, ' ');
    file.resize(2880 * 20000, ' ');
    expect_refused("endless.fits", file);
}

TEST_F(ReaderGuards, FitsAxesByTheMillionTakeNoMemory)
{
    expect_refused("axes.fits",
                   fits_file({"SIMPLE  =                    T", "NAXIS   =           2000000000", "END"}));
    expect_refused("negative.fits",
                   fits_file({"SIMPLE  =                    T", "NAXIS   =                   -1", "END"}));
}

TEST_F(ReaderGuards, FilesOfAllWritersPass)
{
    int written = 0;
    for (char const* extension : {"ico", "iff", "sgi", "dpx", "fits", "tga", "png", "tif", "exr", "jpg",
                                  "bmp", "hdr", "rla", "ppm", "webp", "zfile", "gif", "jp2"})
        for (int channels : {1, 3, 4})
            for (TypeDesc const type : {TypeDesc::UINT8, TypeDesc::UINT16, TypeDesc::FLOAT})
                for (int width : {1, 47, 64})
                    for (char const* compression : {"none", "rle"}) {
                        std::string const path = m_folder.file(std::string("a.") + extension);
                        auto spec = picture_spec(width, 33, channels, type);
                        spec.attribute("compression", compression);
                        try {
                            write_picture(path, spec);
                        } catch (std::exception const&) {
                            continue;  // the format does not have that
                        }
                        ++written;
                        // The one valid file that the reader of icons does not survive.
                        bool const has_mask = std::string(extension) == "ico" && channels != 4;
                        EXPECT_EQ(survives_reading(path.c_str()), !has_mask || width % 8 == 0)
                            << extension << ", " << channels << " channels of " << type << ", " << width;
                    }
    EXPECT_GT(written, 400);
}

TEST_F(ReaderGuards, FilesThatCannotBeReadAreTheReadersToRefuse)
{
    EXPECT_TRUE(survives_reading(m_folder.file("none.sgi").c_str()));
    EXPECT_TRUE(survives_reading(m_folder.path().c_str()));
    EXPECT_TRUE(survives_reading(""));
    for (char const* begin : {"\x01\xda", "FOR4", "SIMPLE", "SDPX", "XPDS"})
        EXPECT_TRUE(survives_reading(put("short", FileBuilder().text(begin).get()).c_str())) << begin;
}

}  // namespace
