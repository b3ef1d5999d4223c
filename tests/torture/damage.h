#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zv_torture {

using Bytes = std::vector<unsigned char>;

/// Numbers that are the same on every machine.
class Random {
public:
    explicit Random(std::uint64_t seed)
        : m_state(seed)
    {
    }
    std::uint64_t next();
    /// From 0 to below `end`; 0 for an end of 0.
    std::size_t below(std::size_t end) { return end ? std::size_t(next() % end) : 0; }

private:
    std::uint64_t m_state;
};

/// What was done to a file.
enum class Damage : int {
    CUT,
    CUT_HEADER,
    FLIPPED_BITS,
    FLIPPED_HEADER_BITS,
    HOSTILE_FIELD,
    HOSTILE_ATTRIBUTE,  // a field of OpenEXR, TIFF or PNG, found by its name
    FILLED_BLOCK,
    SWAPPED_BLOCKS,
    MISSING_BLOCK,
    REPEATED_BLOCK,
    SEVERAL,
    COUNT,
};
char const* damage_name(Damage damage);

/// A damaged variant of a file, the same for the same numbers.
Bytes damaged(Bytes bytes, Damage damage, Random& random);

/// Overwrites a field of the file's own format with a number that hurts; false if no format is known.
bool overwrite_attribute(Bytes& bytes, Random& random);
/// Overwrites up to 8 bytes at a place with a number that hurts.
void overwrite_number(Bytes& bytes, std::size_t at, std::size_t size, bool is_big_endian, Random& random);
/// Makes the checks of PNG chunks right again.
void mend_png_checks(Bytes& bytes);

}  // namespace zv_torture
