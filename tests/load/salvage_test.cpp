#include <gtest/gtest.h>

#include <map>

#include "tests/load/loaded_picture.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/recording_progress.h"
#include "tests/support/scripted_format.h"
#include "tests/support/temp_dir.h"

// A damaged scanline file is read as far as it goes: which rows arrive, what the others show, what is asked and logged.

namespace {

using namespace zv_test;

constexpr int kWidth = 47, kHeight = 133;

ReadScript script(int channels = 3)
{
    ReadScript script;
    script.spec = picture_spec(kWidth, kHeight, channels, OIIO::TypeDesc::FLOAT);
    return script;
}

void expect_row(LoadedPicture const& picture, std::string const& name, int channel, int y)
{
    expect_plane(name, picture.plane(name, 0, y, kWidth, 1), 0, y, kWidth, 1,
                 [&](int x, int row) { return encoded(channel, x, row); });
}

void expect_zero_row(LoadedPicture const& picture, std::string const& name, int y)
{
    expect_plane(name, picture.plane(name, 0, y, kWidth, 1), 0, y, kWidth, 1, [](int, int) { return 0.0f; });
}

/// How often each sample, told by channel and row, was asked for.
std::map<std::pair<int, int>, int> asked(ScriptedFile const& file)
{
    std::map<std::pair<int, int>, int> times;
    for (ReadCall const& call : file.reads())
        for (int y = call.y; y < call.end_y; ++y)
            for (int c = call.first_channel; c < call.end_channel; ++c)
                ++times[{c, y}];
    return times;
}

TEST(Salvage, AGoodFileIsAskedOnceForEverything)
{
    TempDir folder;
    ScriptedFile const file(folder, script());

    LoadedPicture const picture = load_picture(file.path());

    ASSERT_TRUE(picture);
    for (auto const& [sample, times] : asked(file))
        EXPECT_EQ(times, 1) << "channel " << sample.first << " row " << sample.second;
    EXPECT_EQ(asked(file).size(), 3u * kHeight);
    EXPECT_EQ(picture.report.rows_asked, unsigned(kHeight));
    EXPECT_EQ(picture.report.rows_lost, 0u);
    EXPECT_FALSE(picture.report.is_damaged());
}

TEST(Salvage, AllRowsButTheBadOnesArriveAndThoseAreZero)
{
    TempDir folder;
    ReadScript bad = script();
    bad.bad_rows = {5, 70, kHeight - 1};
    ScriptedFile const file(folder, bad);

    LoadedPicture const picture = load_picture(file.path());

    ASSERT_TRUE(picture);
    for (int y = 0; y < kHeight; ++y)
        for (int c = 0; c < 3; ++c) {
            std::string const name(1, "rgb"[c]);
            if (bad.bad_rows.count(y))
                expect_zero_row(picture, name, y);
            else
                expect_row(picture, name, c, y);
        }
    EXPECT_EQ(picture.report.rows_lost, 3u);
    EXPECT_TRUE(picture.report.is_damaged());
}

TEST(Salvage, NoSampleIsAskedMoreThanThreeTimes)
{
    TempDir folder;
    for (bool const apart : {false, true}) {
        ReadScript bad = script();
        for (int y = 0; y < kHeight; y += 3)
            bad.bad_rows.insert(y);
        if (apart)
            bad.spec.attribute("planarconfig", "separate");
        ScriptedFile const file(folder, bad);

        ASSERT_TRUE(load_picture(file.path()));

        for (auto const& [sample, times] : asked(file))
            EXPECT_LE(times, apart ? 3 : 2) << "channel " << sample.first << " row " << sample.second;
    }
}

/// Of bands of 64 rows.
TEST(Salvage, BehindMoreLostRowsThanPicturesHaveOnlyWholeBandsArrive)
{
    constexpr int kLost = 140032, kBand = 64;
    TempDir folder;
    for (char const* reader : {"zvscript", "openexr"}) {
        ReadScript bad;
        bad.format_name = reader;
        bad.echoes = bad.format_name == "openexr";
        bad.spec = picture_spec(1, kLost + 3 * kBand, 1, OIIO::TypeDesc::FLOAT);
        for (int y = 0; y < kLost; ++y)
            bad.bad_rows.insert(bad.bad_rows.end(), y);
        bad.bad_rows.insert(kLost + kBand + 5);
        bad.error = [](ReadCall const&) { return "bad row"; };
        ScriptedFile const file(folder, bad);

        LoadedPicture const picture = load_picture(file.path());

        ASSERT_TRUE(picture);
        EXPECT_EQ(picture.report.rows_asked, unsigned(kLost + 3 * kBand));
        EXPECT_EQ(picture.report.rows_lost, unsigned(kLost + kBand));
        for (int y : {kLost, kLost + kBand - 1, kLost + 2 * kBand, kLost + 3 * kBand - 1})
            EXPECT_EQ(picture.at("l", 0, y), encoded(0, 0, y)) << reader << ", " << y;
        EXPECT_EQ(picture.at("l", 0, kLost + kBand), 0);
        int single = 0;
        for (ReadCall const& call : file.reads())
            single += call.end_y - call.y == 1;
        EXPECT_GT(single, 125000);
        EXPECT_LT(single, bad.format_name == "openexr" ? 265000 : 132500);
    }
}

TEST(Salvage, OpenExrRowsAreAskedOnceMoreAndNoneMoreThanThreeTimes)
{
    TempDir folder;
    ReadScript bad = script();
    bad.format_name = "openexr";
    bad.bad_rows = {9, 10, 70};
    ScriptedFile const file(folder, bad);

    LoadedPicture const picture = load_picture(file.path());

    for (auto const& [sample, times] : asked(file)) {
        EXPECT_LE(times, 3) << "channel " << sample.first << " row " << sample.second;
    }
    EXPECT_EQ(picture.report.rows_lost, 3u);
    expect_row(picture, "r", 0, 11);
    expect_zero_row(picture, "r", 10);
}

TEST(Salvage, ATextBehindAGoodBandIsNoLossIfItsRowsAreGood)
{
    TempDir folder;
    ReadScript odd = script();
    odd.error_after_success = "a word";
    ScriptedFile const file(folder, odd);

    LoadedPicture const picture = load_picture(file.path());

    EXPECT_EQ(picture.report.rows_lost, 0u);
    expect_row(picture, "g", 1, 77);
    for (auto const& [sample, times] : asked(file))
        EXPECT_LE(times, 2) << "channel " << sample.first << " row " << sample.second;
}

TEST(Salvage, ARowThatOneChannelLacksKeepsTheOthersWhereTheFileKeepsThemApart)
{
    TempDir folder;
    ReadScript bad = script();
    bad.spec.attribute("planarconfig", "separate");
    bad.bad_samples = {{1, 10}};
    ScriptedFile const file(folder, bad);

    LoadedPicture const picture = load_picture(file.path());

    ASSERT_TRUE(picture);
    expect_row(picture, "r", 0, 10);
    expect_row(picture, "b", 2, 10);
    // One plane serves all channels: what green lacks shows red.
    expect_row(picture, "g", 0, 10);
    expect_row(picture, "g", 1, 11);
    EXPECT_EQ(picture.report.rows_lost, 1u);
}

TEST(Salvage, TheFirstChannelShowsZerosWhereItLacksARow)
{
    TempDir folder;
    ReadScript bad = script();
    bad.spec.attribute("planarconfig", "separate");
    bad.bad_samples = {{0, 20}, {1, 20}};
    ScriptedFile const file(folder, bad);

    LoadedPicture const picture = load_picture(file.path());

    expect_zero_row(picture, "r", 20);
    expect_zero_row(picture, "g", 20);
    expect_row(picture, "b", 2, 20);
}

TEST(Salvage, ARowOfInterleavedChannelsIsLostAltogether)
{
    TempDir folder;
    ReadScript bad = script();
    bad.bad_samples = {{1, 10}};
    ScriptedFile const file(folder, bad);

    LoadedPicture const picture = load_picture(file.path());

    for (char const* name : {"r", "g", "b"})
        expect_zero_row(picture, name, 10);
}

TEST(Salvage, AReaderThatStartsFromTheTopIsNotAskedBehindTheFirstBadRow)
{
    TempDir folder;
    for (char const* const format : {"png", "jpeg", "hdr"}) {
        ReadScript bad = script();
        bad.format_name = format;
        bad.bad_rows = {30};
        ScriptedFile const file(folder, bad);

        LoadedPicture const picture = load_picture(file.path());

        ASSERT_TRUE(picture);
        expect_row(picture, "r", 0, 29);
        expect_zero_row(picture, "r", 30);
        expect_zero_row(picture, "r", 31);
        expect_zero_row(picture, "r", kHeight - 1);
        EXPECT_EQ(file.reads().back().y, 30) << format;
        EXPECT_EQ(picture.report.rows_lost, unsigned(kHeight - 30));
    }
}

TEST(Salvage, LogsOneLineAChannelWithTheFirstTextOfItsBand)
{
    TempDir folder;
    ReadScript bad = script();
    bad.bad_rows = {5, 100};
    int calls = 0;
    bad.error = [&calls](ReadCall const&) { return "text " + std::to_string(++calls); };
    ScriptedFile const file(folder, bad);
    LogCapture log;

    ASSERT_TRUE(load_picture(file.path()));

    LogLine const line{3, "OpenImageIO error: text 1.\n"};
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{line, line, line}));
}

