#pragma once

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <string>
#include <string_view>

namespace zv_torture {

/// File descriptors of this process, and one more.
inline int count_open_files()
{
    int count = 0;
    DIR* const folder = opendir("/proc/self/fd");
    while (folder && readdir(folder))
        ++count;
    if (folder)
        closedir(folder);
    return count;
}

/// Files that this process has open, by their paths (those that were deleted, too), and how often.
inline std::map<std::string, int> open_files()
{
    std::map<std::string, int> files;
    DIR* const folder = opendir("/proc/self/fd");
    while (dirent const* const entry = folder ? readdir(folder) : nullptr) {
        char path[4096];
        ssize_t const length = readlinkat(dirfd(folder), entry->d_name, path, sizeof path);
        // No pipes, and not the folder that is read here.
        if (length > 0 && path[0] == '/' && !std::string_view(path, std::size_t(length)).ends_with("/fd"))
            ++files[std::string(path, std::size_t(length))];
    }
    if (folder)
        closedir(folder);
    return files;
}

/// Bytes of this process that lie in memory.
inline long long resident_bytes()
{
    long long pages = 0, resident = 0;
    std::FILE* const file = std::fopen("/proc/self/statm", "r");
    if (!file || std::fscanf(file, "%lld %lld", &pages, &resident) != 2)
        resident = 0;
    if (file)
        std::fclose(file);
    return resident * 4096;
}

}  // namespace zv_torture
