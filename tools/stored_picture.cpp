#include "tools/stored_picture.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfTestFile.h>
#include <ImfTileDescription.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <bit>

#include "tools/exr_names.h"

namespace zvio {

namespace {

GMathVec4<int> window(Imath::Box2i const& box)
{
    return {box.min.x, box.min.y, box.max.x - box.min.x + 1, box.max.y - box.min.y + 1};
}

StoredHeader exr_header(Imf::Header const& header)
{
    StoredHeader stored;
    stored.format = "openexr";
    stored.data_window = window(header.dataWindow());
    stored.display_window = window(header.displayWindow());
    stored.pixel_aspect_ratio = header.pixelAspectRatio();
    stored.compression = exr_compression_name(header.compression());
    if (header.hasTileDescription()) {
        stored.tile_width = static_cast<int>(header.tileDescription().xSize);
        stored.tile_height = static_cast<int>(header.tileDescription().ySize);
    }
    for (auto channel = header.channels().begin(); channel != header.channels().end(); ++channel)
        stored.channels.push_back({lower_case(channel.name()), exr_type_name(channel.channel().type)});
    return stored;
}

StoredHeader oiio_header(OIIO::ImageSpec const& spec, std::string const& format)
{
    StoredHeader stored;
    stored.format = format;
    stored.data_window = {spec.x, spec.y, spec.width, spec.height};
    stored.display_window = {spec.full_x, spec.full_y, spec.full_width, spec.full_height};
    stored.pixel_aspect_ratio = spec.get_float_attribute("PixelAspectRatio", 1.0f);
    stored.compression = spec.get_string_attribute("compression");
    stored.tile_width = spec.tile_width;
    stored.tile_height = spec.tile_height;
    for (int channel = 0; channel < spec.nchannels; ++channel)
        stored.channels.push_back(
            {lower_case(spec.channel_name(channel)), spec.channelformat(channel).c_str()});
    return stored;
}

bool has_subsampled_channels(Imf::Header const& header)
{
    for (auto channel = header.channels().begin(); channel != header.channels().end(); ++channel)
        if (channel.channel().xSampling != 1 || channel.channel().ySampling != 1)
            return true;
    return false;
}

struct ExrReader {
    explicit ExrReader(char const* path)
        : file(path)
    {
    }

    bool read(int y, int rows, std::vector<double>& planes, std::string& trouble)
    {
        bits.assign(planes.size(), 0);
        Imath::Box2i box = file.header().dataWindow();
        box.min.y = y;
        box.max.y = y + rows - 1;
        Imf::FrameBuffer frame;
        auto const& channels = file.header().channels();
        std::size_t const plane_size = std::size_t(rows) * (box.max.x - box.min.x + 1);
        std::size_t plane = 0;
        for (auto channel = channels.begin(); channel != channels.end(); ++channel, ++plane)
            frame.insert(channel.name(), Imf::Slice::Make(kept_type(channel.channel().type),
                                                          bits.data() + plane * plane_size, box));
        bool is_read = true;
        try {
            file.setFrameBuffer(frame);
            file.readPixels(box.min.y, box.max.y);
        } catch (std::exception const& error) {
            trouble = error.what();
            is_read = false;
        }
        plane = 0;
        for (auto channel = channels.begin(); channel != channels.end(); ++channel, ++plane)
            widen(channel.channel().type, plane * plane_size, plane_size, planes);
        return is_read;
    }

    static Imf::PixelType kept_type(Imf::PixelType type)
    {
        return type == Imf::UINT ? Imf::UINT : Imf::FLOAT;
    }

    void widen(Imf::PixelType type, std::size_t first, std::size_t count, std::vector<double>& planes) const
    {
        for (std::size_t index = first; index < first + count; ++index)
            planes[index] = type == Imf::UINT ? bits[index] : std::bit_cast<float>(bits[index]);
    }

    Imf::InputFile file;
    std::vector<std::uint32_t> bits = {};
};

struct OiioReader {
    explicit OiioReader(std::unique_ptr<OIIO::ImageInput> opened)
        : input(std::move(opened))
    {
    }

    bool read(int y, int rows, std::vector<double>& planes, std::string& trouble)
    {
        auto const& spec = input->spec();
        std::size_t const channels = std::size_t(spec.nchannels), plane_size = planes.size() / channels;
        samples.assign(planes.size(), 0.0);
        bool const is_read = spec.tile_width
                                 ? input->read_tiles(0, 0, spec.x, spec.x + spec.width, y, y + rows, 0, 1, 0,
                                                     spec.nchannels, OIIO::TypeDesc::DOUBLE, samples.data())
                                 : input->read_scanlines(0, 0, y, y + rows, 0, 0, spec.nchannels,
                                                         OIIO::TypeDesc::DOUBLE, samples.data());
        // Some readers call a damaged row good and leave a text behind.
        trouble = input->geterror();
        for (std::size_t channel = 0; channel < channels; ++channel)
            for (std::size_t index = 0; index < plane_size; ++index)
                planes[channel * plane_size + index] = samples[index * channels + channel];
        return is_read && trouble.empty();
    }

    std::unique_ptr<OIIO::ImageInput> input;
    std::vector<double> samples = {};
};

}  // namespace

bool StoredPicture::open_exr(std::string const& path, std::string& trouble)
{
    auto const reader = std::make_shared<ExrReader>(path.c_str());
    if (has_subsampled_channels(reader->file.header())) {
        trouble = "a channel has fewer samples than there are pixels";
        return false;
    }
    m_header = exr_header(reader->file.header());
    m_read = [reader](int y, int rows, std::vector<double>& planes, std::string& text) {
        return reader->read(y, rows, planes, text);
    };
    return true;
}

bool StoredPicture::open_oiio(std::string const& path, std::string& trouble)
{
    OIIO::ImageSpec configuration;
    configuration.attribute("oiio:UnassociatedAlpha", 1);
    auto const reader = std::make_shared<OiioReader>(OIIO::ImageInput::open(path, &configuration));
    if (!reader->input || reader->input->spec().deep) {
        trouble = reader->input ? "a deep picture" : OIIO::geterror();
        return false;
    }
    m_header = oiio_header(reader->input->spec(), reader->input->format_name());
    m_read = [reader](int y, int rows, std::vector<double>& planes, std::string& text) {
        return reader->read(y, rows, planes, text);
    };
    return true;
}

std::unique_ptr<StoredPicture> StoredPicture::open(std::string const& path, std::string& trouble)
{
    std::unique_ptr<StoredPicture> picture(new StoredPicture);
    try {
        bool const is_open =
            is_exr_file(path) ? picture->open_exr(path, trouble) : picture->open_oiio(path, trouble);
        return is_open ? std::move(picture) : nullptr;
    } catch (std::exception const& error) {
        trouble = error.what();
        return nullptr;
    }
}

bool StoredPicture::read(int y, int rows, std::vector<double>& planes, std::string& trouble)
{
    planes.assign(std::size_t(rows) * m_header.data_window.width() * m_header.channels.size(), 0.0);
    try {
        return planes.empty() || m_read(y, rows, planes, trouble);
    } catch (std::exception const& error) {
        trouble = error.what();
        return false;
    }
}

std::optional<std::size_t> StoredHeader::find_channel(std::string const& name) const
{
    for (std::size_t index = 0; index < channels.size(); ++index)
        if (channels[index].name == name)
            return index;
    return {};
}

bool is_exr_file(std::string const& path)
{
    return Imf::isOpenExrFile(path.c_str());
}

std::string lower_case(std::string text)
{
    for (char& letter : text)
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    return text;
}

}  // namespace zvio
