#pragma once

#include "host/core/core_string.h"

/// Numbers for people.
class SysStatistic {
public:
    /// A size as text: "1023 B" below 1024, else one decimal and "KB", "MB", "GB" or "TB".
    static CoreString get_readable_size(unsigned long long bytes);
};
