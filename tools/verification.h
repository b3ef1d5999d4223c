#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/stored_picture.h"

namespace zvio {

/// Rows from the first to the last, both of them in it.
struct RowRange {
    int first = 0, last = 0;
};

struct VerifiedChannel {
    std::string name;
    std::string type;
    std::uint64_t nan_count = 0;
    std::uint64_t infinity_count = 0;
};

/// What reading all of a file back has shown. The libraries read it, the module has no part in it.
struct Verification {
    bool is_open = false;     ///< the file has a header that can be read; else `errors` tells why not
    StoredHeader header;      ///< of the first picture
    bool is_complete = true;  ///< false: its writer did not finish it, says the file (OpenEXR alone knows)
    std::uint64_t rows_asked = 0, rows_missing = 0;    // of scanline files
    std::uint64_t tiles_asked = 0, tiles_missing = 0;  // of tiled ones, all levels
    std::vector<RowRange> missing_rows;                // in order, those next to each other together
    std::vector<VerifiedChannel> channels;             // of all pictures in the file
    std::vector<std::string> errors;                   // what the readers said, each text once

    [[nodiscard]] bool is_whole() const
    {
        return is_open && is_complete && rows_missing == 0 && tiles_missing == 0 && errors.empty();
    }
    [[nodiscard]] std::uint64_t nan_count() const;
    [[nodiscard]] std::uint64_t infinity_count() const;

    // For those who fill it.
    void add_row(int y, bool is_missing);
    void add_error(std::string const& text);
    void count_sample(VerifiedChannel& channel, float sample);
};

/// Reads back everything that is in a file. Nothing throws.
Verification verify_file(std::string const& path);

/// What is wrong with a file that is not whole: "incomplete; 16 of 64 rows missing (32 to 47)".
std::string trouble_text(Verification const& verification);

namespace exr {
/// `verify_file` for OpenEXR files, with all their parts and levels; may throw.
void verify(std::string const& path, Verification& verification);
}  // namespace exr

}  // namespace zvio
