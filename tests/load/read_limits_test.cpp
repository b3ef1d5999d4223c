#include <gtest/gtest.h>

#include <climits>
#include <new>

#include "host/app_base/app_progress_bar.h"
#include "image_io/load/image_header.h"
#include "image_io/load/image_io_load.h"
#include "tests/load/loaded_picture.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/recording_progress.h"
#include "tests/support/scripted_format.h"
#include "tests/support/temp_dir.h"

// Pictures that are refused once their header is known, with the reason, while a probe still tells of them.

namespace {

using namespace zv_test;
using OIIO::TypeDesc;

/// One of OpenImageIO's limits, for as long as this lives.
struct Limit {
    Limit(char const* name, int value)
        : m_name(name)
    {
        OIIO::getattribute(name, m_before);
        OIIO::attribute(name, value);
    }
    ~Limit() { OIIO::attribute(m_name, m_before); }

    char const* m_name;
    int m_before = 0;
};

ReadScript script_of(OIIO::ImageSpec const& spec)
{
    ReadScript script;
    script.spec = spec;
    return script;
}

void expect_refused(OIIO::ImageSpec const& spec, std::string const& reason)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of(spec));
    RecordingProgress progress;
    LogCapture log;
    ImageCanvas canvas(false);

    EXPECT_FALSE(load_picture(file.path(), plain_options(), &progress));

    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{2, "Failed to load image '" + file.path() + "': " + reason + ".\n"}}));
    EXPECT_EQ(progress.calls(),
              (std::vector<std::string>{"set_value 0", "set_value 0", "begin_task \"read header\" 0.1 false",
                                        "end_task"}));
    EXPECT_EQ(file.closes(), 1);
    EXPECT_FALSE(ImageIOLoad::load_image(file.path().c_str(), canvas, plain_options(), nullptr, nullptr));
    EXPECT_FALSE(canvas.is_finalized());
    EXPECT_TRUE(file.reads().empty());

    ImageHeader header;
    log.clear();
    ASSERT_TRUE(ImageIO::get_image_specs(file.path().c_str(), header));
    EXPECT_EQ(header.channel_count, spec.nchannels);
    EXPECT_EQ(header.data_window, GMathVec4<int>(spec.x, spec.y, spec.width, spec.height));
    EXPECT_TRUE(log.lines().empty());
}

bool loads(OIIO::ImageSpec const& spec)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of(spec));
    LogCapture log;
    bool const is_loaded = bool(load_picture(file.path()));
    EXPECT_TRUE(log.lines().empty());
    return is_loaded;
}

TEST(ReadLimits, RefuseMoreChannelsThanAllowed)
{
    int limit = 0;
    ASSERT_TRUE(OIIO::getattribute("limits:channels", limit));
    ASSERT_GT(limit, 0);

    EXPECT_TRUE(loads(picture_spec(2, 2, limit, TypeDesc::UINT8)));
    expect_refused(picture_spec(2, 2, limit + 1, TypeDesc::UINT8),
                   std::to_string(limit + 1) + " channels, the limit is " + std::to_string(limit));
}

TEST(ReadLimits, FollowTheAttributeOfChannels)
{
    Limit const limit("limits:channels", 3);

    EXPECT_TRUE(loads(picture_spec(2, 2, 3, TypeDesc::UINT8)));
    expect_refused(picture_spec(2, 2, 4, TypeDesc::UINT8), "4 channels, the limit is 3");
}

TEST(ReadLimits, RefusePicturesAboveTheirSize)
{
    Limit const limit("limits:imagesize_MB", 1);

    EXPECT_TRUE(loads(picture_spec(512, 512, 4, TypeDesc::UINT8)));
    expect_refused(picture_spec(512, 513, 4, TypeDesc::UINT8), "its pixels are above the limit of 1 MB");
    expect_refused(picture_spec(512, 512, 4, TypeDesc::HALF), "its pixels are above the limit of 1 MB");
    OIIO::ImageSpec volume = picture_spec(512, 512, 4, TypeDesc::UINT8);
    volume.depth = 2;
    expect_refused(volume, "its pixels are above the limit of 1 MB");
}

