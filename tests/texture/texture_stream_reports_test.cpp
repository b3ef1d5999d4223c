// Sizes, limits and reports of ImageIOTextureStream, its instance, and threads.

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>
#include <vector>

#include "tests/texture/texture_stream_fixture.h"

namespace {

// Sizes, limits and reports

TEST_F(TextureStream, TellsTheFullSize)
{
    GMathVec2<int> const size = stream().get_image_size(five());
    EXPECT_EQ(size.x, 96);
    EXPECT_EQ(size.y, 64);
    GMathVec2<int> const none = stream().get_image_size(UniqueString(s_folder->file("missing.exr")));
    EXPECT_EQ(none.x, 0);
    EXPECT_EQ(none.y, 0);
    EXPECT_TRUE(stream().get_oiio_texture_system()->has_error()) << "the text is left to who wants it";
    stream().get_oiio_texture_system()->geterror();
}

TEST_F(TextureStream, CacheLimitGoesRound)
{
    EXPECT_EQ(ImageIOTextureStream::get_cache_size(), 500.0f) << "the limit to begin with";

    ImageIOTextureStream::set_cache_size(123.5);
    EXPECT_EQ(ImageIOTextureStream::get_cache_size(), 123.5f);

    ImageIOTextureStream::destroy();
    EXPECT_EQ(ImageIOTextureStream::get_cache_size(), 123.5f) << "it outlives the instance";
    ImageIOTextureStream::set_cache_size(0.5);
    EXPECT_EQ(ImageIOTextureStream::get_cache_size(), 1.0f) << "the library's least";
}

TEST_F(TextureStream, TheSameLimitAgainTouchesNothing)
{
    ImageIOTextureStream::set_cache_size(200.0);
    stream().get_oiio_texture_system()->attribute("max_memory_MB", 300.0f);

    ImageIOTextureStream::set_cache_size(200.0);
    EXPECT_EQ(ImageIOTextureStream::get_cache_size(), 300.0f);

    ImageIOTextureStream::set_cache_size(201.0);
    EXPECT_EQ(ImageIOTextureStream::get_cache_size(), 201.0f);
}

TEST_F(TextureStream, ClearForgetsWhatIsCachedAndTakesTheLimitAnew)
{
    ImageIOTextureStream::set_cache_size(200.0);
    Result ours;
    ASSERT_TRUE(evaluate(five(), somewhere(), {}, ours));
    unsigned long long const full = stream().get_memory_size();
    stream().get_oiio_texture_system()->attribute("max_memory_MB", 300.0f);

    stream().clear();

    EXPECT_LT(stream().get_memory_size(), full) << "but for the tile that the thread has at hand";
    EXPECT_EQ(ImageIOTextureStream::get_cache_size(), 200.0f);
    Result again;
    EXPECT_TRUE(evaluate(five(), somewhere(), {}, again));
    EXPECT_EQ(ours, again);
    Result grey_result;
    EXPECT_TRUE(evaluate(grey(), somewhere(), {}, grey_result));
    EXPECT_EQ(grey_result[2], grey_result[0]) << "a fresh system makes greys of one channel, too";
}

TEST_F(TextureStream, ClearOfACopyWithoutAnInstanceDoesNothing)
{
    ImageIOTextureStream copy = stream();
    Result ours;
    ASSERT_TRUE(evaluate(five(), somewhere(), {}, ours));
    ImageIOTextureStream::destroy();
    OIIO::TextureSystem* const before = copy.get_oiio_texture_system();
    before->attribute("max_memory_MB", 300.0f);

    copy.clear();

    EXPECT_EQ(limit_of(copy), 300.0f) << "a start afresh would set the limit";
    EXPECT_EQ(copy.get_oiio_texture_system(), before);
    EXPECT_EQ(copy.get_image_size(five()).x, 96) << "the copy holds the system";
}

TEST_F(TextureStream, MostReportsMakeTheInstanceAndASettingThatIsNoneDoesNot)
{
    ImageIOTextureStream copy = stream();
    // An instance that is made sets the limit of the system, which it shares with the copy.
    auto const makes_instance = [&copy](auto const& work) {
        ImageIOTextureStream::destroy();
        copy.get_oiio_texture_system()->attribute("max_memory_MB", 300.0f);
        work();
        return limit_of(copy) != 300.0f;
    };

    EXPECT_FALSE(makes_instance([] {}));
    EXPECT_FALSE(makes_instance([] { ImageIOTextureStream::set_cache_size(500.0); }));
    EXPECT_TRUE(makes_instance([] { ImageIOTextureStream::set_cache_size(501.0); }));
    EXPECT_TRUE(makes_instance([] { ImageIOTextureStream::get_cache_size(); }));
    EXPECT_TRUE(makes_instance([] { ImageIOTextureStream::get_texture_stream(); }));
    EXPECT_TRUE(makes_instance([&copy] { copy.get_stats(1); }));
    EXPECT_TRUE(makes_instance([&copy] { copy.get_memory_size(); }));
    EXPECT_TRUE(makes_instance([&copy] { copy.get_peak_cache_memory(); }));
}

TEST_F(TextureStream, AssignedStreamsShareTheSystem)
{
    ImageIOTextureStream copy = stream();
    ImageIOTextureStream::destroy();
    ImageIOTextureStream& fresh = stream();

    copy = fresh;
    EXPECT_EQ(copy.get_oiio_texture_system(), fresh.get_oiio_texture_system());
}

TEST_F(TextureStream, StatisticsAreTheLibrarys)
{
    Result ours;
    evaluate(five(), somewhere(), {}, ours);

    EXPECT_EQ(stream().get_stats(0), "");
    EXPECT_NE(stream().get_stats(1).find("Peak cache memory : "), 0xFFFFFFFFu);
    EXPECT_GE(stream().get_stats(2).length(), stream().get_stats(1).length());
}

TEST_F(TextureStream, PeakMemoryTextReachesPastItsLine)
{
    Result ours;
    evaluate(five(), somewhere(), {}, ours);
    CoreString const statistics = stream().get_stats(1);
    unsigned int const start = statistics.find("Peak cache memory : ") + 20;
    unsigned int const end = statistics.find('\n', start);

    EXPECT_EQ(stream().get_peak_cache_memory(), statistics.sub_string(start, end));
    EXPECT_GT(stream().get_peak_cache_memory().length(), end - start);
}

TEST_F(TextureStream, MemorySizeIsTheValueOfTheLineInBytes)
{
    Result ours;
    ASSERT_TRUE(evaluate(five(), somewhere(), {}, ours));
    CoreString const statistics = stream().get_stats(1);
    unsigned int const start = statistics.find("Peak cache memory : ") + 20;
    std::string const line(statistics.get_data() + start, statistics.find('\n', start) - start);
    double number = 0.0;
    char unit[8] = "";
    ASSERT_EQ(std::sscanf(line.c_str(), "%lf %7s", &number, unit), 2) << line;
    double const factor = std::string(unit) == "B"    ? 9.536743164e-07
                          : std::string(unit) == "KB" ? 0.0009765625
                                                      : 1.0;

    EXPECT_EQ(stream().get_memory_size(), static_cast<unsigned long long>(number * factor / 9.536743164e-07));
    EXPECT_GT(stream().get_memory_size(), 0u);
}

TEST_F(TextureStream, InvalidatedFilesAreReadAnew)
{
    std::string const path = s_folder->file("changing.exr");
    UniqueString const name(path);
    zv_test::write_texture(path, 32, 32, 4);
    ASSERT_EQ(stream().get_image_size(name).x, 32);
    auto const changed = [&](int width) {
        zv_test::write_texture(path, width, 32, 4);
        std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::now() +
                                                   std::chrono::seconds(width));
    };

