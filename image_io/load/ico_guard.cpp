#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <vector>

#include "image_io/load/reader_guards.h"

namespace zv_image_io {

namespace {

constexpr std::uint64_t kDirectory = 6, kEntry = 16, kBitmapHeader = 40;

struct Icon {
    unsigned width, height, colours;  // 0 colours of the palette: 256
    std::uint64_t at;
};

unsigned row_bytes(unsigned bits)
{
    return (bits + 31) / 32 * 4;
}

/// The reader divides by the number of channels whether it could read the header of the PNG file inside or not. So the
/// library's own reader of such files is asked first.
bool is_png_safe(FileBytes& file, std::uint64_t at)
{
    std::vector<unsigned char> bytes(static_cast<std::size_t>(file.size() - at));
    if (!file.read(at, bytes.data(), bytes.size()))
        return true;
    OIIO::Filesystem::IOMemReader memory(bytes.data(), bytes.size());
    auto const reader = OIIO::ImageInput::create("png", false, nullptr, nullptr, "");
    if (!reader)
        return false;
    reader->set_ioproxy(&memory);
    OIIO::ImageSpec spec;
    bool const is_open = reader->open("icon.png", spec) && spec.nchannels > 0;
    reader->geterror();  // thrown away
    reader->close();
    return is_open;
}

/// The largest index into the palette that a row holds.
unsigned largest_index(unsigned char const* row, unsigned width, unsigned bits)
{
    unsigned largest = 0;
    unsigned const mask = (1u << bits) - 1;
    for (unsigned x = 0; x < width; ++x) {
        unsigned const place = x * bits;
        largest = std::max(largest, row[place / 8] >> (8 - bits - place % 8) & mask);
    }
    return largest;
}

/// The palette is as long as the directory says, and indices are not looked at.
bool are_indices_safe(FileBytes& file, Icon const& icon, unsigned bits)
{
    unsigned const colours = icon.colours ? icon.colours : 256;
    if (colours >= 1u << bits)
        return true;
    std::uint64_t at = icon.at + kBitmapHeader + std::uint64_t(colours) * 4;
    std::vector<unsigned char> row(row_bytes(icon.width * bits));
    for (unsigned y = 0; y < icon.height && file.read(at, row.data(), row.size()); ++y, at += row.size())
        // Rows of 4 bits are read in pairs of samples.
        if (largest_index(row.data(), (icon.width * bits + 7) / 8 * 8 / bits, bits) >= colours)
            return false;
    return true;
}

bool is_bitmap_safe(FileBytes& file, Icon const& icon)
{
    auto const bits = file.little(icon.at + 14, 2);
    if (!bits || icon.width == 0 || icon.height == 0)
        return true;  // refused by the reader
    bool const has_mask = *bits == 1 || *bits == 4 || *bits == 8 || *bits == 24;
    // The mask is spread in steps of eight pixels, past the end of the last row.
    if (has_mask && icon.width % 8 != 0)
        return false;
    return !has_mask || *bits == 24 || are_indices_safe(file, icon, *bits);
}

bool is_icon_safe(FileBytes& file, unsigned number)
{
    unsigned char entry[kEntry];
    std::uint64_t const entry_at = kDirectory + number * kEntry;
    auto const offset = file.little(entry_at + 12, 4);
    if (!offset || !file.read(entry_at, entry, kEntry) || !file.has(*offset, 8))
        return true;  // refused by the reader
    if (file.is(*offset + 1, "PNG"))
        return is_png_safe(file, *offset);
    // Samples are read of the first icon only.
    return number > 0 || is_bitmap_safe(file, {entry[0], entry[1], entry[2], *offset});
}

}  // namespace

bool is_ico_safe(FileBytes& file)
{
    unsigned const count = file.little(4, 2).value_or(0);
    for (unsigned number = 0; number < count && file.has(kDirectory + number * kEntry, kEntry); ++number)
        if (!is_icon_safe(file, number))
            return false;
    return true;
}

}  // namespace zv_image_io
