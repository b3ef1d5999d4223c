// Lookups of ImageIOTextureStream: coordinates, modes, channels, and what makes no sense.

#include <cmath>
#include <filesystem>
#include <limits>
#include <vector>

#include "tests/support/handmade_files.h"
#include "tests/support/pictures.h"
#include "tests/texture/texture_stream_fixture.h"

namespace {

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

TEST_F(TextureStream, IconThatItsReaderWouldNotSurviveIsNotLookedUp)
{
    std::string const path = s_folder->file("odd.ico");
    zv_test::write_bytes(
        path, zv_test::icon_file({.width = 75, .height = 64, .pixels = std::vector<char>(228 * 64)}));
    Result result;

    EXPECT_FALSE(evaluate(UniqueString(path), somewhere(), {}, result));
    EXPECT_EQ(result[0], 1.0f);
    EXPECT_EQ(result[3], 1.0f);
    EXPECT_EQ(stream().get_image_size(UniqueString(path)).x, 0);

    // Another file of that name, once the first is forgotten.
    zv_test::write_bytes(
        path, zv_test::icon_file({.width = 72, .height = 64, .pixels = std::vector<char>(216 * 64)}));
    stream().invalidate(UniqueString(path));
    EXPECT_TRUE(evaluate(UniqueString(path), somewhere(), {}, result));
    EXPECT_EQ(stream().get_image_size(UniqueString(path)).x, 72);
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

}  // namespace