TEST(Salvage, LogsOnlyTheChannelsThatLackSomethingWhereTheFileKeepsThemApart)
{
    TempDir folder;
    ReadScript bad = script();
    bad.spec.attribute("planarconfig", "separate");
    bad.bad_samples = {{2, 3}};
    ScriptedFile const file(folder, bad);
    LogCapture log;

    ASSERT_TRUE(load_picture(file.path()));

    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{3, "OpenImageIO error: bad sample 2 3.\n"}}));
}

TEST(Salvage, NamedChannelsLogNothing)
{
    TempDir folder;
    ReadScript bad = script();
    bad.bad_rows = {5};
    ScriptedFile const file(folder, bad);
    CoreVector<CoreString> const names{"b", "r"};
    ImageLoadOptions options = plain_options();
    options.channels = &names;
    LogCapture log;

    LoadedPicture const picture = load_picture(file.path(), options);

    ASSERT_TRUE(picture);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(picture.report.rows_lost, 1u);
    expect_row(picture, "r", 2, 6);
}

TEST(Salvage, ASingleChannelLogsOnce)
{
    TempDir folder;
    ReadScript bad = script(1);
    bad.bad_rows = {5, 6, 7};
    ScriptedFile const file(folder, bad);
    LogCapture log;

    ASSERT_TRUE(load_picture(file.path()));

    EXPECT_EQ(log.lines().size(), 1u);
}

