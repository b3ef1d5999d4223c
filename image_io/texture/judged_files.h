#pragma once

#include <atomic>
#include <shared_mutex>
#include <unordered_map>

#include "host/core/unique_string.h"

namespace zv_image_io {

/// Which texture files their readers survive: each is looked at once, before the library opens it.
///
/// Threads  any; a thread that comes back to a texture finds the answer in a table of its own
class JudgedFiles {
public:
    bool is_safe(UniqueString const& name);
    /// Files may have changed: they are looked at anew.
    void forget();

private:
    bool judge(UniqueString const& name);

    std::atomic<unsigned> m_generation = 1;
    std::shared_mutex m_mutex;
    std::unordered_map<char const*, bool> m_judged;
};

}  // namespace zv_image_io
