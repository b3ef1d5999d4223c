#include <gtest/gtest.h>

#include "tests/load/load_doors.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/recording_progress.h"
#include "tests/support/scripted_format.h"
#include "tests/support/temp_dir.h"

// What a scanline read makes of a failed read, with partial results accepted and without.

namespace {

using namespace zv_test;
using Lines = std::vector<LogLine>;

constexpr int kWidth = 47, kHeight = 33;

ReadScript script_of(int channels, std::set<std::pair<int, int>> const& bad_samples)
{
    ReadScript script;
    script.spec = picture_spec(kWidth, kHeight, channels, OIIO::TypeDesc::FLOAT);
    script.spec.attribute("planarconfig", "separate");
    script.bad_samples = bad_samples;
    return script;
}

unsigned int tile_count(OpenedPicture const& picture, std::string const& name)
{
    ImageMapChannel const* const channel = picture.map.get_channel_by_name(name.c_str());
    return channel ? channel->get_tile_count() : 99;
}

void expect_channel(OpenedPicture const& picture, std::string const& name, int file_channel)
{
    expect_plane(name, picture.plane(name), 0, 0, kWidth, kHeight,
                 [&](int x, int y) { return encoded(file_channel, x, y); });
}

LogLine error_line(std::string const& text)
{
    return {3, "OpenImageIO error: " + text + ".\n"};
}

TEST(PartialNotAccepted, AllChannelsGoOnAndTheLastOneDecides)
{
    struct Case {
        std::set<std::pair<int, int>> bad;
        bool result;
        Lines lines;
    };
    TempDir folder;
    for (Case const& each :
         {Case{{}, true, {}}, Case{{{0, 5}}, true, {error_line("bad sample 0 5")}},
          Case{{{0, 5}, {1, 7}}, true, {error_line("bad sample 0 5"), error_line("bad sample 1 7")}},
          Case{{{2, 0}}, false, {error_line("bad sample 2 0")}}}) {
        ScriptedFile const file(folder, script_of(3, each.bad));
        OpenedPicture picture(file.path());
        RecordingProgress progress;
        LogCapture log;

        EXPECT_EQ(picture.read_data(plain_options(), false, &progress), each.result);

        EXPECT_EQ(log.lines(), each.lines);
        EXPECT_EQ(picture.channel_names(), "r g b");
        for (int c = 0; c < 3; ++c) {
            std::string const name(1, "rgb"[c]);
            bool const is_bad = each.result ? each.bad.count({c, 5 + 2 * c}) != 0 : c == 2;
            if (is_bad)
                EXPECT_EQ(tile_count(picture, name), 0u) << name;
            else
                expect_channel(picture, name, c);
        }
        EXPECT_EQ(progress.calls_of("step").size(), 3u);
        EXPECT_EQ(int(picture.map.m_depth), 3);
    }
}

TEST(PartialNotAccepted, AnAlphaThatWasNotReadStaysWithoutTiles)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of(4, {{3, 9}}));
    OpenedPicture picture(file.path());

    EXPECT_FALSE(picture.read_data(plain_options(), false));

    EXPECT_EQ(tile_count(picture, "a"), 0u);
    EXPECT_EQ(int(picture.map.m_depth), 4);
}

TEST(PartialNotAccepted, NamedChannelsEndAtTheFirstFailure)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of(4, {{1, 5}}));
    CoreVector<CoreString> const names{"b", "no such", "g", "a"};
    ImageLoadOptions options = plain_options();
    options.channels = &names;
    OpenedPicture picture(file.path());
    RecordingProgress progress;
    LogCapture log;

    EXPECT_FALSE(picture.read_data(options, false, &progress));

    EXPECT_EQ(log.lines(), (Lines{error_line("bad sample 1 5")}));
    EXPECT_EQ(picture.channel_names(), "r b");
    expect_channel(picture, "r", 2);
    EXPECT_EQ(tile_count(picture, "b"), 0u);
    EXPECT_EQ(progress.calls_of("set_step_count"), (std::vector<std::string>{"set_step_count 4"}));
    EXPECT_EQ(progress.calls_of("step"), (std::vector<std::string>{"step 1", "step 2"}));
}

