#include "host/sys/sys_filesystem.h"

#include <sys/stat.h>

#include <climits>
#include <filesystem>
#include <system_error>

namespace {

constexpr char kSeparator = '/';

}  // namespace

bool SysFilesystem::file_exists(CoreString const& path)
{
    struct stat status;
    return stat(path.get_data(), &status) == 0 && !S_ISDIR(status.st_mode);
}

bool SysFilesystem::get_file_modification_time(CoreString const& path, long long& time)
{
    long long nanoseconds = 0;
    struct stat status;
    if (stat(path.get_data(), &status) != 0)
        return false;
    // File systems can tell times that 64 bits of nanoseconds cannot, some 292 years off 1970.
    constexpr long long kNanoseconds = 1'000'000'000;
    if (__builtin_mul_overflow(static_cast<long long>(status.st_mtim.tv_sec), kNanoseconds, &nanoseconds) ||
        __builtin_add_overflow(nanoseconds, status.st_mtim.tv_nsec, &nanoseconds))
        nanoseconds = status.st_mtim.tv_sec < 0 ? LLONG_MIN : LLONG_MAX;
    time = nanoseconds;
    return true;
}

CoreString SysFilesystem::get_filename(CoreString const& path)
{
    return CoreString::after_last(path, kSeparator);
}

CoreString SysFilesystem::get_folder(CoreString const& path)
{
    unsigned int const separator = path.rev_find(kSeparator);
    return separator == CoreString::kNotFound ? CoreString(".") : path.sub_string(0, separator);
}

CoreString SysFilesystem::get_folder_separator()
{
    return CoreString(std::string_view(&kSeparator, 1));
}

CoreString SysFilesystem::get_full_file_path(CoreString const& path)
{
    if (path.is_empty())
        return path;
    std::error_code error;
    std::filesystem::path const full = std::filesystem::absolute(path.view(), error);
    return error ? path : CoreString(std::string_view(full.native()));
}

void SysFilesystem::format_path(CoreString& path)
{
    if (path.is_empty())
        return;
    path.replace('\\', kSeparator);
    std::string shortest = std::filesystem::path(path.view()).lexically_normal().native();
    while (shortest.size() > 1 && shortest.back() == kSeparator)  // of many in a row two are left
        shortest.pop_back();
    path = CoreString(std::string_view(shortest));
}
