#pragma once

#include <dirent.h>

#include <cstdio>

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