TEST(PartialNotAccepted, GoodNamedChannelsArriveAndTheFourthIsLimited)
{
    TempDir folder;
    ReadScript script = script_of(4, {});
    script.sample = [](int channel, int x, int y) { return 2.0 * double(encoded(channel, x, y)); };
    ScriptedFile const file(folder, script);
    CoreVector<CoreString> const names{"a", "no such", "g", "b"};
    ImageLoadOptions options = plain_options();
    options.channels = &names;
    OpenedPicture picture(file.path());

    EXPECT_TRUE(picture.read_data(options, false));

    EXPECT_EQ(picture.channel_names(), "r b a");
    expect_plane("r", picture.plane("r"), 0, 0, kWidth, kHeight,
                 [](int x, int y) { return 2 * encoded(3, x, y); });
    expect_plane("a", picture.plane("a"), 0, 0, kWidth, kHeight,
                 [](int x, int y) { return std::min(2 * encoded(2, x, y), 1.0f); });
}

TEST(PartialNotAccepted, ASingleChannelIsLeftWithoutTiles)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of(1, {{0, 5}}));
    for (int const mode : {1, 2, 3}) {
        ImageLoadOptions options = plain_options();
        options.single_channel_mode = mode;
        OpenedPicture picture(file.path());
        RecordingProgress progress;
        LogCapture log;

        EXPECT_FALSE(picture.read_data(options, false, &progress));

        EXPECT_EQ(log.lines(), (Lines{error_line("bad sample 0 5")}));
        EXPECT_EQ(picture.channel_names(), mode == 2 ? "a" : "l");
        EXPECT_EQ(tile_count(picture, mode == 2 ? "a" : "l"), 0u);
        EXPECT_EQ(progress.calls(), (std::vector<std::string>{"set_value 0.1"}));
    }
}

TEST(PartialNotAccepted, AGoodSingleChannelIsThatOfALoad)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of(1, {}));
    ImageLoadOptions options = plain_options();
    options.single_channel_mode = 3;
    OpenedPicture picture(file.path());
    RecordingProgress progress;

    EXPECT_TRUE(picture.read_data(options, false, &progress));

    EXPECT_EQ(picture.channel_names(), "l a");
    expect_channel(picture, "l", 0);
    expect_channel(picture, "a", 0);
    EXPECT_EQ(progress.calls(), (std::vector<std::string>{"set_value 0.1", "set_value 1"}));
}

TEST(PartialAccepted, AlwaysSucceedsAndLogsButForNamedChannels)
{
    TempDir folder;
    CoreVector<CoreString> const names{"r", "g", "b"};
    struct Case {
        int channels;
        CoreVector<CoreString> const* list;
        std::size_t lines;
    };
    for (Case const& each : {Case{1, nullptr, 1}, Case{3, nullptr, 3}, Case{3, &names, 0}}) {
        ReadScript script = script_of(each.channels, {});
        script.bad_rows = {kHeight - 1};
        ScriptedFile const file(folder, script);
        ImageLoadOptions options = plain_options();
        options.channels = each.list;
        OpenedPicture picture(file.path());
        LogCapture log;

        EXPECT_TRUE(picture.read_data(options, true));

        EXPECT_EQ(log.lines(), Lines(each.lines, error_line("bad row 32")));
        EXPECT_EQ(picture.map.m_channels[0]->get_bits(3, kHeight - 1), 0u);
        EXPECT_NE(picture.map.m_channels[0]->get_bits(3, kHeight - 2), 0u);
    }
}

TEST(PartialAccepted, LogsNothingBelowLevel3)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of(3, {{0, 5}}));
    for (bool const accept_partial : {true, false}) {
        OpenedPicture picture(file.path());
        LogCapture log(2);

        EXPECT_TRUE(picture.read_data(plain_options(), accept_partial));

        EXPECT_TRUE(log.lines().empty());
    }
}

TEST(PartialAccepted, AReaderWithoutAWordGivesALineWithoutOne)
{
    TempDir folder;
    ReadScript script = script_of(1, {{0, 5}});
    script.error = [](ReadCall const&) { return std::string(); };
    ScriptedFile const file(folder, script);
    OpenedPicture picture(file.path());
    LogCapture log;

    EXPECT_TRUE(picture.read_data(plain_options(), true));

    EXPECT_EQ(log.lines(), (Lines{error_line("")}));
}

TEST(PartialAccepted, FillsAFailedMode3CopyWithWhatThereIs)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of(1, {{0, 5}}));
    ImageLoadOptions options = plain_options();
    options.single_channel_mode = 3;
    OpenedPicture picture(file.path());

    EXPECT_TRUE(picture.read_data(options, true));

    EXPECT_EQ(picture.channel_names(), "l a");
    EXPECT_EQ(picture.plane("a"), picture.plane("l"));
    EXPECT_EQ(picture.map.m_channels[1]->get_bits(3, 5), 0u);
    EXPECT_NE(picture.map.m_channels[1]->get_bits(3, 6), 0u);
}

}  // namespace
