#include "image_io/save/exr_channel_buffers.h"

#include <ImfChannelList.h>

#include "host/colorio/color_io.h"
#include "tests/save/exr_saves.h"

namespace {

using namespace zv_test;
using zv_image_io::ExrChannelBuffer;
using zv_image_io::ExrChannelBuffers;

/// A header that declares R, G, A as half, "depth.Z" as float and "id.x" as integers.
Imf::Header header()
{
    Imf::Header result(8, 8);
    for (char const* name : {"R", "G", "A"})
        result.channels().insert(name, Imf::Channel(Imf::HALF));
    result.channels().insert("depth.Z", Imf::Channel(Imf::FLOAT));
    result.channels().insert("id.x", Imf::Channel(Imf::UINT));
    return result;
}

struct Buffers {
    explicit Buffers(bool is_conversion_on,
                     std::vector<std::string> const& names = {"g", "r", "depth.z", "b", "id.x"})
        : picture([&] {
            SavePicture::Shape shape;
            shape.names = names;
            return shape;
        }())
    {
        channels = picture.map().m_channels;
        channels.add(nullptr);
        log.clear();
        buffers = std::make_unique<ExrChannelBuffers>(header(), channels, 12, is_conversion_on);
    }
    LogCapture log;
    SavePicture picture;
    CoreVector<ImageMapChannel*> channels;
    std::unique_ptr<ExrChannelBuffers> buffers;

    ExrChannelBuffer const& operator[](unsigned int index) const { return buffers->entries[index]; }
};

TEST(ExrChannelBuffers, HaveAnEntryForEachPosition)
{
    Buffers const buffers(false);

    ASSERT_EQ(buffers.buffers->count, 6u);
    EXPECT_EQ(buffers[0].name, "G");
    EXPECT_TRUE(buffers[0].is_rgba);
    EXPECT_EQ(buffers[1].name, "R");
    EXPECT_TRUE(buffers[1].is_rgba);
    EXPECT_EQ(buffers[2].name, "depth.Z");
    EXPECT_FALSE(buffers[2].is_rgba);
    EXPECT_EQ(buffers[4].name, "id.x");
    EXPECT_EQ(buffers[5].name, "");
    EXPECT_FALSE(buffers[5].is_rgba);
}

TEST(ExrChannelBuffers, HaveThePlanesThatTheirTypeNeeds)
{
    Buffers const buffers(false);

    EXPECT_EQ(buffers[0].type, Imf::HALF);
    EXPECT_TRUE(buffers[0].half_buffer && buffers[0].float_buffer);
    EXPECT_EQ(buffers[2].type, Imf::FLOAT);
    EXPECT_TRUE(!buffers[2].half_buffer && buffers[2].float_buffer);
    EXPECT_EQ(buffers[4].type, Imf::UINT);
    EXPECT_TRUE(!buffers[4].half_buffer && buffers[4].float_buffer);
    EXPECT_FALSE(buffers[4].is_written());
    for (unsigned int i = 0; i < 12; ++i) {
        EXPECT_EQ(buffers[0].half_buffer[i], 0);
        EXPECT_EQ(buffers[0].float_buffer[i], 0.0f);
    }
}

TEST(ExrChannelBuffers, AChannelThatTheHeaderLacksIsToldAndStaysUnset)
{
    Buffers const buffers(true);

    EXPECT_EQ(int(buffers[3].type), 3);
    EXPECT_FALSE(buffers[3].half_buffer || buffers[3].float_buffer);
    EXPECT_EQ(int(buffers[5].type), 3);
    EXPECT_FALSE(buffers[5].half_buffer || buffers[5].float_buffer);
    EXPECT_EQ(buffers.log.lines(),
              (std::vector<LogLine>{{1, "OpenExr save: fatal error during channel configuration.\n"}}));
}

TEST(ExrChannelBuffers, PointAtTheColourIfThereIsAConversion)
{
    Buffers const buffers(true, {"r", "x.y", "a", "b"});

    EXPECT_EQ(buffers.buffers->red, buffers[0].float_buffer.get());
    EXPECT_EQ(buffers.buffers->green, nullptr);
    EXPECT_EQ(buffers.buffers->blue, nullptr) << "not in the header";
    EXPECT_EQ(buffers.buffers->alpha, buffers[2].float_buffer.get());
    EXPECT_TRUE(buffers.buffers->convert);
}

TEST(ExrChannelBuffers, PointAtNothingIfThereIsNone)
{
    Buffers const off(false), no_colour(true, {"depth.z", "b", "R"});

    for (Buffers const* const each : {&off, &no_colour}) {
        EXPECT_EQ(each->buffers->red, nullptr);
        EXPECT_EQ(each->buffers->green, nullptr);
        EXPECT_EQ(each->buffers->blue, nullptr);
        EXPECT_EQ(each->buffers->alpha, nullptr);
        EXPECT_FALSE(each->buffers->convert);
    }
}

TEST(ExrChannelBuffers, RefuseSizesThatMemoryCannotHold)
{
    SavePicture picture({});

    EXPECT_THROW(ExrChannelBuffers(header(), picture.map().m_channels, std::size_t(1) << 62, false),
                 std::bad_alloc);
    EXPECT_THROW(ExrChannelBuffers(header(), picture.map().m_channels, std::size_t(1) << 46, false),
                 std::bad_alloc);
}

TEST(SaveConverter, IsOnForAnotherSpaceThanTheApplications)
{
    EXPECT_TRUE(zv_image_io::make_save_converter("sRGB").is_enabled());
    EXPECT_FALSE(zv_image_io::make_save_converter("").is_enabled());
    EXPECT_FALSE(zv_image_io::make_save_converter("no such space").is_enabled());
    EXPECT_FALSE(zv_image_io::make_save_converter(ColorIO::get_default_color_space_name()).is_enabled());
}

}  // namespace
