#include <charconv>
#include <cstring>

#include "image_io/load/reader_guards.h"

namespace zv_image_io {

namespace {

// What is no larger does no harm where it is not there.
constexpr std::uint64_t kMostMissing = 16 << 20;
constexpr std::uint64_t kCard = 80, kFitsBlock = 2880;
// The reader calls itself for each block of a header; its stack is used up behind some thousands.
constexpr int kMostFitsBlocks = 1000;
constexpr int kMostAxes = 999;

/// Memory for a part of the header is asked for, and filled, before the part is read, at each opening.
bool is_size_safe(FileBytes const& file, std::uint64_t at, std::uint64_t size)
{
    return size <= kMostMissing || file.has(at, size);
}

/// The reader makes an array of as many axes as the card says.
bool is_axis_count_safe(char const* card)
{
    char const* text = card + 10;
    char const* const end = card + kCard;
    while (text < end && *text == ' ')
        ++text;
    int count = 0;
    auto const result = std::from_chars(text, end, count);
    return result.ec != std::errc::result_out_of_range && count >= 0 && count <= kMostAxes;
}

}  // namespace

bool is_dpx_safe(FileBytes& file)
{
    constexpr std::uint64_t kUserData = 2048;
    auto const size = file.is(0, "SDPX") ? file.big(32, 4) : file.little(32, 4);
    return !size || *size == 0xffffffff || is_size_safe(file, kUserData, *size);
}

bool is_psd_safe(FileBytes& file)
{
    constexpr std::uint64_t kColourData = 26;
    auto const size = file.big(kColourData, 4);
    return !size || is_size_safe(file, kColourData + 4, *size);
}

bool is_fits_safe(FileBytes& file)
{
    char block[kFitsBlock];
    std::uint64_t at = 0;
    for (int number = 0; number < kMostFitsBlocks; ++number, at += kFitsBlock) {
        if (!file.read(at, block, kFitsBlock))
            return true;  // refused by the reader
        for (char const* card = block; card < block + kFitsBlock; card += kCard) {
            if (std::memcmp(card, "END     ", 8) == 0)
                return true;
            if (std::memcmp(card, "NAXIS   ", 8) == 0 && !is_axis_count_safe(card))
                return false;
        }
    }
    return false;
}

}  // namespace zv_image_io
