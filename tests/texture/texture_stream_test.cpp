#include "image_io/texture/image_io_texture_stream.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <thread>

#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"
#include "tests/texture/texture_file.h"

namespace {

using OIIO::TextureOpt;
using zv_test::LogLine;

constexpr float kUntouched = -7.0f;
using Result = std::array<float, 8>;

/// Textures of five, four and one channels, and lookups in them by either road.
class TextureStream : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        s_folder = new zv_test::TempDir;
        zv_test::write_texture(s_folder->file("five.exr"), 96, 64, 5);
        zv_test::write_texture(s_folder->file("square.exr"), 64, 64, 4);
        zv_test::write_texture(s_folder->file("grey.exr"), 64, 64, 1);
    }
    static void TearDownTestSuite() { delete s_folder; }
    ~TextureStream() override
    {
        ImageIOTextureStream::destroy();
        ImageIOTextureStream::set_cache_size(500.0);
        ImageIOTextureStream::destroy();
    }

    static UniqueString five() { return UniqueString(s_folder->file("five.exr")); }
    static UniqueString square() { return UniqueString(s_folder->file("square.exr")); }
    static UniqueString grey() { return UniqueString(s_folder->file("grey.exr")); }
    static ImageIOTextureStream& stream() { return *ImageIOTextureStream::get_texture_stream(); }

    /// A lookup somewhere off the centre, with a footprint of some pixels in every direction.
    static MapEvalCtx somewhere()
    {
        MapEvalCtx ctx;
        ctx.u = 0.11;
        ctx.v = 0.23;
        ctx.dudx = 0.05;
        ctx.dudy = 0.01;
        ctx.dvdx = 0.02;
        ctx.dvdy = 0.04;
        return ctx;
    }

    /// A footprint of a third of the picture one way, and of some pixels the other way.
    static MapEvalCtx stretched()
    {
        MapEvalCtx ctx = somewhere();
        ctx.dudx = 0.35;
        ctx.dudy = ctx.dvdx = 0.0;
        ctx.dvdy = 0.07;
        return ctx;
    }

    static float limit_of(ImageIOTextureStream& any)
    {
        float megabytes = 0.0f;
        any.get_oiio_texture_system()->getattribute("max_memory_MB", megabytes);
        return megabytes;
    }

    struct Modes {
        int swrap = TextureOpt::WrapPeriodic, twrap = TextureOpt::WrapPeriodic, interp = 1, mip = 3;
    };
    static bool evaluate(UniqueString const& name, MapEvalCtx ctx, Modes const& modes, Result& result)
    {
        result.fill(kUntouched);
        return stream().evaluate(name, ctx, modes.swrap, modes.twrap, modes.interp, modes.mip, result.data());
    }

    /// The same lookup asked of the library, in its own terms.
    static bool direct(UniqueString const& name, MapEvalCtx const& ctx, TextureOpt options, int first,
                       int count, float* result)
    {
        options.firstchannel = first;
        options.fill = 1.0f;
        options.sblur = options.tblur = float(ctx.blur);
        return stream().get_oiio_texture_system()->texture(
            name, options, float(ctx.u + 0.5), float(0.5 - ctx.v), float(ctx.dudx), float(-ctx.dvdx),
            float(ctx.dudy), float(-ctx.dvdy), count, result);
    }
    static TextureOpt default_options()
    {
        TextureOpt options;
        options.swrap = options.twrap = TextureOpt::WrapPeriodic;
        options.interpmode = TextureOpt::InterpBilinear;
        options.mipmode = TextureOpt::MipModeTrilinear;
        return options;
    }

    /// Compares a lookup in the first four channels with the library's answer under `options`.
    static void expect_as(MapEvalCtx const& ctx, Modes const& modes, TextureOpt const& options,
                          char const* what)
    {
        Result ours, theirs;
        theirs.fill(kUntouched);
        ASSERT_TRUE(evaluate(five(), ctx, modes, ours)) << what;
        ASSERT_TRUE(direct(five(), ctx, options, 0, 4, theirs.data())) << what;
        EXPECT_EQ(ours, theirs) << what;
    }

    static inline zv_test::TempDir* s_folder = nullptr;
};

