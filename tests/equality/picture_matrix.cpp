#include "tests/equality/picture_matrix.h"

#include <OpenImageIO/imageio.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>

#include "host/colorio/color_io.h"
#include "tests/support/pictures.h"

namespace zv_equality {

namespace {

using OIIO::ImageSpec;
using OIIO::TypeDesc;

/// The pictures made so far.
class Folder {
public:
    explicit Folder(std::string path)
        : m_path(std::move(path))
    {
    }

    std::string next(std::string const& name) const { return m_path + "/" + name; }

    /// Writes rough samples; nothing where the writer refuses.
    bool add(std::string const& name, ImageSpec const& spec)
    {
        try {
            zv_test::write_picture(next(name), spec, rough_sample);
        } catch (std::exception const&) {
            std::filesystem::remove(next(name));
            return false;
        }
        m_pictures.push_back(next(name));
        return true;
    }
    void keep(std::string const& name) { m_pictures.push_back(next(name)); }

    std::vector<std::string> const& pictures() const { return m_pictures; }

private:
    std::string m_path;
    std::vector<std::string> m_pictures;
};

void name_channels(ImageSpec& spec)
{
    static char const* const kNames[] = {"R", "G", "B", "A", "depth.Z", "Diffuse.R"};
    spec.alpha_channel = -1;
    spec.z_channel = -1;
    if (spec.nchannels == 1)
        spec.channelnames = {"Y"};
    else if (spec.nchannels == 2)
        spec.channelnames = {"L", "A"};
    else
        for (int channel = 0; channel < spec.nchannels; ++channel)
            spec.channelnames[std::size_t(channel)] =
                channel < 6 ? kNames[channel]
                            : "layer" + std::to_string(channel / 4) + ".c" + std::to_string(channel);
}

ImageSpec spec_of(int width, int height, int channels, TypeDesc type, int x = 0, int y = 0, int tile = 0)
{
    ImageSpec spec = zv_test::picture_spec(width, height, channels, type, x, y, tile);
    spec.full_x = 0;
    spec.full_y = 0;
    name_channels(spec);
    return spec;
}

std::string size_text(int width, int height)
{
    return std::to_string(width) + "x" + std::to_string(height);
}

/// All 65536 halves, signalling NaNs too, in red and alpha.
void write_all_halves(std::string const& path)
{
    ImageSpec const spec = spec_of(256, 256, 4, TypeDesc::HALF);
    std::vector<std::uint16_t> samples;
    for (unsigned bits = 0; bits < 65536; ++bits)
        for (unsigned const sample : {bits, 0x3c00u, 0xffffu - bits, bits})
            samples.push_back(static_cast<std::uint16_t>(sample));
    auto const output = OIIO::ImageOutput::create(path, nullptr, "");
    output->open(path, spec);
    output->write_image(TypeDesc::HALF, samples.data());
    output->close();
}

void write_with_levels(std::string const& path, ImageSpec spec)
{
    auto const output = OIIO::ImageOutput::create(path, nullptr, "");
    spec.attribute("openexr:levelmode", 1);
    std::vector<float> const samples(
        std::size_t(spec.width) * std::size_t(spec.height) * std::size_t(spec.nchannels), 0.75f);
    for (auto mode = OIIO::ImageOutput::Create; spec.width > 0 && spec.height > 0;
         mode = OIIO::ImageOutput::AppendMIPLevel) {
        if (!output->open(path, spec, mode))
            break;
        output->write_image(TypeDesc::FLOAT, samples.data());
        bool const is_last = spec.width == 1 && spec.height == 1;
        spec.full_width = spec.width = std::max(1, spec.width / 2);
        spec.full_height = spec.height = std::max(1, spec.height / 2);
        if (is_last)
            break;
    }
    output->close();
}

}  // namespace

double rough_sample(int channel, int x, int y)
{
    auto mixed = std::uint32_t(channel) * 2654435761u ^ std::uint32_t(x) * 2246822519u ^
                 std::uint32_t(y) * 3266489917u;
    mixed ^= mixed >> 15;
    mixed *= 2246822519u;
    mixed ^= mixed >> 13;
    if (((x >> 6) + (y >> 6) * 3 + channel / 4) % 3 == 1)
        return channel == 3 ? 0.5 : 0.25;  // areas of one value
    double const part = double(mixed >> 8) / double(1 << 24);
    if (channel == 3) {
        static double const kAlphas[] = {0, 1, 0.5, 1e-9, 1e-8, 2e-8, 3e-7, 1e-6, 2e-6, -0.25, 1.5};
        return mixed % 16 < 11 ? kAlphas[mixed % 16] : part;
    }
    switch (mixed % 64) {
    case 0:
        return -part;
    case 1:
        return 1 + part * 100;
    case 2:
        return part * 1e-7;
    case 3:
        return 1e6 * part;
    case 4:
        return -0.0;
    case 5:
        return std::numeric_limits<double>::infinity();
    case 6:
        return std::numeric_limits<double>::quiet_NaN();
    default:
        return part;
    }
}

std::vector<std::string> make_exr_shapes(std::string const& path)
{
    Folder folder(path);
    int const sizes[][2] = {{1, 1}, {63, 65}, {64, 64}, {129, 1}, {97, 200}};
    for (auto const& [width, height] : sizes)
        for (TypeDesc const& type :
             {TypeDesc(TypeDesc::HALF), TypeDesc(TypeDesc::FLOAT), TypeDesc(TypeDesc::UINT32)})
            for (int const channels : {1, 2, 3, 4, 6, 40}) {
                if (type == TypeDesc::UINT32 && channels != 1 && channels != 4)
                    continue;
                if (channels == 40 && (height != 65 || type != TypeDesc::HALF))
                    continue;
                std::string const name =
                    size_text(width, height) + "_" + std::to_string(channels) + "_" + type.c_str() + ".exr";
                folder.add("lines_" + name, spec_of(width, height, channels, type));
                folder.add("tiles_" + name,
                           spec_of(width, height, channels, type, 0, 0, channels == 3 ? 16 : 64));
            }
    return folder.pictures();
}

std::vector<std::string> make_exr_compressions(std::string const& path)
{
    Folder folder(path);
    for (char const* const compression :
         {"none", "rle", "zips", "zip", "piz", "pxr24", "b44", "b44a", "dwaa", "dwab"})
        for (int const tile : {0, 32}) {
            for (TypeDesc const& type : {TypeDesc(TypeDesc::HALF), TypeDesc(TypeDesc::FLOAT)}) {
                ImageSpec spec = spec_of(70, 150, 4, type, 0, 0, tile);
                spec.attribute("compression", compression);
                folder.add(std::string(compression) + (tile ? "_tiles_" : "_lines_") + type.c_str() + ".exr",
                           spec);
            }
        }
    return folder.pictures();
}

std::vector<std::string> make_exr_oddities(std::string const& path)
{
    Folder folder(path);
    int const origins[][2] = {{10, 20}, {-30, -17}, {64, 128}, {-64, -128}, {-1, 0}, {64, 5}, {1000, -1000}};
    for (auto const& [x, y] : origins)
        for (int const tile : {0, 32, 64}) {
            ImageSpec spec = spec_of(100, 131, 4, TypeDesc::HALF, x, y, tile);
            spec.full_width = 80;
            spec.full_height = 90;
            folder.add("at_" + std::to_string(x) + "_" + std::to_string(y) + "_" + std::to_string(tile) +
                           ".exr",
                       spec);
        }
    for (int const tile : {0, 32}) {
        ImageSpec spec = spec_of(90, 70, 6, TypeDesc::HALF, 0, 0, tile);
        spec.channelformats.assign(6, TypeDesc::HALF);
        spec.channelformats[4] = TypeDesc::FLOAT;
        folder.add("half_float_" + std::to_string(tile) + ".exr", spec);
        spec.channelformats[5] = TypeDesc::UINT32;
        folder.add("half_float_uint_" + std::to_string(tile) + ".exr", spec);
        ImageSpec luminance = spec_of(90, 70, 2, TypeDesc::FLOAT, 5, 6, tile);
        luminance.channelnames = {"l", "Z"};
        folder.add("luminance_" + std::to_string(tile) + ".exr", luminance);
    }
    ImageSpec oblong = spec_of(90, 70, 3, TypeDesc::HALF, 0, 0, 32);
    oblong.tile_height = 64;
    folder.add("oblong_tiles.exr", oblong);
    folder.add("27_tiles.exr",
               spec_of(135, 48, 3, TypeDesc::HALF, 0, 0, 16));  // floats and doubles share them differently
    for (int const tile : {16, 128, 256})
        folder.add("tile_" + std::to_string(tile) + ".exr", spec_of(300, 140, 4, TypeDesc::HALF, 0, 0, tile));
    write_all_halves(folder.next("all_halves.exr"));
    folder.keep("all_halves.exr");
    write_with_levels(folder.next("levels.exr"), spec_of(100, 60, 4, TypeDesc::HALF, 0, 0, 32));
    folder.keep("levels.exr");
    return folder.pictures();
}

std::vector<std::string> make_tiff_pictures(std::string const& path)
{
    Folder folder(path);
    TypeDesc const types[] = {TypeDesc::UINT8,  TypeDesc::INT8,  TypeDesc::UINT16, TypeDesc::INT16,
                              TypeDesc::UINT32, TypeDesc::INT32, TypeDesc::FLOAT,  TypeDesc::DOUBLE};
    for (TypeDesc const& type : types)
        for (int const channels : {1, 3, 4, 6})
            for (int const tile : {0, 32}) {
                std::string const name =
                    std::string(type.c_str()) + "_" + std::to_string(channels) + "_" + std::to_string(tile);
                ImageSpec spec = spec_of(75, 133, channels, type, 0, 0, tile);
                if (channels == 4)
                    spec.alpha_channel = 3;
                folder.add(name + ".tif", spec);
                if (type != TypeDesc::UINT8 && type != TypeDesc::UINT16 && type != TypeDesc::FLOAT)
                    continue;
                spec.attribute("planarconfig", "separate");
                folder.add(name + "_separate.tif", spec);
                spec.attribute("oiio:UnassociatedAlpha", 1);
                spec.attribute("planarconfig", "contig");
                folder.add(name + "_straight.tif", spec);
            }
    for (char const* const compression : {"none", "lzw", "zip", "packbits", "jpeg"})
        for (int const rows : {1, 7, 1000}) {
            ImageSpec spec = spec_of(75, 133, 3, TypeDesc::UINT8);
            spec.attribute("compression", compression);
            spec.attribute("tiff:RowsPerStrip", rows);
            folder.add(std::string(compression) + "_strips_" + std::to_string(rows) + ".tif", spec);
        }
    for (int const origin : {10, 64})
        for (int const tile : {0, 64})
            folder.add("at_" + std::to_string(origin) + "_" + std::to_string(tile) + ".tif",
                       spec_of(100, 131, 4, TypeDesc::UINT16, origin, origin, tile));
    return folder.pictures();
}

std::vector<std::string> make_other_formats(std::string const& path)
{
    Folder folder(path);
    // Not "ico": the library's reader spoils the heap over some icons of its own writer. Not "fits": its reader tells
    // fewer names than channels.
    char const* const extensions[] = {"png", "jpg", "hdr", "tga", "bmp", "dpx", "cin",  "pnm",   "pgm", "ppm",
                                      "pfm", "sgi", "rla", "iff", "gif", "jp2", "webp", "zfile", "tx"};
    int const sizes[][2] = {{1, 1}, {63, 65}, {40, 150}};
    for (char const* const extension : extensions)
        for (auto const& [width, height] : sizes)
            for (TypeDesc const& type :
                 {TypeDesc(TypeDesc::UINT8), TypeDesc(TypeDesc::UINT16), TypeDesc(TypeDesc::FLOAT)})
                for (int const channels : {1, 2, 3, 4}) {
                    if (width == 1 && (channels != 3 || type != TypeDesc::UINT8))
                        continue;
                    if (type != TypeDesc::UINT8 && !std::strchr("pdcsrfzh", extension[0]))
                        continue;  // formats of bytes alone
                    if (extension == std::string("dpx") && channels == 2)
                        continue;  // ends the process
                    folder.add(size_text(width, height) + "_" + std::to_string(channels) + "_" +
                                   type.c_str() + "." + extension,
                               spec_of(width, height, channels, type));
                }
    for (char const* const kind : {"tga", "png"}) {
        ImageSpec spec = spec_of(75, 67, 4, TypeDesc::UINT8);
        spec.alpha_channel = 3;
        spec.attribute("compression", "rle");
        folder.add(std::string("alpha.") + kind, spec);
        spec.attribute("oiio:UnassociatedAlpha", 1);
        folder.add(std::string("straight.") + kind, spec);
    }
    return folder.pictures();
}

std::vector<LoadOrder> load_orders()
{
    CoreString const own = ColorIO::get_default_color_space_name();
    std::vector<LoadOrder> orders;
    auto const add = [&](std::string const& name, CoreString const& space) -> LoadOrder& {
        orders.push_back({name, {}, {}, false});
        orders.back().options.color_space = space;
        return orders.back();
    };
    auto const list = [&](std::string const& name, std::initializer_list<char const*> names) -> LoadOrder& {
        LoadOrder& order = add(name, own);
        order.has_channels = true;
        for (char const* const each : names)
            order.channels.add(each);
        return order;
    };
    add("as it is", own);
    add("sRGB", "sRGB");
    add("premultiplied", own).options.premultiply = true;
    add("premultiplied sRGB", "sRGB").options.premultiply = true;
    add("unknown space", "nothing of the kind");
    add("mixed by a matrix", "ACEScg");
    LoadOrder& alpha = add("alpha for all", "sRGB");
    alpha.options.force_alpha = true;
    alpha.options.single_channel_mode = 0;
    for (int const mode : {2, 3, 7})
        add("single channel " + std::to_string(mode), "sRGB").options.single_channel_mode = mode;
    list("three channels", {"r", "g", "b"});
    list("one channel and what is not there", {"b", "nothing", "r", "a"}).options.color_space = "sRGB";
    list("more than four channels", {"a", "r", "r", "g", "b"}).options.premultiply = true;
    list("not from the first channel on", {"b", "g"});
    list("no channels", {});
    return orders;
}

}  // namespace zv_equality
