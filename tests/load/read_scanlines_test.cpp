#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/load/load_doors.h"
#include "tests/load/loaded_picture.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/recording_progress.h"
#include "tests/support/scripted_format.h"
#include "tests/support/temp_dir.h"

// Which channels a scanline file becomes, under what names, clamped or not, and what its progress tells.

namespace {

using namespace zv_test;
using Calls = std::vector<std::string>;
using Names = CoreVector<CoreString>;

constexpr int kWidth = 70, kHeight = 133;

/// Samples from -0.5 to 1.5, so that limits show.
float wide(int channel, int x, int y)
{
    return encoded(channel, x, y) * 2.0f - 0.5f;
}

ReadScript script_of(std::vector<std::string> const& names)
{
    ReadScript script;
    script.spec = picture_spec(kWidth, kHeight, int(names.size()), OIIO::TypeDesc::FLOAT);
    script.spec.channelnames = names;
    script.sample = [](int channel, int x, int y) { return double(wide(channel, x, y)); };
    return script;
}

void expect_channel(LoadedPicture const& picture, std::string const& name, int file_channel,
                    bool is_clamped = false)
{
    expect_plane(name, picture.plane(name, 0, 0, kWidth, kHeight), 0, 0, kWidth, kHeight, [&](int x, int y) {
        float const sample = wide(file_channel, x, y);
        return is_clamped ? std::clamp(sample, 0.0f, 1.0f) : sample;
    });
}

struct DispatchCase {
    char const* name;
    std::vector<std::string> file;
    int mode;
    Names const* list;
    std::string channels;
};

Names const kOne{"z"}, kTwo{"b", "r"}, kNone{};

class ScanlineDispatch : public testing::TestWithParam<DispatchCase> {};

TEST_P(ScanlineDispatch, PicksTheChannels)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of(GetParam().file));
    ImageLoadOptions options = plain_options();
    options.single_channel_mode = GetParam().mode;
    options.channels = GetParam().list;

    LoadedPicture const picture = load_picture(file.path(), options);

    ASSERT_TRUE(picture);
    EXPECT_EQ(picture.channel_names(), GetParam().channels);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ScanlineDispatch,
    testing::Values(DispatchCase{"one_channel", {"Y"}, 1, nullptr, "l"},
                    DispatchCase{"one_channel_and_a_list", {"Y"}, 1, &kOne, "l"},
                    DispatchCase{"one_channel_and_an_empty_list", {"Y"}, 1, &kNone, "l"},
                    DispatchCase{"mode_2", {"Y"}, 2, nullptr, "a"},
                    DispatchCase{"mode_2_and_a_list", {"Y"}, 2, &kOne, "a"},
                    DispatchCase{"mode_3", {"Y"}, 3, nullptr, "l a"},
                    DispatchCase{"mode_3_and_a_list", {"Y"}, 3, &kOne, "l a"},
                    DispatchCase{"mode_4", {"Y"}, 4, nullptr, "l"},
                    DispatchCase{"mode_7", {"Y"}, 7, nullptr, "l"},
                    DispatchCase{"mode_0_and_a_list", {"Y"}, 0, &kOne, "l"},
                    DispatchCase{"mode_below_0_and_a_list", {"Y"}, -3, &kNone, "l"},
                    DispatchCase{"mode_0", {"Depth.Z"}, 0, nullptr, "depth.z"},
                    DispatchCase{"mode_below_0", {"Y"}, -1, nullptr, "y"},
                    DispatchCase{
                        "several_channels", {"R", "G", "B", "Diffuse.R"}, 3, nullptr, "r g b diffuse.r"},
                    DispatchCase{"several_channels_mode_0", {"R", "Z"}, 0, nullptr, "r z"},
                    DispatchCase{"several_channels_and_a_list", {"R", "G", "B", "A"}, 0, &kTwo, "r g"},
                    DispatchCase{"several_channels_and_an_empty_list", {"R", "G", "B"}, 2, &kNone, ""},
                    DispatchCase{"one_name_twice", {"R", "r"}, 1, nullptr, "r r"}),
    [](auto const& info) { return info.param.name; });

TEST(ReadAllChannels, KeepsSamplesAndLimitsTheAlphaAlone)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"R", "G", "B", "A", "Alpha", "Diffuse.A"}));

    LoadedPicture const picture = load_picture(file.path());

    ASSERT_TRUE(picture);
    expect_channel(picture, "r", 0);
    expect_channel(picture, "g", 1);
    expect_channel(picture, "b", 2);
    expect_channel(picture, "a", 3, true);
    expect_channel(picture, "alpha", 4);
    expect_channel(picture, "diffuse.a", 5);
}

TEST(ReadNamedChannels, GivesEachPositionItsNameAndLimitsTheFourth)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"R", "G", "B", "A", "Z"}));
    Names const names{"a", "z", "r", "g"};
    ImageLoadOptions options = plain_options();
    options.channels = &names;

    LoadedPicture const picture = load_picture(file.path(), options);

    EXPECT_EQ(picture.channel_names(), "r g b a");
    expect_channel(picture, "r", 3);
    expect_channel(picture, "g", 4);
    expect_channel(picture, "b", 0);
    expect_channel(picture, "a", 1, true);
}

TEST(ReadNamedChannels, OfThreeNamesMakeNoAlphaWhateverTheFileHas)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"R", "G", "B", "A", "Z"}));
    Names const names{"r", "g", "b"};
    ImageLoadOptions options = plain_options();
    options.channels = &names;

    LoadedPicture const picture = load_picture(file.path(), options);

    EXPECT_EQ(picture.channel_names(), "r g b");
    EXPECT_EQ(picture.map().m_depth, ImagePixel::DEPTH_RGB);
    expect_channel(picture, "b", 2);
}