TEST_F(TextureStream, CentreOfThePictureIsTheOriginAndVGoesUp)
{
    MapEvalCtx ctx;
    Modes const closest{.interp = 0, .mip = 1};
    auto const pixel = [&](double u, double v) {
        ctx.u = u;
        ctx.v = v;
        Result result;
        EXPECT_TRUE(evaluate(five(), ctx, closest, result));
        return result[0];
    };

    // Pixel (x, y) has its centre at ((x + 0.5) / 96, (y + 0.5) / 64) from the upper left corner.
    EXPECT_EQ(pixel(0.5 / 96, -0.5 / 64), zv_test::encoded(0, 48, 32));
    EXPECT_EQ(pixel(-0.5 + 0.5 / 96, 0.5 - 0.5 / 64), zv_test::encoded(0, 0, 0));
    EXPECT_EQ(pixel(0.5 - 0.5 / 96, -0.5 + 0.5 / 64), zv_test::encoded(0, 95, 63));
}

TEST_F(TextureStream, CoordinatesDerivativesAndBlurReachTheLibrary)
{
    MapEvalCtx ctx = somewhere();
    expect_as(ctx, {}, default_options(), "plain");
    ctx.blur = 0.07;
    expect_as(ctx, {}, default_options(), "blurred");
    ctx = somewhere();
    ctx.dvdx = -ctx.dvdx;
    expect_as(
        ctx, {.mip = 4},
        [] {
            TextureOpt options = default_options();
            options.mipmode = TextureOpt::MipModeAniso;
            return options;
        }(),
        "leaning the other way");

    Result plain, leaning;
    evaluate(five(), somewhere(), {.mip = 4}, plain);
    evaluate(five(), ctx, {.mip = 4}, leaning);
    EXPECT_NE(plain, leaning) << "the sign of a derivative matters, or the test does not";
}

TEST_F(TextureStream, MipNumbersAreTheLibrarysModes)
{
    std::pair<int, TextureOpt::MipMode> const modes[] = {
        {0, TextureOpt::MipModeDefault},    {1, TextureOpt::MipModeNoMIP},
        {2, TextureOpt::MipModeOneLevel},   {3, TextureOpt::MipModeTrilinear},
        {4, TextureOpt::MipModeAniso},      {5, TextureOpt::MipModeTrilinear},
        {99, TextureOpt::MipModeTrilinear}, {-1, TextureOpt::MipModeTrilinear}};
    for (auto const& [number, mode] : modes) {
        TextureOpt options = default_options();
        options.mipmode = mode;
        expect_as(somewhere(), {.mip = number}, options, std::to_string(number).c_str());
        expect_as(stretched(), {.mip = number}, options, std::to_string(number).c_str());
    }
}

TEST_F(TextureStream, InterpNumbersAreTheLibrarysModes)
{
    std::pair<int, TextureOpt::InterpMode> const modes[] = {
        {0, TextureOpt::InterpClosest},      {1, TextureOpt::InterpBilinear},
        {2, TextureOpt::InterpBicubic},      {3, TextureOpt::InterpSmartBicubic},
        {4, TextureOpt::InterpSmartBicubic}, {-1, TextureOpt::InterpSmartBicubic}};
    MapEvalCtx magnified = somewhere();
    magnified.dudx = magnified.dudy = magnified.dvdx = magnified.dvdy = 0.0001;
    for (auto const& [number, mode] : modes) {
        TextureOpt options = default_options();
        options.interpmode = mode;
        expect_as(magnified, {.interp = number}, options, std::to_string(number).c_str());
        expect_as(somewhere(), {.interp = number}, options, std::to_string(number).c_str());
    }
}

TEST_F(TextureStream, WrapNumbersAreTheLibrarysAndApartForBothAxes)
{
    MapEvalCtx outside = somewhere();
    outside.u = 0.9;
    outside.v = -1.3;
    for (int swrap = TextureOpt::WrapDefault; swrap < TextureOpt::WrapLast; ++swrap)
        for (int twrap = TextureOpt::WrapDefault; twrap < TextureOpt::WrapLast; ++twrap) {
            TextureOpt options = default_options();
            options.swrap = static_cast<TextureOpt::Wrap>(swrap);
            options.twrap = static_cast<TextureOpt::Wrap>(twrap);
            Modes const modes{.swrap = swrap, .twrap = twrap};
            Result ours, theirs;
            ASSERT_TRUE(evaluate(square(), outside, modes, ours));
            theirs.fill(kUntouched);
            ASSERT_TRUE(direct(square(), outside, options, 0, 4, theirs.data()));
            EXPECT_EQ(ours, theirs) << swrap << ", " << twrap;
        }
}

