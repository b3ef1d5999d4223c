#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "image_io/load/reader_guards.h"

namespace zv_image_io {

namespace {

constexpr std::uint64_t kDirectory = 6, kEntry = 16, kBitmapHeader = 40;
// An icon comes in a dozen sizes, and a directory may have 65535 entries, all for one file: the reader opens each of them.
constexpr int kMostPngs = 256;

struct Icon {
    unsigned width, height, colours;  // 0 colours of the palette: 256
    std::uint64_t at;
};

unsigned row_bytes(unsigned bits)
{
    return (bits + 31) / 32 * 4;
}

/// A file within a file, for a reader of the library, from `begin` on to the end of the outer one.
class InnerFile : public OIIO::Filesystem::IOProxy {
public:
    InnerFile(FileBytes& file, std::uint64_t begin, LookBudget& budget)
        : IOProxy("", Read)
        , m_file(file)
        , m_begin(begin)
        , m_budget(budget)
    {
    }

    char const* proxytype() const override { return "icon"; }
    std::size_t size() const override { return static_cast<std::size_t>(m_file.size() - m_begin); }
    std::size_t read(void* target, std::size_t count) override
    {
        std::size_t const got = pread(target, count, m_pos);
        m_pos += static_cast<std::int64_t>(got);
        return got;
    }
    std::size_t pread(void* target, std::size_t count, std::int64_t at) override
    {
        auto const place = static_cast<std::uint64_t>(at);
        if (place >= size())
            return 0;
        count = std::min(count, size() - static_cast<std::size_t>(place));
        return m_budget.take(count) && m_file.read(m_begin + place, target, count) ? count : 0;
    }

private:
    FileBytes& m_file;
    std::uint64_t m_begin;
    LookBudget& m_budget;
};

/// The reader divides by the number of channels whether it could read the header of the PNG file inside or not. So the
/// library's own reader of such files is asked first.
bool is_png_safe(FileBytes& file, std::uint64_t at, LookBudget& budget)
{
    InnerFile inside(file, at, budget);
    auto const reader = OIIO::ImageInput::create("png", false, nullptr, nullptr, "");
    if (!reader)
        return false;
    reader->set_ioproxy(&inside);
    OIIO::ImageSpec spec;
    bool const is_open = reader->open("icon.png", spec) && spec.nchannels > 0;
    reader->geterror();  // thrown away
    reader->close();
    return is_open;
}

bool is_png(FileBytes& file, std::uint64_t at)
{
    return file.has(at, 8) && file.is(at + 1, "PNG");
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

/// Samples are read of the first icon only.
bool is_first_icon_safe(FileBytes& file)
{
    unsigned char entry[kEntry];
    auto const offset = file.little(kDirectory + 12, 4);
    if (!offset || !file.read(kDirectory, entry, kEntry) || !file.has(*offset, 8))
        return true;  // refused by the reader
    return is_png(file, *offset) || is_bitmap_safe(file, {entry[0], entry[1], entry[2], *offset});
}

/// Where the directory's icons lie, in the order of the file.
std::vector<std::uint32_t> icon_offsets(FileBytes& file)
{
    unsigned const count = file.little(4, 2).value_or(0);
    std::vector<std::uint32_t> offsets;
    for (unsigned number = 0; number < count && file.has(kDirectory + number * kEntry, kEntry); ++number)
        if (auto const offset = file.little(kDirectory + number * kEntry + 12, 4))
            offsets.push_back(*offset);
    std::sort(offsets.begin(), offsets.end());
    return offsets;
}

}  // namespace

bool is_ico_safe(FileBytes& file)
{
    if (!is_first_icon_safe(file))
        return false;
    LookBudget budget(file);
    std::optional<std::uint32_t> judged;
    int pngs = 0;
    for (std::uint32_t const offset : icon_offsets(file)) {
        if (!is_png(file, offset))
            continue;
        if (++pngs > kMostPngs || (judged != offset && !is_png_safe(file, offset, budget)))
            return false;
        judged = offset;
    }
    return true;
}

}  // namespace zv_image_io
