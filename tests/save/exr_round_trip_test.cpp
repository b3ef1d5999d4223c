#include <ImfChannelList.h>
#include <ImfFloatAttribute.h>

#include <filesystem>

#include "tests/save/exr_saves.h"

namespace {

using namespace zv_test;

/// Saves the picture through one output, whole.
ReadExr saved(SavePicture& picture, OfApp& app, ImageSaveOptions const& options, std::string const& path)
{
    auto output = picture.output(path);
    EXPECT_TRUE(output->open(&app, options, picture.window, picture.window, picture.shape.tile));
    EXPECT_EQ(output->write(picture.context, nullptr), ImageIO::SAVING_STATUS_SUCCESS);
    output.reset();
    return read_exr(path);
}

struct TripRow {
    char const* name;
    int tiling_mode;
    SavePicture::Shape shape;
};

class ExrRoundTrips : public testing::TestWithParam<TripRow> {};

TEST_P(ExrRoundTrips, KeepEverySample)
{
    TempDir const folder;
    OfApp app;
    app.tiling_mode = GetParam().tiling_mode;
    for (auto const format : {ImageIOFileFormat::SAVE_EXR16, ImageIOFileFormat::SAVE_EXR32}) {
        SavePicture picture(GetParam().shape);
        std::string const path = folder.file("a.exr");

        ReadExr const file = saved(picture, app, exr_options(format), path);

        expect_channels(file, picture.shape, {"R", "G", "B", "A"});
        std::filesystem::remove(path);
    }
}

SavePicture::Shape at(int x, int y, int width, int height, int tile = 16)
{
    SavePicture::Shape shape;
    shape.x = x;
    shape.y = y;
    shape.width = width;
    shape.height = height;
    shape.tile = tile;
    return shape;
}

INSTANTIATE_TEST_SUITE_P(Shapes, ExrRoundTrips,
                         testing::Values(TripRow{"scanline", 0, at(0, 0, 47, 33)},
                                         TripRow{"scanline_one_pixel", 0, at(0, 0, 1, 1)},
                                         TripRow{"scanline_off_grid", 0, at(5, 7, 47, 33)},
                                         TripRow{"scanline_negative", 0, at(-21, -9, 40, 30)},
                                         TripRow{"scanline_tile_larger_than_picture", 0, at(0, 0, 9, 5, 64)},
                                         TripRow{"scanline_tile_of_one", 0, at(0, -3, 9, 5, 1)},
                                         TripRow{"tiled", 1, at(0, 0, 47, 33)},
                                         TripRow{"tiled_two_pixels", 1, at(0, 0, 2, 1)},
                                         TripRow{"tiled_whole_tiles", 1, at(0, 0, 48, 32)},
                                         TripRow{"tiled_off_grid", 1, at(5, 7, 47, 33)},
                                         TripRow{"tiled_negative", 1, at(-21, -9, 40, 30)},
                                         TripRow{"tiled_far_below_zero", 1, at(-1000, -2000, 20, 20)},
                                         TripRow{"tiled_odd_tile", 1, at(3, 3, 20, 20, 7)}),
                         [](auto const& row) { return row.param.name; });

class ExrCompressionTrips : public testing::TestWithParam<int> {};

TEST_P(ExrCompressionTrips, ReadBack)
{
    TempDir const folder;
    auto const method = ImageIOFileFormat::OpenExrCompressionMethod(GetParam());
    bool const is_lossy = method >= ImageIOFileFormat::COMPRESSION_B44;
    for (int tiling_mode : {0, 1}) {
        OfApp app;
        app.tiling_mode = tiling_mode;
        SavePicture::Shape shape = at(-5, 3, 100, 70);
        if (is_lossy)  // smooth, as those methods want it
            shape.sample = [](int channel, int x, int y) { return (channel + 1) * (x + 100 + y) / 1024.0; };
        SavePicture picture(shape);

        ReadExr const file =
            saved(picture, app, exr_options(ImageIOFileFormat::SAVE_EXR16, method), folder.file("a.exr"));

        EXPECT_EQ(int(file.header.compression()), GetParam() - 1);
        if (!is_lossy) {
            expect_channels(file, shape, {"R", "G", "B", "A"});
            continue;
        }
        EXPECT_TRUE(file.is_complete);
        for (int y = shape.y; y < shape.y + shape.height; ++y)
            for (int x = shape.x; x < shape.x + shape.width; ++x)
                ASSERT_NEAR(file.at("G", x, y), shape.sample(1, x, y), 0.02) << x << " " << y;
    }
}

INSTANTIATE_TEST_SUITE_P(Methods, ExrCompressionTrips, testing::Range(1, 11));

TEST(ExrCompressionLevels, OfDwaReachTheFileAndItsSize)
{
    TempDir const folder;
    std::uintmax_t sizes[2];
    for (int i : {0, 1}) {
        OfApp app;
        app.dwa_compression_level = i ? 500 : 1;
        SavePicture picture(at(0, 0, 200, 100));
        std::string const path = folder.file(i ? "b.exr" : "a.exr");
        ReadExr const file =
            saved(picture, app,
                  exr_options(ImageIOFileFormat::SAVE_EXR16, ImageIOFileFormat::COMPRESSION_DWAA), path);
        EXPECT_EQ(file.header.typedAttribute<Imf::FloatAttribute>("dwaCompressionLevel").value(),
                  i ? 500.0f : 1.0f);
        sizes[i] = std::filesystem::file_size(path);
    }
    EXPECT_LT(sizes[1], sizes[0]);
}

TEST(ExrSampleTypes, HalfFloatAndIntegerLayersInOneFile)
{
    TempDir const folder;
    for (int tiling_mode : {0, 1}) {
        OfApp app;
        app.tiling_mode = tiling_mode;
        app.get_channel_manager().add_layer("id", 4, 1);
        app.get_channel_manager().add_layer("normal", 2, 2);
        SavePicture::Shape shape = at(0, 0, 40, 20);
        shape.depth = ImagePixel::BIT_DEPTH_32;
        shape.names = {"r", "depth.z", "id.x", "normal.x"};
        shape.sample = [](int channel, int x, int y) {
            return encoded(channel, x, y) + (channel == 1 ? 1.0 / 65536 : 0);
        };
        SavePicture picture(shape);

        ReadExr const file = saved(picture, app, exr_options(), folder.file("a.exr"));

        auto const& channels = file.header.channels();
        EXPECT_EQ(channels.findChannel("R")->type, Imf::HALF);
        EXPECT_EQ(channels.findChannel("depth.Z")->type, Imf::FLOAT);
        EXPECT_EQ(channels.findChannel("id.x")->type, Imf::UINT);
        EXPECT_EQ(channels.findChannel("normal.x")->type, Imf::HALF);
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 40; ++x) {
                ASSERT_EQ(file.at("R", x, y), encoded(0, x, y));
                ASSERT_EQ(file.at("depth.Z", x, y), float(shape.sample(1, x, y)));
                ASSERT_EQ(file.at("id.x", x, y), 0.0f) << "integers have no road: zeros";
                ASSERT_EQ(file.at("normal.x", x, y), encoded(3, x, y));
            }
    }
}

