#include "image_io/load/reader_guards.h"

#include <algorithm>
#include <iterator>

namespace zv_image_io {

namespace {

struct Guard {
    std::string_view reader;
    std::string_view first_bytes;
    bool (*is_safe)(FileBytes& file);
};

constexpr Guard kGuards[] = {
    {"ico", {"\0\0\1\0", 4}, is_ico_safe}, {"iff", "FOR4", is_iff_safe}, {"sgi", "\x01\xda", is_sgi_safe},
    {"dpx", "SDPX", is_dpx_safe},          {"dpx", "XPDS", is_dpx_safe}, {"fits", "SIMPLE", is_fits_safe},
    {"psd", "8BPS", is_psd_safe},
};

/// The guard for the first bytes; null for a file that needs none.
Guard const* guard_of(FileBytes& file)
{
    auto const begins_with = [&file](Guard const& guard) {
        char found[8];
        std::size_t const length = guard.first_bytes.size();
        return file.read(0, found, length) && std::string_view(found, length) == guard.first_bytes;
    };
    auto const* const guard = std::find_if(std::begin(kGuards), std::end(kGuards), begins_with);
    return guard == std::end(kGuards) ? nullptr : guard;
}

}  // namespace

bool survives_reading(char const* path)
{
    FileBytes file(path);
    Guard const* const guard = guard_of(file);
    return !guard || guard->is_safe(file);
}

bool survives_reading(char const* path, std::string_view reader)
{
    auto const is_for_reader = [reader](Guard const& guard) { return guard.reader == reader; };
    auto const* const guard = std::find_if(std::begin(kGuards), std::end(kGuards), is_for_reader);
    if (guard == std::end(kGuards))
        return true;
    FileBytes file(path);
    Guard const* const judged = guard_of(file);
    return (judged && judged->reader == reader) || guard->is_safe(file);
}

}  // namespace zv_image_io