TEST_F(TextureStream, PeriodicWrapForPowersOfTwoIsGoodForAllSizes)
{
    MapEvalCtx outside = somewhere();
    outside.u = 0.9;
    outside.v = -1.3;
    Result pow2, plain;

    EXPECT_TRUE(evaluate(five(), outside,
                         {.swrap = TextureOpt::WrapPeriodicPow2, .twrap = TextureOpt::WrapPeriodicPow2},
                         pow2));

    EXPECT_TRUE(evaluate(five(), outside, {}, plain));
    EXPECT_EQ(pow2, plain);
}

TEST_F(TextureStream, AFileMayAskForTheWrapOfPowersOfTwo)
{
    std::string const path = s_folder->file("asking.tif");
    OIIO::ImageSpec spec = zv_test::picture_spec(96, 60, 3, OIIO::TypeDesc::FLOAT);
    spec.attribute("wrapmodes", "periodic_pow2,periodic_pow2");
    zv_test::write_picture(path, spec);
    UniqueString const asking(path);
    MapEvalCtx outside = somewhere();
    outside.u = 0.9;
    outside.v = -1.3;
    constexpr int kPeriodic = TextureOpt::WrapPeriodic, kDefault = TextureOpt::WrapDefault;

    for (int interp : {0, 1, 2, 3}) {
        Result expected, both, first, second;
        EXPECT_TRUE(evaluate(asking, outside, {kPeriodic, kPeriodic, interp}, expected));
        EXPECT_TRUE(evaluate(asking, outside, {kDefault, kDefault, interp}, both)) << "and lives";
        EXPECT_TRUE(evaluate(asking, outside, {kDefault, kPeriodic, interp}, first));
        EXPECT_TRUE(evaluate(asking, outside, {kPeriodic, kDefault, interp}, second));
        EXPECT_EQ(both, expected) << interp;
        EXPECT_EQ(first, expected) << interp;
        EXPECT_EQ(second, expected) << interp;
    }
}

TEST_F(TextureStream, ModesGiveDifferentResults)
{
    auto const all_differ = [](std::vector<Result> const& results, char const* what) {
        for (std::size_t one = 0; one < results.size(); ++one)
            for (std::size_t other = 0; other < one; ++other)
                EXPECT_NE(results[one], results[other]) << what << " " << other << " and " << one;
    };
    MapEvalCtx magnified = somewhere(), outside = somewhere();
    magnified.dudx = magnified.dudy = magnified.dvdx = magnified.dvdy = 0.0001;
    outside.u = 0.9;
    outside.v = -1.3;
    std::vector<Result> mips(4), interps(4), wraps(4);

    for (int mip = 1; mip <= 4; ++mip)
        evaluate(five(), stretched(), {.mip = mip}, mips[std::size_t(mip - 1)]);
    for (int interp = 0; interp <= 2; ++interp)
        evaluate(five(), magnified, {.interp = interp}, interps[std::size_t(interp)]);
    evaluate(five(), somewhere(), {.interp = 2}, interps[3]);
    for (int wrap = 1; wrap <= 4; ++wrap)
        evaluate(square(), outside, {.swrap = wrap}, wraps[std::size_t(wrap - 1)]);

    all_differ(mips, "mip");
    all_differ(interps, "interp");
    all_differ(wraps, "wrap");
    Result smart;
    evaluate(five(), somewhere(), {.interp = 3}, smart);
    EXPECT_NE(smart, interps[3]) << "smart bicubic is bilinear where the picture is made smaller";
}

// Which channels

TEST_F(TextureStream, WithoutAListTheFirstFourChannelsAreRead)
{
    MapEvalCtx ctx = somewhere();
    ctx.channel_count = 1;  // not looked at
    Result ours, theirs;
    theirs.fill(kUntouched);

    EXPECT_TRUE(evaluate(five(), ctx, {}, ours));

    direct(five(), ctx, default_options(), 0, 4, theirs.data());
    EXPECT_EQ(ours, theirs);
}

TEST_F(TextureStream, OneChannelFillsThreeFloats)
{
    int channels[] = {2};
    MapEvalCtx ctx = somewhere();
    ctx.channels = channels;
    ctx.channel_count = 1;
    Result ours;
    float expected = 0.0f;

    EXPECT_TRUE(evaluate(five(), ctx, {}, ours));

    direct(five(), ctx, default_options(), 2, 1, &expected);
    EXPECT_EQ(ours, (Result{expected, expected, expected, kUntouched, kUntouched, kUntouched, kUntouched,
                            kUntouched}));
}