TEST(ExrSampleTypes, FloatsAreRoundedToTheNearestHalf)
{
    TempDir const folder;
    OfApp app;
    SavePicture::Shape shape = at(0, 0, 64, 8);
    shape.depth = ImagePixel::BIT_DEPTH_32;
    shape.names = {"r"};
    shape.sample = [](int, int x, int y) { return (x - 30) * 0.1 + y * 1e4 * (x % 2 ? 1 : -1); };
    SavePicture picture(shape);

    ReadExr const file = saved(picture, app, exr_options(), folder.file("a.exr"));

    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 64; ++x)
            ASSERT_EQ(file.at("R", x, y), float(half(float(shape.sample(0, x, y))))) << x << " " << y;
}

TEST(ExrManyChannels, From1To200)
{
    TempDir const folder;
    for (int count : {1, 5, 41, 200})
        for (int tiling_mode : {0, 1}) {
            OfApp app;
            app.tiling_mode = tiling_mode;
            SavePicture::Shape shape = at(0, 0, 20, 20);
            shape.names.clear();
            for (int i = 0; i < count; ++i)
                shape.names.push_back("layer" + std::to_string(i / 3) + "." + "xyz"[i % 3]);
            SavePicture picture(shape);

            ReadExr const file = saved(picture, app, exr_options(), folder.file("a.exr"));

            expect_channels(file, shape, shape.names);
        }
}

TEST(ExrOddChannels, NullNamelessAndLongOnes)
{
    TempDir const folder;
    std::string const long_name = "layer." + std::string(294, 'n');
    for (int tiling_mode : {0, 1}) {
        OfApp app;
        app.tiling_mode = tiling_mode;
        SavePicture::Shape shape = at(0, 0, 20, 20);
        shape.names = {"r", ".x", long_name};
        SavePicture picture(shape);
        auto output = picture.output(folder.file("a.exr"));
        output->get_channels() = {nullptr, picture.map().m_channels[0], picture.map().m_channels[1], nullptr,
                                  picture.map().m_channels[2]};
        LogCapture const log(2);

        ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
        EXPECT_EQ(output->write(picture.context, nullptr), ImageIO::SAVING_STATUS_SUCCESS);

        EXPECT_EQ(log.lines(),
                  (std::vector<LogLine>{{1, "OpenExr save: fatal error during channel configuration.\n"}}));
        output.reset();
        ReadExr const file = read_exr(folder.file("a.exr"));
        ASSERT_EQ(file.planes.size(), 2u);
        EXPECT_EQ(file.at("R", 7, 9), encoded(0, 7, 9));
        // OpenEXR's names end after 255 characters.
        EXPECT_EQ(file.at(long_name.substr(0, 255), 7, 9), encoded(2, 7, 9));
    }
}

TEST(ExrOddChannels, ColourThatIsNotAskedForIsLeftOutAndTold)
{
    TempDir const folder;
    OfApp app;
    app.output_aovs_only = true;
    SavePicture::Shape shape = at(0, 0, 20, 20);
    shape.names = {"r", "g", "x.y"};
    SavePicture picture(shape);
    LogCapture const log(1);

    ReadExr const file = saved(picture, app, exr_options(), folder.file("a.exr"));

    ASSERT_EQ(file.planes.size(), 1u);
    EXPECT_EQ(file.at("x.y", 7, 9), encoded(2, 7, 9));
    LogLine const line{1, "OpenExr save: fatal error during channel configuration.\n"};
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{line, line}));
}

}  // namespace