TEST(ReadLimits, RefuseTilesAboveTheirSize)
{
    Limit const limit("limits:imagesize_MB", 1);

    expect_refused(picture_spec(4, 4, 1, TypeDesc::UINT8, 0, 0, 2048),
                   "its tiles are above the limit of 1 MB");
}

TEST(ReadLimits, AreNoneAtZeroButForWhatNoMemoryHolds)
{
    Limit const size("limits:imagesize_MB", 0), channels("limits:channels", 0);

    EXPECT_TRUE(loads(picture_spec(512, 513, 4, TypeDesc::UINT8)));
    EXPECT_TRUE(loads(picture_spec(2, 2, 1100, TypeDesc::UINT8)));
    expect_refused(picture_spec(INT_MAX, INT_MAX, 1000, TypeDesc::FLOAT),
                   "its pixels are above the limit of 0 MB");
}

TEST(ReadLimits, RefuseWindowsOutOfTheIntRange)
{
    OIIO::ImageSpec const good = picture_spec(10, 10, 1, TypeDesc::UINT8);
    std::vector<OIIO::ImageSpec> specs(8, good);
    specs[0].x = INT_MAX - 9;
    specs[1].y = INT_MAX - 9;
    specs[2].width = -10;
    specs[3].height = -1;
    specs[4].full_x = INT_MAX - 9;
    specs[5].full_y = INT_MAX;
    specs[6].full_width = -1;
    specs[7].width = 0;
    for (std::size_t i = 0; i < specs.size(); ++i) {
        SCOPED_TRACE(i);
        expect_refused(specs[i], "its windows are out of range");
    }
}

TEST(ReadLimits, LetWindowsAtTheEndsOfTheIntRangePass)
{
    // A tile reaches past the window, and the last one's edge must be an int, too.
    struct Place {
        int x, y, tile;
    };
    for (auto const& [x, y, tile] : {Place{INT_MAX - 20, INT_MAX - 20, 0},
                                     {INT_MIN, INT_MIN, 0},
                                     {INT_MIN + 5, 7, 0},
                                     {INT_MAX - 36, INT_MAX - 36, 16},
                                     {INT_MIN, INT_MIN, 16},
                                     {INT_MIN + 5, 7, 16}}) {
        SCOPED_TRACE(testing::Message() << x << ", " << y << " tile " << tile);
        TempDir folder;
        ReadScript script = script_of(picture_spec(20, 20, 1, TypeDesc::FLOAT, x, y, tile));
        script.ends_at_row = INT_MAX;
        ScriptedFile const file(folder, script);
        LogCapture log;

        LoadedPicture const picture = load_picture(file.path());

        ASSERT_TRUE(picture);
        EXPECT_FALSE(picture.report.is_damaged());
        EXPECT_TRUE(log.lines().empty());
        EXPECT_EQ(picture.at("l", x + 19, y + 19), encoded(0, x + 19, y + 19));
        EXPECT_EQ(picture.at("l", x, y), encoded(0, x, y));
    }
}

TEST(ReadLimits, AreSilentBelowLevel2)
{
    Limit const limit("limits:channels", 3);
    TempDir folder;
    ScriptedFile const file(folder, script_of(picture_spec(2, 2, 4, TypeDesc::UINT8)));
    LogCapture log(1);

    EXPECT_FALSE(load_picture(file.path()));

    EXPECT_TRUE(log.lines().empty());
}

/// Lacks memory in the middle of a read, as a broken header makes the libraries do.
class ThrowingProgress : public AppProgressBar {
public:
    ThrowingProgress()
        : AppProgressBar("throwing")
    {
    }
    void set_task_increment(float) override { throw std::bad_alloc(); }
};

TEST(ReadLimits, TurnLackingMemoryIntoAFailedLoad)
{
    TempDir folder;
    ScriptedFile const file(folder, script_of(picture_spec(4, 4, 1, TypeDesc::UINT8, 0, 0, 16)));
    ThrowingProgress progress;
    ImageCanvas canvas(false);

    EXPECT_FALSE(ImageIOLoad::load_image(file.path().c_str(), canvas, plain_options(), nullptr, &progress));

    EXPECT_TRUE(canvas.is_finalized());
    EXPECT_EQ(file.closes(), 1);
    EXPECT_FALSE(load_picture(file.path(), plain_options(), &progress));
}

}  // namespace