struct ListCase {
    char const* name;
    Names list;
    std::string channels;
    std::vector<int> file_channels;
    int steps;
};

class NamedLists : public testing::TestWithParam<ListCase> {};

TEST_P(NamedLists, FindTheirChannels)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"R", "G", "g", "B"}));
    ImageLoadOptions options = plain_options();
    options.channels = &GetParam().list;
    RecordingProgress progress;

    LoadedPicture const picture = load_picture(file.path(), options, &progress);

    ASSERT_TRUE(picture);
    EXPECT_EQ(picture.channel_names(), GetParam().channels);
    for (unsigned int i = 0; i < GetParam().file_channels.size(); ++i) {
        ImageMapChannel const& channel = *picture.map().m_channels[i];
        expect_channel(picture, channel.m_name.get_data(), GetParam().file_channels[i],
                       channel.m_name == "a");
    }
    EXPECT_EQ(progress.calls_of("set_step_count"),
              (Calls{"set_step_count " + std::to_string(GetParam().steps)}));
    Calls steps;
    for (int i = 1; i <= GetParam().steps; ++i)
        steps.push_back("step " + std::to_string(i));
    EXPECT_EQ(progress.calls_of("step"), steps);
}

INSTANTIATE_TEST_SUITE_P(
    Lists, NamedLists,
    testing::Values(ListCase{"missing_in_the_middle", {"r", "no such", "b"}, "r b", {0, 3}, 3},
                    ListCase{"missing_first", {"no such", "r"}, "g", {0}, 2},
                    ListCase{"all_missing", {"x", "y"}, "", {}, 2}, ListCase{"empty", {}, "", {}, 0},
                    ListCase{"the_first_of_a_name_counts", {"g"}, "r", {1}, 1},
                    ListCase{"upper_case_matches_nothing", {"R", "b"}, "g", {3}, 2},
                    ListCase{"one_channel_twice", {"b", "b"}, "r g", {3, 3}, 2},
                    ListCase{"names_past_the_fourth", {"r", "g", "b", "r", "g"}, "r g b a", {0, 1, 3, 0}, 4}),
    [](auto const& info) { return info.param.name; });

TEST(ReadNamedChannels, AsksForNothingBesideThem)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"R", "G", "B", "A"}));
    Names const names{"b"};
    ImageLoadOptions options = plain_options();
    options.channels = &names;

    ASSERT_TRUE(load_picture(file.path(), options));

    for (ReadCall const& call : file.reads()) {
        EXPECT_EQ(call.first_channel, 2);
        EXPECT_EQ(call.end_channel, 3);
    }
}

TEST(ReadSingleChannel, KeepsLuminanceAndLimitsAlpha)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"Y"}));
    for (int const mode : {1, 2, 3, 7}) {
        ImageLoadOptions options = plain_options();
        options.single_channel_mode = mode;

        LoadedPicture const picture = load_picture(file.path(), options);

        if (mode != 2)
            expect_channel(picture, "l", 0);
        if (mode == 2 || mode == 3)
            expect_channel(picture, "a", 0, true);
    }
}

TEST(ReadSingleChannel, NamedAByItsFileIsLimitedToo)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"A"}));
    ImageLoadOptions options = plain_options();
    options.single_channel_mode = 0;

    LoadedPicture const picture = load_picture(file.path(), options);

    EXPECT_EQ(picture.channel_names(), "a");
    expect_channel(picture, "a", 0, true);
}

TEST(ReadSingleChannel, HasNoStepsButAValueAtItsEnd)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of({"Y"}));
    for (int const mode : {1, 2, 3}) {
        ImageLoadOptions options = plain_options();
        options.single_channel_mode = mode;
        OpenedPicture picture(file.path());
        RecordingProgress progress;

        EXPECT_TRUE(picture.read_data(options, true, &progress));

        EXPECT_EQ(progress.calls(), (Calls{"set_value 0.1", "set_value 1"}));
    }
}

TEST(ReadAllChannels, StepsOnceAChannelInOrderAndAtLastToTheFull)
{
    TempDir folder;
    for (int const count : {2, 3, 40}) {
        ScriptedFile const file(folder, script_of(std::vector<std::string>(std::size_t(count), "c")));
        OpenedPicture picture(file.path());
        RecordingProgress progress;

        EXPECT_TRUE(picture.read_data(plain_options(), true, &progress));

        Calls wanted{"set_value 0.1", "set_step_count " + std::to_string(count)};
        for (int i = 1; i <= count; ++i)
            wanted.push_back("step " + std::to_string(i));
        EXPECT_EQ(progress.calls(), wanted);
    }
}

TEST(ReadAllChannels, StepsWhileRowsComeIn)
{
    TempDir folder;
    RecordingProgress progress;
    std::vector<std::size_t> steps_at_read;
    ReadScript script = script_of({"R", "G", "B", "A"});
    script.sample = [&](int channel, int x, int) {
        if (channel == 0 && x == 0)
            steps_at_read.push_back(progress.calls_of("step").size());
        return 0.0;
    };
    ScriptedFile const file(folder, script);

    ASSERT_TRUE(load_picture(file.path(), plain_options(), &progress));

    EXPECT_EQ(steps_at_read.front(), 0u);
    EXPECT_GT(steps_at_read.back(), 1u);
    EXPECT_LT(steps_at_read.back(), 4u);
}

}  // namespace
