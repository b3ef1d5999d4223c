#include "tests/torture/source_pictures.h"

#include <algorithm>
#include <exception>
#include <filesystem>

#include "tests/support/pictures.h"

namespace zv_torture {

namespace {

namespace fs = std::filesystem;
using OIIO::TypeDesc;

using Names = std::vector<std::string>;

constexpr int kWidth = 75, kHeight = 41;

char const* const kExrNames[] = {"none", "rle", "zips", "zip", "piz", "pxr24", "b44", "b44a", "dwaa", "dwab"};

zv_test::ExrPicture exr_picture(int compression, int tile)
{
    zv_test::ExrPicture picture;
    picture.x = -3;
    picture.y = 5;
    picture.width = kWidth;
    picture.height = kHeight;
    picture.channels = {{"A"}, {"B"}, {"G"}, {"R"}, {"depth.Z", Imf::FLOAT}, {"id", Imf::UINT}};
    picture.tile = tile;
    picture.compression = Imf::Compression(compression);
    return picture;
}

void make_exr_pictures(std::string const& folder)
{
    for (int compression = 0; compression < Imf::NUM_COMPRESSION_METHODS && compression < 10; ++compression) {
        std::string const name = folder + "/exr_" + kExrNames[compression];
        zv_test::write_exr(name + "_lines.exr", exr_picture(compression, 0));
        zv_test::write_exr(name + "_tiles.exr", exr_picture(compression, 32));
    }
    auto picture = exr_picture(Imf::ZIP_COMPRESSION, 0);
    picture.channels = {{"Y"}};
    zv_test::write_exr(folder + "/exr_grey.exr", picture);
    picture.channels = {{"R"}, {"G"}, {"B"}};
    zv_test::write_exr(folder + "/exr_rgb_half.exr", picture);
}

/// A format may refuse: then there is no such picture, and its name is noted.
void make_picture(Names& refused, std::string const& path, int channels, TypeDesc type,
                  char const* compression = nullptr, int tile = 0)
{
    // The writer of HEIF files reads whole blocks of 64 pixels.
    int const width = path.ends_with(".heic") ? 64 : kWidth;
    auto spec = zv_test::picture_spec(width, kHeight, channels, type, 0, 0, tile);
    if (compression)
        spec.attribute("compression", compression);
    try {
        zv_test::write_picture(path, spec);
    } catch (std::exception const&) {
        refused.push_back(fs::path(path).filename().string());
        std::error_code ignored;
        fs::remove(path, ignored);
    }
}

void make_tiff_pictures(Names& refused, std::string const& folder)
{
    for (char const* compression : {"none", "lzw", "zip", "packbits", "jpeg"})
        for (int tile : {0, 32}) {
            std::string const name = folder + "/tiff_" + compression + (tile ? "_tiles" : "_strips");
            make_picture(refused, name + "_8.tif", 3, TypeDesc::UINT8, compression, tile);
            if (std::string(compression) != "jpeg")
                make_picture(refused, name + "_float.tif", 4, TypeDesc::FLOAT, compression, tile);
        }
    make_picture(refused, folder + "/tiff_16.tif", 4, TypeDesc::UINT16, "lzw");
    make_picture(refused, folder + "/tiff_grey.tif", 1, TypeDesc::UINT8, "zip");
    make_picture(refused, folder + "/tiff_many.tif", 9, TypeDesc::UINT16, "zip");
}

void make_other_pictures(Names& refused, std::string const& folder)
{
    for (int channels : {1, 3, 4}) {
        std::string const end = "_" + std::to_string(channels) + ".";
        for (char const* extension :
             {"png", "tga", "bmp", "jpg",  "sgi",   "iff",  "rla", "webp", "gif", "jp2",
              "ico", "dpx", "ppm", "fits", "zfile", "heic", "pic", "hdr",  "exr", "psd"})
            make_picture(refused, folder + "/" + extension + end + extension, channels, TypeDesc::UINT8);
        for (char const* extension : {"png", "sgi", "rla", "jp2", "dpx", "ppm", "fits"})
            make_picture(refused, folder + "/" + extension + "_16" + end + extension, channels,
                         TypeDesc::UINT16);
        for (char const* extension : {"hdr", "fits", "rla", "zfile", "exr"})
            make_picture(refused, folder + "/" + extension + "_float" + end + extension, channels,
                         TypeDesc::FLOAT);
    }
    make_picture(refused, folder + "/tga_rle.tga", 3, TypeDesc::UINT8, "rle");
    make_picture(refused, folder + "/rendered.tx", 4, TypeDesc::HALF, "zip", 64);
}

}  // namespace

std::vector<std::string> make_source_pictures(std::string const& folder)
{
    Names refused;
    fs::create_directories(folder);
    make_exr_pictures(folder);
    make_tiff_pictures(refused, folder);
    make_other_pictures(refused, folder);
    return refused;
}

std::vector<std::string> files_in(std::string const& folder)
{
    std::vector<std::string> files;
    std::error_code error;
    for (auto entry = fs::recursive_directory_iterator(folder, error);
         entry != fs::recursive_directory_iterator(); entry.increment(error))
        if (entry->is_regular_file(error))
            files.push_back(entry->path().string());
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace zv_torture
