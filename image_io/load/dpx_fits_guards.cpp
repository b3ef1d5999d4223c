#include <algorithm>
#include <charconv>
#include <cstring>

#include "image_io/load/reader_guards.h"

namespace zv_image_io {

namespace {

constexpr std::uint64_t kMostUserData = 16 << 20;
constexpr std::uint64_t kCard = 80, kFitsBlock = 2880;
// The reader calls itself for each block of a header; its stack is used up behind some thousands.
constexpr int kMostFitsBlocks = 1000;
constexpr int kMostAxes = 999;

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
    bool const is_big = file.is(0, "SDPX");
    auto const size = is_big ? file.big(32, 4) : file.little(32, 4);
    // Memory for the user data is filled before they are read, at each opening.
    return !size || *size == 0xffffffff || *size <= std::max(kMostUserData, file.size());
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
