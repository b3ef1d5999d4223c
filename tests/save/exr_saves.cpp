#include "tests/save/exr_saves.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfInputFile.h>
#include <ImfTiledInputFile.h>

#include <array>
#include <cstdio>
#include <limits>

#include "host/image/image_map_channel.h"

// Tests ask for more memory than there is; with the sanitizer, too, that is to be a failed allocation.
extern "C" char const* __asan_default_options();
extern "C" char const* __asan_default_options()
{
    return "allocator_may_return_null=1";
}

namespace zv_test {

namespace {

template <class T>
void fill(ImageMapChannel& channel, int number, SavePicture::Shape const& shape, GMathVec4<int> const& window)
{
    std::vector<T> plane;
    for (int y = shape.y; y < shape.y + shape.height; ++y)
        for (int x = shape.x; x < shape.x + shape.width; ++x)
            plane.push_back(static_cast<T>(static_cast<float>(shape.sample(number, x, y))));
    channel.fill_tiles(reinterpret_cast<unsigned char const*>(plane.data()), window, true);
}

}  // namespace

SavePicture::SavePicture(Shape const& wanted)
    : shape(wanted)
    , window(wanted.x, wanted.y, wanted.width, wanted.height)
    , canvas(std::make_unique<ImageCanvas>(false))
{
    canvas->create_image(nullptr, ImagePixel::DEPTH_NONE, shape.depth, ImagePixel::BIT_TYPE_FLOAT,
                         shape.tile);
    for (auto const& name : shape.names)
        map().add_channel(name.c_str(), shape.depth, ImagePixel::BIT_TYPE_FLOAT);
    map().create_tiles(window, false);
    for (unsigned int i = 0; i < map().get_channel_count(); ++i)
        shape.depth == ImagePixel::BIT_DEPTH_16 ? fill<half>(*map().m_channels[i], int(i), shape, window)
                                                : fill<float>(*map().m_channels[i], int(i), shape, window);
    canvas->set_canvas(window, &window);
    canvas->finalize(true, false);
    context = ImageEvalContext(*canvas, 0);
}

std::unique_ptr<ImageIOOutput> SavePicture::output(std::string const& path)
{
    auto result = std::make_unique<ImageIOOutput>(canvas->get_map(), "image", path.c_str(), nullptr);
    result->get_channels() = map().m_channels;
    return result;
}

ImageSaveOptions exr_options(ImageIOFileFormat::Save format,
                             ImageIOFileFormat::OpenExrCompressionMethod compression)
{
    ImageSaveOptions options;
    options.color_space = "";
    options.format = format;
    options.compression = compression;
    return options;
}

float ReadExr::at(std::string const& channel, int x, int y) const
{
    auto const& data = header.dataWindow();
    std::size_t const width = std::size_t(data.max.x - data.min.x + 1);
    return planes.at(channel).at(std::size_t(y - data.min.y) * width + std::size_t(x - data.min.x));
}

ReadExr read_exr(std::string const& path)
{
    Imf::InputFile file(path.c_str());
    ReadExr result;
    result.header = file.header();
    result.is_complete = file.isComplete();
    auto const data = file.header().dataWindow();
    std::size_t const width = std::size_t(data.max.x - data.min.x + 1),
                      height = std::size_t(data.max.y - data.min.y + 1);
    Imf::FrameBuffer buffer;
    for (auto channel = file.header().channels().begin(); channel != file.header().channels().end();
         ++channel) {
        auto& plane = result.planes[channel.name()];
        plane.assign(width * height, std::numeric_limits<float>::quiet_NaN());
        buffer.insert(channel.name(), Imf::Slice::Make(Imf::FLOAT, plane.data(), data));
    }
    file.setFrameBuffer(buffer);
    for (int y = data.min.y; y <= data.max.y; ++y) {
        try {
            file.readPixels(y);
            result.line_is_there.push_back(true);
        } catch (Iex::BaseExc const&) {
            result.line_is_there.push_back(false);
        }
    }
    return result;
}

bool tile_reads(std::string const& path, int column, int row)
try {
    Imf::TiledInputFile file(path.c_str());
    file.setFrameBuffer({});
    file.readTile(column, row);
    return true;
} catch (Iex::BaseExc const&) {
    return false;
}

void expect_channels(ReadExr const& file, SavePicture::Shape const& shape,
                     std::vector<std::string> const& names_in_file)
{
    EXPECT_TRUE(file.is_complete);
    ASSERT_EQ(file.planes.size(), names_in_file.size());
    auto const data = file.header.dataWindow();
    for (std::size_t i = 0; i < names_in_file.size(); ++i) {
        ASSERT_EQ(file.planes.count(names_in_file[i]), 1u) << names_in_file[i];
        expect_plane(names_in_file[i], file.planes.at(names_in_file[i]), data.min.x, data.min.y,
                     data.max.x - data.min.x + 1, data.max.y - data.min.y + 1, [&](int x, int y) {
                         bool const is_inside = x >= shape.x && y >= shape.y && x < shape.x + shape.width &&
                                                y < shape.y + shape.height;
                         return is_inside ? float(shape.sample(int(i), x, y)) : 0.0f;
                     });
    }
}

std::string output_of(std::string const& command)
{
    std::string text;
    FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
    if (!pipe)
        return text;
    std::array<char, 4096> piece;
    while (std::size_t const count = std::fread(piece.data(), 1, piece.size(), pipe))
        text.append(piece.data(), count);
    EXPECT_EQ(pclose(pipe), 0) << command << "\n" << text;
    return text;
}

}  // namespace zv_test