TEST_F(TextureStream, ChannelsInARowAreOneCall)
{
    for (std::vector<int> list :
         {std::vector<int>{0, 1}, {1, 2, 3}, {0, 1, 2, 3}, {1, 2, 3, 4}, {0, 1, 2, 3, 4}}) {
        MapEvalCtx ctx = somewhere();
        ctx.channels = list.data();
        ctx.channel_count = unsigned(list.size());
        Result ours, theirs;
        theirs.fill(kUntouched);

        EXPECT_TRUE(evaluate(five(), ctx, {}, ours));

        direct(five(), ctx, default_options(), list[0], int(list.size()), theirs.data());
        EXPECT_EQ(ours, theirs) << list.size() << " channels";
    }
}

TEST_F(TextureStream, ScatteredChannelsAreOneCallEach)
{
    for (std::vector<int> list : {std::vector<int>{0, 2}, {3, 2, 1}, {0, 1, 3}, {0, 1, 2, 4}, {2, 2}}) {
        MapEvalCtx ctx = somewhere();
        ctx.channels = list.data();
        ctx.channel_count = unsigned(list.size());
        Result ours, theirs;
        theirs.fill(kUntouched);

        EXPECT_TRUE(evaluate(five(), ctx, {}, ours));

        for (std::size_t index = 0; index < list.size(); ++index)
            direct(five(), ctx, default_options(), list[index], 1, &theirs[index]);
        EXPECT_EQ(ours, theirs) << list.size() << " channels";
    }
}

TEST_F(TextureStream, OnlyTheFirstFourOfAListAreCompared)
{
    int channels[] = {0, 1, 2, 3, 7};
    MapEvalCtx ctx = somewhere();
    ctx.channels = channels;
    ctx.channel_count = 5;
    Result ours, theirs;
    theirs.fill(kUntouched);

    EXPECT_TRUE(evaluate(five(), ctx, {}, ours));

    direct(five(), ctx, default_options(), 0, 5, theirs.data());
    EXPECT_EQ(ours, theirs) << "one call for five channels from the first";
}

TEST_F(TextureStream, AListOfNoChannelsReadsNothing)
{
    int channels[] = {0};
    MapEvalCtx ctx = somewhere();
    ctx.channels = channels;
    ctx.channel_count = 0;
    Result ours;

    EXPECT_TRUE(evaluate(five(), ctx, {}, ours));

    EXPECT_EQ(ours[0], kUntouched);
    EXPECT_EQ(ours[1], kUntouched);
}

TEST_F(TextureStream, ChannelsThatTheFileLacksAreOneAndNoFailure)
{
    int beyond[] = {9, 11};
    MapEvalCtx ctx = somewhere();
    ctx.channels = beyond;
    ctx.channel_count = 2;
    Result ours;

    EXPECT_TRUE(evaluate(five(), ctx, {}, ours));
    EXPECT_EQ(ours[0], 1.0f);
    EXPECT_EQ(ours[1], 1.0f);
    EXPECT_EQ(ours[2], kUntouched);
}

TEST_F(TextureStream, AGreyTextureIsGreyInThreeChannels)
{
    Result ours;

    EXPECT_TRUE(evaluate(grey(), somewhere(), {}, ours));

    EXPECT_EQ(ours[1], ours[0]);
    EXPECT_EQ(ours[2], ours[0]);
    EXPECT_EQ(ours[3], 1.0f);
}

// What makes no sense

TEST_F(TextureStream, MissingFilesGiveOneAndFalse)
{
    Result ours;
    UniqueString const missing(s_folder->file("missing.exr"));

    EXPECT_FALSE(evaluate(missing, somewhere(), {}, ours));
    EXPECT_EQ(ours, (Result{1, 1, 1, 1, kUntouched, kUntouched, kUntouched, kUntouched}));
    EXPECT_FALSE(stream().get_oiio_texture_system()->has_error()) << "the text is thrown away";

    int channels[] = {0};
    MapEvalCtx ctx = somewhere();
    ctx.channels = channels;
    ctx.channel_count = 1;
    EXPECT_FALSE(evaluate(missing, ctx, {}, ours));
    EXPECT_EQ(ours, (Result{1, 1, 1, kUntouched, kUntouched, kUntouched, kUntouched, kUntouched}));
}

