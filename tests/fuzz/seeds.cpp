#include "tests/fuzz/seeds.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <functional>
#include <map>

#include "tests/fuzz/harness.h"
#include "tests/support/handmade_files.h"
#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"

namespace zv_fuzz {

namespace {

namespace fs = std::filesystem;
using OIIO::TypeDesc;
using Seeds = std::vector<std::string>;

constexpr int kEdge = 16;

/// Small pictures of one format, made with the file libraries.
class Album {
public:
    explicit Album(std::string const& extension)
        : m_path(m_folder.file("picture." + extension))
    {
    }

    /// Makes the file, and keeps its bytes if the format has such pictures.
    void add(std::function<void(std::string const& path)> const& make)
    {
        try {
            make(m_path);
            auto const bytes = zv_test::file_bytes(m_path);
            m_seeds.emplace_back(bytes.begin(), bytes.end());
        } catch (std::exception const&) {
            // The format refuses some shapes.
        }
        std::error_code ignored;
        fs::remove(m_path, ignored);
    }

    void add(OIIO::ImageSpec const& spec)
    {
        add([&spec](std::string const& path) { zv_test::write_picture(path, spec); });
    }

    Seeds const& seeds() const { return m_seeds; }

private:
    zv_test::TempDir m_folder;
    std::string m_path;
    Seeds m_seeds;
};

OIIO::ImageSpec picture(int channels, TypeDesc type, char const* compression = nullptr, int tile = 0)
{
    auto spec = zv_test::picture_spec(kEdge, kEdge, channels, type, 0, 0, tile);
    if (compression)
        spec.attribute("compression", compression);
    return spec;
}

void write_two_parts(std::string const& path)
{
    std::vector<OIIO::ImageSpec> parts{picture(3, TypeDesc::HALF), picture(1, TypeDesc::FLOAT)};
    parts[0].attribute("oiio:subimagename", "left");
    parts[1].attribute("oiio:subimagename", "right");
    std::vector<float> const samples(kEdge * kEdge * 3, 0.5f);
    auto const output = OIIO::ImageOutput::create(path);
    output->open(path, int(parts.size()), parts.data());
    output->write_image(TypeDesc::FLOAT, samples.data());
    output->open(path, parts[1], OIIO::ImageOutput::AppendSubimage);
    output->write_image(TypeDesc::FLOAT, samples.data());
    output->close();
}

Seeds exr_pictures()
{
    Album album("exr");
    zv_test::ExrPicture picture;
    picture.x = -3;
    picture.y = 2;
    picture.width = picture.height = kEdge;
    for (int compression = 0; compression < 10; ++compression)
        for (int tile : {0, 8, 10}) {
            picture.compression = Imf::Compression(compression);
            picture.tile = tile;
            picture.channels = {{"A"}, {"B"}, {"G"}, {"R"}};
            if (tile != 8)
                picture.channels.insert(picture.channels.end(), {{"depth.Z", Imf::FLOAT}, {"id", Imf::UINT}});
            album.add([&picture](std::string const& path) { zv_test::write_exr(path, picture); });
        }
    picture.tile = 0;
    picture.channels = {{"Y"}};
    picture.rows_written = 5;
    album.add([&picture](std::string const& path) { zv_test::write_exr(path, picture); });
    picture.channels = {{"R"}, {"G"}, {"B"}};
    picture.rows_written = -1;
    picture.display_x = -10;
    picture.display_width = picture.display_height = 40;
    album.add([&picture](std::string const& path) { zv_test::write_exr(path, picture); });
    album.add(write_two_parts);
    return album.seeds();
}

Seeds tiff_pictures()
{
    Album album("tif");
    for (char const* compression : {"none", "lzw", "zip", "packbits", "jpeg", "ccittrle", "ccittfax4"})
        for (int tile : {0, 16}) {
            album.add(picture(3, TypeDesc::UINT8, compression, tile));
            album.add(picture(4, TypeDesc::FLOAT, compression, tile));
        }
    auto spec = picture(4, TypeDesc::UINT16, "lzw");
    album.add(spec);
    spec.attribute("planarconfig", "separate");
    spec.attribute("oiio:UnassociatedAlpha", 1);
    album.add(spec);
    spec = picture(1, TypeDesc::UINT8, "none");
    album.add(spec);
    spec.attribute("oiio:BitsPerSample", 4);
    album.add(spec);
    spec.attribute("oiio:BitsPerSample", 1);
    album.add(spec);
    album.add(picture(7, TypeDesc::UINT16, "zip"));
    album.add(picture(3, TypeDesc::DOUBLE, "none"));
    return album.seeds();
}

char const* compression_of(std::string const& extension)
{
    if (extension == "tga" || extension == "sgi" || extension == "iff")
        return "rle";
    return extension == "zfile" ? "zip" : "jpeg:50";
}

Seeds simple_pictures(std::string const& extension)
{
    Album album(extension);
    for (int channels : {3, 1, 4, 2})
        for (TypeDesc type : {TypeDesc::UINT8, TypeDesc::UINT16, TypeDesc::FLOAT}) {
            if (channels == 2 && extension == "dpx")
                continue;  // its writer ends the process
            auto spec = picture(channels, type);
            if (extension == "heic")
                spec.width = spec.full_width = 64;  // of narrower rows its writer reads more than there is
            album.add(spec);
            spec.attribute("compression", compression_of(extension));
            spec.attribute("Comment", "a comment");
            spec.attribute("Orientation", 6);
            spec.attribute("oiio:UnassociatedAlpha", 1);
            album.add(spec);
        }
    return album.seeds();
}

std::string text(std::vector<char> const& bytes)
{
    return {bytes.begin(), bytes.end()};
}

/// Bitmaps of all depths, which the writer has not.
Seeds icon_pictures()
{
    Seeds seeds = simple_pictures("ico");
    for (unsigned bits : {1, 4, 8, 24, 32}) {
        unsigned const colours = bits < 24 ? 1u << bits : 0;
        seeds.push_back(text(zv_test::icon_file({.bits = bits,
                                                 .colours = colours % 256,
                                                 .palette = std::vector<char>(colours * 4, 50),
                                                 .pixels = std::vector<char>(16 * 16 * bits / 8 + 64, 1)})));
    }
    return seeds;
}

/// Nothing writes them.
Seeds psd_pictures()
{
    Seeds seeds;
    for (std::uint32_t channels : {1, 3, 4})
        for (bool has_runs : {false, true}) {
            zv_test::FileBuilder file;
            file.text("8BPS").big(1, 2).fill(6).big(channels, 2).big(kEdge, 4).big(kEdge, 4).big(8, 2);
            file.big(channels == 1 ? 1 : 3, 2).big(0, 4).big(0, 4).big(0, 4).big(has_runs, 2);
            unsigned const rows = channels * kEdge;
            for (unsigned row = 0; has_runs && row < rows; ++row)
                file.big(2, 2);
            for (unsigned row = 0; row < rows; ++row)
                has_runs ? file.big(257 - kEdge, 1).big(row, 1) : file.fill(kEdge, 9);
            seeds.push_back(text(file.get()));
        }
    return seeds;
}

Seeds pictures(std::string const& extension)
{
    static std::map<std::string, std::function<Seeds()>> const makers{
        {"exr", exr_pictures}, {"tif", tiff_pictures}, {"ico", icon_pictures}, {"psd", psd_pictures}};
    auto const maker = makers.find(extension);
    return maker == makers.end() ? simple_pictures(extension) : maker->second();
}

/// The length of a file chooses what is done with it: the first gets every length, the others one each.
Seeds load_seeds(std::string const& extension)
{
    constexpr std::size_t kChoices = 7;
    Seeds seeds = pictures(extension);
    for (std::size_t i = 1; i < seeds.size(); ++i)
        seeds[i].append(i % kChoices, '\0');
    for (std::size_t i = 1; i < kChoices; ++i)
        seeds.push_back(seeds[0] + std::string(i, '\0'));
    return seeds;
}

Seeds probe_seeds()
{
    Seeds seeds;
    auto const extensions = probe_extensions();
    for (std::size_t i = 0; i < extensions.size(); ++i) {
        Seeds const all = pictures(extensions[i]);
        constexpr std::size_t kOfEach = 4;
        for (std::size_t k = 0; k < std::min(all.size(), kOfEach); ++k)
            seeds.push_back(char(i) + all[k]);
    }
    return seeds;
}

Seeds weak_seeds()
{
    Seeds seeds;
    auto const extensions = weak_extensions();
    for (std::size_t i = 0; i < extensions.size(); ++i)
        for (std::string const& seed : load_seeds(extensions[i]))
            seeds.push_back(char(i) + seed);
    return seeds;
}

Seeds parser_seeds()
{
    return {"a 1 2.5 -3e-4 true \"text\" 'c' # a comment\nb = 2\nempty\n",
            "window 0, 0,\n 1920, 1080; \"a name\" \"\\n\\t\\r\\\\\\\"\\'\\x41\"",
            "\xEF\xBB\xBFgroup\r\n{\r\n inner { x .5; y +3 } inner { x nan y inf }\r\n}\r\n",
            "note \"see\" { page 4 } { page 5 } 4294967296 1e999",
            "a { b { c { d { e { f 1 } } } } }",
            std::string(70, '{') + "x",
            "q 'ab' w \"open",
            ""};
}

Seeds preset_seeds()
{
    return {
        "Film_scans {\n full {\n display_name \"Full scan (4096x3112)\"\n aspect_ratio 1.0\n width 4096\n "
        "height 3112\n }\n \"half scan\" { width 2048; height 1556 }\n}\n",
        "Video { PAL { aspect_ratio 1.0926 width 720 height 576 } }\nWeb { square { width 1080 height 1080 } "
        "}",
        "A { one { width -1 height 99999999999 } one { width 1 height 1 } two { aspect_ratio nan } }",
        "A { one 5 two { display_name 7 } }\nb 5\n",
        "A 1\nB\n",
        "x {"};
}

Seeds metadata_seeds()
{
    std::string const zero(1, '\0');
    return {"shot" + zero + "artist \"Ann\"\nfocal 35.5\n" + zero + "artist \"Ben\"; frame 7",
            "p" + zero + "worldToCamera 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1" + zero + "comment \"a comment\" 2",
            "p" + zero + "v 1 2; v3 1 2 3; m 1 2 3 4 5 6 7 8 9; b true; c 'x'" + zero + "none; group { x 1 }",
            "" + zero + "channels 1; compression 2; type \"x\"" + zero + "dataWindow \"x\""};
}

/// Settings, format and two numbers, then the name and the layers.
Seeds output_name_seeds()
{
    Seeds seeds;
    for (char settings : {0, 1, 2, 3, 4, 5, 9})
        for (char format = 0; format < 10; ++format) {
            std::string seed{settings, format, 12, 0, 0, 0, 3, 0, 0, 0};
            for (char const* text :
                 {"render.0001.exr", "diffuse.r", "diffuse.g", "depth.z", "id", ".hidden", "rgba"})
                seed.append(text).push_back('\0');
            seeds.push_back(seed);
        }
    seeds.push_back(std::string(10, '\0') + "${a}/$b%%04d..-1.tif" + '\0' + "$b$$" + '\0' + "x${a}");
    return seeds;
}

std::string number_bytes(double value)
{
    return {reinterpret_cast<char const*>(&value), sizeof value};
}

/// Settings and compression, then items: a name, the number of values, the values with their kinds.
Seeds exr_header_seeds()
{
    Seeds seeds;
    for (char compression = 0; compression < 13; ++compression) {
        std::string seed{char(compression % 4), compression};
        seed += std::string("focal\0\1\3", 8) + number_bytes(35.5);
        seed += std::string("artist\0\1\4\3Ann", 13);
        for (char count : {2, 3, 9, 16, 5}) {
            seed += std::string("values") + char('0' + count % 10) + '\0' + count;
            for (char i = 0; i < count; ++i)
                seed += {7, i};
        }
        seed += std::string("comment\0\1\4\5hello", 16);
        seed += std::string("worldToCamera\0\20", 15);
        for (char i = 0; i < 16; ++i)
            seed += {7, i};
        seeds.push_back(seed);
    }
    seeds.push_back(std::string("\4\1\0\0\200\77channels\0\1\7\1", 19));
    return seeds;
}

/// Operations of three bytes.
Seeds hash_table_seeds()
{
    std::string large, mixed;
    for (char i = 0; i < 10; ++i)
        large += {4, char(i * 24), char(i % 4)};
    for (char i = 0; i < 40; ++i)
        mixed += {char(i % 10), char(i * 7), char(i % 4)};
    return {mixed, large, large + mixed + large,
            large + std::string("\5\0\0\5\140\0\5\300\0\4\1\1\6\0\0\7\0\0", 18)};
}

}  // namespace

std::vector<std::string> seeds_for(std::string const& harness)
{
    static std::map<std::string, std::function<Seeds()>> const makers{
        {"probe", probe_seeds},
        {"load_exr", [] { return load_seeds("exr"); }},
        {"load_tiff", [] { return load_seeds("tif"); }},
        {"load_png", [] { return load_seeds("png"); }},
        {"load_tga", [] { return load_seeds("tga"); }},
        {"load_hdr", [] { return load_seeds("hdr"); }},
        {"load_bmp", [] { return load_seeds("bmp"); }},
        {"load_jpeg", [] { return load_seeds("jpg"); }},
        {"load_weak", weak_seeds},
        {"parser", parser_seeds},
        {"presets", preset_seeds},
        {"metadata", metadata_seeds},
        {"output_names", output_name_seeds},
        {"exr_header", exr_header_seeds},
        {"hash_table", hash_table_seeds},
    };
    auto const maker = makers.find(harness);
    return maker == makers.end() ? Seeds() : maker->second();
}

}  // namespace zv_fuzz
