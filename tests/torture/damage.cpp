#include "tests/torture/damage.h"

#include <algorithm>
#include <array>

namespace zv_torture {

namespace {

constexpr std::size_t kHeader = 512;
constexpr std::array<char const*, std::size_t(Damage::COUNT)> kNames = {"cut",
                                                                        "cut in its header",
                                                                        "flipped bits",
                                                                        "flipped header bits",
                                                                        "hostile number",
                                                                        "hostile attribute",
                                                                        "filled block",
                                                                        "swapped blocks",
                                                                        "missing block",
                                                                        "repeated block",
                                                                        "several of these"};

struct Block {
    std::size_t begin = 0, size = 0;
};

Block any_block(Bytes const& bytes, Random& random)
{
    Block block;
    block.begin = random.below(bytes.size());
    block.size = std::min(bytes.size() - block.begin, 1 + random.below(std::size_t(1) << random.below(13)));
    return block;
}

void flip_bits(Bytes& bytes, std::size_t end, Random& random)
{
    for (std::size_t count = 1 + random.below(16); count > 0 && end > 0; --count)
        bytes[random.below(end)] ^= static_cast<unsigned char>(1u << random.below(8));
}

void fill_block(Bytes& bytes, Random& random)
{
    Block const block = any_block(bytes, random);
    std::size_t const kind = random.below(3);
    for (std::size_t i = block.begin; i < block.begin + block.size; ++i)
        bytes[i] = static_cast<unsigned char>(kind == 0 ? 0 : kind == 1 ? 0xff : random.next());
}

void swap_blocks(Bytes& bytes, Random& random)
{
    Block const first = any_block(bytes, random);
    std::size_t const second = random.below(bytes.size());
    for (std::size_t i = 0; i < first.size && second + i < bytes.size(); ++i)
        std::swap(bytes[first.begin + i], bytes[second + i]);
}

/// At either end of the file: TIFF may have its directory behind the samples.
void overwrite_field(Bytes& bytes, Random& random)
{
    std::size_t const reach = std::min(bytes.size(), kHeader);
    std::size_t at = random.below(reach);
    if (random.below(4) == 0)
        at = bytes.size() - 1 - at;
    overwrite_number(bytes, at, std::size_t(1) << random.below(4), random.below(2) == 0, random);
}

}  // namespace

std::uint64_t Random::next()
{
    // splitmix64
    std::uint64_t mixed = (m_state += 0x9e3779b97f4a7c15u);
    mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9u;
    mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebu;
    return mixed ^ (mixed >> 31);
}

char const* damage_name(Damage damage)
{
    return kNames[std::size_t(damage)];
}

void overwrite_number(Bytes& bytes, std::size_t at, std::size_t size, bool is_big_endian, Random& random)
{
    static constexpr std::array<std::uint64_t, 24> kNumbers = {0,
                                                               1,
                                                               2,
                                                               3,
                                                               7,
                                                               8,
                                                               15,
                                                               16,
                                                               17,
                                                               127,
                                                               128,
                                                               255,
                                                               256,
                                                               32767,
                                                               32768,
                                                               65535,
                                                               65536,
                                                               0x3fffffff,
                                                               0x7fffffff,
                                                               0x80000000,
                                                               0xffffffff,
                                                               0x100000000,
                                                               0x7fffffffffffffff,
                                                               0xffffffffffffffff};
    std::uint64_t const number =
        random.below(4) ? kNumbers[random.below(kNumbers.size())] : random.next() >> random.below(60);
    for (std::size_t i = 0; i < size && at + i < bytes.size(); ++i)
        bytes[at + i] = static_cast<unsigned char>(number >> (8 * (is_big_endian ? size - 1 - i : i)));
}

Bytes damaged(Bytes bytes, Damage damage, Random& random)
{
    if (bytes.empty())
        return bytes;
    std::size_t const header = std::min(bytes.size(), kHeader);
    switch (damage) {
    case Damage::CUT:
        bytes.resize(random.below(bytes.size()));
        break;
    case Damage::CUT_HEADER:
        bytes.resize(random.below(header));
        break;
    case Damage::FLIPPED_BITS:
        flip_bits(bytes, bytes.size(), random);
        break;
    case Damage::FLIPPED_HEADER_BITS:
        flip_bits(bytes, header, random);
        break;
    case Damage::HOSTILE_ATTRIBUTE:
        if (overwrite_attribute(bytes, random))
            break;
        [[fallthrough]];
    case Damage::HOSTILE_FIELD:
        overwrite_field(bytes, random);
        break;
    case Damage::FILLED_BLOCK:
        fill_block(bytes, random);
        break;
    case Damage::SWAPPED_BLOCKS:
        swap_blocks(bytes, random);
        break;
    case Damage::MISSING_BLOCK: {
        Block const block = any_block(bytes, random);
        bytes.erase(bytes.begin() + std::ptrdiff_t(block.begin),
                    bytes.begin() + std::ptrdiff_t(block.begin + block.size));
        break;
    }
    case Damage::REPEATED_BLOCK: {
        Block const block = any_block(bytes, random);
        Bytes const copy(bytes.begin() + std::ptrdiff_t(block.begin),
                         bytes.begin() + std::ptrdiff_t(block.begin + block.size));
        bytes.insert(bytes.begin() + std::ptrdiff_t(block.begin), copy.begin(), copy.end());
        break;
    }
    default:
        for (std::size_t count = 2 + random.below(4); count > 0; --count)
            bytes = damaged(std::move(bytes), Damage(random.below(std::size_t(Damage::SEVERAL))), random);
    }
    // Half of the damaged PNG files get past the check of their chunks.
    if (random.below(2) == 0)
        mend_png_checks(bytes);
    return bytes;
}

}  // namespace zv_torture