TEST_F(TextureStream, ScatteredChannelsStopAtTheFirstFailure)
{
    int channels[] = {0, 2, 4};
    MapEvalCtx ctx = somewhere();
    ctx.channels = channels;
    ctx.channel_count = 3;
    Result ours;

    EXPECT_FALSE(evaluate(UniqueString(s_folder->file("missing.exr")), ctx, {}, ours));

    EXPECT_EQ(ours[0], 1.0f);
    EXPECT_EQ(ours[1], kUntouched);
}

TEST_F(TextureStream, DamagedFilesGiveFalse)
{
    std::string const path = s_folder->file("damaged.exr");
    std::filesystem::copy_file(s_folder->file("five.exr"), path,
                               std::filesystem::copy_options::overwrite_existing);
    zv_test::cut_file(path, 100);
    Result ours;

    EXPECT_FALSE(evaluate(UniqueString(path), somewhere(), {}, ours));
    EXPECT_EQ(ours[0], 1.0f);
}

TEST_F(TextureStream, WrapsThatAreNoneAreRefused)
{
    for (int wrap : {-1, 7, 8, 20, 99, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        Result ours;
        EXPECT_FALSE(evaluate(five(), somewhere(), {.swrap = wrap}, ours)) << wrap;
        EXPECT_EQ(ours, (Result{1, 1, 1, 1, kUntouched, kUntouched, kUntouched, kUntouched})) << wrap;
        EXPECT_FALSE(evaluate(five(), somewhere(), {.twrap = wrap}, ours)) << wrap;
    }
}

TEST_F(TextureStream, ChannelsOutOfRangeAreRefused)
{
    int const limit = [] {
        int value = 0;
        OIIO::getattribute("limits:channels", value);
        return value;
    }();
    ASSERT_GT(limit, 5);
    constexpr int kMaximum = std::numeric_limits<int>::max();
    for (std::vector<int> list : {std::vector<int>{-1},
                                  {-2, -1},
                                  {0, -1},
                                  {limit + 1},
                                  {2, limit + 1},
                                  {limit, limit + 1},
                                  {kMaximum, std::numeric_limits<int>::min()},
                                  {kMaximum}}) {
        MapEvalCtx ctx = somewhere();
        ctx.channels = list.data();
        ctx.channel_count = unsigned(list.size());
        Result ours, expected;
        expected.fill(kUntouched);
        std::fill_n(expected.begin(), list.size() == 1 ? 3 : list.size(), 1.0f);

        EXPECT_FALSE(evaluate(five(), ctx, {}, ours)) << list[0];
        EXPECT_EQ(ours, expected) << list[0];
    }
    int last[] = {limit};
    MapEvalCtx ctx = somewhere();
    ctx.channels = last;
    ctx.channel_count = 1;
    Result ours;
    EXPECT_TRUE(evaluate(five(), ctx, {}, ours)) << "the limit itself is in range";
}

TEST_F(TextureStream, NumbersThatAreNotFiniteAreRefused)
{
    double const bad[] = {std::nan(""), std::numeric_limits<double>::infinity(),
                          -std::numeric_limits<double>::infinity(), 1e300};
    double MapEvalCtx::*const fields[] = {&MapEvalCtx::u,    &MapEvalCtx::v,    &MapEvalCtx::dudx,
                                          &MapEvalCtx::dudy, &MapEvalCtx::dvdx, &MapEvalCtx::dvdy,
                                          &MapEvalCtx::blur};
    for (auto const field : fields)
        for (double const value : bad) {
            MapEvalCtx ctx = somewhere();
            ctx.*field = value;
            Result ours;
            EXPECT_FALSE(evaluate(five(), ctx, {}, ours)) << value;
            EXPECT_EQ(ours, (Result{1, 1, 1, 1, kUntouched, kUntouched, kUntouched, kUntouched})) << value;
        }
}

TEST_F(TextureStream, CoordinatesFarOutAreNoFailure)
{
    for (double far : {1e3, -1e3, 1e6, -1e9, 1e20, -1e30}) {
        MapEvalCtx ctx;
        ctx.u = far;
        ctx.v = -far;
        for (int wrap = 0; wrap < TextureOpt::WrapLast; ++wrap) {
            Result ours;
            evaluate(five(), ctx, {.swrap = wrap, .twrap = wrap}, ours);
            EXPECT_EQ(ours[4], kUntouched);
        }
    }
}

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
