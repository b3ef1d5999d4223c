#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "host/core/core_string.h"
#include "host/core/core_vector.h"
#include "host/sys/sys_thread_lock.h"

namespace zv_image_io {

/// The extensions in a list of the form "format:ext,ext;format:ext", in its order, doubles included. Entries
/// without ":" are skipped, and so is what stands behind a second one.
CoreVector<CoreString> parse_extension_list(CoreString const& list);

/// A list of extensions that is filled once, at the first use at which its source gives some.
///
/// Threads  any; once filled, reading takes no lock
class ExtensionList {
public:
    /// Puts the text for `parse_extension_list` into its argument; false if it has none.
    using Source = std::function<bool(CoreString& list)>;

    explicit ExtensionList(Source source)
        : m_source(std::move(source))
    {
    }

    /// Empty while the source gives nothing; it is asked again by the next call then. Nothing throws.
    CoreVector<CoreString>& get();
    /// Whether it has exactly that extension; an empty list has none.
    bool contains(CoreString const& extension)
    {
        return get().find_index(extension) != CoreString::kNotFound;
    }

private:
    void fill();

    Source m_source;
    std::atomic<bool> m_filled{false};  // told by the list's count, were that one atomic
    SysThreadLock m_lock;
    CoreVector<CoreString> m_extensions;
};

}  // namespace zv_image_io
