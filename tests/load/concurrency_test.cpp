#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "host/app_base/app_progress_bar.h"
#include "image_io/load/image_header.h"
#include "tests/load/loaded_picture.h"
#include "tests/load/native_samples.h"
#include "tests/support/log_capture.h"
#include "tests/support/pictures.h"
#include "tests/support/scripted_format.h"
#include "tests/support/temp_dir.h"

// Loads and probes on several threads at once, of different files and of one.

namespace {

using namespace zv_test;
using OIIO::TypeDesc;

constexpr int kThreads = 4, kRounds = 3;

template <class Work>
void run_on_threads(Work const& work)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&work, t] {
            for (int round = 0; round < kRounds; ++round)
                work(t);
        });
    for (std::thread& thread : threads)
        thread.join();
}

bool has_all_samples(LoadedPicture const& picture, NativePicture const& native)
{
    OIIO::ImageSpec const& spec = native.spec;
    bool same = bool(picture);
    for (int c = 0; same && c < spec.nchannels; ++c)
        for (int y = spec.y; y < spec.y + spec.height; ++y)
            for (int x = spec.x; x < spec.x + spec.width; ++x)
                same = same && picture.map().m_channels[unsigned(c)]->get_bits(x, y) == native.bits(c, x, y);
    return same;
}

std::vector<std::string> make_files(TempDir const& folder)
{
    struct Kind {
        char const* name;
        TypeDesc::BASETYPE type;
        int tile;
    };
    std::vector<std::string> paths;
    for (auto const& [name, type, tile] : {Kind{"a.exr", TypeDesc::HALF, 0},
                                           {"b.exr", TypeDesc::HALF, 32},
                                           {"c.tif", TypeDesc::UINT8, 0},
                                           {"d.png", TypeDesc::UINT16, 0},
                                           {"e.tga", TypeDesc::UINT8, 0}}) {
        paths.push_back(folder.file(name));
        write_picture(paths.back(), picture_spec(150, 140, 3, type, 0, 0, tile));
    }
    return paths;
}

TEST(ConcurrentLoads, OfDifferentFilesGiveWhatTheyHold)
{
    TempDir folder;
    std::vector<std::string> const paths = make_files(folder);
    std::vector<NativePicture> natives;
    for (std::string const& path : paths)
        natives.push_back(read_native_picture(path));
    std::atomic<int> good = 0;

    run_on_threads([&](int t) {
        for (std::size_t i = 0; i < paths.size(); ++i) {
            std::size_t const which = (i + std::size_t(t)) % paths.size();
            AppProgressBar progress("load");
            good += has_all_samples(load_picture(paths[which], plain_options(), &progress), natives[which]);
        }
    });

    EXPECT_EQ(good, kThreads * kRounds * int(paths.size()));
}

TEST(ConcurrentLoads, OfOneFileGiveWhatItHolds)
{
    TempDir folder;
    for (std::string const& path : make_files(folder)) {
        NativePicture const native = read_native_picture(path);
        std::atomic<int> good = 0;

        run_on_threads([&](int) { good += has_all_samples(load_picture(path), native); });

        EXPECT_EQ(good, kThreads * kRounds) << path;
    }
}

TEST(ConcurrentLoads, WithColourPassesGiveWhatOneGives)
{
    TempDir folder;
    std::string const path = folder.file("a.exr");
    write_picture(path, picture_spec(150, 140, 4, TypeDesc::FLOAT));
    ImageLoadOptions const options;  // from sRGB
    LoadedPicture const alone = load_picture(path, options);
    ASSERT_TRUE(alone);
    std::vector<float> const wanted = alone.plane("g", 0, 0, 150, 140);
    std::atomic<int> good = 0;

    run_on_threads([&](int) { good += load_picture(path, options).plane("g", 0, 0, 150, 140) == wanted; });

    EXPECT_EQ(good, kThreads * kRounds);
}

TEST(ConcurrentLoads, OfDamagedFilesKeepTheirReportsApart)
{
    TempDir folder;
    ReadScript bad;
    bad.spec = picture_spec(70, 133, 3, TypeDesc::FLOAT);
    bad.bad_rows = {5, 90};
    ScriptedFile const damaged(folder, bad, "bad.zvs");
    bad.bad_rows.clear();
    ScriptedFile const sound(folder, bad, "good.zvs");
    LogCapture log;
    std::atomic<int> good = 0;

    run_on_threads([&](int t) {
        LoadedPicture const picture = load_picture(t % 2 ? damaged.path() : sound.path());
        good += picture && picture.report.rows_lost == (t % 2 ? 2u : 0u);
    });

    EXPECT_EQ(good, kThreads * kRounds);
    EXPECT_EQ(log.lines().size(), std::size_t(kThreads / 2 * kRounds * 3));
}

TEST(ConcurrentProbes, TellOfEachFileItsOwn)
{
    TempDir folder;
    std::vector<std::string> const paths = make_files(folder);
    std::string const missing = folder.file("missing.exr");
    LogCapture log;
    std::atomic<int> good = 0;

    run_on_threads([&](int t) {
        std::string const& path = paths[std::size_t(t) % paths.size()];
        ImageHeader header;
        bool const is_known = ImageIO::get_image_specs(path.c_str(), header);
        good += is_known && header.channel_count == 3 && header.data_window.width() == 150;
        good += !ImageIO::get_color_space_from_file(path.c_str()).is_empty();
        good += ImageIO::get_color_space_from_file(missing.c_str()).is_empty();
    });

    EXPECT_EQ(good, kThreads * kRounds * 3);
    EXPECT_EQ(log.lines().size(), std::size_t(kThreads * kRounds * 2));
}

}  // namespace