    changed(64);
    EXPECT_EQ(stream().get_image_size(name).x, 32) << "cached";
    stream().invalidate(name);
    EXPECT_EQ(stream().get_image_size(name).x, 64);

    changed(128);
    stream().invalidate_all(true);
    EXPECT_EQ(stream().get_image_size(name).x, 128);

    changed(256);
    stream().invalidate_all(false);
    EXPECT_EQ(stream().get_image_size(name).x, 256) << "a changed file goes without force";
}

TEST_F(TextureStream, DestroyTwiceIsHarmless)
{
    ImageIOTextureStream::destroy();
    ImageIOTextureStream::destroy();
    EXPECT_NE(ImageIOTextureStream::get_texture_stream(), nullptr);
}

// Threads

TEST_F(TextureStream, FirstUseFromManyThreadsMakesOneInstance)
{
    for (int round = 0; round < 20; ++round) {
        ImageIOTextureStream::destroy();
        std::array<ImageIOTextureStream*, 8> found{};
        std::vector<std::thread> threads;
        for (auto& instance : found)
            threads.emplace_back([&instance] { instance = ImageIOTextureStream::get_texture_stream(); });
        for (std::thread& thread : threads)
            thread.join();
        for (ImageIOTextureStream* const instance : found)
            EXPECT_EQ(instance, found[0]);
    }
}

TEST_F(TextureStream, LookupsOnManyThreadsAgreeWithOne)
{
    constexpr int kThreads = 8, kLookups = 2000;
    auto const context = [](int number) {
        MapEvalCtx ctx = somewhere();
        ctx.u = (number % 97) / 97.0 - 0.5;
        ctx.v = (number % 89) / 89.0 - 0.5;
        return ctx;
    };
    std::vector<Result> expected(kLookups);
    for (int number = 0; number < kLookups; ++number)
        ASSERT_TRUE(
            evaluate(number % 5 ? five() : grey(), context(number), {}, expected[std::size_t(number)]));
    std::array<int, kThreads> wrong{};

    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&, thread] {
            for (int step = 0; step < kLookups; ++step) {
                int const number = (step + thread * 251) % kLookups;
                Result result;
                bool const good = evaluate(number % 5 ? five() : grey(), context(number), {}, result);
                wrong[std::size_t(thread)] += !good || result != expected[std::size_t(number)];
                if (step % 100 == 0) {
                    stream().invalidate(grey());
                    stream().invalidate(five());
                    stream().get_image_size(five());
                    stream().get_memory_size();
                    ImageIOTextureStream::set_cache_size(400.0 + step);
                    ImageIOTextureStream::get_cache_size();
                }
            }
        });
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(wrong, (std::array<int, kThreads>{}));
}

}  // namespace
