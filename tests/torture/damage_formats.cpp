#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "tests/torture/damage.h"

namespace zv_torture {

namespace {

constexpr std::string_view kPngBegin("\x89PNG\r\n\x1a\n", 8);

bool begins_with(Bytes const& bytes, std::string_view begin)
{
    return bytes.size() >= begin.size() && std::memcmp(bytes.data(), begin.data(), begin.size()) == 0;
}

std::uint32_t big_endian(Bytes const& bytes, std::size_t at)
{
    return std::uint32_t(bytes[at]) << 24 | std::uint32_t(bytes[at + 1]) << 16 |
           std::uint32_t(bytes[at + 2]) << 8 | bytes[at + 3];
}

std::uint32_t little_endian(Bytes const& bytes, std::size_t at, std::size_t size)
{
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < size; ++i)
        number |= std::uint32_t(bytes[at + i]) << (8 * i);
    return number;
}

/// An attribute is name, type, size, value; both texts end with a zero.
bool overwrite_exr_attribute(Bytes& bytes, Random& random)
{
    static constexpr std::array<std::string_view, 11> kAttributes = {
        "dataWindow",       "displayWindow",     "tiles",      "channels", "compression", "lineOrder",
        "pixelAspectRatio", "screenWindowWidth", "chunkCount", "type",     "version"};
    std::string_view const name = kAttributes[random.below(kAttributes.size())];
    auto const found = std::search(bytes.begin(), bytes.end(), name.begin(), name.end());
    if (found == bytes.end())
        return false;
    std::size_t at = std::size_t(found - bytes.begin()) + name.size() + 1;
    while (at < bytes.size() && bytes[at] != 0)
        ++at;
    if (random.below(8) != 0)
        at += 5;  // the value, and not its size
    at += 1 + (random.below(2) ? 4 * random.below(4) : random.below(40));
    overwrite_number(bytes, at, random.below(3) ? 4 : 1, false, random);
    return true;
}

/// An entry of the first directory: tag, type, count, value or offset.
bool overwrite_tiff_entry(Bytes& bytes, Random& random)
{
    if (bytes.size() < 16)
        return false;
    std::size_t const directory = little_endian(bytes, 4, 4);
    if (directory + 2 > bytes.size())
        return false;
    std::size_t const entries = little_endian(bytes, directory, 2);
    std::size_t const at = directory + 2 + 12 * random.below(entries);
    switch (random.below(6)) {
    case 0:
        overwrite_number(bytes, at, 2, false, random);
        break;
    case 1:
        overwrite_number(bytes, at + 2, 2, false, random);
        break;
    case 2:
        overwrite_number(bytes, at + 4, 4, false, random);
        break;
    default:
        overwrite_number(bytes, at + 8, random.below(2) ? 4 : 2, false, random);
    }
    return true;
}

bool overwrite_png_header(Bytes& bytes, Random& random)
{
    if (bytes.size() < 33)
        return false;
    std::size_t const field = random.below(7);
    overwrite_number(bytes, field < 2 ? 16 + 4 * field : 22 + field, field < 2 ? 4 : 1, true, random);
    mend_png_checks(bytes);
    return true;
}

std::uint32_t png_check(unsigned char const* bytes, std::size_t count)
{
    std::uint32_t check = 0xffffffffu;
    for (std::size_t i = 0; i < count; ++i) {
        check ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit)
            check = check >> 1 ^ (check & 1 ? 0xedb88320u : 0);
    }
    return ~check;
}

}  // namespace

bool overwrite_attribute(Bytes& bytes, Random& random)
{
    if (begins_with(bytes, "\x76\x2f\x31\x01"))
        return overwrite_exr_attribute(bytes, random);
    if (begins_with(bytes, std::string_view("II\x2a\0", 4)))
        return overwrite_tiff_entry(bytes, random);
    if (begins_with(bytes, kPngBegin))
        return overwrite_png_header(bytes, random);
    return false;
}

void mend_png_checks(Bytes& bytes)
{
    if (!begins_with(bytes, kPngBegin))
        return;
    for (std::size_t at = kPngBegin.size(); at + 12 <= bytes.size();) {
        std::size_t const size = big_endian(bytes, at);
        if (size > bytes.size() - at - 12)
            return;
        std::uint32_t const check = png_check(bytes.data() + at + 4, size + 4);
        for (std::size_t i = 0; i < 4; ++i)
            bytes[at + 8 + size + i] = static_cast<unsigned char>(check >> (24 - 8 * i));
        at += size + 12;
    }
}

}  // namespace zv_torture
