#include "host/sys/sys_statistic.h"

#include <cstdio>

CoreString SysStatistic::get_readable_size(unsigned long long bytes)
{
    if (bytes < 1024)
        return CoreString() + bytes + " B";
    char const* const units[] = {"KB", "MB", "GB", "TB"};
    double size = static_cast<double>(bytes) / 1024.0;
    unsigned int unit = 0;
    // What would round to "1024.0" is 1.0 of the next unit.
    while (size >= 1023.95 && unit < 3) {
        size /= 1024.0;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %s", size, units[unit]);
    return CoreString(text);
}