TEST(Salvage, AnExceptionOfTheReaderIsAFailedRead)
{
    TempDir folder;
    ReadScript bad = script();
    bad.bad_rows = {5};
    bad.throws = true;
    ScriptedFile const file(folder, bad);

    LoadedPicture const picture = load_picture(file.path());

    ASSERT_TRUE(picture);
    expect_row(picture, "r", 0, 4);
    expect_zero_row(picture, "r", 5);
    EXPECT_EQ(picture.report.errors.get_count() > 0, true);
}

TEST(Salvage, AFileWithoutAnyGoodRowIsABlackPicture)
{
    TempDir folder;
    ReadScript bad = script();
    bad.ends_at_row = 0;
    ScriptedFile const file(folder, bad);
    RecordingProgress progress;

    LoadedPicture const picture = load_picture(file.path(), plain_options(), &progress);

    ASSERT_TRUE(picture);
    EXPECT_EQ(picture.report.rows_lost, unsigned(kHeight));
    expect_zero_row(picture, "g", 40);
    EXPECT_EQ(progress.calls_of("step").size(), 3u);
}

TEST(Salvage, ATextBehindAGoodReadIsReportedAndNotLogged)
{
    TempDir folder;
    ReadScript odd = script();
    odd.error_after_success = "the end came early";
    ScriptedFile const file(folder, odd);
    LogCapture log;

    LoadedPicture const picture = load_picture(file.path());

    ASSERT_TRUE(picture);
    EXPECT_TRUE(log.lines().empty());
    ASSERT_EQ(picture.report.errors.get_count(), 1u);
    EXPECT_EQ(picture.report.errors[0], "the end came early");
    EXPECT_EQ(picture.report.rows_lost, 0u);
    EXPECT_TRUE(picture.report.is_damaged());
}

TEST(Salvage, AHalfWrittenExrShowsAllFinishedRows)
{
    TempDir folder;
    std::string const path = folder.file("killed.exr");
    ExrPicture picture;
    picture.width = kWidth;
    picture.height = kHeight;
    picture.channels = {{"R"}, {"G"}, {"B"}};
    picture.compression = Imf::ZIP_COMPRESSION;
    picture.rows_written = 64;
    write_exr(path, picture);

    LoadedPicture const loaded = load_picture(path);

    ASSERT_TRUE(loaded);
    for (int y = 0; y < 64; ++y)
        expect_row(loaded, "g", 1, y);
    expect_zero_row(loaded, "g", 64);
    expect_zero_row(loaded, "g", kHeight - 1);
    EXPECT_EQ(loaded.report.rows_lost, unsigned(kHeight - 64));
}

}  // namespace
